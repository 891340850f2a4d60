// The help listings: usage text with the supported-devices list, and one
// chip's signature and fuse fields.
#pragma once

void print_help();
void print_chip_fuses(const char* name);
