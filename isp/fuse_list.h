// Parsing the -f fuse list against the requested chip's fuse set, into the
// fuse requests of the chip-access state. Runs before any chip access.
#pragma once

void parse_fuse_list(const char* text);
