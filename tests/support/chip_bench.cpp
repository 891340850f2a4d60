#include "tests/support/chip_bench.h"

#include <stdexcept>

#include "isp/chip_timing.h"
#include "isp/identify.h"
#include "isp/isp_chip.h"
#include "isp/memory_write.h"
#include "isp/power.h"

namespace isp_test {

static void reset_chip_access() {
  isp_chip = isp_chip_state();
  isp_chip.writer[0] = isp_chip.writer[1] = write_byte;
}

chip_bench::chip_bench(const char* kind_name, const char* requested, adapter_options ao, vt::chip_options co,
                       const std::function<void(vt::chip_state&)>& prepare) {
  const vt::chip_kind* kind = vt::find_chip_kind(kind_name);
  if (kind == nullptr) throw std::invalid_argument(std::string("no simulated chip ") + kind_name);
  vt::chip_state state = vt::chip_state::factory(*kind);
  state.flash.resize(kind->flash_bytes, 0xFF);
  state.eeprom.resize(kind->eeprom_bytes, 0xFF);
  if (prepare) prepare(state);
  co.on_instruction = [this](const uint8_t in[4], const uint8_t*) { trace.push_back({in[0], in[1], in[2], in[3]}); };
  chip.reset(new vt::avr_chip(*kind, state, co));
  auto fresh = std::make_unique<line_adapter>(*chip, ao);
  adapter = fresh.get();
  clock.reset(new clock_in_use(*adapter));
  current_adapter.replace(std::move(fresh));
  settings = run_settings();
  settings.requested_chip = requested;
  reset_chip_access();
}

chip_bench::~chip_bench() {
  clock.reset();
  current_adapter.reset();
  reset_chip_access();
}

void chip_bench::start(float factor) {
  power_up();
  synchronise_and_identify();
  apply_chip_timing(factor);
  clear_trace();
  clear_output();
  adapter->events.clear();
}

std::string chip_bench::messages() {
  const std::string all = output();
  std::string kept;
  for (size_t start = 0, end; start < all.size(); start = end) {
    end = all.find('\n', start);
    end = end == std::string::npos ? all.size() : end + 1;
    if (all.compare(start, 3, "\t% ") != 0) kept += all.substr(start, end - start);
  }
  return kept;
}

std::vector<instruction> chip_bench::framed(int opcode) const {
  std::vector<instruction> out;
  for (const auto& i : trace)
    if (opcode < 0 || i[0] == opcode) out.push_back(i);
  return out;
}

std::vector<std::string> chip_bench::framed_hex(int opcode) const {
  std::vector<std::string> out;
  char text[16];
  for (const auto& i : framed(opcode)) {
    snprintf(text, sizeof text, "%02X %02X %02X %02X", i[0], i[1], i[2], i[3]);
    out.push_back(text);
  }
  return out;
}

}  // namespace isp_test
