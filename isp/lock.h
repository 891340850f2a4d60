// The chip's lock bits: reading and printing the lock state, whether the
// requested boot lock bits can be written without an erase, and locking the
// chip to level 1 or 2. Used by the programming run and the chip erase.
#pragma once

// Text of a lock state 0..2 ("not locked", ...).
const char* lock_state_text(int state);
// Fills isp_chip.lock_state (-1 when the chip's lock bits cannot be read).
void read_lock_state();
void print_lock_state();
// False when the fuse list would set a _LOCK bit that the chip has at 0.
bool lock_allowed();
// level '1' or '2' (below '2' is level 1); returns the level used, at most '2'.
char lock_chip(char level);
