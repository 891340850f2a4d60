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

// The parts of a command before its value: "C*OSCCAL1=1FFE,-2" has the mode
// C*, the name OSCCAL, the number 1, the address 0x1FFE and the value "-2".
struct command_head {
  cell_mode mode = cell_none;
  std::string up_to_name;  // "C*OSCCAL": what a refusal shows from the name on
  std::string name;
  int number = 0;
  uint32_t address = no_cell_address;
  const char* value = nullptr;  // after the comma, null without one
};

cell_mode mode_of(const char* text, const std::string& whole) {
  if (strncasecmp(text, "D*", 2) == 0) return cell_data;
  if (strncasecmp(text, "C*", 2) == 0) return cell_code;
  if (strncasecmp(text, "C?", 2) == 0) return cell_code_ldi;
  refuse(whole);
}

command_head parse_head(const char* text) {
  const std::string whole(text);
  command_head head;
  head.mode = mode_of(text, whole);
  const char* rest = text + 2;
  if (*rest == '\0') refuse(whole);

  const char* equals = strchr(rest, '=');
  if (equals == nullptr) refuse(whole);
  const char* name_end = rest;
  while (!isdigit(static_cast<unsigned char>(*name_end)) && *name_end != '=') ++name_end;
  if (name_end < equals) sscanf(name_end, "%d", &head.number);

  // Addresses are 32-bit: anything wider reads as the "no address" value.
  unsigned long read_address;
  if (sscanf(equals + 1, "%lx", &read_address) != 1) refuse(whole);
  head.address = read_address > 0xFFFFFFFFUL ? no_cell_address : static_cast<uint32_t>(read_address);
  if (head.address == no_cell_address) refuse(whole);

  const char* comma = strchr(equals, ',');
  head.value = comma != nullptr ? comma + 1 : nullptr;
  head.up_to_name = whole.substr(0, static_cast<size_t>(name_end - text));
  head.name = head.up_to_name.substr(2);
  return head;
}

void take_osccal(const command_head& h) {
  if (special_commands.osccal.mode != cell_none) refuse_second_command();
  int correction = 0;
  if (h.value != nullptr && sscanf(h.value, "%d", &correction) != 1) refuse(h.up_to_name);
  special_commands.osccal = osccal_cell{h.mode, h.number, h.address, correction};
}

void take_serno(const command_head& h) {
  if (special_commands.serno.mode != cell_none) refuse_second_command();
  if (h.value == nullptr || *h.value == '\0') refuse(h.up_to_name);
  special_commands.serno = serno_cell{h.mode, h.number, h.address, h.value};
}

void take_bytes(const command_head& h) {
  if (h.value == nullptr || 2LL * h.number != static_cast<long long>(strlen(h.value))) refuse(h.up_to_name);
  std::vector<uint8_t> data(static_cast<size_t>(h.number));
  if (!parse_hex_bytes(h.value, data.data(), h.number)) refuse(h.up_to_name);
  special_commands.bytes = bytes_cell{h.mode, h.number, h.address, std::move(data)};
}

}  // namespace

void parse_special_command(const char* text) {
  const command_head head = parse_head(text);
  if (strcasecmp(head.name.c_str(), "OSCCAL") == 0) {
    take_osccal(head);
  } else if (strcasecmp(head.name.c_str(), "SERNO") == 0) {
    take_serno(head);
  } else if (strcasecmp(head.name.c_str(), "BYTES") == 0) {
    take_bytes(head);
  } else {
    refuse(head.up_to_name);
  }
}
