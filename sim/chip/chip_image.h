// The chip's non-volatile contents in a binary file that the program under
// vtarget maps and writes through while it runs, so that what was done to the
// chip survives the program however it ends (a real chip stays erased and
// half-written when its programmer is killed). vtarget creates the file from
// the state before the run and reads it back after; the bench maps it.
#pragma once

#include <cstdint>
#include <string>

#include "sim/chip/avr_chip.h"
#include "sim/chip/chip_state.h"

namespace vt {

bool write_chip_image(const std::string& path, const chip_state& s, std::string& error);
bool read_chip_image(const std::string& path, chip_state& s, std::string& error);

class chip_image {
 public:
  chip_image() = default;
  ~chip_image();
  chip_image(const chip_image&) = delete;
  chip_image& operator=(const chip_image&) = delete;

  // Maps an existing image file; false with `error` set.
  bool map(const std::string& path, std::string& error);
  chip_state load() const;
  // Writes a started change through to the file (the avr_chip's on_change).
  void store(const chip_state& s, const chip_change& c);

 private:
  uint8_t* base_ = nullptr;
  size_t size_ = 0;
};

}  // namespace vt
