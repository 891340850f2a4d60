// Running vtarget and its plain clients from the sim tests; files read whole;
// a scratch folder of the process's own.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace vt_test {

struct result {
  int status;
  std::string out;
};

// A shell command's exit status and its standard output and error together.
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

// vtarget on its deterministic clock, so that no result depends on the host's speed.
inline std::string vtarget_command(const std::string& bin_dir, const std::string& options) {
  return bin_dir + "/vtarget --deterministic " + options;
}

inline std::string read_file(const std::string& path) {
  std::stringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

// A fresh folder (mkdtemp), so that concurrent runs never share a file; removed with its contents.
struct temp_dir {
  std::string path;
  temp_dir() {
    const char* base = std::getenv("TMPDIR");
    std::string t = std::string(base && *base ? base : "/tmp") + "/vt_test_XXXXXX";
    path = mkdtemp(&t[0]) ? t : "/nonexistent";
  }
  ~temp_dir() { run_command("rm -rf '" + path + "'"); }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

}  // namespace vt_test
