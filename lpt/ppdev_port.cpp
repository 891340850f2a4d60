#include "lpt/ppdev_port.h"

#include <fcntl.h>
#include <linux/major.h>
#include <linux/ppdev.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "driver/messages.h"
#include "driver/privileges.h"

namespace {

bool is_parport_device(int fd) {
  struct stat st;
  return fstat(fd, &st) == 0 && S_ISCHR(st.st_mode) && major(st.st_rdev) == PP_MAJOR;
}

// Opens the device read-write, with the installed rights where they are due.
// A user running a set-uid install gets them only for a parport device:
// anything else he names is opened with his own rights, as a plain run
// would. The name is first pinned to its file with his rights (O_PATH), and
// that very file is reopened, so it cannot be swapped after the check.
int open_device(const char* path) {
  if (!guarding_user()) {
    regain_privileges();
    return open(path, O_RDWR);
  }
  const int pinned = open(path, O_PATH | O_CLOEXEC);
  if (pinned < 0) return -1;
  int fd;
  if (is_parport_device(pinned)) {
    char pinned_path[32];
    snprintf(pinned_path, sizeof pinned_path, "/proc/self/fd/%d", pinned);
    try {
      regain_privileges();
    } catch (...) {
      close(pinned);
      throw;
    }
    fd = open(pinned_path, O_RDWR);
  } else {
    fd = open(path, O_RDWR);
  }
  const int reason = errno;
  close(pinned);
  errno = reason;
  return fd;
}

}  // namespace

ppdev_port::ppdev_port(const char* path) {
  int open_reason = 0, claim_reason = 0;
  bool claim_ok = false;
  // Opened and claimed with the installed rights, which are then given up for good.
  open_hardware(
      [&] {
        fd = open_device(path);
        open_reason = errno;
        claim_ok = fd >= 0 && ioctl(fd, PPCLAIM) == 0;
        claim_reason = errno;
      },
      [&] {
        if (claim_ok) ioctl(fd, PPRELEASE);
        if (fd >= 0) close(fd);
        fd = -1;
      });
  if (fd < 0) {
    errno = open_reason;
    report(0, "Can't open parport device `%s'\n", path);
    throw rtl_error(status_usage);
  }
  if (!claim_ok) {
    report(0, "Can't claim parport device `%s'\n", path);
    close(fd);
    fd = -1;
    errno = claim_reason;
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
