#include "ftdi/ft2232_adapter.h"

#include <cmath>
#include <cstring>

#include "driver/messages.h"
#include "driver/timer.h"
#include "ftdi/d2xx_api.h"
#include "ftdi/mpsse_clock.h"

namespace {

// MPSSE commands.
enum : uint8_t {
  bytes_out = 0x10,
  bits_out = 0x12,
  bytes_in = 0x20,
  bytes_in_out = 0x30,
  set_bits_low = 0x80,
  read_bits_low = 0x81,
  set_bits_high = 0x82,
  read_bits_high = 0x83,
  set_divisor = 0x86,
  send_immediate = 0x87,
  divide_by_5 = 0x8B,
};

const uint32_t reset_pulse_max_groups = 2000;

bool high_speed(uint32_t type) { return type == FT_DEVICE_2232H || type == FT_DEVICE_4232H; }

void wait_ms(float ms) {
  timer t;
  t.set_delay_ms(ms);
  t.sleep_delay();
}

}  // namespace

ft2232_adapter::ft2232_adapter(std::unique_ptr<ftdi_device> dev, std::unique_ptr<pin_map> map, uint32_t type,
                               uint32_t requested_sck_hz, bool off_after)
    : device(std::move(dev)), pins(std::move(map)), device_type(type), outputs_off_after(off_after) {
  mosi_inverted = pins->signals[signal_mosi].inactive_bits != 0;
  miso_inverted = pins->signals[signal_miso].inactive_bits != 0;
  clock_edge_bits = pins->signals[signal_sck].inactive_bits == 0 ? 0x01 : 0x04;

  command.reserve(3 + transfer_block_limit + 1);

  output_value = 0;
  output_enable = 0;
  for (int signal : {signal_mosi, signal_sck, signal_reset, signal_power, signal_set, signal_enable,
                     signal_led_error, signal_led_ok}) {
    drive(signal, false);
    output_enable |= signal_bits(signal);
  }

  device->set_bit_mode(0x00, FT_BITMODE_MPSSE);
  device->set_timeouts(5000, 5000);

  mpsse_clock clock = choose_mpsse_clock(device_type, requested_sck_hz);
  sck_mhz = clock.sck_mhz;
  command.clear();
  if (clock.base_command != 0) command.push_back(clock.base_command);
  command.insert(command.end(), {set_divisor, static_cast<uint8_t>(clock.divisor & 0xFF),
                                 static_cast<uint8_t>(clock.divisor >> 8), send_immediate});
  device->write(command.data(), static_cast<uint32_t>(command.size()));

  wait_ms(20);
  device->purge(FT_PURGE_RX);
  wait_ms(10);
  write_pins();
  wait_ms(10);
}

ft2232_adapter::~ft2232_adapter() {
  // The channel and the library are closed by the members in any case.
  try {
    release();
  } catch (const app_error&) {
  }
}

void ft2232_adapter::send(const void* bytes, uint32_t count) {
  try {
    device->write(bytes, count);
  } catch (const app_error&) {
    write_failed = true;
    throw;
  }
}

// A failed read leaves the channel taking writes, so the whole sequence is
// sent. After a failed write nothing more can be sent: the bit mode is still
// reset, a control request that needs no write, which lets go of every pin the
// MPSSE drove, RESET included; -az cannot be kept then, its directions need a
// write.
void ft2232_adapter::release() {
  if (released) return;
  released = true;
  if (!write_failed) {
    try {
      if (high_speed(device_type)) {
        const uint8_t restore_divide = divide_by_5;
        send(&restore_divide, 1);
      }
      if (outputs_off_after) {
        for (int signal : {signal_mosi, signal_sck, signal_reset, signal_set}) output_enable &= ~signal_bits(signal);
        write_pins();
        report(2, "FT2232 left in MPSSE mode with programming pins configured as inputs\n");
        return;
      }
    } catch (const app_error&) {
      device->set_bit_mode(0x00, FT_BITMODE_RESET);
      throw;
    }
  }
  device->set_bit_mode(0x00, FT_BITMODE_RESET);
}

uint32_t ft2232_adapter::signal_bits(int signal) const { return pins->signals[signal].all(); }

void ft2232_adapter::drive(int signal, bool active) {
  const uint32_t active_bits = pins->signals[signal].active_bits;
  const uint32_t inactive_bits = pins->signals[signal].inactive_bits;
  if (active)
    output_value = (output_value | active_bits) & ~inactive_bits;
  else
    output_value = (output_value & ~active_bits) | inactive_bits;
}

void ft2232_adapter::set_signal(int signal, bool active) {
  drive(signal, active);
  write_pins();
}

void ft2232_adapter::write_pins() {
  const uint8_t bytes[6] = {set_bits_low,
                            static_cast<uint8_t>(output_value),
                            static_cast<uint8_t>(output_enable),
                            set_bits_high,
                            static_cast<uint8_t>(output_value >> 8),
                            static_cast<uint8_t>(output_enable >> 8)};
  send(bytes, sizeof bytes);
}

