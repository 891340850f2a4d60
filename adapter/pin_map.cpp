#include "adapter/pin_map.h"

#include <strings.h>

#include <cstring>

#include "driver/messages.h"

const signal_desc signal_table[signal_count] = {
    {"mosi", direction_output, 0},   {"miso", direction_input, 0},      {"sck", direction_output, 0},
    {"reset", direction_output, 0},  {"xtal", direction_output, 0},     {"power", direction_output, 1},
    {"set", direction_output, 1},    {"enable", direction_output, 1},   {"led_error", direction_output, 1},
    {"led_ok", direction_output, 1}, {"key", direction_input, 0},
};

const char* direction_name(uint8_t direction) {
  switch (direction) {
    case direction_input:
      return "input";
    case direction_output:
      return "output";
    default:
      return "bidirectional";
  }
}

void pin_map::clear() {
  memset(name, 0, sizeof name);
  for (signal_bits& s : signals) s = {0, 0};
}

void pin_map::set_name(const char* text) {
  strncpy(name, text, sizeof name - 1);
  name[sizeof name - 1] = '\0';
}

int find_signal(const char* name) {
  for (int i = 0; i < signal_count; ++i)
    if (strcasecmp(signal_table[i].name, name) == 0) return i;
  return -1;
}

const pin_desc* find_pin(const pin_desc* table, const char* name) {
  for (const pin_desc* row = table; row->name != nullptr; ++row)
    if (strcasecmp(row->name, name) == 0) return row;
  return nullptr;
}

void require_defined(const pin_map& map, std::initializer_list<int> signals) {
  for (int s : signals)
    if (!map.defined(s)) fail(status_usage, "%s must be defined\n", signal_table[s].name);
}

void require_within(const pin_map& map, std::initializer_list<int> signals, uint32_t allowed,
                    const char* description) {
  for (int s : signals)
    if ((map.signals[s].all() & ~allowed) != 0)
      fail(status_usage, "%s must be in %s\n", signal_table[s].name, description);
}

void fill_missing(pin_map& map, const pin_map& defaults) {
  if (map.name[0] == '\0') memcpy(map.name, defaults.name, sizeof map.name);
  for (int s = 0; s < signal_count; ++s)
    if (!map.defined(s)) map.signals[s] = defaults.signals[s];
}
