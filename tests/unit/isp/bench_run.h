// Runs a piece of chip access and returns the exit status it ended with
// (0 when it returned normally).
#pragma once

#include <functional>

#include "driver/messages.h"

namespace isp_test {

inline int status_of(const std::function<void()>& f) {
  try {
    f();
  } catch (const app_error& e) {
    return e.code;
  }
  return 0;
}

}  // namespace isp_test
