// The bytes and block layout an image stands for.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "image/mem_image.h"
#include "tests/support/message_capture.h"
#include "tests/support/scratch_dir.h"

namespace image_test {

using layout = std::vector<std::pair<int32_t, int32_t>>;  // (address, size) per block

inline std::map<uint32_t, uint8_t> image_bytes(const mem_image& image) {
  std::map<uint32_t, uint8_t> bytes;
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b))
    for (int32_t i = 0; i < b->size; ++i) bytes[uint32_t(b->address + i)] = b->bytes[i];
  return bytes;
}

inline layout block_layout(const mem_image& image) {
  layout l;
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) l.emplace_back(b->address, b->size);
  return l;
}

}  // namespace image_test
