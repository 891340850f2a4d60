// The help listings: the layout of the device list and each chip's fuse list.
#include "driver/help.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "devices/chip_desc.h"
#include "tests/support/message_capture.h"

namespace {

std::string capture(const std::function<void()>& listing) {
  message_capture out;
  listing();
  return out.text();
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Names at 1, 12, 24, ... at least two blanks apart, lines up to 78 long, a new line for a new group.
TEST(Help, DeviceListLayout) {
  const std::string text = capture(print_help);
  const size_t from = text.find("\nSupported devices\n") + 19, to = text.find("\n\nFor latest");
  std::istringstream list(text.substr(from, to - from));
  std::vector<std::string> lines;
  for (std::string line; std::getline(list, line);) lines.push_back(line);
  ASSERT_GE(lines.size(), 5u);
  EXPECT_EQ(lines[0], " 86RF401");
  EXPECT_EQ(lines[1], " 90S1200    90S2313     90S4414     90S8515     90S4434     90S8535");
  EXPECT_EQ(lines[3], " tiny12     tiny22L     tiny22      tiny13|tiny13A");
  EXPECT_EQ(lines[4], " tiny2313|tiny2313A     tiny4313");
  int row = 0;
  for (size_t l = 0; l < lines.size(); ++l) {
    const std::string& line = lines[l];
    EXPECT_LE(line.size(), 78u) << line;
    size_t end = 0;
    for (size_t pos; (pos = line.find_first_not_of(' ', end)) != std::string::npos; ++row) {
      ASSERT_LT(row, chip_count);
      const chip_desc& chip = chip_table[row];
      end = std::min(line.find(' ', pos), line.size());
      EXPECT_EQ(line.substr(pos, end - pos), chip.name) << "names out of table order";
      const bool first = pos == line.find_first_not_of(' ');
      EXPECT_TRUE(first ? pos == 1 : pos % 12 == 0 && !(chip.flags & chip_list_new_line)) << chip.name;
    }
    if (l + 1 < lines.size()) {  // a line ends early only before a new group or a name that would not fit
      const size_t slot = (end + 2 + 11) / 12 * 12;
      EXPECT_TRUE((chip_table[row].flags & chip_list_new_line) || slot + strlen(chip_table[row].name) > 78)
          << chip_table[row].name << " would have fitted";
    }
  }
  EXPECT_EQ(row, chip_count);
}

TEST(Help, ChipFuseListings) {
  const std::string mega8 = capture([] { print_chip_fuses("mega8"); });
  EXPECT_EQ(mega8.rfind("\nmega8|mega8A signature 1E9307\nFuse list\n  fuse programmed state is 0\n"
                        "  use ON or OFF aliases for 1-bit fuses if you not shure\n"
                        "\n_LOCK fuse byte:\n"
                        "  BLB1       = 0 to  3 - Disable SPM/LPM in boot section (BLB12,BLB11)\n", 0), 0u) << mega8;
  EXPECT_TRUE(has(mega8, "\n_LOW fuse byte:\n  BODLEVEL   = 0 or  1 - Brown-out level\n   (BLEV)\n"));
  EXPECT_TRUE(has(mega8, "  CKSEL      = 0 to  F - Clock selection\n\n_HIGH fuse byte:\n  RSTDISBL "));
  EXPECT_TRUE(has(mega8, "   (BRST)\n") && !has(mega8, "_EXT"));
  EXPECT_TRUE(has(capture([] { print_chip_fuses("mega328P"); }), "  BODLEVEL   = 0 to  7 - Brown-out level\n"));
  EXPECT_EQ(capture([] { print_chip_fuses("86RF401"); }), "\n86RF401 signature 1E9181\n  has no ISP-writable fuses\n");
  EXPECT_EQ(capture([] { print_chip_fuses("90S1200"); }), "\n90S1200 signature 1E9001\n  has no ISP-writable fuses\n");
  EXPECT_EQ(capture([] { print_chip_fuses("tiny1"); }), "tiny1 unsupported\n");
}

// Every name of every device, the first of the table too, gets that device's listing.
TEST(Help, EveryDeviceNameGetsItsListing) {
  for (int i = 0; i < chip_count; ++i) {
    std::istringstream names(chip_table[i].name);
    for (std::string name; std::getline(names, name, '|');) {
      const std::string text = capture([&] { print_chip_fuses(name.c_str()); });
      EXPECT_EQ(text.rfind("\n" + std::string(chip_table[i].name) + " signature ", 0), 0u) << name << ": " << text;
    }
  }
}

}  // namespace
