#include "driver/program_entry.h"

#include "driver/messages.h"

// Placeholder until the command line lands: refuses honestly.
int program_entry(int, char**) {
  report(0, "zindle: not built yet\n");
  return status_other;
}
