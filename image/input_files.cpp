#include "image/input_files.h"

#include "driver/messages.h"

void load_input_files() { fail(status_usage, "Reading HEX files is not available in this build\n"); }
