// Intel HEX files: reading one into a memory image (strict line checks, the
// checksum question, blocks merged up to 4096 bytes, sorted and checked for
// overlaps) and writing an image out as 16-byte records.
#pragma once

#include "image/mem_image.h"

// Adds the file's data to the image as sorted blocks. Failures print their
// message and throw app_error/rtl_error (status 50, or 70 when unopenable).
void hex_read(mem_image& image, const char* file_name);

// Writes the image; a write error is reported and the file removed, without
// an exception. A file that cannot be created throws rtl_error 70.
void hex_write(mem_image& image, const char* file_name);
