#include "driver/timer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <string>

namespace {

struct scaled_case {
  double value;
  int unit;
  bool frequency;
  const char* expected;
};

TEST(FormatScaled, ExamplesFromTheUnitRules) {
  const scaled_case cases[] = {
      {12345, 1, false, "12.3s"},   {250, 1, false, "250ms"},    {0.25, 1, false, "250us"},
      {0.0005, 1, false, "0.50us"}, {300, 1, false, "300ms"},    {0.3, 1, false, "300us"},
      {800, 2, true, "0.80MHz"},    {4000, 2, true, "4.0MHz"},   {0.1, 3, true, "0.100Hz"},
  };
  for (const auto& c : cases) {
    char buffer[128];
    std::string got = c.frequency ? format_frequency(c.value, c.unit, buffer) : format_time(c.value, c.unit, buffer);
    EXPECT_EQ(got, c.expected) << "value " << c.value << " unit " << c.unit;
  }
}

TEST(Timer, DelaySplitsIntoSecondsAndMicroseconds) {
  timer t;
  t.set_delay_ms(2.5f);
  EXPECT_EQ(t.delay.sec, 0);
  EXPECT_EQ(t.delay.usec, 2500);
  t.set_delay_ms(1500);
  EXPECT_EQ(t.delay.sec, 1);
  EXPECT_EQ(t.delay.usec, 500000);
}

TEST(Timer, StoppedStopwatchDoesNotMove) {
  timer t;
  t.start();
  t.stop();
  double first = t.elapsed_ms();
  t.stop();
  EXPECT_EQ(t.elapsed_ms(), first);
}

TEST(Timer, DelayPassesOnlyAfterItsLength) {
  timer t;
  t.set_delay_ms(0);
  EXPECT_TRUE(t.delay_passed());
  t.set_delay_ms(60000);
  EXPECT_FALSE(t.delay_passed());
  // A mark one second back with a delay of 0.9999 s has passed; with 1.5 s it has not.
  t.marked.sec -= 1;
  t.delay = {0, 999900};
  EXPECT_TRUE(t.delay_passed());
  t.delay = {1, 500000};
  EXPECT_FALSE(t.delay_passed());
}

void ignore_alarm(int) {}

TEST(Timer, SleepIsNotShortenedBySignals) {
  struct sigaction action {};
  struct sigaction saved {};
  action.sa_handler = ignore_alarm;  // no SA_RESTART: nanosleep returns early with EINTR
  sigaction(SIGALRM, &action, &saved);
  itimerval every_10ms{{0, 10000}, {0, 10000}};
  itimerval off{};
  setitimer(ITIMER_REAL, &every_10ms, nullptr);

  timer watch;
  watch.start();
  timer wait;
  wait.set_delay_ms(120);
  wait.sleep_delay();
  watch.stop();

  setitimer(ITIMER_REAL, &off, nullptr);
  sigaction(SIGALRM, &saved, nullptr);
  EXPECT_GE(watch.elapsed_ms(), 120.0);
}

}  // namespace
