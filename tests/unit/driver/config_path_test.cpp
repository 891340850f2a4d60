#include "driver/config_path.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/support/message_capture.h"

namespace {

// A scratch tree: root/a, root/b/, root/b/x.cfg, root/b/sub/x.cfg, root/cwd/
class ConfigPath : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/zindle_config_path_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
    for (const char* d : {"/a", "/b", "/b/sub", "/cwd", "/bin"}) mkdir((root + d).c_str(), 0700);
    touch(root + "/b/x.cfg");
    touch(root + "/b/sub/x.cfg");
    ASSERT_NE(getcwd(saved_cwd, sizeof saved_cwd), nullptr);
    const char* old = getenv("ZINDLE_CONFIG_PATH");
    had_config_path = old != nullptr;
    if (old != nullptr) saved_config_path = old;
    saved_path = getenv("PATH") ? getenv("PATH") : "";
  }
  void TearDown() override {
    ASSERT_EQ(chdir(saved_cwd), 0);
    if (had_config_path)
      setenv("ZINDLE_CONFIG_PATH", saved_config_path.c_str(), 1);
    else
      unsetenv("ZINDLE_CONFIG_PATH");
    setenv("PATH", saved_path.c_str(), 1);
    std::string cmd = "rm -rf " + root;
    ASSERT_EQ(system(cmd.c_str()), 0);
  }
  static void touch(const std::string& path) { std::ofstream(path) << "mosi=D5\n"; }

  std::string root;
  char saved_cwd[4096];
  bool had_config_path = false;
  std::string saved_config_path, saved_path;
};

TEST_F(ConfigPath, SearchOrderAndNameForms) {
  struct search_case {
    const char* env;       // ZINDLE_CONFIG_PATH with @ for the scratch root, null: unset
    const char* name;
    const char* expected;  // found path with @ for the root, null: not found
  } cases[] = {
      {"@/a:@/b/", "x.cfg", "@/b/x.cfg"},  // no doubled '/'
      {"@/a:@/b", "x.cfg", "@/b/x.cfg"},
      {"::@/b::", "x.cfg", "@/b/x.cfg"},   // empty names are skipped
      {"@/a", "x.cfg", nullptr},
      {"@/b", "sub/x.cfg", nullptr},       // a path into a subdirectory is not searched
      {"@/b", "./x.cfg", "@/b/./x.cfg"},
      {"@/b/sub", "../x.cfg", "@/b/sub/../x.cfg"},
      {nullptr, "x.cfg", nullptr},
      {"", "x.cfg", nullptr},
  };
  ASSERT_EQ(chdir((root + "/cwd").c_str()), 0);
  for (const search_case& c : cases) {
    auto expand = [&](const char* text) {
      std::string s;
      for (const char* p = text; *p; ++p) s += *p == '@' ? root : std::string(1, *p);
      return s;
    };
    if (c.env == nullptr)
      unsetenv("ZINDLE_CONFIG_PATH");
    else
      setenv("ZINDLE_CONFIG_PATH", expand(c.env).c_str(), 1);
    char out[4096];
    const bool found = find_config_file(out, sizeof out, c.name);
    EXPECT_EQ(found, c.expected != nullptr) << (c.env ? c.env : "unset") << " " << c.name;
    if (found && c.expected) {
      EXPECT_EQ(std::string(out), expand(c.expected)) << c.name;
    }
  }
}

TEST_F(ConfigPath, NameInCurrentDirectoryWinsOverTheList) {
  ASSERT_EQ(chdir((root + "/cwd").c_str()), 0);
  touch(root + "/cwd/x.cfg");
  setenv("ZINDLE_CONFIG_PATH", (root + "/b").c_str(), 1);
  char out[4096];
  ASSERT_TRUE(find_config_file(out, sizeof out, "x.cfg"));
  EXPECT_STREQ(out, "x.cfg");
  ASSERT_TRUE(find_config_file(out, sizeof out, (root + "/b/sub/x.cfg").c_str()));  // absolute, as given
  EXPECT_EQ(std::string(out), root + "/b/sub/x.cfg");
}

