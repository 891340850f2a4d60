// The simulated AVR on its serial programming pins: SPI mode 0 bit by bit from
// the line levels, the instruction set with its echoes, page buffer, write and
// erase times on the same modelled clock as the lines, lock bits and fuses.
// The bench drives it from the emulated adapters; unit tests drive it directly
// through line_target.
#pragma once

#include <cstdint>
#include <functional>

#include "sim/chip/chip_kind.h"
#include "sim/chip/chip_state.h"
#include "sim/chip/line_target.h"

namespace vt {

// What a started write, erase, fuse or lock write changes in the non-volatile
// contents: a range of one memory, or the fuse and lock bytes with the values
// they take when the write ends (a started write completes even when nobody
// talks to the chip any more).
struct chip_change {
  enum class what : uint8_t { flash, eeprom, fuses_and_lock, everything } kind;
  uint32_t first = 0, count = 0;        // flash / eeprom: the bytes
  uint8_t fuse[3] = {0, 0, 0}, lock = 0;  // fuses_and_lock: the settled values
};

struct chip_options {
  double osc_hz = 0;        // the chip's clock; 0: its factory clock
  bool osc_xtal = false;    // clocked by the adapter's XTAL line instead
  // Called with the four bytes of every instruction the chip framed, and its four reply bytes.
  std::function<void(const uint8_t in[4], const uint8_t out[4])> on_instruction;
  // Called as soon as a write or erase begins, with the contents as they will
  // be when it ends (the bench keeps them in a file that outlives the program).
  std::function<void(const chip_state& s, const chip_change& c)> on_change;

  // Faults.
  bool never_answers = false;       // MISO is never driven
  int out_of_step = 0;              // out of step until this many resync pulses (reset or SCK, by chip)
  long lose_step_after = -1;        // drops one bit after this many instructions in programming mode
  double busy_extra_ms = 0;         // every write and erase takes this much longer
  bool override_signature = false;
  uint32_t signature = 0;
};

class avr_chip : public line_target {
 public:
  avr_chip(const chip_kind& kind, const chip_state& state, chip_options options = {});

  void drive(uint64_t t_ns, const target_lines& lines) override;
  bool miso(uint64_t t_ns) override;
  // What the chip puts on MISO now: 0 or 1, or -1 while it leaves the pin floating.
  int miso_output() const;

  // The contents, with every write that has been started completed.
  const chip_state& state();
  const chip_kind& kind() const { return kind_; }
  bool busy();  // at the time of the last line change or MISO read
  double clock_hz() const { return clock_hz_; }
  uint64_t instructions() const { return instructions_; }

 private:
  enum class op_kind : uint8_t { none, flash, eeprom, erase, fuse, lock };
  struct busy_op {
    op_kind kind = op_kind::none;
    uint64_t start = 0, end = 0, erase_phase_end = 0;
    uint32_t first = 0, count = 0;      // location (bytes) being written
    std::vector<uint8_t> old;           // its contents before the write
    int fuse_index = 0;                 // fuse: 0..2; lock: unused
    uint8_t value = 0;                  // fuse or lock value to take effect at the end
  };

  void finish_busy(uint64_t now);
  bool is_busy(uint64_t now);
  void start_op(busy_op op, double ms);

  void enter_programming_state();
  void leave_programming_state();
  bool phase_long_enough(uint64_t t_ns, bool high_phase) const;
  void commit_bit(bool bit);
  void byte_done();
  uint8_t read_result();
  void execute();
  void changed(chip_change::what kind, uint32_t first = 0, uint32_t count = 0);

  // One function per instruction, called with the four bytes framed.
  void programming_enable();
  void erase_fuse_or_lock(uint8_t b1, uint8_t v);
  void chip_erase();
  void write_lock(uint8_t v);
  void load_extended_address(uint8_t b2);
  void load_or_write_flash_byte(uint32_t addr, uint8_t v);
  void write_flash_page(uint32_t word);
  void write_eeprom_byte(uint32_t addr, uint8_t v);

  uint8_t read_flash(uint32_t byte_addr, uint64_t now);
  uint8_t read_eeprom(uint32_t addr, uint64_t now);
  uint8_t busy_value(busy_read how, const busy_op& op, uint32_t addr, uint64_t now) const;
  bool write_locked() const { return (state_.lock & 0x01) == 0; }
  bool read_locked() const { return (state_.lock & 0x03) == 0; }
  uint8_t read_fuse_byte(int i) const;
  uint8_t lock_reply(bool bits_76) const;
  void write_fuse(int i, uint8_t v);
  void write_old_lock(uint8_t byte1);

  const chip_kind& kind_;
  chip_state state_;
  chip_options opt_;
  double clock_hz_;
  uint64_t now_ = 0;                // modelled time of the last line change or MISO read

  // Lines.
  target_lines lines_;
  bool in_reset_ = true;            // effective RESET high (or no power, or floating)
  uint64_t reset_rise_t_ = 0;
  uint64_t reset_rise_xtal_ = 0;
  bool power_lost_ = false;
  uint64_t xtal_edges_ = 0;
  uint64_t last_sck_edge_t_ = 0;
  uint64_t last_sck_edge_xtal_ = 0;
  bool low_phase_ok_ = false;       // the SCK low phase before the last rising edge was long enough
  bool sampled_ = false;
  bool sampled_bit_ = false;

  // Serial logic.
  bool active_ = false;             // RESET low, powered, driven: the serial interface listens
  bool enabled_ = false;            // Programming Enable accepted
  int bitpos_ = 0;                  // bit position within the chip's 32-bit frame
  uint8_t shift_in_ = 0;
  uint8_t in_[4] = {0, 0, 0, 0};
  uint8_t out_byte_ = 0;
  uint8_t out_frame_[4] = {0, 0, 0, 0};
  bool recognised_ = false;        // the instruction being framed is one the chip knows
  uint8_t ext_addr_ = 0;
  std::vector<uint8_t> page_;
  busy_op op_;
  uint64_t instructions_ = 0;
  uint64_t bits_since_entry_ = 0;
  int step_fault_left_ = 0;
  bool step_fault_done_ = false;
};

}  // namespace vt
