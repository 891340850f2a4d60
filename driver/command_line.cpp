#include "driver/command_line.h"

#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "devices/chip_desc.h"
#include "driver/help.h"
#include "driver/messages.h"
#include "driver/settings.h"
#include "isp/fuse_list.h"
#include "isp/isp_chip.h"
#include "programming/cell_commands.h"

namespace {

char lower(char c) { return static_cast<char>(tolower(static_cast<unsigned char>(c))); }

void take_chip_name(const char* argument) {
  const char* name = argument + 1;
  if (*name == '\0') fail(status_usage, "Chip name required for '+'\n");
  if (strncasecmp(name, "AT", 2) == 0) name += 2;
  if (find_chip(name) < 0) fail(status_usage, "Unsupported device %s\n", name);
  settings.requested_chip = name;
}

// -c/-d file names: one file per memory.
void set_memory_file(int kind, const char* name) {
  const char*& slot = kind == mem_code ? settings.code_file : settings.data_file;
  if (slot != nullptr) fail(status_usage, "\tCan't use two files for %s\n%s\n%s\n", memory_kind_name(kind), slot, name);
  slot = name;
}

void take_bare_file(const char* name) {
  if (settings.code_file == nullptr) {
    settings.code_file = name;
  } else if (settings.data_file != nullptr) {
    fail(status_usage, "Too many files\n");
  } else {
    settings.data_file = name;
    settings.split_code_file = false;
  }
}

// -o[s]#[unit][,div]; value is the text after the letter.
void take_clock(char letter, const char* value) {
  const char* text = value;
  if (lower(*text) == 's') {
    settings.clock_is_sck = true;
    ++text;
  }
  std::string number(text);
  const size_t comma = number.find(',');
  if (comma != std::string::npos) {
    unsigned divider;
    if (sscanf(number.c_str() + comma + 1, "%u", &divider) != 1 || divider < 1 || divider > 32) {
      fail_invalid_value(letter, value);
    }
    settings.xtal_divider = divider;
    number.erase(comma);
  }

  float frequency;
  char unit[4] = "";
  const int fields = sscanf(number.c_str(), "%f%3s", &frequency, unit);
  if (fields < 1) fail_invalid_value(letter, value);
  float multiplier;
  if (fields < 2 || strcasecmp(unit, "KHZ") == 0) {
    multiplier = 1000.0f;
  } else if (strcasecmp(unit, "MHZ") == 0) {
    multiplier = 1000000.0f;
  } else if (strcasecmp(unit, "HZ") == 0) {
    multiplier = 1.0f;
  } else {
    fail_invalid_value(letter, value);
  }
  frequency *= multiplier;

  if (frequency == 0) {  // the adapter generates the target's clock
    settings.clock_frequency = 0;
    return;
  }
  if (!(frequency >= 1000 && frequency <= 40000000)) {
    fail(status_usage, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n");
  }
  if (settings.xtal_divider != 1) fail(status_usage, "-o: divider can be used only with -o0 form of the switch\n");
  settings.clock_frequency = static_cast<uint32_t>(frequency);
}

// -n[#]; value is the text after the letter.
void take_erase_counter(char letter, const char* value) {
  settings.use_erase_counter = true;
  unsigned long count;
  if (sscanf(value, "%lu", &count) == 1) {
    if (count < 1 || count > 65534) fail_invalid_value(letter, value);
    settings.erase_counter_value = static_cast<uint16_t>(count);
  }
}

// -a...: the modifiers z, p, r, i#, or else an adapter description.
void take_adapter(const char* value) {
  switch (lower(*value)) {
    case 'z':
      settings.outputs_off_after = true;
      break;
    case 'p':
      settings.power_from_data = true;
      break;
    case 'r':
      fail(status_usage, "-ar switch not supported now, use adapter configuration file for inverted reset\n");
    case 'i': {
      unsigned ms;
      if (sscanf(value + 1, "%u", &ms) != 1) fail_value_required("-ai");
      if (ms >= 1 && ms <= 10000) isp_chip.reset_inactive_time = static_cast<float>(ms);
      break;
    }
    default:
      settings.adapter_text = value;
  }
}

// -c / -d: a special data command, or a file name attached or in the next argument.
void take_memory_file(const char* letter, int& index, int argc, char** argv) {
  if (letter[1] == '*' || letter[1] == '?') {
    parse_special_command(letter);
    return;
  }
  const int kind = lower(*letter) == 'c' ? mem_code : mem_data;
  const char* name = letter + 1;
  if (*name == '\0') {
    if (index + 1 >= argc) fail_file_name_required(kind == mem_code ? 'C' : 'D');
    name = argv[++index];
  }
  set_memory_file(kind, name);
  settings.split_code_file = false;
}

// -b[cd]
void take_blank_check(char letter, const char* value) {
  if (*value == '\0') {
    if (settings.blank_mask == 0) settings.blank_mask = 3;
    return;
  }
  for (const char* p = value; *p != '\0'; ++p) {
    switch (lower(*p)) {
      case 'c':
        settings.blank_mask |= 1;
        break;
      case 'd':
        settings.blank_mask |= 2;
        break;
      default:
        fail_invalid_value(letter, p);
    }
  }
}

// -w[+][p]
void take_write(char letter, const char* value) {
  settings.write_flags = write_flag_write;
  for (const char* p = value; *p != '\0'; ++p) {
    if (*p == '+') {
      settings.write_flags |= write_flag_fill_eeprom;
    } else if (lower(*p) == 'p') {
      settings.write_flags |= write_flag_polling;
    } else {
      fail_invalid_value(letter, p);
    }
  }
}

[[noreturn]] void show_help() {
  if (settings.requested_chip != nullptr) {
    print_chip_fuses(settings.requested_chip);
  } else {
    print_help();
  }
  throw app_error(status_ok);
}

// What a switch letter's handler sees: the letter as typed, the text after
// it, and the argument list (-c and -d may take the next argument).
struct switch_args {
  char letter;
  const char* value;
  int& index;
  int argc;
  char** argv;
};

// A handler returns how many characters after its letter it used, or
// rest_of_group when it took the rest of the argument as its value.
constexpr int rest_of_group = -1;
using switch_handler = int (*)(const switch_args&);

struct switch_entry {
  char key;  // lower case, but for K
  switch_handler handle;
};

int take_delay_factor(const switch_args& a) {
  settings.delay_multiplier = a.letter == '1' ? 1.5f : static_cast<float>(a.letter - '0');
  return 0;
}

int take_lock(const switch_args& a) {
  const char* digit = a.value;
  if (*digit == '+') {
    settings.lock_first = true;
    ++digit;
  }
  if (*digit != '1' && *digit != '2') fail_invalid_value(a.letter, digit);
  settings.lock_level = *digit;
  return static_cast<int>(digit - a.value) + 1;
}

int take_fuse_list(const switch_args& a) {
  if (settings.fuse_list_text != nullptr)
    fail(status_usage, "Only one -F switch can be used, place all fuses in one switch\n");
  settings.fuse_list_text = a.value;
  return rest_of_group;
}

// -e[-]
int take_erase(const switch_args& a) {
  settings.erase = true;
  if (*a.value != '-') return 0;
  settings.eeprom_keep = true;
  return 1;
}

// -v[+]
int take_verify(const switch_args& a) {
  settings.verify = true;
  if (*a.value != '+') return 0;
  settings.verify_all = true;
  return 1;
}

int take_file_or_cells(const switch_args& a) {
  take_memory_file(a.value - 1, a.index, a.argc, a.argv);
  return rest_of_group;
}

const switch_entry switch_table[] = {
    {'h', [](const switch_args&) -> int { show_help(); }},
    {'?', [](const switch_args&) -> int { show_help(); }},
    {'a', [](const switch_args& a) { take_adapter(a.value); return rest_of_group; }},
    {'p', [](const switch_args& a) { settings.port_text = a.value; return rest_of_group; }},
    {'k', [](const switch_args&) { settings.wait_key = true; return 0; }},
    {'K', [](const switch_args&) { settings.wait_key = settings.wait_key_early = true; return 0; }},
    {'o', [](const switch_args& a) { take_clock(a.letter, a.value); return rest_of_group; }},
    {'1', take_delay_factor},
    {'2', take_delay_factor},
    {'3', take_delay_factor},
    {'4', take_delay_factor},
    {'5', take_delay_factor},
    {'%', [](const switch_args&) { msg_stream.threshold = 4; return 0; }},
    {'!', [](const switch_args&) { settings.force = true; return 0; }},
    {'n', [](const switch_args& a) { take_erase_counter(a.letter, a.value); return rest_of_group; }},
    {'c', take_file_or_cells},
    {'d', take_file_or_cells},
    {'e', take_erase},
    {'b', [](const switch_args& a) { take_blank_check(a.letter, a.value); return rest_of_group; }},
    {'r', [](const switch_args&) { settings.read = true; return 0; }},
    {'w', [](const switch_args& a) { take_write(a.letter, a.value); return rest_of_group; }},
    {'v', take_verify},
    {'l', take_lock},
    {'f', take_fuse_list},
};

switch_handler find_switch(char letter) {
  const char key = letter == 'K' ? 'K' : lower(letter);
  for (const switch_entry& entry : switch_table)
    if (entry.key == key) return entry.handle;
  fail(status_usage, "Invalid switch %c\n%s\n", letter, help_hint);
}

// One argument that begins with '-': letters left to right; a letter that
// takes the rest of the argument as its value ends the group.
void parse_switch_group(int& index, int argc, char** argv) {
  const char* p = argv[index] + 1;
  while (*p != '\0') {
    const switch_args args{*p, p + 1, index, argc, argv};
    const int used = find_switch(*p)(args);
    if (used == rest_of_group) return;
    p += 1 + used;
  }
}

}  // namespace

void parse_command_line(int argc, char** argv) {
  for (int index = 1; index < argc; ++index) {
    const char* argument = argv[index];
    if (argument[0] == '+') {
      take_chip_name(argument);
    } else if (argument[0] == '-') {
      parse_switch_group(index, argc, argv);
    } else {
      take_bare_file(argument);
    }
  }
}

void check_combination() {
  const bool port_listing = settings.port_text != nullptr && settings.port_text[0] == '?';
  if (settings.requested_chip == nullptr && !port_listing) fail(status_usage, "Chip name must be specified\n");

  parse_fuse_list(settings.fuse_list_text);

  const bool any_file = settings.code_file != nullptr || settings.data_file != nullptr;
  const bool fuses = settings.fuse_list_text != nullptr;
  const char* const fuses_without_action = "Nothing to do with fuses, -w or -v must be specified\n";
  if (settings.read) {
    if (settings.write_flags != 0 || settings.verify) fail(status_usage, "Can't both read and write or verify\n");
    if (!any_file) fail(status_usage, "Can't read without target files\n");
    if (fuses) fail(status_usage, "%s", fuses_without_action);
  } else if (settings.write_flags != 0 || settings.verify) {
    if (!any_file && !fuses) fail(status_usage, "Can't write/verify without source files or fuse list\n");
  } else {
    if (any_file) fail(status_usage, "Nothing to do with files, -r or -w or -v must be specified\n");
    if (fuses) fail(status_usage, "%s", fuses_without_action);
  }
}
