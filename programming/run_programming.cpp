#include "programming/run_programming.h"

#include "driver/messages.h"

void run_programming() { fail(status_usage, "The programming run is not available in this build\n"); }
