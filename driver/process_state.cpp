#include "driver/process_state.h"

#include <vector>

namespace {
// Built on first use: the registering objects are statics of other files.
std::vector<void (*)()>& registered_resets() {
  static std::vector<void (*)()> resets;
  return resets;
}
}  // namespace

process_state_reset::process_state_reset(void (*reset)()) { registered_resets().push_back(reset); }

void reset_process_state() {
  for (auto reset : registered_resets()) reset();
}
