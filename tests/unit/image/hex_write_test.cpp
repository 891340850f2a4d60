#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "image/hex_file.h"
#include "image_test_support.h"

namespace {

using namespace image_test;

struct block_spec {
  int32_t address;
  int32_t size;
};

// Blocks of pseudo-random bytes (fixed seed) at the given places.
void fill_image(mem_image& image, const std::vector<block_spec>& blocks, unsigned seed = 1) {
  std::mt19937 random(seed);
  for (const auto& b : blocks) {
    std::vector<uint8_t> bytes(static_cast<size_t>(b.size));
    for (auto& byte : bytes) byte = static_cast<uint8_t>(random());
    image.append(new data_block(b.address, b.size, bytes.data()));
  }
}

std::vector<block_spec> full_256k() {
  std::vector<block_spec> blocks;
  for (int32_t at = 0; at < 0x40000; at += 4096) blocks.push_back({at, 4096});
  return blocks;
}

std::string write_text(mem_image& image, const scratch_dir& dir) {
  const std::string path = dir.file("out.hex");
  captured_messages quiet;
  hex_write(image, path.c_str());
  return read_file(path);
}

TEST(HexWrite, ExactRecordsForTheExamples) {
  const uint8_t counting[20] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
  const uint8_t high[3] = {0xAB, 0xCD, 0xEF};
  struct {
    const char* name;
    std::vector<std::pair<int32_t, int32_t>> blocks;  // address, size (bytes from `counting`)
    std::string text;
  } cases[] = {
      {"empty image", {}, ":00000001FF\n"},
      {"block of 20 at 0xFFF8 crosses into the next 64 KiB",
       {{0xFFF8, 20}},
       ":10FFF800000102030405060708090A0B0C0D0E0F81\n"
       ":020000040001F9\n"
       ":0400080010111213AE\n"
       ":00000001FF\n"},
      {"records are cut from the block start, not at multiples of 16",
       {{0x0003, 17}},
       ":10000300000102030405060708090A0B0C0D0E0F75\n"
       ":0100130010DC\n"
       ":00000001FF\n"},
      {"a size below 1 writes nothing", {{0x100, 0}}, ":00000001FF\n"},
  };
  scratch_dir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    mem_image image;
    for (const auto& b : c.blocks) image.append(new data_block(b.first, b.second, counting));
    EXPECT_EQ(write_text(image, dir), c.text);
  }
  // Upper address announced on every change, back to 0 as well.
  mem_image image;
  image.append(new data_block(0x2A0000, 3, high));
  image.append(new data_block(0x10, 1, high));
  EXPECT_EQ(write_text(image, dir),
            ":02000004002AD0\n"
            ":03000000ABCDEF96\n"
            ":020000040000FA\n"
            ":01001000AB44\n"
            ":00000001FF\n");
}

TEST(HexWrite, UpperCaseDigitsAndLineFeedsOnly) {
  scratch_dir dir;
  mem_image image;
  fill_image(image, {{0x1FF00, 700}, {0x40000, 33}});
  const std::string text = write_text(image, dir);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_EQ(text.find_first_of("abcdef"), std::string::npos);
  for (size_t start = 0; start < text.size();) {
    size_t end = text.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    EXPECT_LE(end - start, 1u + 2 * (4 + 16 + 1));
    start = end + 1;
  }
}

// The image layouts of the round trips.
const struct layout {
  const char* name;
  std::vector<block_spec> blocks;
} layouts[] = {
    {"gaps", {{0, 5}, {0x100, 33}, {0x2001, 1}, {0x7FF0, 4096}}},
    {"64 KiB boundaries", {{0xFFF8, 20}, {0x1FFF0, 100}, {0x2FFFF, 2}, {0x3F000, 8192}, {0x5FFF5, 11}}},
    {"256 KiB", full_256k()},
};

TEST(HexWrite, RoundTripThroughTheReader) {
  scratch_dir dir;
  for (const auto& l : layouts) {
    SCOPED_TRACE(l.name);
    mem_image image;
    fill_image(image, l.blocks);
    const std::string path = dir.file("trip.hex");
    hex_write(image, path.c_str());
    mem_image back;
    captured_messages capture;
    hex_read(back, path.c_str());
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(image_bytes(back), image_bytes(image));
  }
}

