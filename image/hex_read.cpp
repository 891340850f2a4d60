#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "driver/messages.h"
#include "image/hex_bytes.h"
#include "image/hex_file.h"

namespace {

// A line is taken 521 characters at a time: a record of 255 data bytes fits
// exactly; the rest of a longer line comes back as the next line.
constexpr int line_capacity = 522;
constexpr int block_limit = 4096;

enum line_result { line_go_on = 0, line_end_record = 1, line_end_of_file = 2 };

enum record_type : unsigned {
  record_data = 0,
  record_end = 1,
  record_segment = 2,
  record_start_segment = 3,
  record_linear = 4,
  record_start_linear = 5,
};

bool is_blank(int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

// The reader state lives for one file.
class hex_reader {
 public:
  hex_reader(mem_image& image, FILE* file) : image_(image), file_(file) {}

  line_result read_line();

 private:
  bool take_line();
  [[noreturn]] void invalid_line() const;
  void check_sum(const uint8_t* record, int record_bytes);
  void add_data(uint32_t address, const uint8_t* data, int length);
  void flush();

  mem_image& image_;
  FILE* file_;
  bool ignore_checksum_errors_ = false;
  uint32_t address_base_ = 0;
  uint32_t pending_start_ = 0;
  uint32_t pending_next_ = 0xFFFFFFFFu;
  int32_t pending_count_ = 0;
  uint8_t pending_buffer_[block_limit];
  char line_[line_capacity];
  int line_length_ = 0;  // compacted; may hold a NUL read from the file
};

// Reads up to 521 characters, stopping after a line feed, and closes up the
// white space in them. False when not one character could be read.
bool hex_reader::take_line() {
  int taken = 0;
  line_length_ = 0;
  while (taken < line_capacity - 1) {
    int c = getc_unlocked(file_);  // single-threaded: no per-character lock
    if (c == EOF) break;
    ++taken;
    if (!is_blank(c)) line_[line_length_++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  line_[line_length_] = '\0';
  return taken > 0;
}

void hex_reader::invalid_line() const { fail(status_data, "Invalid HEX line\n'%s'\n", line_); }

void hex_reader::check_sum(const uint8_t* record, int record_bytes) {
  unsigned sum = 0;
  for (int i = 0; i < record_bytes; ++i) sum += record[i];
  if ((sum & 0xFF) == 0 || ignore_checksum_errors_) return;
  report(0, "CSUM error in line\n  %s\nIgnore ALL CSUM errors (y/N)?\n", line_);
  int answer = getchar();
  if (answer != 'y' && answer != 'Y') throw app_error(status_data);
  ignore_checksum_errors_ = true;
  // The rest of the typed answer line is not taken for the next question.
  for (int c = getchar(); c != EOF && c != '\n'; c = getchar()) {
  }
}

void hex_reader::flush() {
  if (pending_count_ > 0)
    image_.append(new data_block(static_cast<int32_t>(pending_start_), pending_count_, pending_buffer_));
  pending_count_ = 0;
}

void hex_reader::add_data(uint32_t address, const uint8_t* data, int length) {
  if (pending_count_ + length > block_limit || address != pending_next_) {
    flush();
    pending_start_ = address;
  }
  memcpy(pending_buffer_ + pending_count_, data, static_cast<size_t>(length));
  pending_count_ += length;
  pending_next_ = address + static_cast<uint32_t>(length);
}

line_result hex_reader::read_line() {
  if (feof(file_) || !take_line()) return line_end_of_file;
  if (line_length_ == 0 || line_[0] == '#') return line_go_on;

  // ":LLOOOOTT" then 2 * (LL + 1) digits: the data bytes and the checksum.
  // A NUL in the line would hide characters from the checks, so it is invalid.
  uint8_t record[4 + 255 + 1];
  if (line_[0] != ':' || line_length_ < 9 || memchr(line_, '\0', static_cast<size_t>(line_length_)) != nullptr)
    invalid_line();
  char header[9];
  memcpy(header, line_ + 1, 8);
  header[8] = '\0';
  if (!parse_hex_bytes(header, record, 4)) invalid_line();
  const int length = record[0];
  const uint32_t offset = static_cast<uint32_t>(record[1]) << 8 | record[2];
  const unsigned type = record[3];
  if (!parse_hex_bytes(line_ + 9, record + 4, length + 1)) invalid_line();
  const uint8_t* data = record + 4;
  check_sum(record, 4 + length + 1);

  switch (type) {
    case record_data:
      if (length == 0) {
        report(1, "Zero-data HEX line ignored\n  %s\n", line_);
        return line_go_on;
      }
      add_data(address_base_ + offset, data, length);
      return line_go_on;
    case record_end:
      flush();
      return line_end_record;
    case record_segment:
    case record_linear:
      // The base comes from exactly two data bytes.
      if (length != 2) invalid_line();
      address_base_ = (static_cast<uint32_t>(data[0]) << 8 | data[1]) << (type == record_segment ? 4 : 16);
      return line_go_on;
    case record_start_segment:
    case record_start_linear:
      report(1, "Start address record in HEX file ignored\n");
      return line_go_on;
    default:
      fail(status_data, "Unknown HEX record type 0x%2X\n", type);
  }
}

bool goes_after(const data_block* a, const data_block* b) {
  return a->address > b->address || (a->address == b->address && a->end() > b->end());
}

// Takes every block out, Shell-sorts by address then end, and links them back.
void sort_image(mem_image& image) {
  std::vector<data_block*> blocks;
  blocks.reserve(static_cast<size_t>(image.count()));
  while (data_block* block = image.first()) blocks.push_back(image.remove(block));
  const size_t count = blocks.size();
  for (size_t gap = count / 2; gap > 0; gap /= 2)
    for (size_t i = gap; i < count; ++i)
      for (size_t j = i; j >= gap && goes_after(blocks[j - gap], blocks[j]); j -= gap)
        std::swap(blocks[j - gap], blocks[j]);
  for (data_block* block : blocks) image.append(block);
}

// Overlapping blocks may stay when their common bytes agree.
void check_overlaps(const mem_image& image) {
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) {
    for (const data_block* n = image.next(b); n != nullptr && n->address <= b->end(); n = image.next(n)) {
      const int32_t from = n->address;
      const int32_t to = n->end() < b->end() ? n->end() : b->end();
      // Compared as one run: counting an address up to the range's end could
      // pass the highest int32_t.
      const size_t length = static_cast<size_t>(int64_t{to} - from + 1);
      if (memcmp(b->bytes + (from - b->address), n->bytes, length) != 0)
        fail(status_data, "HEX file records overlapped in addresses 0x%X-0x%X with NON-equal data\n",
             static_cast<unsigned>(from), static_cast<unsigned>(to));
      report(1, "Warning: HEX file records overlapped in addresses 0x%X-0x%X with equal data\n",
             static_cast<unsigned>(from), static_cast<unsigned>(to));
    }
  }
}

}  // namespace

void hex_read(mem_image& image, const char* file_name) {
  FILE* file = open_file_or_fail(file_name, "rt");
  line_result result;
  int read_errno = 0;
  try {
    hex_reader reader(image, file);
    do {
      result = reader.read_line();
    } while (result == line_go_on);
    if (ferror(file)) read_errno = errno;
  } catch (...) {
    fclose(file);
    throw;
  }
  fclose(file);

  if (result != line_end_record) {
    report(0, "Unexpected end of file '%s'\n", file_name);
    // A plain end of file has no system reason; a failed read keeps its own.
    errno = read_errno;
    throw rtl_error(status_data);
  }
  if (image.empty()) {
    report(1, "Warning: '%s' has no data records\n", file_name);
    return;
  }
  sort_image(image);
  check_overlaps(image);
}
