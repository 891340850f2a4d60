#include "lpt/ppdev_port.h"

#include <fcntl.h>
#include <linux/ppdev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "driver/messages.h"

ppdev_port::ppdev_port(const char* path) {
  fd = open(path, O_RDWR);
  if (fd < 0) {
    report(0, "Can't open parport device `%s'\n", path);
    throw rtl_error(status_usage);
  }
  if (ioctl(fd, PPCLAIM) != 0) {
    const int saved = errno;
    report(0, "Can't claim parport device `%s'\n", path);
    close(fd);
    fd = -1;
    errno = saved;
    throw rtl_error(status_usage);
  }
  claimed = true;
  report(3, "\t%% Parallel port `%s' found, ioctl interface activated\n", path);
  try {
    measure_cycle_time();
  } catch (...) {
    ioctl(fd, PPRELEASE);
    close(fd);
    throw;
  }
}

// A destructor runs at process exit too: a failed release has been reported,
// but nothing may leave it.
ppdev_port::~ppdev_port() {
  try {
    release();
  } catch (const app_error&) {
  }
}

void ppdev_port::release() {
  if (released) return;
  released = true;
  if (claimed && ioctl(fd, PPRELEASE) != 0) {
    const int saved = errno;
    report(0, "Can't release parport device");
    errno = saved;
    throw rtl_error(status_usage);
  }
  claimed = false;
  if (fd != -1) close(fd);
  fd = -1;
}

uint8_t ppdev_port::read(uint8_t reg) {
  unsigned char value = 0;
  switch (reg) {
    case lpt_data:
      ioctl(fd, PPRDATA, &value);
      break;
    case lpt_status:
      ioctl(fd, PPRSTATUS, &value);
      break;
    case lpt_control:
      ioctl(fd, PPRCONTROL, &value);
      break;
    default:
      break;
  }
  return value;
}

void ppdev_port::write(uint8_t reg, uint8_t value) {
  unsigned char byte = value;
  if (reg == lpt_data) {
    ioctl(fd, PPWDATA, &byte);
  } else if (reg == lpt_control) {
    byte &= 0x0F;  // interrupt enable and direction stay the driver's
    ioctl(fd, PPWCONTROL, &byte);
  }
}

void ppdev_port::write_block(const uint8_t* bytes, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    unsigned char byte = bytes[i];
    ioctl(fd, PPWDATA, &byte);
  }
}
