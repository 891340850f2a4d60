#include "lpt/lpt_adapter.h"

#include <cmath>

#include "driver/messages.h"
#include "driver/timer.h"

namespace {

uint32_t writes_for(float us, float cycle_time) {
  const uint32_t writes = static_cast<uint32_t>(ceilf(us / cycle_time));
  return writes == 0 ? 1 : writes;
}

uint8_t low_byte(uint32_t word) { return static_cast<uint8_t>(word & 0xFF); }
uint8_t control_byte(uint32_t word) { return static_cast<uint8_t>((word >> 16) & 0xFF); }
uint8_t status_byte(uint32_t word) { return static_cast<uint8_t>((word >> 8) & 0xFF); }

}  // namespace

lpt_adapter::lpt_adapter(std::unique_ptr<lpt_port> p, std::unique_ptr<pin_map> map, float setup_us, float hold_us)
    : port(std::move(p)), pins(std::move(map)) {
  build_patterns(writes_for(setup_us, port->cycle_time), writes_for(hold_us, port->cycle_time));
}

lpt_adapter::~lpt_adapter() {
  try {
    release();
  } catch (const app_error&) {
  }
}

void lpt_adapter::release() {
  if (released) return;
  released = true;
  if (pins->defined(signal_enable)) deassert_signal(signal_enable);
  if (pins->defined(signal_power)) deassert_signal(signal_power);
  port->release();
}

void lpt_adapter::build_patterns(uint32_t low_writes, uint32_t high_writes) {
  data_shadow = port->read(lpt_data);  // lines without a signal keep their level
  for (int s : {signal_mosi, signal_sck, signal_reset, signal_power, signal_enable, signal_led_ok, signal_led_error})
    deassert_signal(s);
  assert_signal(signal_set);  // a constant output

  const signal_bits* sig = pins->signals;
  const uint32_t on = sig[signal_enable].active_bits | sig[signal_power].active_bits | sig[signal_reset].active_bits;
  const uint32_t off =
      sig[signal_enable].inactive_bits | sig[signal_power].inactive_bits | sig[signal_reset].inactive_bits;
  const uint8_t base = low_byte((data_shadow | on) & ~off);
  const uint8_t mosi = low_byte(sig[signal_mosi].all());
  const uint8_t sck = low_byte(sig[signal_sck].all());
  const uint8_t reset = low_byte(sig[signal_reset].all());

  bit_length = low_writes + high_writes;
  zero_bit.assign(bit_length, base);
  one_bit.assign(bit_length, base ^ mosi);
  for (uint32_t i = low_writes; i < bit_length; ++i) {
    zero_bit[i] ^= sck;
    one_bit[i] ^= sck;
  }
  reset_pulse_length = bit_length;
  reset_pulse_bytes.assign(reset_pulse_length, base ^ reset);
  reset_pulse_bytes[reset_pulse_length - 1] = base;
}

void lpt_adapter::assert_signal(int signal) {
  const signal_bits& s = pins->signals[signal];
  uint8_t control = port->read(lpt_control);
  data_shadow = (data_shadow & ~s.inactive_bits) | s.active_bits;
  control = (control & ~control_byte(s.inactive_bits)) | control_byte(s.active_bits);
  port->write(lpt_data, low_byte(data_shadow));
  port->write(lpt_control, control);
}

void lpt_adapter::deassert_signal(int signal) {
  const signal_bits& s = pins->signals[signal];
  uint8_t control = port->read(lpt_control);
  data_shadow = (data_shadow | s.inactive_bits) & ~s.active_bits;
  control = (control | control_byte(s.inactive_bits)) & ~control_byte(s.active_bits);
  port->write(lpt_data, low_byte(data_shadow));
  port->write(lpt_control, control);
}

void lpt_adapter::set_signal(int signal, bool active) {
  if (active)
    assert_signal(signal);
  else
    deassert_signal(signal);
}

void lpt_adapter::restore_data() { port->write(lpt_data, low_byte(data_shadow)); }

uint8_t lpt_adapter::shift_in(const std::vector<uint8_t>& pattern, uint8_t received) {
  port->write_block(pattern.data(), bit_length);
  const uint8_t status = port->read(lpt_status);
  return static_cast<uint8_t>((received << 1) | ((status & status_byte(pins->signals[signal_miso].all())) ? 1 : 0));
}

// An inverting line (or a user's '~') puts miso into the inactive word: the
// bits are complemented so that 1 is the active level.
uint8_t lpt_adapter::received_value(uint8_t bits) const {
  return pins->signals[signal_miso].inactive_bits != 0 ? static_cast<uint8_t>(~bits) : bits;
}

bool lpt_adapter::block_mode() { return false; }

uint8_t lpt_adapter::transfer(uint8_t out) {
  uint8_t in = 0;
  for (int bit = 7; bit >= 0; --bit) in = shift_in((out >> bit) & 1 ? one_bit : zero_bit, in);
  restore_data();
  return received_value(in);
}

void lpt_adapter::write(uint8_t out) {
  for (int bit = 7; bit >= 0; --bit) {
    const std::vector<uint8_t>& pattern = (out >> bit) & 1 ? one_bit : zero_bit;
    port->write_block(pattern.data(), bit_length);
  }
  restore_data();
}

uint8_t lpt_adapter::read() {
  uint8_t in = 0;
  for (int bit = 0; bit < 8; ++bit) in = shift_in(zero_bit, in);
  restore_data();
  return received_value(in);
}

void lpt_adapter::set_reset(bool active) { set_signal(signal_reset, active); }

void lpt_adapter::reset_pulse() {
  port->write_block(reset_pulse_bytes.data(), reset_pulse_length);
  restore_data();
}

void lpt_adapter::sck_pulse() {
  port->write_block(zero_bit.data(), bit_length);
  restore_data();
}

void lpt_adapter::delay(float ms) {
  if (xtal_enabled) {
    clocked_delay(ms);
    return;
  }
  timer t;
  t.set_delay_ms(ms);
  t.sleep_delay();
}

bool lpt_adapter::has_power() { return pins->defined(signal_power); }
void lpt_adapter::power_on() { assert_signal(signal_power); }
void lpt_adapter::power_off() { deassert_signal(signal_power); }
bool lpt_adapter::has_enable() { return pins->defined(signal_enable); }
void lpt_adapter::enable_on() { assert_signal(signal_enable); }
void lpt_adapter::enable_off() { deassert_signal(signal_enable); }
void lpt_adapter::set_led_ok(bool on) { set_signal(signal_led_ok, on); }
void lpt_adapter::set_led_error(bool on) { set_signal(signal_led_error, on); }
bool lpt_adapter::has_key() { return pins->defined(signal_key); }

bool lpt_adapter::key_pressed() {
  const signal_bits& key = pins->signals[signal_key];
  const bool high = (port->read(lpt_status) & status_byte(key.all())) != 0;
  return high != (key.inactive_bits != 0);
}

double lpt_adapter::sck_frequency() { return 1.0 / (port->cycle_time * (bit_length + 1.0)); }

const char* lpt_adapter::name() { return "LPT soft SPI"; }
