// The kernel's list of I/O port ranges (/proc/ioports), asked whether a base
// address belongs to a parallel port. direct_io_port uses it to limit the
// ports that a set-uid install grants to a user without root rights.
#pragma once

#include <cstdint>
#include <string>

extern const char* const io_port_list_file;  // "/proc/ioports"

// True when base..base+2 lie within one range named "parport<N>". Lines are
// "first-last : name" in hexadecimal, nested by indentation ("  0378-037a :
// parport0"); readers without the rights to see addresses get 0000-0000.
bool lists_parallel_port(const std::string& listing, uint32_t base);

// The whole text of the list; empty when it cannot be read.
std::string read_io_port_list(const char* path = io_port_list_file);
