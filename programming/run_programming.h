// The programming run: identification, checks, erase, blank check, program,
// verify, read, fuses and lock bits, in their fixed order.
#pragma once

void run_programming();
