// The help listings: usage text with the supported-devices list, and one
// chip's signature and fuse fields. Called by the program entry for -h / -?.
#pragma once

void print_help();
void print_chip_fuses(const char* name);

// Where the latest versions are published; the help listing and the banner show it.
extern const char* const project_web_address;
