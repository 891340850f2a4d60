// The exit status a call ends with: the code of the app_error it throws, or -1
// when it returns normally. Used by every unit test that checks an exit status.
#pragma once

#include "driver/messages.h"

template <typename F>
int status_of(F&& call) {
  try {
    call();
  } catch (const app_error& e) {
    return e.code;
  }
  return -1;
}
