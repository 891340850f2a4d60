// Intel HEX writing: exact records for hand-checked examples (the write error is checked end to end).
#include <gtest/gtest.h>

#include <sstream>

#include "image/hex_file.h"
#include "image_test_support.h"

namespace {

using namespace image_test;

TEST(HexWrite, ExactRecordsForTheExamples) {
  const uint8_t counting[20] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
  const uint8_t high[3] = {0xAB, 0xCD, 0xEF};
  const struct {
    layout blocks;
    const uint8_t* bytes;
    std::string text;
  } cases[] = {
      {{}, counting, ":00000001FF\n"},
      {{{0x100, 0}}, counting, ":00000001FF\n"},
      // A record crossing 64 KiB keeps its start's upper address.
      {{{0xFFF8, 20}}, counting, ":10FFF800000102030405060708090A0B0C0D0E0F81\n:020000040001F9\n:0400080010111213AE\n:00000001FF\n"},
      // Records are cut from the block start, not at multiples of 16.
      {{{0x0003, 17}}, counting, ":10000300000102030405060708090A0B0C0D0E0F75\n:0100130010DC\n:00000001FF\n"},
      // The upper address is announced on every change, back to 0 as well.
      {{{0x2A0000, 3}, {0x10, 1}}, high, ":02000004002AD0\n:03000000ABCDEF96\n:020000040000FA\n:01001000AB44\n:00000001FF\n"},
  };
  scratch_dir dir;
  for (const auto& c : cases) {
    mem_image image;
    for (const auto& [address, size] : c.blocks) image.append(new data_block(address, size, c.bytes));
    message_capture quiet;
    hex_write(image, (dir / "out.hex").c_str());
    std::stringstream text;
    text << std::ifstream(dir / "out.hex").rdbuf();
    EXPECT_EQ(text.str(), c.text);
    EXPECT_EQ(quiet.text(), "");
  }
}

}  // namespace
