// The configuration file search and the text helpers the configuration reader shares with it.
#include "driver/config_path.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/support/message_capture.h"

namespace {

// A scratch tree root/{a,b,b/sub,cwd,bin} with b/x.cfg and b/sub/x.cfg, the current directory root/cwd.
class ConfigPath : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/zindle_config_path_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
    for (const char* d : {"/a", "/b", "/b/sub", "/cwd", "/bin"}) mkdir((root + d).c_str(), 0700);
    touch("/b/x.cfg");
    touch("/b/sub/x.cfg");
    ASSERT_NE(getcwd(saved_cwd, sizeof saved_cwd), nullptr);
    ASSERT_EQ(chdir((root + "/cwd").c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(saved_cwd), 0);
    unsetenv("ZINDLE_CONFIG_PATH");
    setenv("PATH", saved_path.c_str(), 1);
    ASSERT_EQ(system(("rm -rf " + root).c_str()), 0);
  }
  void touch(const std::string& path) { std::ofstream(root + path) << "mosi=D5\n"; }
  std::string expand(const char* text) {  // '@' stands for the scratch root
    std::string s;
    for (const char* p = text; *p; ++p) s += *p == '@' ? root : std::string(1, *p);
    return s;
  }

  std::string root;
  char saved_cwd[4096];
  std::string saved_path = getenv("PATH") ? getenv("PATH") : "";
  char out[4096];
};

TEST_F(ConfigPath, SearchOrderAndNameForms) {
  const struct {
    const char* env;       // ZINDLE_CONFIG_PATH, null: unset
    const char* name;
    const char* expected;  // found path, null: not found
  } cases[] = {
      {"@/a:@/b/", "x.cfg", "@/b/x.cfg"},  // no doubled '/'
      {"::@/b::", "x.cfg", "@/b/x.cfg"},   // empty names are skipped
      {"@/a", "x.cfg", nullptr},
      {"@/b", "sub/x.cfg", nullptr},       // a path into a subdirectory is not searched
      {"@/b", "./x.cfg", "@/b/./x.cfg"},
      {"@/b/sub", "../x.cfg", "@/b/sub/../x.cfg"},
      {nullptr, "x.cfg", nullptr},
      {"", "x.cfg", nullptr},
      {"@/b", "@/b/sub/x.cfg", "@/b/sub/x.cfg"},  // absolute, as given
  };
  for (const auto& c : cases) {
    c.env ? setenv("ZINDLE_CONFIG_PATH", expand(c.env).c_str(), 1) : unsetenv("ZINDLE_CONFIG_PATH");
    message_capture capture(3);
    const bool found = find_config_file(out, sizeof out, expand(c.name).c_str());
    EXPECT_EQ(found ? std::string(out) : "(none)", c.expected ? expand(c.expected) : "(none)") << c.name;
    const std::string debug = std::string("\t% config path ") + (c.env && *c.env ? expand(c.env) : "not defined") + "\n";
    EXPECT_EQ(capture.text().rfind(debug, 0), 0u) << capture.text();
  }
  touch("/cwd/x.cfg");  // a name in the current directory wins over the list
  ASSERT_TRUE(find_config_file(out, sizeof out, "x.cfg"));
  EXPECT_STREQ(out, "x.cfg");
}

TEST_F(ConfigPath, DirectoryTooLongForTheResultIsCutAndNotFound) {
  const std::string dir = root + "/b";
  const char* lists[] = {dir.c_str(), nullptr};
  const size_t fits = dir.size() + 1 + 5 + 1;  // dir, '/', "x.cfg", terminator
  EXPECT_TRUE(find_file(out, fits, "x.cfg", lists));
  EXPECT_EQ(std::string(out), dir + "/x.cfg");
  EXPECT_FALSE(find_file(out, fits - 1, "x.cfg", lists));
  EXPECT_FALSE(find_file(out, 5, "x.cfg", lists));
}

TEST_F(ConfigPath, ProgramDirectoryFromInvocationOrPath) {
  touch("/bin/prog");
  chmod((root + "/bin/prog").c_str(), 0755);
  ASSERT_EQ(chdir(root.c_str()), 0);
  setenv("PATH", (root + "/a:" + root + "/bin").c_str(), 1);
  ASSERT_TRUE(compute_program_dir("prog", out));
  EXPECT_EQ(std::string(out), root + "/bin");
  ASSERT_TRUE(compute_program_dir("./bin/prog", out));
  EXPECT_STREQ(out, "./bin");
  ASSERT_TRUE(compute_program_dir("/usr/local/bin/zindle", out));
  EXPECT_STREQ(out, "/usr/local/bin");
  setenv("PATH", (root + "/a").c_str(), 1);
  EXPECT_FALSE(compute_program_dir("prog", out));
  unsetenv("PATH");
  EXPECT_FALSE(compute_program_dir("prog", out));
}

TEST(ConfigText, TokensCommentsAndTrimming) {
  tokenizer t{"::one:two::three", ":"};
  char out[4];
  std::string tokens;
  while (next_token(t, out, sizeof out)) tokens += std::string(out) + "|";
  EXPECT_EQ(tokens, "one|two|thr|");  // cut to size - 1
  const struct {
    const char* line;
    const char* stripped;
    const char* trimmed;
  } cases[] = {
      {"mosi=D5 ; data # out", "mosi=D5 ", "mosi=D5"},
      {"mosi=D5 # data ; out", "mosi=D5 ", "mosi=D5"},
      {"  \t ", "  \t ", ""},
      {"  a b  \n", "  a b  \n", "a b"},
  };
  for (const auto& c : cases) {
    std::string buffer(c.line);
    strip_comment(&buffer[0]);
    EXPECT_STREQ(buffer.c_str(), c.stripped) << c.line;
    EXPECT_STREQ(trim(&buffer[0]), c.trimmed) << c.line;
  }
  EXPECT_TRUE(has_no_dir("x.cfg"));
  EXPECT_FALSE(has_no_dir("./x.cfg"));
}

}  // namespace
