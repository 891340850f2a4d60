#include "driver/clock_source.h"

#include <sys/time.h>

#include <cerrno>

#include "driver/process_state.h"

namespace {

class system_clock_source : public clock_source {
 public:
  time_value now() override {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return {static_cast<int32_t>(tv.tv_sec), static_cast<int32_t>(tv.tv_usec)};
  }
  bool sleep(const timespec& want, timespec& rest) override {
    return !(nanosleep(&want, &rest) != 0 && errno == EINTR);
  }
};

system_clock_source the_system_clock;

}  // namespace

clock_source::~clock_source() = default;

clock_source& system_clock() { return the_system_clock; }

clock_source* timer_clock = &the_system_clock;
const process_state_reset reset_timer_clock{[] { timer_clock = &the_system_clock; }};
