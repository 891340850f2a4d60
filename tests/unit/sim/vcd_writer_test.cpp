// The waveform file: what a viewer reads from a sequence of line changes.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "sim/bench/vcd_writer.h"

namespace {

struct change {
  uint64_t t;
  size_t wire;
  char value;
};

const char* const header =
    "$version vtarget $end\n$timescale 1ns $end\n$scope module isp $end\n"
    "$var wire 1 ! sck $end\n$var wire 1 \" miso $end\n$upscope $end\n$enddefinitions $end\n";

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Records `changes` into `path` (appending to what is there) and ends at `end`.
bool record(const std::string& path, const std::vector<change>& changes, uint64_t end, uint64_t from = 0,
            uint64_t to = UINT64_MAX) {
  vt::vcd_writer w({"sck", "miso"});
  w.set_window(from, to);
  std::string error;
  if (!w.open(::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0644), error)) return false;
  for (const change& c : changes) w.change(c.t, c.wire, c.value);
  w.close(end);
  return true;
}

struct vcd_case {
  const char* what;
  std::vector<change> changes;
  uint64_t end, from, to;
  std::string body;  // after the header
};

TEST(VcdWriter, ChangesWindowsAndEnd) {
  const std::vector<vcd_case> cases = {
      {"initial values, then only what changed; the end time last",
       {{100, 0, '0'}, {100, 1, 'z'}, {250, 0, '1'}, {250, 1, '1'}, {400, 0, '0'}},
       1000, 0, UINT64_MAX,
       "#100\n$dumpvars\n0!\nz\"\n$end\n#250\n1!\n1\"\n#400\n0!\n#1000\n"},
      {"a pulse within one nanosecond and a level set again leave nothing",
       {{5, 0, '0'}, {5, 1, '0'}, {7, 0, '1'}, {7, 0, '0'}, {9, 1, '0'}, {12, 1, '1'}},
       12, 0, UINT64_MAX, "#5\n$dumpvars\n0!\n0\"\n$end\n#12\n1\"\n"},
      {"a window starts with the levels of that moment and ends at its end",
       {{0, 0, '0'}, {0, 1, '0'}, {10, 0, '1'}, {20, 1, '1'}, {30, 0, '0'}, {40, 1, '0'}, {50, 0, '1'}},
       60, 15, 45, "#15\n$dumpvars\n1!\n0\"\n$end\n#20\n1\"\n#30\n0!\n#40\n0\"\n#45\n"},
      {"a window after the last change", {{0, 0, '1'}, {0, 1, '0'}}, 100, 70, UINT64_MAX,
       "#70\n$dumpvars\n1!\n0\"\n$end\n#100\n"},
      {"a window before the first change", {{80, 0, '1'}, {80, 1, '0'}}, 100, 10, 50, ""},
  };
  for (const vcd_case& c : cases) {
    const std::string path = testing::TempDir() + "vcd_case.vcd";
    std::remove(path.c_str());
    ASSERT_TRUE(record(path, c.changes, c.end, c.from, c.to)) << c.what;
    EXPECT_EQ(read_file(path), header + c.body) << c.what;
  }
}

TEST(VcdWriter, ContinuesAnEarlierRecording) {
  const std::string path = testing::TempDir() + "vcd_continued.vcd";
  std::remove(path.c_str());
  ASSERT_TRUE(record(path, {{10, 0, '0'}, {10, 1, 'z'}, {20, 0, '1'}}, 30));
  // A second program's clock starts again at 0: its times follow on the first's end.
  ASSERT_TRUE(record(path, {{5, 0, '1'}, {5, 1, 'z'}, {8, 1, '0'}}, 9));
  EXPECT_EQ(read_file(path), std::string(header) +
                                 "#10\n$dumpvars\n0!\nz\"\n$end\n#20\n1!\n#30\n"
                                 "#35\n1!\nz\"\n#38\n0\"\n#39\n");
  // A recording that ended where it began.
  const std::string once = testing::TempDir() + "vcd_once.vcd";
  std::remove(once.c_str());
  ASSERT_TRUE(record(once, {{10, 0, '0'}, {10, 1, '1'}}, 10));
  ASSERT_TRUE(record(once, {{2, 0, '1'}, {2, 1, '1'}}, 4));
  EXPECT_EQ(read_file(once), std::string(header) + "#10\n$dumpvars\n0!\n1\"\n$end\n#12\n1!\n1\"\n#14\n");
  // Another file is not continued.
  const std::string other = testing::TempDir() + "vcd_other.vcd";
  std::ofstream(other) << "$timescale 1ps $end\n";
  EXPECT_FALSE(record(other, {{1, 0, '1'}}, 2));
  EXPECT_EQ(read_file(other), "$timescale 1ps $end\n");
}

}  // namespace
