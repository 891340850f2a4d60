#include "image/hex_bytes.h"

#include <cstring>

namespace {
int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}
}  // namespace

bool parse_hex_bytes(const char* text, uint8_t* out, int count) {
  if (text == nullptr) return false;
  if (count < 0 || strlen(text) != 2 * static_cast<size_t>(count)) return false;
  for (int i = 0; i < count; ++i) {
    int high = hex_digit(text[2 * i]);
    int low = hex_digit(text[2 * i + 1]);
    if (high < 0 || low < 0) return false;
    out[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return true;
}
