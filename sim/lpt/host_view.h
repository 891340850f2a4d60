// What the kernel shows of the emulated parallel ports besides their
// registers: their "parportN" entries in /proc/ioports, the device node's
// type, and the rights a set-uid program must hold to open the device or to
// be granted the ports. Used by the LD_PRELOAD library (preload.cpp).
#pragma once

#include <sys/stat.h>

#include <string>

namespace vt {

// The emulated ports: base address and the kernel's name for it.
struct emulated_base {
  unsigned base;
  const char* name;
};
extern const emulated_base emulated_bases[3];  // 0x378 parport0, 0x278 parport1, 0x3BC parport2

// /proc/ioports with the emulated ports added among the real entries, in
// address order; as the kernel does, only a reader holding CAP_SYS_ADMIN
// when it opened the file sees addresses, everyone else 0000-0000.
std::string io_port_list(const std::string& real_list, bool show_addresses);

bool has_capability(int capability);  // in the effective set of the calling process

// A set-uid or set-gid program (secure execution) is judged as the kernel
// would judge it. Ordinary programs are let through, so that nobody needs
// root's rights to use the virtual target.
bool secure_program();
bool may_open_parport();   // the node is root:lp 0660
bool may_request_ports();  // ioperm needs CAP_SYS_RAWIO

// The device node: a character device of ppdev (major 99), root:lp 0660.
void parport_stat(struct stat& st, unsigned minor);

}  // namespace vt
