#include "programming/cell_commands.h"

#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "driver/messages.h"
#include "driver/process_state.h"
#include "image/hex_bytes.h"

special_cells special_commands;
const process_state_reset reset_special_commands{[] { special_commands = special_cells{}; }};

namespace {

[[noreturn]] void refuse(const std::string& command_text) {
  fail(status_usage, "Invalid HEX file switch extension '-%s'\n", command_text.c_str());
}

[[noreturn]] void refuse_second_command() {
  fail(status_usage, "Can't handle two specail code/data commands of one type\n");
}

}  // namespace

void parse_special_command(const char* text) {
  const std::string whole(text);

  cell_mode mode;
  if (strncasecmp(text, "D*", 2) == 0) {
    mode = cell_data;
  } else if (strncasecmp(text, "C*", 2) == 0) {
    mode = cell_code;
  } else if (strncasecmp(text, "C?", 2) == 0) {
    mode = cell_code_ldi;
  } else {
    refuse(whole);
  }
  const char* rest = text + 2;
  if (*rest == '\0') refuse(whole);

  const char* equals = strchr(rest, '=');
  if (equals == nullptr) refuse(whole);
  const char* name_end = rest;
  while (!isdigit(static_cast<unsigned char>(*name_end)) && *name_end != '=') ++name_end;

  int number = 0;
  if (name_end < equals) sscanf(name_end, "%d", &number);

  // Addresses are 32-bit: anything wider reads as the "no address" value.
  unsigned long read_address;
  if (sscanf(equals + 1, "%lx", &read_address) != 1) refuse(whole);
  const uint32_t address =
      read_address > 0xFFFFFFFFUL ? no_cell_address : static_cast<uint32_t>(read_address);
  if (address == no_cell_address) refuse(whole);

  const char* comma = strchr(equals, ',');
  const char* value = comma != nullptr ? comma + 1 : nullptr;

  // From here on a refusal shows the command only up to the end of its name.
  const std::string up_to_name = whole.substr(0, static_cast<size_t>(name_end - text));
  const std::string name = up_to_name.substr(2);

  if (strcasecmp(name.c_str(), "OSCCAL") == 0) {
    if (special_commands.osccal.mode != cell_none) refuse_second_command();
    int correction = 0;
    if (value != nullptr && sscanf(value, "%d", &correction) != 1) refuse(up_to_name);
    special_commands.osccal = osccal_cell{mode, number, address, correction};
  } else if (strcasecmp(name.c_str(), "SERNO") == 0) {
    if (special_commands.serno.mode != cell_none) refuse_second_command();
    if (value == nullptr || *value == '\0') refuse(up_to_name);
    special_commands.serno = serno_cell{mode, number, address, value};
  } else if (strcasecmp(name.c_str(), "BYTES") == 0) {
    if (value == nullptr || 2LL * number != static_cast<long long>(strlen(value))) refuse(up_to_name);
    std::vector<uint8_t> data(static_cast<size_t>(number));
    if (!parse_hex_bytes(value, data.data(), number)) refuse(up_to_name);
    special_commands.bytes = bytes_cell{mode, number, address, std::move(data)};
  } else {
    refuse(up_to_name);
  }
}
