// Process-wide state and the one way to put all of it back as it was at
// start-up, for tests that run several command lines in one process. Every
// file that keeps such state registers its own reset beside the state:
//   const process_state_reset reset_op{[] { op = operation_state{}; }};
#pragma once

// Runs every registered reset.
void reset_process_state();

// Registers `reset` for reset_process_state(); one static object per file.
class process_state_reset {
 public:
  explicit process_state_reset(void (*reset)());
};
