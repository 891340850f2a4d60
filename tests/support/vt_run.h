// Running vtarget and its plain clients, files read whole, in a scratch folder.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/scratch_dir.h"

namespace vt_test {

// A shell command's exit status and its standard output and error together.
struct result { int status = -1; std::string out; };
inline result run_command(const std::string& command) {
  result r;
  if (FILE* p = popen((command + " 2>&1").c_str(), "r")) {
    for (int c; (c = std::fgetc(p)) != EOF;) r.out += char(c);
    const int st = pclose(p);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  }
  return r;
}

inline std::string read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), {}};
}

}  // namespace vt_test
