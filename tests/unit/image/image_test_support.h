// Scratch files and the bytes and block layout an image stands for.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "image/mem_image.h"
#include "tests/support/message_capture.h"

namespace image_test {

using layout = std::vector<std::pair<int32_t, int32_t>>;  // (address, size) per block

class scratch_dir {  // a private directory, removed with its files
 public:
  scratch_dir() : path_(mkdtemp(std::string("/tmp/zindle-image-XXXXXX").data())) {}
  ~scratch_dir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

 private:
  std::string path_;
};

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
