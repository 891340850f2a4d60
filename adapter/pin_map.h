// Which adapter pins carry which logical signal, and with which polarity.
// Filled in code for the built-in adapters or parsed from the user's pin
// configuration (inline or from a file); owned by the adapter built on it.
#pragma once

#include <cstdint>
#include <initializer_list>

// The logical signals of every adapter, numbered as in the signal table.
enum pin_signal : int {
  signal_mosi = 0,
  signal_miso = 1,
  signal_sck = 2,
  signal_reset = 3,
  signal_xtal = 4,
  signal_power = 5,
  signal_set = 6,
  signal_enable = 7,
  signal_led_error = 8,
  signal_led_ok = 9,
  signal_key = 10,
  signal_count = 11,
};

// Directions of signals and pins (a bit set: a pin that is both fits either).
enum : uint8_t { direction_input = 1, direction_output = 2, direction_both = 3 };
const char* direction_name(uint8_t direction);  // "input", "output", "bidirectional"

// Port bits of one signal. For the parallel port byte 0 is the data register,
// byte 1 the status register, byte 2 the control register; for the FTDI
// adapter bits 0..7 and 8..15 are its two pin groups.
struct signal_bits {
  uint32_t active_bits;    // set when asserted, cleared when deasserted
  uint32_t inactive_bits;  // cleared when asserted, set when deasserted
  bool defined() const { return (active_bits | inactive_bits) != 0; }
  uint32_t all() const { return active_bits | inactive_bits; }
};

struct pin_map {
  char name[40];
  signal_bits signals[signal_count];

  pin_map() { clear(); }
  void clear();  // empty name, every word zero
  bool defined(int signal) const { return signals[signal].defined(); }
  void set_name(const char* text);  // at most 39 characters
};

struct signal_desc {
  const char* name;
  uint8_t direction;
  uint8_t multiple;  // 1 when several pins may carry the signal
};
extern const signal_desc signal_table[signal_count];

// One row of an adapter's pin table; a table ends with a row whose name is null.
struct pin_desc {
  const char* name;
  uint32_t bits;
  uint8_t inverted;  // the port hardware inverts the line
  uint8_t direction;
};

int find_signal(const char* name);                                 // signal number or -1, any case
const pin_desc* find_pin(const pin_desc* table, const char* name);  // row or null, any case

// One "key=value" entry. Every error is reported and thrown as app_error(70).
void parse_pin_entry(pin_map& map, const char* entry, const pin_desc* table);

// The whole adapter switch value ("m:mosi=D5:miso=ACK" or "m=file.cfg"): the
// first ':' starts an inline entry list, the first '=' a configuration file
// name found through the configuration path search. Neither: map unchanged.
void load_pin_map(pin_map& map, const char* text, const pin_desc* table);

// "%s must be defined\n" for the first listed signal the map does not define.
void require_defined(const pin_map& map, std::initializer_list<int> signals);
// "%s must be in %s\n" for the first listed signal with a bit outside allowed.
void require_within(const pin_map& map, std::initializer_list<int> signals, uint32_t allowed,
                    const char* description);
// Completes a user map: the default's name when the map has none, and the
// default's words for every signal the map leaves undefined.
void fill_missing(pin_map& map, const pin_map& defaults);
