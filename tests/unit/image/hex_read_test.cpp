// Intel HEX reading: every failure with its message and status, the blocks a good file makes.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <tuple>

#include "image/hex_file.h"
#include "image_test_support.h"

namespace {

using namespace image_test;

struct outcome {
  int code = -1;  // -1: no exception
  bool rtl = false;
  std::string messages, what;
};

outcome read_into(mem_image& image, const std::string& path) {
  outcome r;
  message_capture capture;
  try {
    hex_read(image, path.c_str());
  } catch (const rtl_error& e) {
    r = {e.code, true, "", e.what()};
  } catch (const app_error& e) {
    r.code = e.code;
  }
  r.messages = capture.text();
  return r;
}

// A data record of `length` bytes of `fill`, with its checksum.
std::string data_record(unsigned offset, int length, uint8_t fill) {
  char text[600];
  int n = snprintf(text, sizeof text, ":%02X%04X00", unsigned(length), offset);
  unsigned sum = unsigned(length) + (offset >> 8) + (offset & 0xFF);
  for (int i = 0; i < length; ++i, sum += fill) n += snprintf(text + n, sizeof text - n, "%02X", fill);
  snprintf(text + n, sizeof text - n, "%02X\n", (0x100 - (sum & 0xFF)) & 0xFF);
  return text;
}

std::string with_name(std::string text, const std::string& path) {
  if (size_t at = text.find("%F"); at != std::string::npos) text.replace(at, 2, path);
  return text;
}

const std::string end = ":00000001FF\n";

TEST(HexRead, BadInputStopsWithItsMessageAndStatus) {
  const std::string longest = data_record(0, 255, 0x5A);  // 521 characters and a line feed
  std::vector<std::tuple<std::string, std::string, bool>> cases = {  // content, message ("%F": file name), rtl
      {"", "Unexpected end of file '%F'\n", true},
      {":0400000001020304F2\n", "Unexpected end of file '%F'\n", true},
      {":00000006FA\n" + end, "Unknown HEX record type 0x 6\n", false},
      {std::string("\x01\x7f\xfe\xff\x80\n", 6), "Invalid HEX line\n'\x01\x7f\xfe\xff\x80'\n", false},
      {std::string(":00000001FF\0zz\n", 15), "Invalid HEX line\n':00000001FF'\n", false},
      {longest.substr(0, 521) + "00\n" + end, "Invalid HEX line\n'00'\n", false},
      {"#" + std::string(530, 'c') + "\n" + end, "Invalid HEX line\n'cccccccccc'\n", false},
      {":0400000001020304F2\n:0200020003FFFA\n" + end,
       "HEX file records overlapped in addresses 0x2-0x3 with NON-equal data\n", false},
      {data_record(0x100, 16, 0x55) + data_record(0x104, 8, 0x55) + ":01010A00AA4A\n" + end,
       "Warning: HEX file records overlapped in addresses 0x104-0x10B with equal data\n"
       "HEX file records overlapped in addresses 0x10A-0x10A with NON-equal data\n", false},
  };
  // Short header, no colon, wrong length, digit missing or extra, text after the checksum, bad digits, base size.
  for (const char* line : {":040000", ":", "0400000001020304F2", ":0500000001020304F1", ":0300000001020304F3",
                           ":040000000102030F2", ":0400000001020304F20", ":00000001FFx", ":04000000010G0304F2",
                           ":0400Z00001020304F2", ":+400000001020304F2", ":FF000000AB55", ":0100000401FA",
                           ":03000002100000EB"})
    cases.emplace_back(line + ("\n" + end), "Invalid HEX line\n'" + std::string(line) + "'\n", false);
  scratch_dir dir;
  for (const auto& [content, message, rtl] : cases) {
    SCOPED_TRACE(content.substr(0, 40));
    const std::string path = dir.write("bad.hex", content);
    mem_image image;
    errno = ENOENT;  // a stale reason must not show up under an end-of-file message
    const outcome got = read_into(image, path);
    EXPECT_EQ(got.messages, with_name(message, path));
    EXPECT_EQ(got.code, 50);
    EXPECT_EQ(got.rtl, rtl);
    EXPECT_EQ(got.what, rtl ? strerror(0) : "");
  }
}

TEST(HexRead, LenientFormsAndTheLongestRecordReadWithoutComplaint) {
  scratch_dir dir;
  mem_image image;
  outcome got = read_into(image, dir.write("lenient.hex", "# a comment line\r\n\r\n : 04 0000 00 0a0B0c0D  cE \r\n"
                                                          "\t:0400040001020304EE\r\n\f\v\n:00000001ff\r\n"));
  EXPECT_EQ(got.code, -1);
  EXPECT_EQ(got.messages, "");
  EXPECT_EQ(image_bytes(image), (std::map<uint32_t, uint8_t>{{0, 0x0A}, {1, 0x0B}, {2, 0x0C}, {3, 0x0D},
                                                             {4, 1}, {5, 2}, {6, 3}, {7, 4}}));
  mem_image one;  // a line of exactly 521 characters
  EXPECT_EQ(read_into(one, dir.write("long.hex", data_record(0, 255, 0x5A) + end)).code, -1);
  EXPECT_EQ(block_layout(one), (layout{{0, 255}}));
}

TEST(HexRead, RecordsMergeIntoSortedBlocksOfAtMost4096Bytes) {
  std::string run_4096;  // 16 records of 255 bytes and one of 16
  for (unsigned i = 0; i < 16; ++i) run_4096 += data_record(i * 255, 255, 0x33);
  run_4096 += data_record(4080, 16, 0x33);
  const struct {
    std::string content;
    layout blocks;
    std::string messages;  // "%F" stands for the file name
  } cases[] = {
      {data_record(0, 16, 1) + data_record(0x10, 16, 1) + data_record(0x30, 16, 1) + end, {{0, 32}, {0x30, 16}}, ""},
      {run_4096 + end, {{0, 4096}}, ""},
      {run_4096 + data_record(4096, 1, 0x33) + end, {{0, 4096}, {4096, 1}}, ""},
      {":020000040001F9\n" + data_record(0, 4, 9) + end, {{0x10000, 4}}, ""},
      {":020000021000EC\n" + data_record(0xFFF8, 16, 9) + end, {{0x1FFF8, 16}}, ""},  // no wrap in the segment
      {data_record(0x300, 8, 1) + data_record(0x200, 8, 2) + data_record(0x100, 8, 3) + end,
       {{0x100, 8}, {0x200, 8}, {0x300, 8}}, ""},
      {data_record(0x100, 8, 1) + data_record(0x100, 4, 1) + end, {{0x100, 4}, {0x100, 8}},
       "Warning: HEX file records overlapped in addresses 0x100-0x103 with equal data\n"},
      {":020000047FFF7C\n" + data_record(0xFFF0, 16, 7) + data_record(0xFFF0, 16, 7) + end,
       {{0x7FFFFFF0, 16}, {0x7FFFFFF0, 16}},
       "Warning: HEX file records overlapped in addresses 0x7FFFFFF0-0x7FFFFFFF with equal data\n"},
      {":00001000F0\n" + data_record(0, 1, 1) + end, {{0, 1}}, "Zero-data HEX line ignored\n  :00001000F0\n"},
      {":0400000300000000F9\n:04000005000000C037\n" + data_record(0, 1, 1) + end, {{0, 1}},
       "Start address record in HEX file ignored\nStart address record in HEX file ignored\n"},
      {data_record(0, 2, 1) + end + "garbage\n:0100000001FE\n", {{0, 2}}, ""},  // nothing read after the end
      {end, {}, "Warning: '%F' has no data records\n"},
  };
  scratch_dir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content.substr(0, 60));
    mem_image image;
    const std::string path = dir.write("good.hex", c.content);
    const outcome got = read_into(image, path);
    EXPECT_EQ(got.code, -1);
    EXPECT_EQ(got.messages, with_name(c.messages, path));
    EXPECT_EQ(block_layout(image), c.blocks);
  }
}

TEST(HexRead, ChecksumQuestionOncePerFile) {
  scratch_dir dir;
  const std::string file = dir.write("csum.hex", ":0400000001020304F3\n:0400040001020304EF\n" + end);
  const std::string question = "CSUM error in line\n  :0400000001020304F3\nIgnore ALL CSUM errors (y/N)?\n";
  const struct {
    const char* answers;
    int first_code, second_code;
  } cases[] = {{"y\nY\n", -1, -1}, {"y\n", -1, 50}, {"n\n", 50, 50}, {"", 50, 50}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.answers);
    ASSERT_NE(freopen(dir.write("stdin", c.answers).c_str(), "r", stdin), nullptr);
    mem_image first, second;
    const outcome a = read_into(first, file), b = read_into(second, file);
    EXPECT_EQ(a.code, c.first_code);
    EXPECT_EQ(b.code, c.second_code);
    EXPECT_EQ(a.messages + b.messages, question + question);
  }
  EXPECT_NE(freopen("/dev/null", "r", stdin), nullptr);
}

}  // namespace
