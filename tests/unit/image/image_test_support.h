// Shared helpers of the image tests: capturing what report() prints, scratch
// files, the committed test data and the byte map an image stands for.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "image/mem_image.h"
#include "tests/support/message_capture.h"

namespace image_test {

typedef message_capture captured_messages;

// A file in a private scratch directory, removed with the directory.
class scratch_dir {
 public:
  scratch_dir() {
    char pattern[] = "/tmp/zindle-image-XXXXXX";
    path_ = mkdtemp(pattern);
  }
  ~scratch_dir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

 private:
  std::string path_;
};

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

inline std::string data_path(const std::string& name) {
  const char* root = getenv("ZINDLE_TEST_DATA");
  return std::string(root != nullptr ? root : "tests/data") + "/" + name;
}

// Address -> byte, as the image's blocks give them.
inline std::map<uint32_t, uint8_t> image_bytes(const mem_image& image) {
  std::map<uint32_t, uint8_t> bytes;
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b))
    for (int32_t i = 0; i < b->size; ++i) bytes[static_cast<uint32_t>(b->address + i)] = b->bytes[i];
  return bytes;
}

// (address, size) of each block in list order.
inline std::vector<std::pair<int32_t, int32_t>> block_layout(const mem_image& image) {
  std::vector<std::pair<int32_t, int32_t>> layout;
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) layout.emplace_back(b->address, b->size);
  return layout;
}

// Runs a command and returns its standard output; empty on failure.
inline std::string run_command(const std::string& command, int* status = nullptr) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  int rc = pclose(pipe);
  if (status != nullptr) *status = rc;
  return out;
}

inline bool have_tool(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace image_test
