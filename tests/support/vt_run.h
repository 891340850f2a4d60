// Running vtarget and its plain clients from the bench tests: the command, its
// exit status and combined output, and a file's contents.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace vt_test {

struct result {
  int status;
  std::string out;
};

// Runs a shell command with standard error joined to standard output.
inline result run_command(const std::string& command) {
  result r{-1, ""};
  FILE* p = popen((command + " 2>&1").c_str(), "r");
  if (!p) return r;
  char buf[256];
  while (fgets(buf, sizeof buf, p)) r.out += buf;
  const int st = pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return r;
}

// vtarget as the suite runs it: on its deterministic clock, so that no result
// depends on the host's speed (options given later may choose another clock).
inline std::string vtarget_command(const std::string& bin_dir, const std::string& options) {
  return bin_dir + "/vtarget --deterministic " + options;
}

inline std::string read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

}  // namespace vt_test
