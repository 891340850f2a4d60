// Shared by the FTDI unit tests: capture of the program's messages, the exit
// status a call ends with, and a recording ftdi_device standing in for a chip;
// the adapter's waits pass on the test clock.
#pragma once

#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "ftdi/ftdi_device.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"
#include "tests/support/fake_clock.h"

// report() into a string while alive.
typedef message_capture captured_output;

typedef std::vector<uint8_t> bytes;

// Records every call; reads are answered from a queue of scripted bytes (0x00 when empty).
class recording_device : public ftdi_device {
 public:
  struct call {
    std::string what;  // "write", "read", "set_bit_mode", "purge", "set_timeouts", ...
    bytes data;        // the bytes written, or the operands
  };

  explicit recording_device(std::vector<call>* log) : calls(log) {}
  ~recording_device() override { calls->push_back({"destroyed", {}}); }

  void set_bit_mode(uint8_t mask, uint8_t mode) override { calls->push_back({"set_bit_mode", {mask, mode}}); }
  void read(void* buffer, uint32_t count) override {
    auto* out = static_cast<uint8_t*>(buffer);
    for (uint32_t i = 0; i < count; ++i) {
      out[i] = answers.empty() ? 0x00 : answers.front();
      if (!answers.empty()) answers.pop_front();
    }
    calls->push_back({"read", bytes(out, out + count)});
  }
  void write(const void* buffer, uint32_t count) override {
    auto* in = static_cast<const uint8_t*>(buffer);
    calls->push_back({"write", bytes(in, in + count)});
    if (fail_writes) fail(status_usage, "Can't write to FTDI chip (FT_IO_ERROR)\n");
  }
  void purge(uint8_t mask) override { calls->push_back({"purge", {mask}}); }
  void set_latency_timer(uint8_t ms) override { calls->push_back({"set_latency_timer", {ms}}); }
  void set_baud_rate(uint32_t) override { calls->push_back({"set_baud_rate", {}}); }
  void set_divisor(uint16_t) override { calls->push_back({"set_divisor", {}}); }
  void set_timeouts(uint32_t r, uint32_t w) override {
    calls->push_back({"set_timeouts", {static_cast<uint8_t>(r / 1000), static_cast<uint8_t>(w / 1000)}});
  }
  void set_vid_pid(uint32_t, uint32_t) override { calls->push_back({"set_vid_pid", {}}); }

  std::deque<uint8_t> answers;
  bool fail_writes = false;

 private:
  std::vector<call>* calls;
};
