// Pin configuration entries, files and built-in wirings, the checks on a map and the filling from defaults.
#include "adapter/pin_map.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "lpt/builtin_pin_maps.h"
#include "lpt/lpt_pin_table.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

struct word {
  int signal;
  uint32_t active;
  uint32_t inactive;
};

// Loads text into a fresh map; returns the message, empty when it succeeded.
std::string load(const char* text, pin_map& map) {
  message_capture capture;
  const int status = status_of([&] { load_pin_map(map, text, lpt_pin_table); });
  EXPECT_EQ(status, capture.text().empty() ? -1 : 70) << text;
  return capture.text();
}

void expect_words(const pin_map& map, const std::vector<word>& words, const std::string& context) {
  for (int s = 0; s < signal_count; ++s) {
    uint32_t active = 0, inactive = 0;
    for (const word& w : words)
      if (w.signal == s) active = w.active, inactive = w.inactive;
    EXPECT_EQ(map.signals[s].active_bits, active) << context << " signal " << signal_table[s].name;
    EXPECT_EQ(map.signals[s].inactive_bits, inactive) << context << " signal " << signal_table[s].name;
  }
}

TEST(PinMapParser, EntriesGiveWordsOrTheExactMessage) {
  const struct {
    const char* text;         // the whole -a value
    const char* name;         // expected map name (when no error)
    std::vector<word> words;  // every defined signal (when no error)
    const char* error;        // expected message, or null
  } cases[] = {
      {"m:mosi=D5", "", {{signal_mosi, 0x20, 0}}, nullptr},
      {"m:reset=~D2", "", {{signal_reset, 0, 0x04}}, nullptr},
      {"m:miso=BUSY", "", {{signal_miso, 0, 0x8000}}, nullptr},
      {"m:miso=~ACK", "", {{signal_miso, 0, 0x4000}}, nullptr},
      {"m:power=D0,D1,D2,D7", "", {{signal_power, 0x87, 0}}, nullptr},
      {"m:enable=STROBE,~INIT", "", {{signal_enable, 0, 0x050000}}, nullptr},
      {"m:led_ok=~SELECT:key=ERROR", "", {{signal_led_ok, 0x080000, 0}, {signal_key, 0x0800, 0}}, nullptr},
      {"m: MOSI = d5 ", "", {{signal_mosi, 0x20, 0}}, nullptr},
      {"m::mosi=D5:::sck=D6:", "", {{signal_mosi, 0x20, 0}, {signal_sck, 0x40, 0}}, nullptr},
      {"m:power=D5,D6", "", {{signal_power, 0x60, 0}}, nullptr},
      {"m:name=  My cable  :mosi=D1", "My cable", {{signal_mosi, 0x02, 0}}, nullptr},
      {"m:name=   :name=X", "X", {}, nullptr},
      {"m:name=0123456789012345678901234567890123456789AB", "012345678901234567890123456789012345678", {},
       nullptr},
      {"mX", "", {}, nullptr},
      {"m:", "", {}, "Invalid adapter switch 'm:'\n"},
      {"m=", "", {}, "Invalid adapter switch 'm='\n"},
      {"m:mosi=D5,D6", "", {}, "adapter: can't use multiply pins for signal 'mosi'\n"},
      {"m:mosi=D5:sck=D5", "", {}, "adapter: can't use 'D5' for 'sck' - already used for 'mosi'\n"},
      {"m:power=D1,D1", "", {}, "adapter: can't use 'D1' for 'power' - already used for 'power'\n"},
      {"m:mosi=BUSY", "", {}, "adapter: can't use input pin 'BUSY' for output signal 'mosi'\n"},
      {"m:miso=D3", "", {}, "adapter: can't use output pin 'D3' for input signal 'miso'\n"},
      {"m:mosi=~ D5", "", {}, "adapter: invalid pin name ' D5'\n"},
      {"m:mosi=D8", "", {}, "adapter: invalid pin name 'D8'\n"},
      {"m:mosi=D5,", "", {}, "adapter: invalid pin name ''\n"},
      {"m:name=", "", {}, "adapter: invalid string 'name='\n"},
      {"m:mosi", "", {}, "adapter: invalid string 'mosi'\n"},
      {"m:name=A:name=B", "", {}, "adapter: duplicate keyword 'name'\n"},
      {"m:clock=D1", "", {}, "adapter: invalid signal name 'clock'\n"},
      {"m:mosi=D1: Mosi =D2", "", {}, "adapter: duplicate signal name 'Mosi'\n"},
  };
  for (const auto& c : cases) {
    pin_map map;
    const std::string message = load(c.text, map);
    if (c.error != nullptr) {
      EXPECT_EQ(message, c.error) << c.text;
      continue;
    }
    EXPECT_EQ(message, "") << c.text;
    EXPECT_STREQ(map.name, c.name) << c.text;
    expect_words(map, c.words, c.text);
  }
}

