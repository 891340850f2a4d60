// The pin configuration syntax: "key=value" entries, inline after ':' or one
// per line in a configuration file with '#' and ';' comments.
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "adapter/pin_map.h"
#include "driver/config_path.h"
#include "driver/messages.h"

namespace {

const size_t entry_size = 512;  // entries and file lines: at most 511 characters

void parse_pin(pin_map& map, int signal, const char* key, char* pin_text, const pin_desc* table) {
  char* pin = trim(pin_text);
  const bool user_inverted = *pin == '~';
  if (user_inverted) ++pin;
  const pin_desc* row = find_pin(table, pin);
  if (row == nullptr) fail(status_usage, "adapter: invalid pin name '%s'\n", pin);
  for (int s = 0; s < signal_count; ++s)
    if ((map.signals[s].all() & row->bits) != 0)
      fail(status_usage, "adapter: can't use '%s' for '%s' - already used for '%s'\n", pin, key,
           signal_table[s].name);
  const signal_desc& desc = signal_table[signal];
  if ((desc.direction & row->direction) != desc.direction)
    fail(status_usage, "adapter: can't use %s pin '%s' for %s signal '%s'\n", direction_name(row->direction),
         row->name, direction_name(desc.direction), desc.name);
  if (map.defined(signal) && !desc.multiple)
    fail(status_usage, "adapter: can't use multiply pins for signal '%s'\n", desc.name);
  // Without '~' asserting drives the line high, whatever the port does to the bit.
  if ((row->inverted != 0) == user_inverted)
    map.signals[signal].active_bits |= row->bits;
  else
    map.signals[signal].inactive_bits |= row->bits;
}

void parse_inline(pin_map& map, const char* list, const pin_desc* table) {
  tokenizer entries{list, ":"};
  char entry[entry_size];
  while (next_token(entries, entry, sizeof entry)) parse_pin_entry(map, entry, table);
}

void parse_file(pin_map& map, const char* name, const pin_desc* table) {
  std::unique_ptr<char[]> path(new char[4096]);
  if (!find_config_file(path.get(), 4096, name)) fail(status_usage, "File '%s' not found\n", name);
  FILE* file = open_file_or_fail(path.get(), "rt");
  std::unique_ptr<FILE, int (*)(FILE*)> closer(file, fclose);
  report(3, "\t%% loading config file '%s'\n", path.get());
  char line[entry_size];
  while (fgets(line, sizeof line, file) != nullptr) {
    strip_comment(line);
    char* entry = trim(line);
    if (*entry != '\0') parse_pin_entry(map, entry, table);
  }
}

}  // namespace

void parse_pin_entry(pin_map& map, const char* entry, const pin_desc* table) {
  const char* equals = strchr(entry, '=');
  if (equals == nullptr || equals[1] == '\0') fail(status_usage, "adapter: invalid string '%s'\n", entry);
  std::string key_text(entry, equals - entry);
  std::string value_text(equals + 1);
  char* key = trim(&key_text[0]);
  if (strcasecmp(key, "name") == 0) {
    if (map.name[0] != '\0') fail(status_usage, "adapter: duplicate keyword 'name'\n");
    map.set_name(trim(&value_text[0]));
    return;
  }
  const int signal = find_signal(key);
  if (signal < 0) fail(status_usage, "adapter: invalid signal name '%s'\n", key);
  if (map.defined(signal)) fail(status_usage, "adapter: duplicate signal name '%s'\n", key);
  char* rest = &value_text[0];
  for (;;) {
    char* comma = strchr(rest, ',');
    if (comma != nullptr) *comma = '\0';
    parse_pin(map, signal, key, rest, table);
    if (comma == nullptr) break;
    rest = comma + 1;
  }
}

void load_pin_map(pin_map& map, const char* text, const pin_desc* table) {
  const char* separator = strpbrk(text, "=:");
  if (separator == nullptr) return;
  if (separator[1] == '\0') fail(status_usage, "Invalid adapter switch '%s'\n", text);
  if (*separator == ':')
    parse_inline(map, separator + 1, table);
  else
    parse_file(map, separator + 1, table);
}
