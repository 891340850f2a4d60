// Conversion of hexadecimal digit pairs into bytes, shared by the HEX reader
// and the parser of the special data commands (-c*, -d*).
#pragma once

#include <cstdint>

// Converts exactly 2 * count hexadecimal digits (either case) of `text` into
// `count` bytes. False when the text is not exactly that long or a pair is not
// two hexadecimal digits; a count below 1 with an empty text succeeds.
bool parse_hex_bytes(const char* text, uint8_t* out, int count);
