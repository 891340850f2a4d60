// A simulated chip behind the test line adapter, installed as the current adapter and the timers' clock, with
// settings and chip-access state reset, messages captured (debug levels too) and the instructions it framed.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/chip/avr_chip.h"
#include "tests/support/fake_clock.h"
#include "tests/support/line_adapter.h"
#include "tests/support/message_capture.h"

namespace isp_test {

using instruction = std::array<uint8_t, 4>;

struct chip_bench {
  chip_bench(const char* kind_name, const char* requested, adapter_options ao = {}, vt::chip_options co = {},
             const std::function<void(vt::chip_state&)>& prepare = {});
  ~chip_bench();

  // Power-up, synchronisation and identification, chip timing with this factor.
  void start(float factor = 1);
  std::string output() { return capture.text().substr(output_mark); }  // since the last clear_output()
  std::string messages();                                              // the same without the "\t% " debug lines
  void clear_output() { output_mark = capture.text().size(); }
  // Instructions the chip framed, optionally only those with this first byte, or as "AC 80 00 00".
  std::vector<instruction> framed(int opcode = -1) const;
  std::vector<std::string> framed_hex(int opcode = -1) const;
  void clear_trace() { trace.clear(); }
  const vt::chip_state& contents() { return chip->state(); }

  message_capture capture{4};
  std::unique_ptr<vt::avr_chip> chip;
  line_adapter* adapter = nullptr;  // owned by current_adapter
  std::vector<instruction> trace;
  std::unique_ptr<clock_in_use> clock;  // the adapter's time under every timer

 private:
  size_t output_mark = 0;
};

}  // namespace isp_test
