// The configuration file search and the program's own directory.
#include "driver/config_path.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/support/scratch_dir.h"

namespace {

// A scratch tree root/{a,b,b/sub,bin} with b/x.cfg, b/sub/x.cfg and bin/prog; the current directory is root/a.
class ConfigPath : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* d : {"/a", "/b", "/b/sub", "/bin"}) mkdir((root + d).c_str(), 0700);
    for (const char* f : {"/b/x.cfg", "/b/sub/x.cfg", "/bin/prog"}) std::ofstream(root + f) << "mosi=D5\n";
    ASSERT_NE(getcwd(saved_cwd, sizeof saved_cwd), nullptr);
    ASSERT_EQ(chdir((root + "/a").c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(saved_cwd), 0);
    setenv("PATH", saved_path.c_str(), 1);
  }
  scratch_dir dir;
  const std::string root = dir.path;
  char saved_cwd[4096];
  std::string saved_path = getenv("PATH") ? getenv("PATH") : "";
  char out[4096];
};

TEST_F(ConfigPath, SearchOrderNameFormsAndRoomForTheResult) {
  const std::string a = root + "/a", b = root + "/b", sub = root + "/b/sub";
  const struct {
    std::string list, name, expected;  // expected "": not found
  } cases[] = {
      {a + ":" + b + "/", "x.cfg", b + "/x.cfg"},  // no doubled '/'
      {"::" + b + "::", "x.cfg", b + "/x.cfg"},    // empty names are skipped
      {a, "x.cfg", ""},
      {b, "sub/x.cfg", ""},  // a path into a subdirectory is not searched
      {b, "./x.cfg", b + "/./x.cfg"},
      {sub, "../x.cfg", sub + "/../x.cfg"},
      {a, "../b/sub/x.cfg", "../b/sub/x.cfg"},  // found as given
  };
  for (const auto& c : cases) {
    const char* lists[] = {c.list.c_str(), nullptr};
    const bool found = find_file(out, sizeof out, c.name.c_str(), lists);
    EXPECT_EQ(found ? std::string(out) : "", c.expected) << c.list << " " << c.name;
  }
  const char* lists[] = {b.c_str(), nullptr};
  const size_t fits = b.size() + 1 + 5 + 1;  // dir, '/', "x.cfg", terminator
  EXPECT_TRUE(find_file(out, fits, "x.cfg", lists));
  EXPECT_EQ(std::string(out), b + "/x.cfg");
  EXPECT_FALSE(find_file(out, fits - 1, "x.cfg", lists));
  EXPECT_FALSE(find_file(out, 5, "x.cfg", lists));
}

TEST_F(ConfigPath, ProgramDirectoryFromInvocationOrPath) {
  chmod((root + "/bin/prog").c_str(), 0755);
  setenv("PATH", (root + "/a:" + root + "/bin").c_str(), 1);
  ASSERT_TRUE(compute_program_dir("prog", out));
  EXPECT_EQ(std::string(out), root + "/bin");
  ASSERT_TRUE(compute_program_dir("./bin/prog", out));
  EXPECT_STREQ(out, "./bin");
  setenv("PATH", (root + "/a").c_str(), 1);
  EXPECT_FALSE(compute_program_dir("prog", out));
  unsetenv("PATH");
  EXPECT_FALSE(compute_program_dir("prog", out));
}

}  // namespace