TEST_F(ConfigPath, DebugLineSaysWhetherTheVariableIsDefined) {
  char out[4096];
  for (const char* value : {"", static_cast<const char*>(nullptr), "/nowhere:/else"}) {
    if (value == nullptr)
      unsetenv("ZINDLE_CONFIG_PATH");
    else
      setenv("ZINDLE_CONFIG_PATH", value, 1);
    message_capture capture(3);
    find_config_file(out, sizeof out, "no_such.cfg");
    const std::string expected = std::string("\t% config path ") + (value && *value ? value : "not defined") + "\n";
    EXPECT_EQ(capture.text().compare(0, expected.size(), expected), 0) << capture.text();
  }
}

TEST_F(ConfigPath, DirectoryTooLongForTheResultIsCutAndNotFound) {
  const std::string dir = root + "/b";
  const char* lists[] = {dir.c_str(), nullptr};
  ASSERT_EQ(chdir((root + "/cwd").c_str()), 0);
  char out[4096];
  // Exactly enough room for dir + "/x.cfg" and its terminator: found.
  const size_t fits = dir.size() + 1 + 5 + 1;
  EXPECT_TRUE(find_file(out, fits, "x.cfg", lists));
  EXPECT_EQ(std::string(out), dir + "/x.cfg");
  // One character less: the directory name is cut and the joined path misses.
  EXPECT_FALSE(find_file(out, fits - 1, "x.cfg", lists));
  EXPECT_FALSE(find_file(out, 5, "x.cfg", lists));
}

TEST_F(ConfigPath, ProgramDirectoryFromInvocationOrPath) {
  touch(root + "/bin/prog");
  chmod((root + "/bin/prog").c_str(), 0755);
  ASSERT_EQ(chdir(root.c_str()), 0);
  char dir[4096];
  setenv("PATH", (root + "/a:" + root + "/bin").c_str(), 1);
  ASSERT_TRUE(compute_program_dir("prog", dir));
  EXPECT_EQ(std::string(dir), root + "/bin");
  ASSERT_TRUE(compute_program_dir("./bin/prog", dir));
  EXPECT_STREQ(dir, "./bin");
  ASSERT_TRUE(compute_program_dir("/usr/local/bin/zindle", dir));
  EXPECT_STREQ(dir, "/usr/local/bin");
  setenv("PATH", (root + "/a").c_str(), 1);
  EXPECT_FALSE(compute_program_dir("prog", dir));
  unsetenv("PATH");
  EXPECT_FALSE(compute_program_dir("prog", dir));
}

TEST(ConfigText, TokensCommentsAndTrimming) {
  tokenizer t{"::one:two::three", ":"};
  char out[4];
  std::string tokens;
  while (next_token(t, out, sizeof out)) tokens += std::string(out) + "|";
  EXPECT_EQ(tokens, "one|two|thr|");  // cut to size - 1

  struct text_case {
    const char* line;
    const char* stripped;
    const char* trimmed;
  } cases[] = {
      {"mosi=D5 ; data # out", "mosi=D5 ", "mosi=D5"},
      {"mosi=D5 # data ; out", "mosi=D5 ", "mosi=D5"},
      {"  \t ", "  \t ", ""},
      {"# all comment", "", ""},
      {"  a b  \n", "  a b  \n", "a b"},
  };
  for (const text_case& c : cases) {
    std::string buffer(c.line);
    strip_comment(&buffer[0]);
    EXPECT_STREQ(buffer.c_str(), c.stripped) << c.line;
    EXPECT_STREQ(trim(&buffer[0]), c.trimmed) << c.line;
  }
  EXPECT_TRUE(has_no_dir("x.cfg"));
  EXPECT_FALSE(has_no_dir("./x.cfg"));
}

}  // namespace
