// The MPSSE engine of one FTDI channel: decodes the command bytes the host
// writes, shifts data on its pins with the real edge and bit-order behaviour
// in modelled time, and queues the answer bytes. What hangs on the pins (the
// chip through the bench, or a test's fake target) is an `mpsse_host`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vt {

enum class ftdi_chip { ft2232c, ft2232h, ft4232h };

// The outside of the engine: modelled time, the pins and the answer queue.
class mpsse_host {
 public:
  virtual ~mpsse_host() = default;
  virtual uint64_t now_ns() = 0;
  virtual void advance_ns(uint64_t ns) = 0;
  // The engine's output latch and direction (1 = output) of the 16 pins
  // (bits 0-7 the low byte ADBUS/DBUS, 8-15 the high byte ACBUS/CBUS) changed.
  virtual void pins_changed(uint16_t latch, uint16_t direction) = 0;
  // Levels that the outside drives onto the pins (what an input pin reads).
  virtual uint16_t pin_inputs() = 0;
  // One answer byte for the host, produced now.
  virtual void emit(uint8_t byte) = 0;
  // Send immediate: everything queued goes to the host now.
  virtual void flush() = 0;
};

class mpsse_engine {
 public:
  // Time a set or read data bits command takes in the engine.
  static constexpr uint64_t gpio_command_ns = 1000;

  mpsse_engine(mpsse_host& host, ftdi_chip chip);

  // Entering MPSSE mode: all pins inputs, clock divide-by-5 on (H chips),
  // divisor 0, loopback and three-phase clocking off.
  void reset();
  // Leaving MPSSE mode: all pins inputs; further bytes are not decoded until reset().
  void release();
  // Bytes from the host; every complete command is carried out at once, an
  // incomplete one waits for the rest.
  void write(const uint8_t* data, size_t n);
  // Drops a partly received command (purge of the transmit buffer).
  void purge();

  bool active() const { return active_; }
  bool stuck() const { return stuck_; }
  uint16_t latch() const { return latch_; }
  uint16_t direction() const { return dir_; }
  uint16_t divisor() const { return divisor_; }
  bool divide_by_5() const { return div5_; }
  bool loopback() const { return loopback_; }
  // The clock the divisor makes (Hz): base / (1 + divisor).
  double sck_hz() const;

 private:
  size_t command_length(const uint8_t* p, size_t avail) const;  // 0: not complete yet
  void execute(const uint8_t* p);
  void bad_command(uint8_t cmd);
  bool h_chip() const { return chip_ != ftdi_chip::ft2232c; }

  void drive() { host_.pins_changed(latch_, dir_); }
  bool pin_level(int bit);
  void wait_until(double t);
  void spend(uint64_t ns);
  // One clock of data: the bit goes out on DO (when `out`), the bit read on DI is returned.
  bool clock_bit(uint8_t cmd, bool out, bool bit);
  void shift_bytes(uint8_t cmd, const uint8_t* data, uint32_t count);
  void shift_bits(uint8_t cmd, uint8_t data, int count);
  void tms_bits(uint8_t cmd, uint8_t data, int count);
  void idle_clocks(uint64_t count, int stop_on_gpiol1);

  mpsse_host& host_;
  ftdi_chip chip_;
  bool active_ = false;
  bool stuck_ = false;  // waiting on a GPIOL1 level that never comes
  uint16_t latch_ = 0, dir_ = 0;
  uint16_t divisor_ = 0;
  bool div5_ = true;
  bool loopback_ = false;
  bool three_phase_ = false;
  bool adaptive_ = false;
  double t_ = 0;  // exact engine time within a command (ns)
  std::vector<uint8_t> pending_;
};

}  // namespace vt
