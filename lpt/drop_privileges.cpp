#include "lpt/drop_privileges.h"

#include <unistd.h>

namespace {
bool dropped = false;
}

void drop_privileges() {
  if (dropped) return;
  dropped = true;
  // Failures are ignored: each call only gives up rights, never gains them.
  if (setgid(getgid()) != 0) {
  }
  if (setuid(getuid()) != 0) {
  }
}
