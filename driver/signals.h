// Termination signals (SIGINT, SIGQUIT, SIGTERM) only set a flag; the loops
// over chip memory call check_terminated() between instructions. Also the
// debounced wait for the adapter's push-button.
#pragma once

void check_terminated();
const char* signal_name();
bool read_key_stable();
void wait_adapter_key();
