// A folder of the test process's own (mkdtemp), removed with its contents: concurrent
// runs never share a file. Used by every unit test that writes files.
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>

struct scratch_dir {
  std::string path;
  scratch_dir() {
    const char* base = std::getenv("TMPDIR");
    path = std::string(base && *base ? base : "/tmp") + "/zindle_test_XXXXXX";
    if (mkdtemp(&path[0]) == nullptr) path = "/nonexistent";
  }
  ~scratch_dir() { std::system(("rm -rf '" + path + "'").c_str()); }
  scratch_dir(const scratch_dir&) = delete;
  scratch_dir& operator=(const scratch_dir&) = delete;
  std::string operator/(const std::string& name) const { return path + "/" + name; }
  // Writes a file of the folder; its path.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(*this / name, std::ios::binary) << content;
    return *this / name;
  }
};