// The built-in wirings filled in code mean the same as their entries.
TEST(PinMapParser, BuiltInWiringsMatchTheirEntries) {
  struct builtin_case {
    void (*fill)(pin_map&);
    const char* entries;
  } cases[] = {
      {[](pin_map& m) { fill_kaldo_map(m, false); }, "m:name=KALDO:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=D3"},
      {[](pin_map& m) { fill_kaldo_map(m, true); },
       "m:name=KALDO:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=D3:power=D0,D1,D2,D7"},
      {[](pin_map& m) { fill_stk_map(m, false); }, "m:name=STK:mosi=D5:miso=ACK:sck=D4:reset=D7:enable=~D2,~D3,~D6"},
      {[](pin_map& m) { fill_stk_map(m, true); }, "m:name=STK:mosi=D5:miso=ACK:sck=D4:reset=D7:enable=~D2,~D3:xtal=D6"},
      {fill_byteblaster_map, "m:name=ByteBlaster:mosi=D6:miso=BUSY:sck=D0:reset=D1:xtal=D3:enable=~ALF"},
      {fill_byteblaster2_map,
       "m:name=ByteBlasterII:mosi=D6:miso=BUSY:sck=D0:reset=D1:xtal=D2:enable=D4,D5,D7,INIT,STROBE,ALF,SELECT"},
      {fill_xilinx_map, "m:name=XILINX:mosi=D0:miso=ONLINE:sck=D1:reset=D2:set=D4:enable=~D3"},
  };
  for (const builtin_case& c : cases) {
    pin_map filled, parsed;
    c.fill(filled);
    ASSERT_EQ(load(c.entries, parsed), "") << c.entries;
    EXPECT_STREQ(filled.name, parsed.name);
    std::vector<word> words;
    for (int s = 0; s < signal_count; ++s)
      words.push_back({s, parsed.signals[s].active_bits, parsed.signals[s].inactive_bits});
    expect_words(filled, words, c.entries);
  }
}

TEST(PinMapParser, ConfigurationFileWithComments) {
  const std::string path = ::testing::TempDir() + "pin_map:" + std::to_string(getpid());  // '=' comes before ':'
  {
    std::ofstream f(path);
    f << "# my cable\n"
         "name = Home made ; version 2\n"
         "mosi=D5 ; data out\n"
         "miso=ACK # data in\n"
         "   \t \n"
         "; only a comment\n"
         "sck = D6\n"
         "reset=~D4\n";
  }
  pin_map map;
  message_capture capture(3);
  load_pin_map(map, ("m=" + path).c_str(), lpt_pin_table);
  EXPECT_STREQ(map.name, "Home made");
  expect_words(map, {{signal_mosi, 0x20, 0}, {signal_miso, 0x4000, 0}, {signal_sck, 0x40, 0}, {signal_reset, 0, 0x10}},
               path);
  EXPECT_NE(capture.text().find("\t% loading config file '" + path + "'\n"), std::string::npos) << capture.text();

  pin_map other;
  EXPECT_EQ(load("m=no_such_pin_file.cfg", other), "File 'no_such_pin_file.cfg' not found\n");
  unlink(path.c_str());
}

TEST(PinMapChecks, MessagesNameTheFirstFailingSignal) {
  pin_map map;
  ASSERT_EQ(load("m:sck=D1:xtal=STROBE:miso=ACK", map), "");
  const struct {
    std::function<void()> check;
    const char* message;
  } cases[] = {
      {[&] { require_defined(map, {signal_sck, signal_mosi, signal_reset}); }, "mosi must be defined\n"},
      {[&] { require_within(map, {signal_sck, signal_xtal}, 0xFF, "D0..D7 lines"); }, "xtal must be in D0..D7 lines\n"},
      {[&] { require_defined(map, {signal_sck, signal_miso}); }, ""},
      {[&] { require_within(map, {signal_sck, signal_mosi}, 0xFF, "D0..D7 lines"); }, ""},
  };
  for (const auto& c : cases) {
    message_capture capture;
    EXPECT_EQ(status_of(c.check), *c.message ? 70 : -1) << c.message;
    EXPECT_EQ(capture.text(), c.message);
  }
}

TEST(PinMapChecks, FillMissingTakesTheDefaultsOnlyWhereUndefined) {
  pin_map user, defaults;
  defaults.set_name("FT2232");
  defaults.signals[signal_mosi] = {0x02, 0};
  defaults.signals[signal_sck] = {0x01, 0};
  defaults.signals[signal_led_ok] = {0, 0x1000};
  user.signals[signal_mosi] = {0, 0x80};
  user.signals[signal_key] = {0x4000, 0};
  fill_missing(user, defaults);
  EXPECT_STREQ(user.name, "FT2232");
  expect_words(user, {{signal_mosi, 0, 0x80}, {signal_sck, 0x01, 0}, {signal_led_ok, 0, 0x1000}, {signal_key, 0x4000, 0}},
               "filled");

  pin_map named;
  named.set_name("Mine");
  fill_missing(named, defaults);
  EXPECT_STREQ(named.name, "Mine");  // a name of its own is kept
}

}  // namespace
