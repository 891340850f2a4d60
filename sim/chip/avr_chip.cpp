// The simulated AVR's serial programming interface.
#include "sim/chip/avr_chip.h"

#include <algorithm>

namespace vt {

avr_chip::avr_chip(const chip_kind& kind, const chip_state& state, chip_options options)
    : kind_(kind), state_(state), opt_(std::move(options)) {
  clock_hz_ = opt_.osc_hz > 0 ? opt_.osc_hz : kind_.factory_clock_hz;
  state_.flash.resize(kind_.flash_bytes, 0xFF);
  state_.eeprom.resize(kind_.eeprom_bytes, 0xFF);
  page_.assign(kind_.page_bytes, 0xFF);
  step_fault_left_ = opt_.out_of_step;
}

// ---- lines -------------------------------------------------------------

bool avr_chip::phase_long_enough(uint64_t t_ns, bool high_phase) const {
  int need = high_phase ? kind_.sck_high_clocks : kind_.sck_low_clocks;
  if (opt_.osc_xtal) return xtal_edges_ - last_sck_edge_xtal_ >= uint64_t(need);
  if (clock_hz_ >= 12e6) ++need;
  double clocks = double(t_ns - last_sck_edge_t_) * clock_hz_ / 1e9;
  return clocks > double(need);
}

void avr_chip::drive(uint64_t t_ns, const target_lines& l) {
  now_ = t_ns;
  if (l.xtal && !lines_.xtal && l.powered) ++xtal_edges_;
  if (!l.powered && lines_.powered) power_lost_ = true;
  const bool eff_reset = !l.powered || !l.driven || l.reset;
  if (eff_reset != in_reset_) {
    if (eff_reset) {
      in_reset_ = true;
      reset_rise_t_ = t_ns;
      reset_rise_xtal_ = xtal_edges_;
      sampled_ = false;
    } else {
      in_reset_ = false;
      // A RESET pulse shorter than two clock cycles does not reset the serial logic.
      bool long_pulse;
      if (opt_.osc_xtal) long_pulse = xtal_edges_ - reset_rise_xtal_ >= 2;
      else long_pulse = double(t_ns - reset_rise_t_) * clock_hz_ / 1e9 >= 2.0;
      if (power_lost_ || !active_ || long_pulse) {
        leave_programming_state();
        enter_programming_state();
      }
      power_lost_ = false;
      last_sck_edge_t_ = t_ns;
      last_sck_edge_xtal_ = xtal_edges_;
    }
  }
  if (!in_reset_ && active_ && l.sck != lines_.sck) {
    if (l.sck) {
      low_phase_ok_ = phase_long_enough(t_ns, false);
      sampled_ = true;
      sampled_bit_ = l.mosi;
    } else {
      // A pulse too short for the chip's clock is not seen at all.
      if (sampled_ && low_phase_ok_ && phase_long_enough(t_ns, true)) commit_bit(sampled_bit_);
      sampled_ = false;
    }
    last_sck_edge_t_ = t_ns;
    last_sck_edge_xtal_ = xtal_edges_;
  }
  lines_ = l;
}

bool avr_chip::miso(uint64_t t_ns) {
  now_ = t_ns;
  return miso_output() != 0;
}

int avr_chip::miso_output() const {
  if (opt_.never_answers || in_reset_ || !active_) return -1;
  return (out_byte_ >> (7 - bitpos_ % 8)) & 1;
}

void avr_chip::enter_programming_state() {
  active_ = true;
  enabled_ = false;
  bitpos_ = 0;
  shift_in_ = 0;
  out_byte_ = 0;
  if (!step_fault_done_ && opt_.out_of_step > 0) {
    if (kind_.resync_by_sck) {
      // Ahead by so many bits that exactly out_of_step extra SCK pulses bring the frame back.
      bitpos_ = (32 - opt_.out_of_step % 32) % 32;
    } else {
      if (bits_since_entry_ > 0 && step_fault_left_ > 0) --step_fault_left_;
      if (step_fault_left_ > 0) bitpos_ = 1;
    }
  }
  bits_since_entry_ = 0;
}

void avr_chip::leave_programming_state() {
  active_ = false;
  enabled_ = false;
  std::fill(page_.begin(), page_.end(), 0xFF);
  ext_addr_ = 0;
}

// ---- serial frames -----------------------------------------------------

void avr_chip::commit_bit(bool bit) {
  shift_in_ = uint8_t((shift_in_ << 1) | (bit ? 1 : 0));
  ++bitpos_;
  ++bits_since_entry_;
  if (bitpos_ % 8 == 0) byte_done();
}

namespace {

bool known_opcode(uint8_t op) {
  switch (op) {
    case 0xAC: case 0x30: case 0x20: case 0x28: case 0x40: case 0x48: case 0x4C: case 0x4D:
    case 0xA0: case 0xC0: case 0xC1: case 0xC2: case 0x58: case 0x50: case 0x38: case 0xF0:
      return true;
    default:
      return false;
  }
}

}  // namespace

// The chip answers from its instruction decoder, framed at its own byte
// boundaries: it echoes a byte only when it has recognised the instruction so
// far, and shifts out zeros otherwise. A chip whose frame is shifted against
// the programmer's therefore returns no usable echo.
void avr_chip::byte_done() {
  const int pos = bitpos_ / 8 - 1;
  in_[pos] = shift_in_;
  uint8_t next = 0;
  switch (pos) {
    case 0:
      recognised_ = enabled_ ? known_opcode(in_[0]) : in_[0] == 0xAC;
      next = recognised_ ? in_[0] : 0x00;
      break;
    case 1:
      if (!enabled_) recognised_ = recognised_ && in_[1] == 0x53;
      next = recognised_ ? in_[1] : 0x00;
      break;
    case 2:
      next = recognised_ ? read_result() : 0x00;
      break;
    default:
      if (opt_.on_instruction) opt_.on_instruction(in_, out_frame_);
      execute();
      next = recognised_ ? in_[3] : 0x00;
      recognised_ = false;
      bitpos_ = 0;
      if (enabled_ && opt_.lose_step_after >= 0 && instructions_ == uint64_t(opt_.lose_step_after)) {
        bitpos_ = 1;  // a spurious clock: the chip's frame now starts one bit early
      }
      break;
  }
  if (!enabled_ && !kind_.echoes_enable) next = 0x00;
  out_frame_[(pos + 1) % 4] = next;
  out_byte_ = next;
}

// ---- busy --------------------------------------------------------------

void avr_chip::finish_busy(uint64_t now) {
  if (op_.kind == op_kind::none || now < op_.end) return;
  if (op_.kind == op_kind::fuse) {
    state_.fuse[op_.fuse_index] = op_.value;
  } else if (op_.kind == op_kind::lock) {
    state_.lock &= op_.value;
  }
  op_ = busy_op();
}

bool avr_chip::is_busy(uint64_t now) {
  finish_busy(now);
  return op_.kind != op_kind::none;
}

bool avr_chip::busy() { return is_busy(now_); }

void avr_chip::start_op(busy_op op, double ms) {
  op.start = now_;
  uint64_t d = uint64_t((ms + opt_.busy_extra_ms) * 1e6);
  op.end = op.start + d;
  op.erase_phase_end = op.start + d / 2;
  op_ = std::move(op);
}

const chip_state& avr_chip::state() {
  if (op_.kind == op_kind::fuse || op_.kind == op_kind::lock) {
    op_.end = 0;
    finish_busy(0);
  }
  return state_;
}

uint8_t avr_chip::busy_value(busy_read how, const busy_op& op, uint32_t addr, uint64_t now) const {
  switch (how) {
    case busy_read::old_data:
      if (addr >= op.first && addr - op.first < op.old.size()) return op.old[addr - op.first];
      return 0xFF;
    case busy_read::zero_then_ff: return now < op.erase_phase_end ? 0x00 : 0xFF;
    case busy_read::x80_then_7f: return now < op.erase_phase_end ? 0x80 : 0x7F;
    case busy_read::x7f: return 0x7F;
    case busy_read::ff: return 0xFF;
  }
  return 0xFF;
}

// ---- reading -----------------------------------------------------------

uint8_t avr_chip::read_flash(uint32_t addr, uint64_t now) {
  if (read_locked()) return 0xFF;
  finish_busy(now);
  if (op_.kind == op_kind::erase ||
      (op_.kind == op_kind::flash && addr >= op_.first && addr - op_.first < op_.count))
    return busy_value(kind_.flash_busy, op_, addr, now);
  return state_.flash[addr];
}

uint8_t avr_chip::read_eeprom(uint32_t addr, uint64_t now) {
  if (read_locked()) return 0xFF;
  finish_busy(now);
  if (op_.kind == op_kind::erase || (op_.kind == op_kind::eeprom && addr == op_.first))
    return busy_value(kind_.eeprom_busy, op_, addr, now);
  return state_.eeprom[addr];
}

uint8_t avr_chip::read_fuse_byte(int i) const {
  if (!(kind_.fuse_present & (1 << i))) return 0xFF;
  return uint8_t(state_.fuse[i] | ~kind_.fuse_used[i]);
}

uint8_t avr_chip::lock_reply(bool bits_76) const {
  const bool lb1 = state_.lock & 0x01, lb2 = state_.lock & 0x02;
  if (bits_76) return uint8_t(0x3F | (lb1 ? 0x80 : 0) | (lb2 ? 0x40 : 0));
  return uint8_t(0xF9 | (lb1 ? 0x02 : 0) | (lb2 ? 0x04 : 0));
}

uint8_t avr_chip::read_result() {
  if (!enabled_) return in_[2];
  const uint64_t now = now_;
  finish_busy(now);
  const uint8_t op = in_[0], b1 = in_[1], b2 = in_[2];
  const uint32_t word = (uint32_t(ext_addr_) << 16) | (uint32_t(b1) << 8) | b2;
  switch (op) {
    case 0x30: {
      const int i = b2 & 3;
      if (i == 3) return 0xFF;
      // An AT90S with both lock bits programmed hides its signature.
      if (read_locked() && kind_.name().compare(0, 3, "90S") == 0) return uint8_t(i);
      uint32_t sig = opt_.override_signature ? opt_.signature : kind_.signature;
      return uint8_t(sig >> (16 - 8 * i));
    }
    case 0x20:
    case 0x28:
      return read_flash(((word << 1) | (op == 0x28 ? 1 : 0)) & (kind_.flash_bytes - 1), now);
    case 0xA0:
      if (kind_.eeprom_bytes == 0) return 0xFF;
      return read_eeprom(((uint32_t(b1) << 8) | b2) & (kind_.eeprom_bytes - 1), now);
    case 0x38:
      return (b2 < kind_.calibration_count && b2 < 4) ? state_.calibration[b2] : 0xFF;
    case 0xF0:
      if (!kind_.rdy_bsy) return b2;
      return is_busy(now) ? 0xFF : 0xFE;
    case 0x58:
      switch (kind_.fuses) {
        case fuse_layout::modern: return b1 == 0x08 ? read_fuse_byte(1) : uint8_t(state_.lock | ~kind_.lock_used | 0xC0);
        case fuse_layout::old_combined: return uint8_t((read_fuse_byte(0) & 0x3F) | (lock_reply(true) & 0xC0));
        case fuse_layout::lock_only_58: return lock_reply(true);
        case fuse_layout::old_separate:
        case fuse_layout::one_byte: return lock_reply(false);
        case fuse_layout::none: return b2;
      }
      return b2;
    case 0x50:
      switch (kind_.fuses) {
        case fuse_layout::modern: return read_fuse_byte(b1 == 0x08 ? 2 : 0);
        case fuse_layout::old_separate:
        case fuse_layout::one_byte: return read_fuse_byte(0);
        default: return b2;
      }
    default:
      return b2;
  }
}

// ---- writing -----------------------------------------------------------

// Reports a started change with the fuse and lock bytes as they settle.
void avr_chip::changed(chip_change::what kind, uint32_t first, uint32_t count) {
  if (!opt_.on_change) return;
  chip_change c;
  c.kind = kind;
  c.first = first;
  c.count = count;
  std::copy(state_.fuse, state_.fuse + 3, c.fuse);
  c.lock = state_.lock;
  if (op_.kind == op_kind::fuse) c.fuse[op_.fuse_index] = op_.value;
  else if (op_.kind == op_kind::lock) c.lock &= op_.value;
  opt_.on_change(state_, c);
}

void avr_chip::write_fuse(int i, uint8_t v) {
  if (!(kind_.fuse_present & (1 << i))) return;
  uint8_t used = kind_.fuse_used[i];
  uint8_t nv = uint8_t((v & used) | ~used);
  // SPIEN cannot be changed over the serial interface.
  if (kind_.spien_byte == i) nv = uint8_t(nv & ~(1u << kind_.spien_bit));
  busy_op op;
  op.kind = op_kind::fuse;
  op.fuse_index = i;
  op.value = nv;
  start_op(std::move(op), kind_.fuse_write_ms);
  changed(chip_change::what::fuses_and_lock);
}

void avr_chip::write_old_lock(uint8_t byte1) {
  uint8_t value = 0xFF;
  if (!(byte1 & 0x02)) value &= uint8_t(~0x01);
  if (!(byte1 & 0x04)) value &= uint8_t(~0x02);
  write_lock(value);
}

void avr_chip::write_lock(uint8_t value) {
  busy_op op;
  op.kind = op_kind::lock;
  op.value = value;
  start_op(std::move(op), kind_.fuse_write_ms);
  changed(chip_change::what::fuses_and_lock);
}

// Carries out the instruction just framed.
void avr_chip::execute() {
  if (!enabled_) {
    programming_enable();
    return;
  }
  ++instructions_;
  finish_busy(now_);
  const uint8_t op = in_[0], b1 = in_[1], b2 = in_[2], v = in_[3];
  const uint32_t word = (uint32_t(ext_addr_) << 16) | (uint32_t(b1) << 8) | b2;
  switch (op) {
    case 0xAC: return erase_fuse_or_lock(b1, v);
    case 0x4D: return load_extended_address(b2);
    case 0x40:
    case 0x48: return load_or_write_flash_byte((word << 1) | (op == 0x48 ? 1 : 0), v);
    case 0x4C: return write_flash_page(word);
    case 0xC0: return write_eeprom_byte((uint32_t(b1) << 8) | b2, v);
    default: return;
  }
}

// AC 53 00 00 while not yet enabled.
void avr_chip::programming_enable() {
  if (in_[0] == 0xAC && in_[1] == 0x53) {
    enabled_ = true;
    step_fault_done_ = true;
  }
}

// AC xx: Chip Erase, or a fuse or lock write in the chip's own form; ignored
// while a write is under way (AC 53 once enabled does nothing).
void avr_chip::erase_fuse_or_lock(uint8_t b1, uint8_t v) {
  if (b1 == 0x53 || op_.kind != op_kind::none) return;
  if (b1 == 0x80) return chip_erase();
  if (kind_.fuses == fuse_layout::modern) {
    if (b1 == 0xE0) write_lock(uint8_t(v | ~kind_.lock_used));
    else if (!write_locked() && (b1 == 0xA0 || b1 == 0xA8 || b1 == 0xA4)) write_fuse(b1 == 0xA0 ? 0 : b1 == 0xA8 ? 1 : 2, v);
    return;
  }
  if ((b1 & 0xF9) == 0xF9) {
    write_old_lock(b1);
  } else if (kind_.fuses == fuse_layout::one_byte) {
    if (b1 == 0xA0) write_fuse(0, v);
  } else if ((b1 & 0xE0) == 0xA0 &&
             (kind_.fuses == fuse_layout::old_combined || kind_.fuses == fuse_layout::old_separate)) {
    // The old parts take the fuse bits from the low five bits of byte 1.
    uint8_t bits = b1 & 0x1F & kind_.fuse_used[0];
    write_fuse(0, uint8_t((state_.fuse[0] & ~(0x1F & kind_.fuse_used[0])) | bits));
  }
}

// AC 80 00 00: FLASH and EEPROM (unless EESAVE is programmed) to 0xFF, lock bits cleared.
void avr_chip::chip_erase() {
  bool keep_eeprom = kind_.eesave_byte >= 0 && !(state_.fuse[kind_.eesave_byte] & (1u << kind_.eesave_bit));
  std::fill(state_.flash.begin(), state_.flash.end(), 0xFF);
  if (!keep_eeprom) std::fill(state_.eeprom.begin(), state_.eeprom.end(), 0xFF);
  state_.lock = 0xFF;
  ++state_.erase_cycles;
  busy_op e;
  e.kind = op_kind::erase;
  start_op(std::move(e), kind_.erase_ms);
  changed(chip_change::what::everything);
}

// 4D 00 e 00: the 128 KB bank of the FLASH instructions that follow.
void avr_chip::load_extended_address(uint8_t b2) { ext_addr_ = b2; }

// 40/48: into the page buffer on paged chips, else a byte write of its own.
void avr_chip::load_or_write_flash_byte(uint32_t addr, uint8_t v) {
  if (kind_.paged()) {
    page_[addr & (kind_.page_bytes - 1)] = v;
    return;
  }
  if (op_.kind != op_kind::none || write_locked()) return;
  addr &= kind_.flash_bytes - 1;
  busy_op w;
  w.kind = op_kind::flash;
  w.first = addr;
  w.count = 1;
  w.old.assign(1, state_.flash[addr]);
  state_.flash[addr] &= v;  // FLASH cells only go from 1 to 0
  start_op(std::move(w), kind_.flash_write_ms);
  changed(chip_change::what::flash, addr, 1);
}

// 4C: the page buffer into the page of this word address, then the buffer is empty.
void avr_chip::write_flash_page(uint32_t word) {
  if (!kind_.paged() || op_.kind != op_kind::none || write_locked()) return;
  const uint32_t base = (word << 1) & ~(kind_.page_bytes - 1) & (kind_.flash_bytes - 1);
  busy_op w;
  w.kind = op_kind::flash;
  w.first = base;
  w.count = kind_.page_bytes;
  w.old.assign(state_.flash.begin() + base, state_.flash.begin() + base + kind_.page_bytes);
  for (uint32_t i = 0; i < kind_.page_bytes; ++i) state_.flash[base + i] &= page_[i];
  std::fill(page_.begin(), page_.end(), 0xFF);
  start_op(std::move(w), kind_.flash_write_ms);
  changed(chip_change::what::flash, base, kind_.page_bytes);
}

// C0: one EEPROM byte, erased and written.
void avr_chip::write_eeprom_byte(uint32_t addr, uint8_t v) {
  if (kind_.eeprom_bytes == 0 || op_.kind != op_kind::none || write_locked()) return;
  addr &= kind_.eeprom_bytes - 1;
  busy_op w;
  w.kind = op_kind::eeprom;
  w.first = addr;
  w.count = 1;
  w.old.assign(1, state_.eeprom[addr]);
  state_.eeprom[addr] = v;
  start_op(std::move(w), kind_.eeprom_write_ms);
  changed(chip_change::what::eeprom, addr, 1);
}

}  // namespace vt
