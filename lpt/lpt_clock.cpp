// Clock generation on the xtal line: the square wave rides in the odd bytes of
// every bit and reset pattern, and a clocked delay keeps it running while waiting.
#include "driver/messages.h"
#include "driver/timer.h"
#include "lpt/lpt_adapter.h"

lpt_adapter::lpt_adapter(std::unique_ptr<lpt_port> p, std::unique_ptr<pin_map> map, int low_clocks, int high_clocks)
    : port(std::move(p)), pins(std::move(map)) {
  xtal_enabled = true;
  build_patterns(2 * static_cast<uint32_t>(low_clocks), 2 * static_cast<uint32_t>(high_clocks));
  add_clock();
  report(3, "\t%% %s XTAL will be generated\n", format_frequency(500.0 / port->cycle_time, 2));
}

void lpt_adapter::add_clock() {
  const uint8_t xtal = static_cast<uint8_t>(pins->signals[signal_xtal].all() & 0xFF);
  for (uint32_t i = 1; i < bit_length; i += 2) {
    zero_bit[i] ^= xtal;
    one_bit[i] ^= xtal;
  }
  for (uint32_t i = 1; i < reset_pulse_length; i += 2) reset_pulse_bytes[i] ^= xtal;
}

void lpt_adapter::clocked_delay(float ms) {
  timer t;
  t.set_delay_ms(ms);
  const uint8_t xtal = static_cast<uint8_t>(pins->signals[signal_xtal].all() & 0xFF);
  const uint8_t data = port->read(lpt_data);
  const uint8_t wave[4] = {static_cast<uint8_t>(data ^ xtal), static_cast<uint8_t>(data ^ xtal), data, data};
  while (!t.delay_passed()) port->write_block(wave, 4);
}
