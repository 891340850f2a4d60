#include "isp/fuse_list.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "isp/current_chip.h"
#include "isp/fuse_field.h"
#include "isp/isp_chip.h"

namespace {

constexpr size_t max_item_length = 64;

struct fuse_value {
  bool given = false;
  bool on_off = false;
  uint32_t value = 0;
};

fuse_value parse_value(const std::string& name, const char* text) {
  fuse_value v;
  if (text == nullptr || *text == '\0') return v;
  v.given = true;
  if (strcasecmp(text, "ON") == 0 || strcasecmp(text, "OFF") == 0) {
    v.on_off = true;
    v.value = strcasecmp(text, "ON") == 0 ? 0 : 1;  // a programmed fuse bit reads 0
    return v;
  }
  unsigned int number = 0;
  if (sscanf(text, "%x", &number) != 1) {
    fail(status_usage, "Invalid value '%s' for fuse '%s'\n", text, name.c_str());
  }
  v.value = number;
  return v;
}

int byte_index(const std::string& name) {
  for (int i = 0; i < 4; ++i) {
    if (strcasecmp(name.c_str(), fuse_byte_name(i)) == 0) return i;
  }
  return -1;
}

void add_byte(const chip_desc& chip, fuse_request_pair* request, int i, const std::string& name,
              const fuse_value& v) {
  if (fuse_list_of(chip, i) == nullptr) fail(status_usage, "Fuse byte '%s' not exist in %s\n", name.c_str(), chip.name);
  if (v.on_off) fail(status_usage, "ON/OFF mnemonics can't be used for fuse byte name '%s'\n", name.c_str());
  if (request[i].mask != 0) fail(status_usage, "Duplicate fuse %s in command line\n", name.c_str());
  if (!v.given) fail(status_usage, "Value required for fuse %s\n", name.c_str());
  if (v.value > 0xFF) fail(status_usage, "Value %X too large for fuse byte %s\n", v.value, name.c_str());
  report(4, "\t%% Fuse byte added: %s=%X\n", name.c_str(), v.value);
  // The lock bits LB1 and LB2 are set with the lock switch only.
  request[i].mask = i == fuse_lock ? 0xFC : 0xFF;
  request[i].value = uint8_t(v.value);
}

bool names_field(const fuse_desc& f, const std::string& name) {
  return strcasecmp(f.info->name, name.c_str()) == 0 ||
         (f.info->alt_name != nullptr && strcasecmp(f.info->alt_name, name.c_str()) == 0);
}

void add_field(const chip_desc& chip, fuse_request_pair* request, const std::string& name, const fuse_value& v) {
  for (int i = 0; i < 4; ++i) {
    for (const fuse_desc* f = fuse_list_of(chip, i); f != nullptr && f->info != nullptr; ++f) {
      if (!names_field(*f, name)) continue;
      if (!v.given) fail(status_usage, "Value required for fuse %s\n", name.c_str());
      if (v.value > field_max(*f)) fail(status_usage, "Value %X too large for fuse %s\n", v.value, name.c_str());
      if (v.on_off && f->width != 1) {
        fail(status_usage, "ON/OFF mnemonics can't be used with %d-bit fuse '%s'\n", int(f->width), name.c_str());
      }
      if (request[i].mask & field_mask(*f)) fail(status_usage, "Duplicate fuse %s in command line\n", name.c_str());
      report(4, "\t%% Fuse added: %s=%X\n", name.c_str(), v.value);
      request[i].mask = uint8_t(request[i].mask | field_mask(*f));
      request[i].value = uint8_t(request[i].value | (v.value << f->shift));
      return;
    }
  }
  fail(status_usage, "Invalid fuse name %s\n", name.c_str());
}

void parse_item(const chip_desc& chip, fuse_request_pair* request, const std::string& item) {
  if (item.size() > max_item_length) fail(status_usage, "Fuse command too long\n");
  const size_t eq = item.find('=');
  const std::string name = item.substr(0, eq);
  const std::string value_text = eq == std::string::npos ? std::string() : item.substr(eq + 1);
  const fuse_value v = parse_value(name, value_text.c_str());
  const int i = byte_index(name);
  if (i >= 0) {
    add_byte(chip, request, i, name, v);
  } else {
    add_field(chip, request, name, v);
  }
}

}  // namespace

void parse_fuse_list(const char* text) {
  if (text == nullptr) return;
  const int index = current_chip_index();
  if (index < 0 || chip_table[index].fuses == nullptr) {
    fail(status_usage, "%s has no ISP-writable fuses\n", chip_display_name(index));
  }
  const chip_desc& chip = chip_table[index];

  // Built aside and stored only when the whole list is good.
  fuse_request_pair request[4];
  for (const char* p = text;;) {
    const char* comma = strchr(p, ',');
    const std::string item = comma != nullptr ? std::string(p, comma) : std::string(p);
    if (!item.empty()) parse_item(chip, request, item);
    if (comma == nullptr) break;
    p = comma + 1;
  }
  for (int i = 0; i < 4; ++i) {
    isp_chip.fuse_read[i].defined = defined_bits(fuse_list_of(chip, i));
    isp_chip.fuse_request[i] = request[i];
  }
}
