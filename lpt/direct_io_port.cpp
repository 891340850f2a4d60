#include "lpt/direct_io_port.h"

#include <cerrno>

#include "driver/messages.h"
#include "driver/privileges.h"
#include "lpt/parallel_port_list.h"

#if defined(__i386__) || defined(__x86_64__)
#include <sys/io.h>
#define ZINDLE_PORT_IO 1
#else
#define ZINDLE_PORT_IO 0
#endif

#if ZINDLE_PORT_IO

namespace {

int request_ports(uint32_t base, int on) { return ioperm(base, 3, on); }

uint8_t port_in(uint16_t port) { return inb(port); }

void port_out(uint16_t port, uint8_t value) { outb(value, port); }

// One string output instruction: the bytes go out back to back.
void port_out_string(uint16_t port, const uint8_t* bytes, uint32_t count) { outsb(port, bytes, count); }

}  // namespace

#else

namespace {

int request_ports(uint32_t, int) {
  errno = ENOSYS;  // this processor has no port instructions
  return -1;
}
uint8_t port_in(uint16_t) { return 0xFF; }
void port_out(uint16_t, uint8_t) {}
void port_out_string(uint16_t, const uint8_t*, uint32_t) {}

}  // namespace

#endif

direct_io_port::direct_io_port(uint32_t base_address) : base(base_address) {
  int result = -1;
  int reason = 0;
  // The ports are requested with the installed rights, which are then given
  // up for good whatever the result.
  open_hardware(
      [&] {
        regain_privileges();
        // A user without root rights is granted only the ports of a parallel
        // port the kernel knows (it shows their addresses only to root).
        if (guarding_user() && !lists_parallel_port(read_io_port_list(), base))
          fail(status_usage, "Invalid value for switch -p\n");
        result = request_ports(base, 1);
        reason = errno;
      },
      [&] {
        if (result == 0) request_ports(base, 0);
      });
  if (result != 0) {
    errno = reason;
    if (!ZINDLE_PORT_IO) report(0, "Direct port I/O is not available on this processor\n");
    report(0, "Can't get I/O permissions\n");
    throw rtl_error(status_usage);
  }
  report(3, "\t%% I/O permissions granted, direct I/O interface activated\n");
  try {
    measure_cycle_time();
  } catch (...) {
    request_ports(base, 0);
    throw;
  }
}

direct_io_port::~direct_io_port() { request_ports(base, 0); }

uint8_t direct_io_port::read(uint8_t reg) { return port_in(static_cast<uint16_t>(base + reg)); }

void direct_io_port::write(uint8_t reg, uint8_t value) { port_out(static_cast<uint16_t>(base + reg), value); }

void direct_io_port::write_block(const uint8_t* bytes, uint32_t count) {
  port_out_string(static_cast<uint16_t>(base), bytes, count);
}
