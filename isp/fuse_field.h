// Arithmetic on one named fuse field of a fuse byte (its maximum, mask and
// value) and on a whole fuse list. Shared by the fuse list parser and the
// fuse reading, programming and verifying.
#pragma once

#include <cstdint>

#include "devices/chip_desc.h"

inline uint32_t field_max(const fuse_desc& f) { return (1u << f.width) - 1; }
inline uint8_t field_mask(const fuse_desc& f) { return uint8_t(field_max(f) << f.shift); }
inline uint32_t field_value(const fuse_desc& f, uint8_t byte) { return (uint32_t(byte) >> f.shift) & field_max(f); }

// The chip's list for fuse byte i, or null.
inline const fuse_desc* fuse_list_of(const chip_desc& chip, int i) {
  return chip.fuses != nullptr ? chip.fuses[i] : nullptr;
}

// OR of the masks of every field of a list (0 for no list).
inline uint8_t defined_bits(const fuse_desc* list) {
  uint8_t bits = 0;
  for (; list != nullptr && list->info != nullptr; ++list) bits = uint8_t(bits | field_mask(*list));
  return bits;
}
