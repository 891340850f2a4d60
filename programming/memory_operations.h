// Whole-memory operations of a programming run: blank check, verify against an
// image, read into an image, program from an image; with progress dots,
// elapsed time and result lines. The programming run calls them in its order.
#pragma once

#include <cstdint>

class mem_image;

uint32_t blank_check(uint8_t what);
bool verify_memory(int kind, const mem_image& image);
void read_memory(int kind, mem_image& image);
void program_memory(int kind, const mem_image& image);
