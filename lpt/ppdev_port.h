// The parallel port through the kernel's parport device (/dev/parportN) and its
// ppdev ioctls; claimed for the lifetime of the object.
#pragma once

#include "lpt/lpt_port.h"

class ppdev_port : public lpt_port {
 public:
  // Opens and claims the device (with the installed rights of a set-uid
  // install, dropped for good afterwards) and measures its write cycle;
  // failures are reported and thrown as rtl_error(70).
  explicit ppdev_port(const char* path);
  ~ppdev_port() override;  // release(), a failure swallowed after its message

  // Releases the claim and closes the device, once; a failed PPRELEASE is
  // reported and thrown as rtl_error(70) and leaves the device open.
  void release() override;

  uint8_t read(uint8_t reg) override;
  void write(uint8_t reg, uint8_t value) override;  // control: only the low four lines
  void write_block(const uint8_t* bytes, uint32_t count) override;

  int fd = -1;
  bool claimed = false;

 private:
  bool released = false;
};
