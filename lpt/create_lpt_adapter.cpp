#include "lpt/create_lpt_adapter.h"

#include <cctype>
#include <stdexcept>

#include "driver/messages.h"
#include "driver/timer.h"
#include "lpt/adapter_detection.h"
#include "lpt/builtin_pin_maps.h"
#include "lpt/lpt_adapter.h"
#include "lpt/lpt_pin_table.h"
#include "lpt/lpt_port_option.h"

namespace {

enum class lpt_type { kaldo, byteblaster, stk, automatic, xilinx, user };

lpt_type adapter_type(const char* text) {
  if (text == nullptr || *text == '\0') return lpt_type::kaldo;
  lpt_type type;
  switch (tolower(static_cast<unsigned char>(*text))) {
    case 'b':
      type = lpt_type::byteblaster;
      break;
    case 's':
      type = lpt_type::stk;
      break;
    case 'a':
      type = lpt_type::automatic;
      break;
    case 'x':
      type = lpt_type::xilinx;
      break;
    case 'm':
      return lpt_type::user;
    default:
      fail_invalid_value('A', text);
  }
  if (text[1] != '\0') fail_invalid_value('A', text + 1);
  return type;
}

void not_found(const char* what, bool force) {
  if (!force) fail(status_usage, "%s not found\n", what);
  report(1, "%s not found, but forced by '-!'\n", what);
}

void fill_byteblaster(pin_map& map, bool byteblaster2) {
  if (byteblaster2)
    fill_byteblaster2_map(map);
  else
    fill_byteblaster_map(map);
}

void set_up_type(lpt_type type, pin_map& map, lpt_port& port, const adapter_options& options) {
  const bool generate_clock = options.clock_frequency == 0;
  bool byteblaster2 = false;
  switch (type) {
    case lpt_type::kaldo:
      fill_kaldo_map(map, false);
      if (options.outputs_off_after && !port.direction_control)
        fail(status_usage, "Can't control LPT data direction bit (required for -AZ)\n");
      if (options.power_from_data) fill_kaldo_map(map, true);
      break;
    case lpt_type::byteblaster:
      if (!detect_byteblaster(port, byteblaster2)) not_found("Altera ByteBlaster", options.force);
      fill_byteblaster(map, byteblaster2);
      break;
    case lpt_type::stk:
      if (!detect_stk(port)) not_found("Atmel STK* adapter", options.force);
      fill_stk_map(map, generate_clock);
      break;
    case lpt_type::automatic:
      if (detect_stk(port)) {
        fill_stk_map(map, generate_clock);
      } else if (detect_byteblaster(port, byteblaster2)) {
        fill_byteblaster(map, byteblaster2);
      } else {
        fail(status_usage, "Known buffered adapter not found\n");
      }
      break;
    case lpt_type::xilinx:
      fill_xilinx_map(map);
      break;
    case lpt_type::user:
      break;
  }
}

std::unique_ptr<spi_adapter> build_adapter(std::unique_ptr<lpt_port> port, std::unique_ptr<pin_map> map,
                                           const adapter_options& options) {
  if (!options.chip_known) throw std::logic_error("No chip known yet");
  const int low_clocks = options.sck_low_clocks, high_clocks = options.sck_high_clocks;
  if (options.clock_frequency == 0) {
    auto adapter = std::make_unique<lpt_adapter>(std::move(port), std::move(map), low_clocks, high_clocks);
    report(3, "\t%% with SCK low %d periods, high %d periods\n", low_clocks, high_clocks);
    return adapter;
  }
  const sck_phases phases =
      sck_phases_for(options.clock_frequency, options.clock_is_sck, low_clocks, high_clocks);
  auto adapter = std::make_unique<lpt_adapter>(std::move(port), std::move(map), phases.setup_us, phases.hold_us);
  report(3, "\t%% %s frequency = %s\n", options.clock_is_sck ? "SPI SCK requested" : "MCU oscillator",
         format_frequency(options.clock_frequency, 3));
  char setup_text[128], hold_text[128];
  report(3, "\t%% setup %s, hold %s\n", format_time(phases.setup_us, 2, setup_text),
         format_time(phases.hold_us, 2, hold_text));
  report(3, "\t%% actual SCK frequency %s\n", format_frequency(adapter->sck_frequency(), 1));
  return adapter;
}

}  // namespace

sck_phases sck_phases_for(uint32_t frequency, bool frequency_is_sck, int low_clocks, int high_clocks) {
  double period = 1000000.0 / frequency;  // microseconds
  if (frequency_is_sck) {
    const float half = static_cast<float>(period * 0.5);
    return {half, half};
  }
  period *= 1.05;  // margin for an oscillator running fast
  return {static_cast<float>(low_clocks * period), static_cast<float>(high_clocks * period)};
}

std::unique_ptr<spi_adapter> create_lpt_adapter(const char* adapter_text, const char* port_text,
                                                const adapter_options& options, const lpt_port_opener& open_port) {
  const lpt_type type = adapter_type(adapter_text);
  auto map = std::make_unique<pin_map>();
  if (type == lpt_type::user) {
    load_pin_map(*map, adapter_text, lpt_pin_table);
    require_defined(*map, {signal_mosi, signal_sck, signal_reset, signal_miso});
    require_within(*map, {signal_mosi, signal_sck, signal_reset, signal_xtal}, 0xFF, "D0..D7 lines");
    report(2, "Adapter '%s'\n", map->name);
  }
  std::unique_ptr<lpt_port> port = open_port(port_text);
  report(3, "\t%% LPT write cycle %s\n", format_time(port->cycle_time, 2));
  set_up_type(type, *map, *port, options);
  report(3, "\t%% %s adapter mode\n", map->name);
  signal_bits& reset = map->signals[signal_reset];
  std::swap(reset.active_bits, reset.inactive_bits);  // asserting reset drives the line low
  if (options.clock_frequency == 0 && !map->defined(signal_xtal))
    fail(status_usage, "Can't generate XTAL, %s has no XTAL output\n", map->name);
  return build_adapter(std::move(port), std::move(map), options);
}

std::unique_ptr<spi_adapter> create_lpt_adapter(const char* adapter_text, const char* port_text,
                                                const adapter_options& options) {
  return create_lpt_adapter(adapter_text, port_text, options, open_lpt_port);
}
