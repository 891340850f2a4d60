// Termination signals (SIGINT, SIGQUIT, SIGTERM, SIGHUP) only set a flag; the
// loops over chip memory call check_terminated() between instructions.
#pragma once

// From the start of the program: output to a closed pipe or past the file-size
// limit fails like any failed write (report ignores it, the HEX writer deletes
// its file) instead of killing the program while the adapter drives the target.
void ignore_output_signals();

void check_terminated();
const char* signal_name();
