// The waveform file: what a viewer reads from a sequence of line changes (recordings
// continued by a second program are checked end to end with sigrok).
#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "sim/bench/vcd_writer.h"
#include "tests/support/vt_run.h"

namespace {

TEST(VcdWriter, ChangesWindowsAndEnd) {
  const std::string header =
      "$version vtarget $end\n$timescale 1ns $end\n$scope module isp $end\n"
      "$var wire 1 ! sck $end\n$var wire 1 \" miso $end\n$upscope $end\n$enddefinitions $end\n";
  // What, the changes (time, wire, value), the end time, the window, the file after the header.
  const struct { const char* what; std::vector<std::tuple<uint64_t, size_t, char>> changes; uint64_t end, from, to;
                 std::string body; } cases[] = {
      {"initial values, then only what changed; the end time last",
       {{100, 0, '0'}, {100, 1, 'z'}, {250, 0, '1'}, {250, 1, '1'}, {400, 0, '0'}}, 1000, 0, UINT64_MAX,
       "#100\n$dumpvars\n0!\nz\"\n$end\n#250\n1!\n1\"\n#400\n0!\n#1000\n"},
      {"a pulse within one nanosecond and a level set again leave nothing",
       {{5, 0, '0'}, {5, 1, '0'}, {7, 0, '1'}, {7, 0, '0'}, {9, 1, '0'}, {12, 1, '1'}}, 12, 0, UINT64_MAX,
       "#5\n$dumpvars\n0!\n0\"\n$end\n#12\n1\"\n"},
      {"a window starts with the levels of that moment and ends at its end",
       {{0, 0, '0'}, {0, 1, '0'}, {10, 0, '1'}, {20, 1, '1'}, {30, 0, '0'}, {40, 1, '0'}, {50, 0, '1'}}, 60, 15, 45,
       "#15\n$dumpvars\n1!\n0\"\n$end\n#20\n1\"\n#30\n0!\n#40\n0\"\n#45\n"},
      {"a window after the last change", {{0, 0, '1'}, {0, 1, '0'}}, 100, 70, UINT64_MAX,
       "#70\n$dumpvars\n1!\n0\"\n$end\n#100\n"},
      {"a window before the first change", {{80, 0, '1'}, {80, 1, '0'}}, 100, 10, 50, ""},
  };
  scratch_dir dir;
  for (const auto& c : cases) {
    const std::string path = dir / c.what;
    vt::vcd_writer w({"sck", "miso"});
    std::string error;
    w.set_window(c.from, c.to);
    ASSERT_TRUE(w.open(::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0644), error)) << error;
    for (const auto& [t, wire, value] : c.changes) w.change(t, wire, value);
    w.close(c.end);
    EXPECT_EQ(vt_test::read_file(path), header + c.body) << c.what;
  }
}

}  // namespace
