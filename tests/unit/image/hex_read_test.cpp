#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "image/hex_file.h"
#include "image_test_support.h"

namespace {

using namespace image_test;

struct outcome {
  int code = -1;       // -1: no exception
  bool rtl = false;
  std::string messages;
};

// Answers for the checksum question come from a file put in place of stdin.
void set_stdin(const scratch_dir& dir, const std::string& answers) {
  ASSERT_NE(freopen(dir.write("stdin", answers).c_str(), "r", stdin), nullptr);
}

outcome read_into(mem_image& image, const std::string& path) {
  outcome result;
  captured_messages capture;
  try {
    hex_read(image, path.c_str());
  } catch (const rtl_error& e) {
    result.code = e.code;
    result.rtl = true;
  } catch (const app_error& e) {
    result.code = e.code;
  }
  result.messages = capture.text();
  return result;
}

// A 255-byte record: exactly 521 characters without its line end.
std::string longest_record() {
  std::string line = ":FF000000";
  unsigned sum = 0xFF;
  for (int i = 0; i < 255; ++i) {
    char pair[3];
    snprintf(pair, sizeof pair, "%02X", i);
    line += pair;
    sum += static_cast<unsigned>(i);
  }
  char cs[3];
  snprintf(cs, sizeof cs, "%02X", (0x100 - (sum & 0xFF)) & 0xFF);
  return line + cs;
}

struct bad_case {
  const char* name;
  std::string content;
  std::string message;  // "%F" stands for the file name
  int code;
  bool rtl;
};

TEST(HexRead, BadInputStopsWithItsMessageAndStatus) {
  const std::string end = ":00000001FF\n";
  const std::string good = ":0400000001020304F2\n";
  const std::string longest = longest_record();
  const bad_case cases[] = {
      {"empty file", "", "Unexpected end of file '%F'\n", 50, true},
      {"no end record", good, "Unexpected end of file '%F'\n", 50, true},
      {"only blank lines", "\n\n  \r\n", "Unexpected end of file '%F'\n", 50, true},
      {"truncated record", ":04000000010203", "Invalid HEX line\n':04000000010203'\n", 50, false},
      {"truncated header", ":040000\n" + end, "Invalid HEX line\n':040000'\n", 50, false},
      {"colon alone", ":\n", "Invalid HEX line\n':'\n", 50, false},
      {"no colon", "0400000001020304F2\n", "Invalid HEX line\n'0400000001020304F2'\n", 50, false},
      {"length larger than data", ":0500000001020304F1\n", "Invalid HEX line\n':0500000001020304F1'\n", 50, false},
      {"length smaller than data", ":0300000001020304F3\n", "Invalid HEX line\n':0300000001020304F3'\n", 50, false},
      {"missing digit", ":040000000102030F2\n", "Invalid HEX line\n':040000000102030F2'\n", 50, false},
      {"extra digit", ":0400000001020304F20\n", "Invalid HEX line\n':0400000001020304F20'\n", 50, false},
      {"text after checksum", ":00000001FFx\n", "Invalid HEX line\n':00000001FFx'\n", 50, false},
      {"non-hex data digit", ":04000000010G0304F2\n", "Invalid HEX line\n':04000000010G0304F2'\n", 50, false},
      {"non-hex header digit", ":0400Z00001020304F2\n", "Invalid HEX line\n':0400Z00001020304F2'\n", 50, false},
      {"sign in header", ":+400000001020304F2\n", "Invalid HEX line\n':+400000001020304F2'\n", 50, false},
      {"huge length field", ":FF000000AB55\n", "Invalid HEX line\n':FF000000AB55'\n", 50, false},
      {"linear base of one byte", ":0100000401FA\n", "Invalid HEX line\n':0100000401FA'\n", 50, false},
      {"segment base of three bytes", ":03000002100000EB\n", "Invalid HEX line\n':03000002100000EB'\n", 50, false},
      {"record type 06", ":00000006FA\n" + end, "Unknown HEX record type 0x 6\n", 50, false},
      {"record type FF", good + ":000000FF01\n" + end, "Unknown HEX record type 0xFF\n", 50, false},
      {"binary garbage", std::string("\x01\x7f\xfe\xff\x80", 5) + "\n", "Invalid HEX line\n'\x01\x7f\xfe\xff\x80'\n", 50,
       false},
      {"NUL inside a line", std::string(":00000001FF\0zz\n", 15), "Invalid HEX line\n':00000001FF'\n", 50, false},
      {"line longer than 521 characters", longest + "00\n" + end, "Invalid HEX line\n'00'\n", 50, false},
      {"comment longer than 521 characters", "#" + std::string(530, 'c') + "\n" + end,
       "Invalid HEX line\n'cccccccccc'\n", 50, false},
      {"overlap with different data", ":0400000001020304F2\n:0200020003FFFA\n" + end,
       "HEX file records overlapped in addresses 0x2-0x3 with NON-equal data\n", 50, false},
  };
  scratch_dir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = dir.write("bad.hex", c.content);
    std::string expected = c.message;
    if (size_t at = expected.find("%F"); at != std::string::npos) expected.replace(at, 2, path);
    mem_image image;
    errno = ENOENT;  // a stale reason must not show up under an end-of-file message
    outcome got = read_into(image, path);
    EXPECT_EQ(got.messages, expected);
    EXPECT_EQ(got.code, c.code);
    EXPECT_EQ(got.rtl, c.rtl);
  }
}

