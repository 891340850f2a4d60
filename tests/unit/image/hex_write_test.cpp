// Intel HEX writing: exact records for hand-checked examples, and what two readers get back
// (the write error and the open failure are checked end to end).
#include <gtest/gtest.h>

#include <random>

#include "image/hex_file.h"
#include "image_test_support.h"

namespace {

using namespace image_test;

std::string write_text(mem_image& image, const scratch_dir& dir) {
  message_capture quiet;
  hex_write(image, dir.file("out.hex").c_str());
  return read_file(dir.file("out.hex"));
}

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
    EXPECT_EQ(write_text(image, dir), c.text);
  }
}

// python3-intelhex's view of a file: address -> byte.
std::map<uint32_t, uint8_t> read_with_intelhex(const std::string& path) {
  const std::string command =
      "/usr/bin/python3 -c 'import sys, intelhex\nh = intelhex.IntelHex(sys.argv[1])\n"
      "for s, e in h.segments(): print(s, h.tobinstr(start=s, end=e - 1).hex())' '" + path + "'";
  FILE* pipe = popen(command.c_str(), "r");
  std::map<uint32_t, uint8_t> bytes;
  unsigned long address;
  char pair[3] = {};
  while (pipe != nullptr && fscanf(pipe, "%lu ", &address) == 1)
    while (fscanf(pipe, "%2[0-9a-f]", pair) == 1) bytes[uint32_t(address++)] = uint8_t(strtoul(pair, nullptr, 16));
  EXPECT_EQ(pipe != nullptr ? pclose(pipe) : -1, 0) << "python3-intelhex must read " << path;
  return bytes;
}

void fill_image(mem_image& image, const layout& blocks) {
  std::mt19937 random(7);
  for (const auto& [address, size] : blocks) {
    std::vector<uint8_t> bytes(size_t(size), 0);
    for (auto& byte : bytes) byte = uint8_t(random());
    image.append(new data_block(address, size, bytes.data()));
  }
}

layout full_256k() {
  layout blocks;
  for (int32_t at = 0; at < 0x40000; at += 4096) blocks.emplace_back(at, 4096);
  return blocks;
}

TEST(HexWrite, OurReaderAndPythonIntelhexReadBackWhatWasWritten) {
  const layout layouts[] = {{{0, 5}, {0x100, 33}, {0x2001, 1}, {0x7FF0, 4096}},
                            {{0xFFF8, 20}, {0x1FFF0, 100}, {0x2FFFF, 2}, {0x3F000, 8192}, {0x5FFF5, 11}},
                            full_256k()};
  scratch_dir dir;
  for (const auto& l : layouts) {
    mem_image image, back;
    fill_image(image, l);
    const std::string path = dir.file("trip.hex");
    message_capture capture;
    hex_write(image, path.c_str());
    hex_read(back, path.c_str());
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(image_bytes(back), image_bytes(image));
    EXPECT_EQ(read_with_intelhex(path), image_bytes(image));
  }
}

}  // namespace