uint32_t ft2232_adapter::read_pins() {
  const uint8_t ask[2] = {read_bits_low, read_bits_high};
  send(ask, sizeof ask);
  uint8_t state[2] = {};
  device->read(state, sizeof state);
  return state[0] | (uint32_t{state[1]} << 8);
}

bool ft2232_adapter::block_mode() { return true; }

uint8_t ft2232_adapter::transfer(uint8_t out) {
  uint8_t in = 0;
  transfer_block(&out, &in, 1);
  return in;
}

void ft2232_adapter::write(uint8_t out) { write_block(&out, 1); }

uint8_t ft2232_adapter::read() {
  uint8_t in = 0;
  read_block(&in, 1);
  return in;
}

void ft2232_adapter::transfer_block(const uint8_t* out, uint8_t* in, uint32_t count) {
  shift_bytes(bytes_in_out, out, in, count, transfer_block_limit);
}

void ft2232_adapter::write_block(const uint8_t* out, uint32_t count) {
  shift_bytes(bytes_out, out, nullptr, count, write_block_limit);
}

void ft2232_adapter::read_block(uint8_t* in, uint32_t count) { shift_bytes(bytes_in, nullptr, in, count, read_block_limit); }

void ft2232_adapter::shift_bytes(uint8_t opcode, const uint8_t* out, uint8_t* in, uint32_t count, uint32_t limit) {
  const uint8_t flip = mosi_inverted ? 0xFF : 0x00;
  while (count > 0) {
    const uint32_t n = count < limit ? count : limit;
    command.clear();
    command.insert(command.end(), {static_cast<uint8_t>(opcode | clock_edge_bits), static_cast<uint8_t>(n - 1),
                                   static_cast<uint8_t>((n - 1) >> 8)});
    if (out != nullptr) {
      for (uint32_t i = 0; i < n; ++i) command.push_back(out[i] ^ flip);
      out += n;
    }
    if (in != nullptr) command.push_back(send_immediate);
    send(command.data(), static_cast<uint32_t>(command.size()));
    if (in != nullptr) {
      device->read(in, n);
      if (miso_inverted)
        for (uint32_t i = 0; i < n; ++i) in[i] = static_cast<uint8_t>(~in[i]);
      in += n;
    }
    count -= n;
  }
}

void ft2232_adapter::set_reset(bool active) { set_signal(signal_reset, active); }

void ft2232_adapter::reset_pulse() {
  float groups = ceilf(0.6f / sck_mhz);
  uint32_t n = groups < 1 ? 1 : groups > reset_pulse_max_groups ? reset_pulse_max_groups : static_cast<uint32_t>(groups);

  uint32_t reset_bits = signal_bits(signal_reset);
  uint32_t value = output_value;
  uint32_t enable = output_enable;
  uint8_t set_bits = set_bits_low;
  if (reset_bits & 0xFF00) {
    set_bits = set_bits_high;
    reset_bits >>= 8;
    value >>= 8;
    enable >>= 8;
  }
  command.clear();
  for (uint32_t i = 0; i < n; ++i)
    command.insert(command.end(), {set_bits, static_cast<uint8_t>(value ^ reset_bits), static_cast<uint8_t>(enable)});
  command.insert(command.end(), {set_bits, static_cast<uint8_t>(value), static_cast<uint8_t>(enable)});
  send(command.data(), static_cast<uint32_t>(command.size()));
}

void ft2232_adapter::sck_pulse() {
  // Two SCK pulses with MOSI low.
  const uint8_t pulse[3] = {static_cast<uint8_t>(bits_out | clock_edge_bits), 0x01, 0x00};
  send(pulse, sizeof pulse);
}

void ft2232_adapter::delay(float ms) { wait_ms(ms); }

bool ft2232_adapter::has_power() { return defined(signal_power); }
void ft2232_adapter::power_on() { set_signal(signal_power, true); }
void ft2232_adapter::power_off() { set_signal(signal_power, false); }
bool ft2232_adapter::has_enable() { return defined(signal_enable); }
void ft2232_adapter::enable_on() { set_signal(signal_enable, true); }
void ft2232_adapter::enable_off() { set_signal(signal_enable, false); }
void ft2232_adapter::set_led_ok(bool on) { set_signal(signal_led_ok, on); }
void ft2232_adapter::set_led_error(bool on) { set_signal(signal_led_error, on); }
bool ft2232_adapter::has_key() { return defined(signal_key); }

bool ft2232_adapter::key_pressed() {
  const bool level = (read_pins() & signal_bits(signal_key)) != 0;
  return pins->signals[signal_key].inactive_bits != 0 ? !level : level;
}

double ft2232_adapter::sck_frequency() { return sck_mhz; }

const char* ft2232_adapter::name() { return pins->name; }