TEST(HexRead, UnexpectedEndOfFileCarriesNoStaleSystemReason) {
  scratch_dir dir;
  const std::string path = dir.write("cut.hex", ":0400000001020304F2\n");
  mem_image image;
  errno = ENOENT;
  try {
    captured_messages quiet;
    hex_read(image, path.c_str());
    FAIL() << "no exception";
  } catch (const rtl_error& e) {
    EXPECT_STREQ(e.what(), strerror(0));
  }
}

TEST(HexRead, MissingFileIsAnOpenFailure) {
  scratch_dir dir;
  mem_image image;
  outcome got = read_into(image, dir.file("absent.hex"));
  EXPECT_EQ(got.messages, "Can't open file '" + dir.file("absent.hex") + "'\n");
  EXPECT_EQ(got.code, 70);
  EXPECT_TRUE(got.rtl);
}

TEST(HexRead, BlocksAppendedBeforeAFailureStayInTheImage) {
  scratch_dir dir;
  // 4096 bytes make a full block before the bad line; nothing leaks or vanishes.
  std::string content;
  for (int i = 0; i < 257; ++i) {
    char line[64];
    unsigned address = static_cast<unsigned>(i) * 16;
    unsigned sum = 0x10 + (address >> 8) + (address & 0xFF);
    std::string data(32, '0');
    snprintf(line, sizeof line, ":10%04X00%s%02X\n", address, data.c_str(), (0x100 - (sum & 0xFF)) & 0xFF);
    content += line;
  }
  content += ":0200000401\n";
  mem_image image;
  outcome got = read_into(image, dir.write("partial.hex", content));
  EXPECT_EQ(got.code, 50);
  EXPECT_EQ(block_layout(image), (std::vector<std::pair<int32_t, int32_t>>{{0, 4096}}));
}

TEST(HexRead, LenientFormsReadWithoutComplaint) {
  scratch_dir dir;
  const std::string content =
      "# a comment line\r\n"
      "\r\n"
      " : 04 0000 00 0a0B0c0D  cE \r\n"
      "\t:0400040001020304EE\r\n"
      "\f\v\n"
      ":00000001ff\r\n";
  mem_image image;
  outcome got = read_into(image, dir.write("lenient.hex", content));
  EXPECT_EQ(got.code, -1);
  EXPECT_EQ(got.messages, "");
  std::map<uint32_t, uint8_t> expected = {{0, 0x0A}, {1, 0x0B}, {2, 0x0C}, {3, 0x0D},
                                          {4, 1},    {5, 2},    {6, 3},    {7, 4}};
  EXPECT_EQ(image_bytes(image), expected);
  EXPECT_EQ(image.count(), 1);
}

TEST(HexRead, LongestRecordFitsOneLineWithAnyLineEnd) {
  scratch_dir dir;
  for (const char* line_end : {"", "\n", "\r\n", "   \r\n"}) {
    mem_image image;
    outcome got = read_into(image, dir.write("long.hex", longest_record() + line_end + "\n:00000001FF\n"));
    EXPECT_EQ(got.code, -1) << got.messages;
    ASSERT_EQ(image.count(), 1);
    EXPECT_EQ(image.first()->size, 255);
    EXPECT_EQ(image.first()->bytes[254], 254);
  }
}

