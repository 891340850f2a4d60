// Pin configuration entries: the port bits each signal gets, or the exact message a bad entry stops with.
#include "adapter/pin_map.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lpt/lpt_pin_table.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

struct word {
  int signal;
  uint32_t active, inactive;
};

// Bits of the LPT pin table: D0..D7 are bits 0..7, the status lines from bit 8, the control lines from bit 16.
TEST(PinMapParser, EntriesGiveWordsOrTheExactMessage) {
  const struct {
    const char* text;         // the whole -a value
    const char* name;         // expected map name, or the message when it fails
    std::vector<word> words;  // every defined signal
  } cases[] = {
      {"m:reset=~D2", "", {{signal_reset, 0, 0x04}}},
      {"m:miso=BUSY", "", {{signal_miso, 0, 0x8000}}},  // the port inverts BUSY
      {"m:miso=~ACK", "", {{signal_miso, 0, 0x4000}}},
      {"m:power=D0,D1,D2,D7", "", {{signal_power, 0x87, 0}}},
      {"m:enable=STROBE,~INIT", "", {{signal_enable, 0, 0x050000}}},
      {"m:led_ok=~SELECT:key=ERROR", "", {{signal_led_ok, 0x080000, 0}, {signal_key, 0x0800, 0}}},
      {"m::mosi= d5 :::SCK=D6:", "", {{signal_mosi, 0x20, 0}, {signal_sck, 0x40, 0}}},
      {"m:name=  My cable  :mosi=D1", "My cable", {{signal_mosi, 0x02, 0}}},
      {"m:name=0123456789012345678901234567890123456789AB", "012345678901234567890123456789012345678", {}},
      {"m:", "Invalid adapter switch 'm:'\n", {}},
      {"m:mosi=D5,D6", "adapter: can't use multiply pins for signal 'mosi'\n", {}},
      {"m:mosi=D5:sck=D5", "adapter: can't use 'D5' for 'sck' - already used for 'mosi'\n", {}},
      {"m:mosi=BUSY", "adapter: can't use input pin 'BUSY' for output signal 'mosi'\n", {}},
      {"m:miso=D3", "adapter: can't use output pin 'D3' for input signal 'miso'\n", {}},
      {"m:mosi=D8", "adapter: invalid pin name 'D8'\n", {}},
      {"m:mosi=D5,", "adapter: invalid pin name ''\n", {}},
      {"m:name=", "adapter: invalid string 'name='\n", {}},
      {"m:name=A:name=B", "adapter: duplicate keyword 'name'\n", {}},
      {"m:clock=D1", "adapter: invalid signal name 'clock'\n", {}},
      {"m:mosi=D1: Mosi =D2", "adapter: duplicate signal name 'Mosi'\n", {}},
  };
  for (const auto& c : cases) {
    pin_map map;
    message_capture capture;
    const int status = status_of([&] { load_pin_map(map, c.text, lpt_pin_table); });
    const bool fails = std::string(c.name).find('\n') != std::string::npos;
    EXPECT_EQ(status, fails ? 70 : -1) << c.text;
    EXPECT_EQ(fails ? capture.text() : std::string(map.name), c.name) << c.text;
    for (int s = 0; s < signal_count && !fails; ++s) {
      word want{s, 0, 0};
      for (const word& w : c.words)
        if (w.signal == s) want = w;
      EXPECT_EQ(map.signals[s].active_bits, want.active) << c.text << " " << signal_table[s].name;
      EXPECT_EQ(map.signals[s].inactive_bits, want.inactive) << c.text << " " << signal_table[s].name;
    }
  }
}

}  // namespace