// srec_cat's hex dump: "AAAAAAAA: bb bb    bb ...  #text", holes as blanks.
std::map<uint32_t, uint8_t> read_with_srec_cat(const std::string& path, int* status) {
  std::map<uint32_t, uint8_t> bytes;
  const std::string dump = run_command("srec_cat '" + path + "' -intel -o - -hex-dump 2>&1", status);
  size_t start = 0;
  while (start < dump.size()) {
    size_t end = dump.find('\n', start);
    if (end == std::string::npos) end = dump.size();
    const std::string line = dump.substr(start, end - start);
    start = end + 1;
    const size_t colon = line.find(": ");
    if (colon == std::string::npos) continue;
    uint32_t address = static_cast<uint32_t>(std::stoul(line.substr(0, colon), nullptr, 16));
    const size_t hash = line.find('#', colon);
    const std::string cells = line.substr(colon + 2, hash - colon - 2);
    for (size_t i = 0; 3 * i + 1 < cells.size(); ++i) {
      const std::string pair = cells.substr(3 * i, 2);
      if (pair != "  ") bytes[address + static_cast<uint32_t>(i)] = static_cast<uint8_t>(std::stoul(pair, nullptr, 16));
    }
  }
  return bytes;
}

// python3-intelhex: one "start hexbytes" line per segment.
std::map<uint32_t, uint8_t> read_with_intelhex(const std::string& path, int* status) {
  std::map<uint32_t, uint8_t> bytes;
  const std::string out = run_command(
      "/usr/bin/python3 -c 'import sys, intelhex\n"
      "h = intelhex.IntelHex(sys.argv[1])\n"
      "for s, e in h.segments(): print(s, h.tobinstr(start=s, end=e - 1).hex())' '" +
          path + "'",
      status);
  size_t start = 0;
  while (start < out.size()) {
    size_t end = out.find('\n', start);
    const std::string line = out.substr(start, end - start);
    start = end + 1;
    const size_t blank = line.find(' ');
    if (blank == std::string::npos) continue;
    uint32_t address = static_cast<uint32_t>(std::stoul(line.substr(0, blank)));
    for (size_t i = blank + 1; i + 1 < line.size(); i += 2)
      bytes[address++] = static_cast<uint8_t>(std::stoul(line.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

TEST(HexWrite, SrecordReadsWhatWasWritten) {
  if (!have_tool("srec_cat")) GTEST_SKIP() << "srec_cat (Debian package srecord) not installed";
  scratch_dir dir;
  for (const auto& l : layouts) {
    SCOPED_TRACE(l.name);
    mem_image image;
    fill_image(image, l.blocks, 7);
    const std::string path = dir.file("srec.hex");
    hex_write(image, path.c_str());
    int status = -1;
    EXPECT_EQ(read_with_srec_cat(path, &status), image_bytes(image));
    EXPECT_EQ(status, 0);
  }
}

TEST(HexWrite, PythonIntelhexReadsWhatWasWritten) {
  if (system("/usr/bin/python3 -c 'import intelhex' >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "Debian package python3-intelhex not installed";
  scratch_dir dir;
  for (const auto& l : layouts) {
    SCOPED_TRACE(l.name);
    mem_image image;
    fill_image(image, l.blocks, 11);
    const std::string path = dir.file("py.hex");
    hex_write(image, path.c_str());
    int status = -1;
    EXPECT_EQ(read_with_intelhex(path, &status), image_bytes(image));
    EXPECT_EQ(status, 0);
  }
}

TEST(HexWrite, SecondToolAgreesOnTheCommittedAvrFiles) {
  if (!have_tool("srec_cat")) GTEST_SKIP() << "srec_cat (Debian package srecord) not installed";
  for (const char* name : {"hex/small_flash.hex", "hex/large_flash.hex", "hex/large_eeprom.hex"}) {
    SCOPED_TRACE(name);
    mem_image image;
    captured_messages quiet;
    hex_read(image, data_path(name).c_str());
    int status = -1;
    EXPECT_EQ(read_with_srec_cat(data_path(name), &status), image_bytes(image));
  }
}

TEST(HexWrite, WriteErrorIsReportedAndTheFileRemoved) {
  scratch_dir dir;
  const std::string path = dir.file("full.hex");
  mem_image image;
  fill_image(image, full_256k());
  // A child process with a small file size limit: the writes fail part-way.
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    captured_messages capture;
    rlimit limit{8192, 8192};
    setrlimit(RLIMIT_FSIZE, &limit);
    try {
      hex_write(image, path.c_str());
    } catch (...) {
      _exit(3);
    }
    const bool said = capture.text() == path + " - write error\n";
    const bool removed = access(path.c_str(), F_OK) != 0;
    _exit(said && removed ? 0 : said ? 1 : 2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: file left behind, 2: wrong message, 3: exception";
}

TEST(HexWrite, UncreatableFileIsAnOpenFailure) {
  scratch_dir dir;
  const std::string path = dir.file("no/such/dir.hex");
  mem_image image;
  captured_messages capture;
  try {
    hex_write(image, path.c_str());
    FAIL() << "no exception";
  } catch (const rtl_error& e) {
    EXPECT_EQ(e.code, 70);
  }
  EXPECT_EQ(capture.text(), "Can't open file '" + path + "'\n");
}

}  // namespace
