#include <cstdio>

#include "driver/messages.h"
#include "image/hex_file.h"

namespace {

constexpr int record_bytes = 16;
const char digits[] = "0123456789ABCDEF";

// Builds one record line (":LLAAAATT" data checksum LF) and writes it.
class record_writer {
 public:
  explicit record_writer(FILE* file) : file_(file) {}

  void write(unsigned type, unsigned offset, const uint8_t* data, int length) {
    pos_ = 0;
    sum_ = 0;
    line_[pos_++] = ':';
    put_byte(static_cast<unsigned>(length));
    put_byte(offset >> 8 & 0xFF);
    put_byte(offset & 0xFF);
    put_byte(type);
    for (int i = 0; i < length; ++i) put_byte(data[i]);
    put_byte((0u - sum_) & 0xFF);
    line_[pos_++] = '\n';
    fwrite(line_, 1, pos_, file_);
  }

 private:
  void put_byte(unsigned value) {
    sum_ += value;
    line_[pos_++] = digits[value >> 4 & 0xF];
    line_[pos_++] = digits[value & 0xF];
  }

  FILE* file_;
  char line_[1 + 2 * (4 + 255 + 1) + 1];
  size_t pos_ = 0;
  unsigned sum_ = 0;
};

}  // namespace

void hex_write(mem_image& image, const char* file_name) {
  FILE* file = open_file_or_fail(file_name, "wt");
  record_writer writer(file);
  uint32_t current_upper = 0;
  image.for_each([&](data_block* block) {
    // Records are cut from the block's first byte; the start address alone
    // decides whether a new upper address is announced.
    for (int32_t done = 0; done < block->size; done += record_bytes) {
      const int length = block->size - done < record_bytes ? block->size - done : record_bytes;
      const uint32_t address = static_cast<uint32_t>(block->address) + static_cast<uint32_t>(done);
      const uint32_t upper = address >> 16;
      if (upper != current_upper) {
        current_upper = upper;
        const uint8_t base[2] = {static_cast<uint8_t>(upper >> 8), static_cast<uint8_t>(upper)};
        writer.write(4, 0, base, 2);
      }
      writer.write(0, address & 0xFFFF, block->bytes + done, length);
    }
  });
  writer.write(1, 0, nullptr, 0);

  const bool failed = ferror(file) != 0;
  // Buffered data reaches the file only when it is closed; that can fail too.
  const bool close_failed = fclose(file) != 0;
  if (failed || close_failed) {
    report(0, "%s - write error\n", file_name);
    ::remove(file_name);
  }
}
