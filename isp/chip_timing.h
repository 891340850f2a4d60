// The current chip's write routines and scaled write and erase waits, taken
// from its device record once the chip is known. Called by the programming run.
#pragma once

// factor: the -1..-5 delay multiplier (1 without them).
void apply_chip_timing(float factor);
