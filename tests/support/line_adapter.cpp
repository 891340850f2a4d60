#include "tests/support/line_adapter.h"

#include <algorithm>
#include <cstdio>

namespace isp_test {

line_adapter::line_adapter(vt::line_target& target, adapter_options options) : chip(target), opt(options) {
  lines.powered = lines.driven = lines.reset = true;  // reset released: the chip runs
  chip.drive(now_ns, lines);
}

void line_adapter::step(uint64_t ns) {
  now_ns += ns;
  chip.drive(now_ns, lines);
}

uint8_t line_adapter::shift(uint8_t out) {
  uint8_t in = 0;
  for (int bit = 7; bit >= 0; --bit) {
    lines.mosi = (out >> bit) & 1;
    step(0);
    now_ns += half_ns;
    in = uint8_t((in << 1) | (chip.miso(now_ns) ? 1 : 0));  // valid before the rising edge
    lines.sck = true;
    step(0);
    lines.sck = false;
    step(half_ns);
  }
  lines.mosi = false;
  step(0);
  ++bytes;
  if (on_byte) on_byte();
  return in;
}

void line_adapter::transfer_block(const uint8_t* out, uint8_t* in, uint32_t count) {
  log("transfer_block " + std::to_string(count));
  for (uint32_t i = 0; i < count; ++i) in[i] = shift(out[i]);
}

void line_adapter::write_block(const uint8_t* out, uint32_t count) {
  log("write_block " + std::to_string(count));
  for (uint32_t i = 0; i < count; ++i) shift(out[i]);
}

void line_adapter::set_reset(bool active) {
  log(active ? "reset on" : "reset off");
  lines.reset = !active;
  step(1000);
}

void line_adapter::reset_pulse() {
  log("reset_pulse");
  for (bool level : {true, false}) {
    lines.reset = level;
    step(100000);
  }
}

void line_adapter::sck_pulse() {
  log("sck_pulse");
  lines.mosi = false;
  for (bool level : {false, true, false}) {
    lines.sck = level;
    step(half_ns);
  }
}

void line_adapter::delay(float ms) {
  char text[48];
  snprintf(text, sizeof text, "delay %g", double(ms));
  log(text);
  step(uint64_t(double(ms) * 1e6));
}

bool line_adapter::key_pressed() {
  if (key_samples.empty()) return false;
  const bool v = key_samples.front();
  if (key_samples.size() > 1) key_samples.erase(key_samples.begin());
  return v;
}

bool line_adapter::sleep(const timespec& want, timespec&) {
  step(uint64_t(want.tv_sec) * 1000000000u + uint64_t(want.tv_nsec));
  return true;
}

int line_adapter::count(const std::string& event) const { return int(std::count(events.begin(), events.end(), event)); }

std::vector<float> line_adapter::delays() const {
  std::vector<float> d;
  for (const auto& e : events)
    if (e.compare(0, 6, "delay ") == 0) d.push_back(std::stof(e.substr(6)));
  return d;
}

}  // namespace isp_test
