// The help listings as the user sees them: the usage text, the layout of the
// supported-devices list and one chip's fuse list.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "devices/chip_desc.h"
#include "driver/help.h"
#include "driver/messages.h"
#include "tests/support/message_capture.h"

namespace {

std::string capture(const std::function<void()>& listing) {
  message_capture out;
  listing();
  return out.text();
}

const char expected_usage[] =
    "Use:\tzindle [SWITCHES] [[-c] cfile] [-d dfile]\n"
    "\tSwitches ( # represent number)\n"
    "\n"
    " -?,-h\t this help\n"
    " +<nam>\tforce chip to specified by name <nam> (list see below)\n"
    " -aX\t'adapter' group (default KALDO)\n"
    "\t-a{ft2232|ft2232h|ft4232h}[PINMAP]\n"
    "\t\tFT2232/FT4232-based USB adapter with optional user pin configuration\n"
    "\t-amPINMAP - LPT adapter with user pin configuration\n"
    "\t\tPINMAP - pin configuration in one of two forms\n"
    "\t\t=filename (see documentation for config file format)\n"
    "\t\t:pincfg[:pincfg] (pin configuration entries as in config file)\n"
    "\t-ab  Altera ByteBlaster, ByteBlasterMV or ByteBlaster-II\n"
    "\t-as  STK200 or STK300 adapter\n"
    "\t-ax  XILINX parallel download cable\n"
    "\t-az  \"idleCable\" (turn LPT or FT2232 outputs to hi-Z after programming)\n"
    "\t-ai# Inactive reset time, #=time_in_mS\n"
    "\t-ap  chip powered from free LPT data outputs\n"
    " -k wait for pressing an adapter's key before starting the programming\n"
    "\t(-K for waiting before programming files reading)\n"
    "\tsee PINMAP description\n"
    " -p<device>\n"
    "    for LPT-based adapters:\n"
    "\t- hexadecimal number - LPT port number or base address for direct IO interface.\n"
    "\t  Default is 2 (LPT2)\n"
    "\t- /dev/parportN - parport special file for IOCTL LPT interface\n"
    "    for FT2232-based adapters:\n"
    "\tlist of optional FT2232 attributes  -pv=VID,p=PID,s=SERNO,d=DESCRIPTION\n"
    " -o#[Hz|kHz|MHz] define MCU oscillator frequency\n"
    " -os#[Hz|kHz|MHz] define SPI SCK frequency\n"
    "\tdefault units is kHz, default frequency is 800kHz\n"
    " -o0[,#] zindle must generate XTAL, #=additional divider for SCK\n"
    " -1, -2, -3, -4, -5\n"
    "\tset programming delays 1.5, 2, 3, 4, 5 times longer\n"
    "\t(for low voltage programming)\n"
    " -%%\tprint some debug info (use -%%%% in .bat files)\n"
    " -!\tforce operations even chip not detected\n"
    " -n#\tUse last 2 bytes of code memory for erase counter\n"
    "\t# force counter to specified value\n"
    " -c,-d\tmark Code and Data file names\n"
    " -e[-]\tErase\n"
    "\t'-' enable read/erase/writeback sequence for EEPROM\n"
    " -b (-b{c|d})\tBlank check (code or data only)\n"
    " -r\tRead from chip to files\n"
    " -w[+][p]\tWrite from files to chip\n"
    "\t'+' write FF to EEPROM locations not mentioned in '-d' file\n"
    "\t'p' use polling\n"
    " -v[+]\tVerify chip with files\n"
    "\t'+' enable testing of locations not mentioned in files\n"
    " -l[+]#\tLock chip to level #=1 (LB1 programmed) or 2 (LB1 and LB2 programmed)\n"
    "\t'+' write lock bits before fuses\n"
    " -f<list> -  fuses to be changed\n"
    "\t<list> syntax:\n"
    "\t\tfusename=val,bytename=val,...\n"
    "\t\tfor single-bit fuses val can be ON (0) or OFF (1)\n"
    "\t\tunlisted fuses not changed\n"
    "\ttype 'zindle +name -?'\n"
    "\tfor list of fuse names for chip 'name'\n";

// Splits print_help() output into usage, device list lines and the closing text.
struct help_parts {
  std::string usage;
  std::vector<std::string> lines;
  std::string closing;
};

help_parts split_help() {
  const std::string text = capture(print_help);
  help_parts parts;
  const std::string heading = "\nSupported devices\n";
  const size_t list = text.find(heading);
  const size_t closing = text.find("\n\nFor latest versions see\n");
  EXPECT_NE(list, std::string::npos);
  EXPECT_NE(closing, std::string::npos);
  if (list == std::string::npos || closing == std::string::npos) return parts;
  parts.usage = text.substr(0, list);
  std::istringstream lines(text.substr(list + heading.size(), closing - list - heading.size()));
  for (std::string line; std::getline(lines, line);) parts.lines.push_back(line);
  parts.closing = text.substr(closing);
  return parts;
}

TEST(Help, UsageTextIsPrintedAsData) {
  const help_parts parts = split_help();
  EXPECT_EQ(parts.usage, expected_usage);
  EXPECT_NE(parts.usage.find(" -%%\tprint some debug info (use -%%%% in .bat files)\n"), std::string::npos);
  EXPECT_EQ(parts.closing, std::string("\n\nFor latest versions see\n") + project_web_address + "\n");
}

TEST(Help, FirstLinesOfTheDeviceList) {
  const help_parts parts = split_help();
  const char* const expected[] = {
      " 86RF401",
      " 90S1200    90S2313     90S4414     90S8515     90S4434     90S8535",
      " 90S2333    90S4433     90S2323     90S2343",
      " tiny12     tiny22L     tiny22      tiny13|tiny13A",
      " tiny2313|tiny2313A     tiny4313",
  };
  ASSERT_GE(parts.lines.size(), std::size(expected));
  for (size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(parts.lines[i], expected[i]) << "line " << i;
}

struct placed_name {
  std::string name;
  size_t column;
};

TEST(Help, DeviceListLayout) {
  const help_parts parts = split_help();
  std::vector<std::vector<placed_name>> lines;
  for (const std::string& line : parts.lines) {
    EXPECT_LE(line.size(), 78u) << line;
    std::vector<placed_name> names;
    size_t pos = 0;
    while ((pos = line.find_first_not_of(' ', pos)) != std::string::npos) {
      size_t end = line.find(' ', pos);
      if (end == std::string::npos) end = line.size();
      names.push_back({line.substr(pos, end - pos), pos});
      pos = end;
    }
    lines.push_back(names);
  }
  int row = 0;
  for (size_t l = 0; l < lines.size(); ++l) {
    ASSERT_FALSE(lines[l].empty()) << "empty line " << l;
    for (size_t n = 0; n < lines[l].size(); ++n) {
      const placed_name& placed = lines[l][n];
      ASSERT_LT(row, chip_count);
      const chip_desc& chip = chip_table[row];
      EXPECT_EQ(placed.name, chip.name) << "names out of table order";
      if (n == 0) {
        EXPECT_EQ(placed.column, 1u) << placed.name;
      } else {
        const placed_name& before = lines[l][n - 1];
        EXPECT_EQ(placed.column % 12, 0u) << placed.name;
        EXPECT_GE(placed.column, before.column + before.name.size() + 2) << placed.name;
        EXPECT_EQ(chip.flags & chip_list_new_line, 0u) << placed.name << " should start a line";
      }
      ++row;
    }
    // A line ends early only before a new group or a name that would pass column 78.
    if (l + 1 < lines.size()) {
      const chip_desc& next = chip_table[row];
      const placed_name& last = lines[l].back();
      const size_t end = last.column + last.name.size();
      const size_t slot = (end + 2 + 11) / 12 * 12;
      EXPECT_TRUE((next.flags & chip_list_new_line) || slot + strlen(next.name) > 78)
          << next.name << " would have fitted after " << last.name;
    }
  }
  EXPECT_EQ(row, chip_count);
}

TEST(Help, Mega8FuseListing) {
  const std::string expected =
      "\nmega8|mega8A signature 1E9307\n"
      "Fuse list\n"
      "  fuse programmed state is 0\n"
      "  use ON or OFF aliases for 1-bit fuses if you not shure\n"
      "\n_LOCK fuse byte:\n"
      "  BLB1       = 0 to  3 - Disable SPM/LPM in boot section (BLB12,BLB11)\n"
      "  BLB0       = 0 to  3 - Disable SPM/LPM in application section (BLB02,BLB01)\n"
      "\n_LOW fuse byte:\n"
      "  BODLEVEL   = 0 or  1 - Brown-out level\n"
      "   (BLEV)\n"
      "  BODEN      = 0 or  1 - Brown-out detect\n"
      "  SUT        = 0 to  3 - Start-up timer\n"
      "  CKSEL      = 0 to  F - Clock selection\n"
      "\n_HIGH fuse byte:\n"
      "  RSTDISBL   = 0 or  1 - Reset pin disable\n"
      "   (RSTDSBL)\n"
      "  WDTON      = 0 or  1 - WDT enable\n"
      "  CKOPT      = 0 or  1 - Clock option\n"
      "  EESAVE     = 0 or  1 - Keep EEPROM @ erase\n"
      "   (EESV)\n"
      "  BOOTSZ     = 0 to  3 - Boot section size\n"
      "   (BSIZ)\n"
      "  BOOTRST    = 0 or  1 - Reset to boot block\n"
      "   (BRST)\n";
  EXPECT_EQ(capture([] { print_chip_fuses("mega8"); }), expected);
}

struct listing_case {
  const char* name;
  const char* expected;  // the whole listing, or a part of it when `part` is set
  bool part;
};

TEST(Help, OtherChipListings) {
  const listing_case cases[] = {
      {"90S1200", "\n90S1200 signature 1E9001\n  has no ISP-writable fuses\n", false},
      {"tiny22l", "\ntiny22L signature 1E9106\n  has no ISP-writable fuses\n", false},
      {"tiny1", "tiny1 unsupported\n", false},
      {"mega88", "\n_EXT fuse byte:\n  BOOTSZ     = 0 to  3 - Boot section size\n", true},
      {"mega88", "  BODLEVEL   = 0 to  7 - Brown-out level\n   (BLEV)\n", true},
      {"tiny13", "  SELFPRGEN  = 0 or  1 - Self programming enable\n   (SPMEN)\n", true},
      {"mega16HVB", "  DUVRDINIT  = 0 or  1 - DUVRD register reset value\n", true},
      {"mega128RFA1", "\nmega128RFA1 signature 1EA701\nFuse list\n", true},
  };
  for (const auto& c : cases) {
    const std::string text = capture([&] { print_chip_fuses(c.name); });
    if (c.part) {
      EXPECT_NE(text.find(c.expected), std::string::npos) << c.name << ":\n" << text;
    } else {
      EXPECT_EQ(text, c.expected) << c.name;
    }
  }
  // Chips with a single fuse byte list it under _LOW only.
  const std::string tiny12 = capture([] { print_chip_fuses("tiny12"); });
  EXPECT_NE(tiny12.find("\n_LOW fuse byte:\n"), std::string::npos);
  EXPECT_EQ(tiny12.find("_HIGH"), std::string::npos);
  EXPECT_EQ(tiny12.find("_LOCK"), std::string::npos);
}

}  // namespace
