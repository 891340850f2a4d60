// FLASH and EEPROM reading and writing against the chip model: instruction traces, waits and polling.
#include <gtest/gtest.h>

#include <vector>

#include "driver/settings.h"
#include "isp/isp_chip.h"
#include "isp/memory_read.h"
#include "isp/memory_write.h"
#include "isp/write_wait.h"
#include "tests/support/chip_bench.h"

namespace {

using isp_test::chip_bench;
using strings = std::vector<std::string>;

uint8_t pattern(uint32_t a) { return uint8_t(a ^ (a >> 8) ^ ((a >> 17) * 0x55) ^ 0x3C); }

// Writes bytes through the memory's writer in ascending order and finishes the pending page.
void program(int memory, uint32_t start, const std::vector<uint8_t>& data) {
  isp_chip.memory = uint8_t(memory);
  setup_polling(memory);
  for (size_t i = 0; i < data.size(); ++i) write_cell(int32_t(start + i), data[i]);
  if (memory == 0 && isp_chip.paged_flash && isp_chip.last_loaded != -1) write_flash_page(isp_chip.last_loaded);
}

TEST(Mega2560, ReadsAndWritesAcrossTheExtendedBoundary) {
  for (bool block : {true, false}) {
    chip_bench b("mega2560", "mega2560", {block}, {}, [](vt::chip_state& s) {
      for (uint32_t a = 0; a < s.flash.size(); ++a) s.flash[a] = pattern(a);
    });
    b.start();
    isp_chip.last_loaded = -1;
    std::vector<uint8_t> buf(512);
    read_flash(buf.data(), 0x1FF00, 512);
    for (uint32_t i = 0; i < 512; ++i) ASSERT_EQ(buf[i], pattern(0x1FF00 + i)) << i;
    const auto t = b.framed_hex();
    ASSERT_EQ(t.size(), 514u);
    EXPECT_EQ(strings({t[0], t[1], t[256], t[257], t[258]}),
              strings({"4D 00 00 00", "20 FF 80 00", "28 FF FF 00", "4D 00 01 00", "20 00 00 00"}));
    EXPECT_EQ(b.adapter->count("transfer_block 1028"), block ? 2 : 0);
    b.clear_trace();
    read_flash(buf.data(), 0x20200, 16);  // the same segment again: no new Load Extended Address
    EXPECT_EQ(b.framed(0x4D).size(), 0u);
  }
  chip_bench b("mega2560", "mega2560");
  b.start();
  program(0, 0x20010, {1, 2, 3, 4});
  EXPECT_EQ(b.framed_hex(), (strings{"40 00 08 01", "48 00 08 02", "40 00 09 03", "48 00 09 04", "4D 00 01 00",
                                     "4C 00 09 00"}));
  EXPECT_EQ(b.contents().flash[0x20012], 3);
}

TEST(Write, TracesAndWaits) {
  const struct {
    const char* chip;
    bool erased, polling;
    float factor;
    int memory;
    uint32_t start;
    std::vector<uint8_t> data;
    strings trace;  // empty: not checked
    std::vector<float> delays;
    const char* warning;
  } cases[] = {
      // An erased chip: a gap in a page is completed with 0xFF words, whole pages of 0xFF are skipped.
      {"mega8", true, false, 1, 0, 0x41, {0x12, 0x34},
       {"40 00 20 FF", "48 00 20 12", "40 00 21 34", "48 00 21 FF", "4C 00 21 00"}, {6}, ""},
      {"mega8", true, false, 1, 0, 0x7E, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00},
       {"40 00 42 FF", "48 00 42 00", "4C 00 42 00"}, {6}, ""},
      {"mega8", true, false, 1, 1, 8, {0xFF, 0x01}, {"C0 00 09 01"}, {10}, ""},  // EEPROM: 0xFF skipped too
      {"tiny12", false, false, 2, 0, 4, {0x55}, {"40 00 02 55"}, {12}, ""},  // byte writes scale with the factor
      {"tiny12", false, false, 2, 1, 4, {0x66}, {"C0 00 04 66"}, {16}, ""},
      {"tiny13", false, false, 1, 0, 0, {1, 2}, {}, {6}, ""},
      {"tiny13", false, false, 1, 1, 0, {3}, {}, {5}, ""},
      // Polling: a page of 0xFF waits the delay; the chip without polling warns and waits.
      {"mega8", false, true, 1, 0, 0x80, {0xFF, 0xFF}, {"40 00 40 FF", "48 00 40 FF", "4C 00 40 00"}, {6}, ""},
      {"90S1200", false, true, 1, 0, 0x10, {0x12}, {"40 00 08 12"}, {6},
       "Warning: can't use write polling for CODE memory of 90S1200\n"},
      // The page is polled at its last pollable byte (0x81 holds 0x22).
      {"mega8", false, true, 1, 0, 0x80, {0x11, 0x22, 0xFF, 0xFF},
       {"40 00 40 11", "48 00 40 22", "40 00 41 FF", "48 00 41 FF", "4C 00 41 00", "28 00 40 00"}, {}, ""},
      {"mega8", false, true, 1, 1, 5, {0xFF, 0x7F, 0x00}, {}, {10}, ""},  // only the unpollable 0xFF waits
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip);
    b.start(c.factor);
    isp_chip.erased = c.erased;
    if (c.polling) settings.write_flags = write_flag_write | write_flag_polling;
    program(c.memory, c.start, c.data);
    const std::string what = std::string(c.chip) + " at " + std::to_string(c.start);
    auto t = b.framed_hex();
    while (!c.trace.empty() && t.size() > c.trace.size() && t.back() == c.trace.back()) t.pop_back();  // repeated polls
    EXPECT_EQ(c.trace.empty() ? c.trace : t, c.trace) << what;
    EXPECT_TRUE(&c != &cases[0] || b.adapter->count("write_block 16") == 1) << "one page load in one block";
    EXPECT_EQ(b.adapter->delays(), c.delays) << what;
    EXPECT_EQ(b.messages(), c.warning) << what;
    EXPECT_EQ(b.framed(0xF0).size(), 0u) << "busy polled only when asked for";
    const auto& mem = c.memory == 0 ? b.contents().flash : b.contents().eeprom;
    for (size_t i = 0; i < c.data.size(); ++i) EXPECT_EQ(mem[c.start + i], c.data[i]) << what << "+" << i;
  }
}

}  // namespace
