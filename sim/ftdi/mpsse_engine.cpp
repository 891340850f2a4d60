// The MPSSE command decoder and its pin-level clocking.
//
// Data shifting opcodes 0x10-0x3F are decoded by their bit fields, as the
// engine does: 0x01 data out changes on the falling edge, 0x02 bit mode (else
// byte mode), 0x04 data in is sampled on the falling edge, 0x08 least
// significant bit first, 0x10 data out on DO (ADBUS1), 0x20 data in from DI
// (ADBUS2). SCK is ADBUS0; a clock pulse leaves it at the level it had before
// (idle low: rising then falling edge; idle high: falling then rising).
#include "sim/ftdi/mpsse_engine.h"

namespace vt {

namespace {
constexpr uint16_t pin_sck = 0x0001;
constexpr uint16_t pin_do = 0x0002;
constexpr int bit_di = 2;
constexpr uint16_t pin_tms = 0x0008;
constexpr int bit_gpiol1 = 5;
}  // namespace

mpsse_engine::mpsse_engine(mpsse_host& host, ftdi_chip chip) : host_(host), chip_(chip) {}

void mpsse_engine::reset() {
  active_ = true;
  stuck_ = false;
  latch_ = 0;
  dir_ = 0;
  divisor_ = 0;
  div5_ = true;
  loopback_ = false;
  three_phase_ = false;
  adaptive_ = false;
  pending_.clear();
  drive();
}

void mpsse_engine::release() {
  active_ = false;
  stuck_ = false;
  dir_ = 0;
  pending_.clear();
  drive();
}

void mpsse_engine::purge() { pending_.clear(); }

double mpsse_engine::sck_hz() const {
  double base = (chip_ == ftdi_chip::ft2232c || div5_) ? 6e6 : 30e6;
  return base / (1.0 + divisor_);
}

bool mpsse_engine::pin_level(int bit) {
  if (dir_ & (1u << bit)) return (latch_ >> bit) & 1;
  return (host_.pin_inputs() >> bit) & 1;
}

void mpsse_engine::wait_until(double t) {
  uint64_t now = host_.now_ns();
  uint64_t target = uint64_t(t);
  if (target > now) host_.advance_ns(target - now);
}

void mpsse_engine::spend(uint64_t ns) {
  t_ += double(ns);
  wait_until(t_);
}

void mpsse_engine::write(const uint8_t* data, size_t n) {
  if (!active_) return;
  pending_.insert(pending_.end(), data, data + n);
  size_t pos = 0;
  while (pos < pending_.size() && !stuck_) {
    size_t len = command_length(pending_.data() + pos, pending_.size() - pos);
    if (len == 0) break;
    double now = double(host_.now_ns());
    if (t_ < now) t_ = now;
    execute(pending_.data() + pos);
    pos += len;
  }
  if (stuck_) pos = pending_.size();
  pending_.erase(pending_.begin(), pending_.begin() + long(pos));
}

size_t mpsse_engine::command_length(const uint8_t* p, size_t avail) const {
  const uint8_t c = p[0];
  size_t need = 1;
  if (c >= 0x10 && c <= 0x3F) {
    const bool out = c & 0x10;
    if (c & 0x02) {
      need = out ? 3 : 2;
    } else {
      if (avail < 3) return 0;
      need = 3 + (out ? size_t(p[1] | (p[2] << 8)) + 1 : 0);
    }
  } else if (c == 0x4A || c == 0x4B || c == 0x4E || c == 0x4F || c == 0x6A || c == 0x6B || c == 0x6E || c == 0x6F) {
    need = 3;
  } else if (c == 0x80 || c == 0x82 || c == 0x86) {
    need = 3;
  } else if (h_chip() && (c == 0x8F || c == 0x9C || c == 0x9D)) {
    need = 3;
  } else if (h_chip() && c == 0x8E) {
    need = 2;
  }
  return avail >= need ? need : 0;
}

void mpsse_engine::bad_command(uint8_t cmd) {
  host_.emit(0xFA);
  host_.emit(cmd);
}

void mpsse_engine::execute(const uint8_t* p) {
  const uint8_t c = p[0];
  if (c >= 0x10 && c <= 0x3F) {
    if (c & 0x02) shift_bits(c, (c & 0x10) ? p[2] : 0, p[1] + 1);
    else shift_bytes(c, p + 3, uint32_t(p[1] | (p[2] << 8)) + 1);
    return;
  }
  switch (c) {
    case 0x4A: case 0x4B: case 0x4E: case 0x4F:
    case 0x6A: case 0x6B: case 0x6E: case 0x6F:
      tms_bits(c, p[2], (p[1] & 7) + 1);
      return;
    case 0x80:
    case 0x82: {
      const int shift = c == 0x80 ? 0 : 8;
      latch_ = uint16_t((latch_ & ~(0xFF << shift)) | (p[1] << shift));
      dir_ = uint16_t((dir_ & ~(0xFF << shift)) | (p[2] << shift));
      drive();
      spend(gpio_command_ns);
      return;
    }
    case 0x81:
    case 0x83: {
      const int first = c == 0x81 ? 0 : 8;
      uint8_t v = 0;
      for (int b = 0; b < 8; ++b) v |= uint8_t(pin_level(first + b) << b);
      host_.emit(v);
      spend(gpio_command_ns);
      return;
    }
    case 0x84: loopback_ = true; return;
    case 0x85: loopback_ = false; return;
    case 0x86: divisor_ = uint16_t(p[1] | (p[2] << 8)); return;
    case 0x87: host_.flush(); return;
    case 0x88:
    case 0x89:
      // Wait on I/O high / low (GPIOL1). Nothing else moves that pin here,
      // so a level that is not there now never comes.
      if (pin_level(bit_gpiol1) != (c == 0x88)) stuck_ = true;
      return;
    default: break;
  }
  if (!h_chip()) return bad_command(c);
  switch (c) {
    case 0x8A: div5_ = false; return;
    case 0x8B: div5_ = true; return;
    case 0x8C: three_phase_ = true; return;
    case 0x8D: three_phase_ = false; return;
    case 0x8E: idle_clocks(uint64_t(p[1] & 7) + 1, -1); return;
    case 0x8F: idle_clocks((uint64_t(p[1] | (p[2] << 8)) + 1) * 8, -1); return;
    case 0x94: idle_clocks(UINT64_MAX, 1); return;
    case 0x95: idle_clocks(UINT64_MAX, 0); return;
    case 0x96: adaptive_ = true; return;
    case 0x97: adaptive_ = false; return;
    case 0x9C: idle_clocks((uint64_t(p[1] | (p[2] << 8)) + 1) * 8, 1); return;
    case 0x9D: idle_clocks((uint64_t(p[1] | (p[2] << 8)) + 1) * 8, 0); return;
    default: return bad_command(c);
  }
}

bool mpsse_engine::clock_bit(uint8_t cmd, bool out, bool bit) {
  // Which edge of the pulse is the first: rising when SCK idles low.
  const bool idle_high = latch_ & pin_sck;
  const bool out_first = bool(cmd & 0x01) == idle_high;
  const bool in_first = bool(cmd & 0x04) == idle_high;
  const uint16_t out_pin = (cmd & 0x40) ? pin_tms : pin_do;
  const double half = 1e9 / sck_hz() / 2.0;
  auto put = [&] {
    if (!out) return;
    latch_ = uint16_t(bit ? (latch_ | out_pin) : (latch_ & ~out_pin));
    drive();
  };
  auto sample = [&] { return loopback_ ? bool(latch_ & pin_do) : pin_level(bit_di); };
  bool got = false;
  // Three-phase clocking holds the data for a third half period, so that it
  // is valid on both edges; it changes at the start of each bit.
  if (!out_first || three_phase_) put();
  t_ += half;
  wait_until(t_);
  if (in_first) got = sample();
  latch_ ^= pin_sck;
  drive();
  if (out_first && !three_phase_) put();
  t_ += half;
  wait_until(t_);
  if (!in_first) got = sample();
  latch_ ^= pin_sck;
  drive();
  if (three_phase_) {
    t_ += half;
    wait_until(t_);
  }
  return got;
}

void mpsse_engine::shift_bytes(uint8_t cmd, const uint8_t* data, uint32_t count) {
  const bool lsb = cmd & 0x08, out = cmd & 0x10, in = cmd & 0x20;
  for (uint32_t k = 0; k < count; ++k) {
    uint8_t got = 0;
    for (int i = 0; i < 8; ++i) {
      const int pos = lsb ? i : 7 - i;
      const bool b = clock_bit(cmd, out, out && ((data[k] >> pos) & 1));
      got = uint8_t(got | (b << pos));
    }
    if (in) host_.emit(got);
  }
}

void mpsse_engine::shift_bits(uint8_t cmd, uint8_t data, int count) {
  // Bits read shift into the answer byte from the side they come in at: the
  // low end when most significant first, the top end when least significant first.
  const bool lsb = cmd & 0x08, out = cmd & 0x10, in = cmd & 0x20;
  uint8_t got = 0;
  for (int i = 0; i < count; ++i) {
    const int pos = lsb ? i : 7 - i;
    const bool b = clock_bit(cmd, out, out && ((data >> pos) & 1));
    got = lsb ? uint8_t((got >> 1) | (b << 7)) : uint8_t((got << 1) | b);
  }
  if (in) host_.emit(got);
}

void mpsse_engine::tms_bits(uint8_t cmd, uint8_t data, int count) {
  // Bit 7 of the byte is held on DO for the whole command; TMS (ADBUS3) takes
  // bits 0.. least significant first; DI is read like a bit-mode read.
  latch_ = uint16_t((data & 0x80) ? (latch_ | pin_do) : (latch_ & ~pin_do));
  drive();
  uint8_t got = 0;
  for (int i = 0; i < count; ++i) {
    const bool b = clock_bit(cmd, true, (data >> i) & 1);
    got = uint8_t((got >> 1) | (b << 7));
  }
  if (cmd & 0x20) host_.emit(got);
}

void mpsse_engine::idle_clocks(uint64_t count, int stop_on_gpiol1) {
  for (uint64_t i = 0; i < count; ++i) {
    if (stop_on_gpiol1 >= 0 && pin_level(bit_gpiol1) == bool(stop_on_gpiol1)) return;
    if (count == UINT64_MAX) {
      // Clocking until a level that nothing will drive.
      stuck_ = true;
      return;
    }
    clock_bit(0, false, false);
  }
}

}  // namespace vt
