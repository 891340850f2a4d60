// Running vtarget and its plain clients, files read whole, a scratch folder of the process's own.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

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

// A fresh folder (mkdtemp), so that concurrent runs never share a file; removed with its contents.
struct temp_dir {
  const char* base = std::getenv("TMPDIR");
  std::string path = std::string(base && *base ? base : "/tmp") + "/vt_test_XXXXXX";
  temp_dir() { path = mkdtemp(&path[0]) ? path : "/nonexistent"; }
  ~temp_dir() { run_command("rm -rf '" + path + "'"); }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

}  // namespace vt_test