struct layout_case {
  const char* name;
  std::string content;
  std::vector<std::pair<int32_t, int32_t>> layout;
  std::string messages;
};

std::string data_record(unsigned offset, int length, uint8_t fill, unsigned type = 0) {
  char head[16];
  snprintf(head, sizeof head, ":%02X%04X%02X", static_cast<unsigned>(length), offset, type);
  std::string line = head;
  unsigned sum = static_cast<unsigned>(length) + (offset >> 8) + (offset & 0xFF) + type;
  for (int i = 0; i < length; ++i) {
    char pair[3];
    snprintf(pair, sizeof pair, "%02X", fill);
    line += pair;
    sum += fill;
  }
  char cs[4];
  snprintf(cs, sizeof cs, "%02X\n", (0x100 - (sum & 0xFF)) & 0xFF);
  return line + cs;
}

TEST(HexRead, RecordsMergeIntoSortedBlocks) {
  std::string records_257;
  for (unsigned i = 0; i < 257; ++i) records_257 += data_record(i * 16, 16, 0x33);
  const std::string end = ":00000001FF\n";
  const layout_case cases[] = {
      {"consecutive records join, a gap starts a block",
       data_record(0, 16, 1) + data_record(0x10, 16, 1) + data_record(0x30, 16, 1) + end,
       {{0, 32}, {0x30, 16}},
       ""},
      {"257 records make 4096 + 16", records_257 + end, {{0, 4096}, {4096, 16}}, ""},
      {"linear base 0x0001", ":020000040001F9\n" + data_record(0, 4, 9) + end, {{0x10000, 4}}, ""},
      {"segment base 0x1000", ":020000021000EC\n" + data_record(0, 4, 9) + end, {{0x10000, 4}}, ""},
      {"segment record runs past offset 0xFFFF", ":020000021000EC\n" + data_record(0xFFF8, 16, 9) + end,
       {{0x1FFF8, 16}},
       ""},
      {"records of a 64 KiB boundary join across it",
       data_record(0xFFF0, 16, 5) + ":020000040001F9\n" + data_record(0, 16, 5) + end,
       {{0xFFF0, 32}},
       ""},
      {"descending records come out sorted",
       data_record(0x300, 8, 1) + data_record(0x200, 8, 2) + data_record(0x100, 8, 3) + end,
       {{0x100, 8}, {0x200, 8}, {0x300, 8}},
       ""},
      {"equal addresses sort by end", data_record(0x100, 8, 1) + data_record(0x100, 4, 1) + end,
       {{0x100, 4}, {0x100, 8}},
       "Warning: HEX file records overlapped in addresses 0x100-0x103 with equal data\n"},
      {"equal overlaps warn once per pair and both stay",
       data_record(0x10, 8, 7) + data_record(0x20, 8, 7) + data_record(0x14, 8, 7) + end,
       {{0x10, 8}, {0x14, 8}, {0x20, 8}},
       "Warning: HEX file records overlapped in addresses 0x14-0x17 with equal data\n"},
      {"one block overlapped by two",
       data_record(0x10, 32, 7) + data_record(0x40, 1, 0) + data_record(0x12, 2, 7) + data_record(0x20, 4, 7) + end,
       {{0x10, 32}, {0x12, 2}, {0x20, 4}, {0x40, 1}},
       "Warning: HEX file records overlapped in addresses 0x12-0x13 with equal data\n"
       "Warning: HEX file records overlapped in addresses 0x20-0x23 with equal data\n"},
      {"equal overlap ending at the highest block address",
       ":020000047FFF7C\n" + data_record(0xFFF0, 16, 7) + data_record(0xFFF0, 16, 7) + end,
       {{0x7FFFFFF0, 16}, {0x7FFFFFF0, 16}},
       "Warning: HEX file records overlapped in addresses 0x7FFFFFF0-0x7FFFFFFF with equal data\n"},
      {"zero-length data record", ":00001000F0\n" + data_record(0, 1, 1) + end, {{0, 1}},
       "Zero-data HEX line ignored\n  :00001000F0\n"},
      {"start address records", ":0400000300000000F9\n:04000005000000C037\n" + data_record(0, 1, 1) + end, {{0, 1}},
       "Start address record in HEX file ignored\nStart address record in HEX file ignored\n"},
      {"nothing after the end record is read", data_record(0, 2, 1) + end + "garbage\n:0100000001FE\n", {{0, 2}}, ""},
  };
  scratch_dir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    mem_image image;
    outcome got = read_into(image, dir.write("good.hex", c.content));
    EXPECT_EQ(got.code, -1);
    EXPECT_EQ(got.messages, c.messages);
    EXPECT_EQ(block_layout(image), c.layout);
  }
}

