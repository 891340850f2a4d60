// The channel's driver side and its USB timing model.
//
// Time: a write costs its bytes on the bus; the engine starts on the first
// packet and runs in modelled time, so a transfer costs the longer of the two.
// Answer bytes wait in the chip until a send immediate (0x87), a full packet
// or the latency timer sends them; they reach the host one turn-around later.
// A read that finds too few bytes waits its timeout on the modelled clock
// (which --realtime makes the D2XX call last for real).
#include "sim/ftdi/ftdi_channel.h"

#include <algorithm>

#include "sim/bench/bench.h"

namespace vt {

namespace {
// A read without a timeout that can never complete would block for ever; the
// model gives up after this much modelled time and returns what it has.
constexpr uint64_t forever_ns = 10000000000ull;
constexpr uint64_t not_sent = UINT64_MAX;
// A channel out of MPSSE mode is a UART: TXD (bit 0) idles high, RTS# (bit 2)
// and DTR# (bit 4) are driven, inactive (high); RXD, CTS#, DSR#, DCD#, RI# and
// the high byte are inputs.
constexpr uint16_t uart_outputs = 0x0015;
}  // namespace

ftdi_channel::ftdi_channel(const channel_info& info, const ftdi_wiring& wiring)
    : info_(info), wiring_(wiring), engine_(*this, info.chip) {
  pins_changed(uart_outputs, uart_outputs);  // a UART from power-up
}

uint64_t ftdi_channel::now_ns() { return bench::now_ns(); }
void ftdi_channel::advance_ns(uint64_t ns) { bench::advance_ns(ns); }

void ftdi_channel::advance_to(uint64_t t) {
  uint64_t now = bench::now_ns();
  if (t > now) bench::advance_ns(t - now);
}

void ftdi_channel::pins_changed(uint16_t latch, uint16_t direction) {
  if (info_.chip_attached) bench::set_adapter_lines(wiring_.outputs(latch, direction));
}

uint16_t ftdi_channel::pin_inputs() {
  if (!info_.chip_attached) return 0xFFFF;
  return wiring_.inputs(bench::miso(), bench::key_pressed());
}

void ftdi_channel::emit(uint8_t byte) {
  rx_.push_back({byte, bench::now_ns(), not_sent});
  ++rx_waiting_;
  if (rx_waiting_ >= info_.packet_payload) flush();
}

void ftdi_channel::flush() {
  const uint64_t now = bench::now_ns();
  for (size_t i = rx_.size() - rx_waiting_; i < rx_.size(); ++i) rx_[i].ready = now;
  rx_waiting_ = 0;
}

void ftdi_channel::settle(uint64_t t) {
  const uint64_t timer = uint64_t(latency_ms_) * 1000000u;
  while (rx_waiting_) {
    size_t first = rx_.size() - rx_waiting_;
    uint64_t expiry = rx_[first].produced + timer;
    if (expiry > t) break;
    for (size_t i = first; i < rx_.size() && rx_[i].produced <= expiry; ++i) {
      rx_[i].ready = expiry;
      --rx_waiting_;
    }
  }
}

uint64_t ftdi_channel::arrival(size_t i) const {
  return rx_[i].ready == not_sent ? not_sent : rx_[i].ready + info_.turn_ns;
}

void ftdi_channel::turn() { bench::advance_ns(info_.turn_ns); }

void ftdi_channel::trace_event(const char* what, unsigned value) {
  bench::trace("ftdi %s: %s %02X", info_.description.c_str(), what, value);
}

void ftdi_channel::open() {
  open_ = true;
  rx_.clear();
  rx_waiting_ = 0;
  engine_.purge();
  read_timeout_ms_ = write_timeout_ms_ = 0;
  turn();
  bench::trace("ftdi %s: open", info_.description.c_str());
}

void ftdi_channel::close() {
  open_ = false;
  rx_.clear();
  rx_waiting_ = 0;
  bench::trace("ftdi %s: close", info_.description.c_str());
}

uint32_t ftdi_channel::read(uint8_t* buffer, uint32_t count) {
  const uint64_t now = bench::now_ns();
  const uint64_t deadline = now + (read_timeout_ms_ ? uint64_t(read_timeout_ms_) * 1000000u : forever_ns);
  settle(deadline);
  uint32_t n = 0;
  if (count && rx_.size() >= count && arrival(count - 1) <= deadline) {
    advance_to(arrival(count - 1));
    n = count;
  } else {
    while (n < count && n < rx_.size() && arrival(n) <= deadline) ++n;
    advance_to(deadline);
    if (!read_timeout_ms_) bench::trace("ftdi %s: read of %u bytes without timeout would wait for ever", info_.description.c_str(), count);
  }
  for (uint32_t i = 0; i < n; ++i) buffer[i] = rx_[i].value;
  rx_.erase(rx_.begin(), rx_.begin() + n);
  return n;
}

uint32_t ftdi_channel::write(const uint8_t* buffer, uint32_t count) {
  const uint64_t start = bench::now_ns();
  if (!mpsse_mode_) {
    // Reset mode: the bytes leave through the UART at the baud rate (10 bits each).
    uint64_t per_byte = 10000000000ull / baud_;
    uint32_t n = count;
    if (write_timeout_ms_ && per_byte * count > uint64_t(write_timeout_ms_) * 1000000u)
      n = uint32_t(uint64_t(write_timeout_ms_) * 1000000u / per_byte);
    advance_to(start + per_byte * n);
    return n;
  }
  const uint32_t first_packet = std::min<uint32_t>(count, info_.packet_payload + 2);
  advance_to(start + first_packet * info_.byte_ns);
  engine_.write(buffer, count);
  advance_to(start + uint64_t(count) * info_.byte_ns);
  return count;
}

uint32_t ftdi_channel::queue_status() {
  uint64_t now = bench::now_ns();
  settle(now);
  size_t n = 0;
  while (n < rx_.size() && arrival(n) <= now) ++n;
  if (n < rx_.size()) {
    // Something is on its way: the call returns when the driver has it.
    settle(now + uint64_t(latency_ms_) * 1000000u);
    advance_to(arrival(n));
    now = bench::now_ns();
    while (n < rx_.size() && arrival(n) <= now) ++n;
  } else if (n == 0) {
    turn();  // a poll that finds nothing still takes a turn on the bus
  }
  return uint32_t(n);
}

FT_STATUS ftdi_channel::set_bit_mode(uint8_t mask, uint8_t mode) {
  (void)mask;  // the MPSSE sets directions itself; reset mode ignores it
  if (mode != FT_BITMODE_RESET && mode != FT_BITMODE_MPSSE) return FT_NOT_SUPPORTED;
  turn();
  trace_event("bit mode", mode);
  mpsse_mode_ = mode == FT_BITMODE_MPSSE && info_.mpsse;
  // A channel without an MPSSE stays a UART: the request is accepted, nothing happens.
  if (mpsse_mode_) {
    engine_.reset();
  } else if (engine_.active()) {
    engine_.release();
    pins_changed(uart_outputs, uart_outputs);  // the bit mode reset makes the channel a UART again
  }
  return FT_OK;
}

void ftdi_channel::purge(uint32_t mask) {
  turn();
  if (mask & FT_PURGE_RX) {
    rx_.clear();
    rx_waiting_ = 0;
  }
  if (mask & FT_PURGE_TX) engine_.purge();
}

FT_STATUS ftdi_channel::set_latency_timer(uint8_t ms) {
  if (ms < 2) return FT_INVALID_PARAMETER;
  turn();
  latency_ms_ = ms;
  return FT_OK;
}

FT_STATUS ftdi_channel::set_baud_rate(uint32_t baud) {
  const uint32_t max = info_.high_speed ? 12000000u : 3000000u;
  if (baud < 183 || baud > max) return FT_INVALID_BAUD_RATE;
  turn();
  baud_ = baud;
  return FT_OK;
}

void ftdi_channel::set_divisor(uint16_t divisor) {
  turn();
  baud_ = 3000000u / (divisor ? divisor : 1);
}

void ftdi_channel::set_timeouts(uint32_t read_ms, uint32_t write_ms) {
  read_timeout_ms_ = read_ms;
  write_timeout_ms_ = write_ms;
}

FT_STATUS ftdi_channel::set_usb_parameters(uint32_t in_size, uint32_t out_size) {
  (void)out_size;  // not used by the driver
  if (in_size < 64 || in_size > 65536 || in_size % 64) return FT_INVALID_PARAMETER;
  in_transfer_size_ = in_size;
  return FT_OK;
}

}  // namespace vt