TEST(HexRead, EndRecordOnlyWarnsOfNoData) {
  scratch_dir dir;
  const std::string path = dir.write("empty.hex", ":00000001FF\n");
  mem_image image;
  outcome got = read_into(image, path);
  EXPECT_EQ(got.code, -1);
  EXPECT_EQ(got.messages, "Warning: '" + path + "' has no data records\n");
  EXPECT_EQ(image.count(), 0);
}

TEST(HexRead, NonEqualOverlapNamesTheWholeRange) {
  scratch_dir dir;
  std::string content = data_record(0x100, 16, 0x55) + data_record(0x104, 8, 0x55);
  content += ":01010A00AA4A\n:00000001FF\n";  // one differing byte at 0x10A
  mem_image image;
  outcome got = read_into(image, dir.write("clash.hex", content));
  EXPECT_EQ(got.code, 50);
  // Blocks 0x100-0x10F and 0x10A alone: the first overlap is 0x104-0x10B (equal),
  // then 0x10A-0x10A differs.
  EXPECT_EQ(got.messages,
            "Warning: HEX file records overlapped in addresses 0x104-0x10B with equal data\n"
            "HEX file records overlapped in addresses 0x10A-0x10A with NON-equal data\n");
}

TEST(HexRead, ChecksumQuestionOncePerFile) {
  scratch_dir dir;
  const std::string bad1 = ":0400000001020304F3";
  const std::string bad2 = ":0400040001020304EF";
  const std::string file = dir.write("csum.hex", bad1 + "\n" + bad2 + "\n:00000001FF\n");
  const std::string question1 = "CSUM error in line\n  " + bad1 + "\nIgnore ALL CSUM errors (y/N)?\n";

  struct answer_case {
    const char* answers;
    int first_code, second_code;
    std::string messages;
  } cases[] = {
      {"y\nY\n", -1, -1, question1 + question1},  // each file asks once
      {"y\n", -1, 50, question1 + question1},      // the second file meets the end of input
      {"n\n", 50, 50, question1 + question1},
      {"", 50, 50, question1 + question1},
      {"\n", 50, 50, question1 + question1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.answers);
    set_stdin(dir, c.answers);
    mem_image first, second;
    outcome a = read_into(first, file);
    outcome b = read_into(second, file);
    EXPECT_EQ(a.code, c.first_code);
    EXPECT_EQ(b.code, c.second_code);
    EXPECT_EQ(a.messages + b.messages, c.messages);
    if (c.first_code == -1) {
      EXPECT_EQ(image_bytes(first).size(), 8u);
    }
  }
  EXPECT_NE(freopen("/dev/null", "r", stdin), nullptr);
}

// Real AVR builds: the image must hold exactly the bytes the ELF file had.
TEST(HexRead, AvrToolchainOutputMatchesTheElfImage) {
  const struct {
    const char* hex;
    const char* bin;
  } files[] = {
      {"hex/small_flash.hex", "hex/small_flash.bin"},   {"hex/small_eeprom.hex", "hex/small_eeprom.bin"},
      {"hex/large_flash.hex", "hex/large_flash.bin"},   {"hex/large_flash_linear.hex", "hex/large_flash.bin"},
      {"hex/large_eeprom.hex", "hex/large_eeprom.bin"},
  };
  for (const auto& f : files) {
    SCOPED_TRACE(f.hex);
    const std::string raw = read_file(data_path(f.bin));
    ASSERT_FALSE(raw.empty());
    mem_image image;
    outcome got = read_into(image, data_path(f.hex));
    EXPECT_EQ(got.code, -1);
    EXPECT_EQ(got.messages, "");
    std::map<uint32_t, uint8_t> expected;
    for (size_t i = 0; i < raw.size(); ++i) expected[static_cast<uint32_t>(i)] = static_cast<uint8_t>(raw[i]);
    EXPECT_EQ(image_bytes(image), expected);
    for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) EXPECT_LE(b->size, 4096);
  }
}

}  // namespace
