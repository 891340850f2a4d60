// Building the emulated channel list from the --ftdi entries.
#include "sim/ftdi/ftdi_bus.h"

#include <cstdio>
#include <string>

namespace vt {

uint64_t default_turn_ns(ftdi_chip chip) { return chip == ftdi_chip::ft2232c ? 1000000 : 125000; }

std::vector<channel_info> emulated_channels(const bench_config& cfg, std::string& type_error) {
  std::vector<channel_info> out;
  for (const fault_spec& f : cfg.faults)
    if (f.id == fault_id::no_ftdi) return out;
  for (size_t i = 0; i < cfg.ftdi.size(); ++i) {
    const ftdi_entry& e = cfg.ftdi[i];
    channel_info c;
    int channels = 2;
    const char* base = nullptr;
    if (e.type == "ft2232c" || e.type == "ft2232d" || e.type == "ft2232") {
      c.chip = ftdi_chip::ft2232c;
      c.type = 4;
      c.id = 0x04036010;
      base = "Dual RS232";
    } else if (e.type == "ft2232h") {
      c.chip = ftdi_chip::ft2232h;
      c.type = 6;
      c.id = 0x04036010;
      base = "Dual RS232-HS";
    } else if (e.type == "ft4232h") {
      c.chip = ftdi_chip::ft4232h;
      c.type = 7;
      c.id = 0x04036011;
      channels = 4;
      base = "Quad RS232-HS";
    } else {
      type_error = e.type;
      continue;
    }
    c.high_speed = c.chip != ftdi_chip::ft2232c;
    c.turn_ns = cfg.usb_latency_us >= 0 ? uint64_t(cfg.usb_latency_us * 1000.0) : default_turn_ns(c.chip);
    c.byte_ns = c.high_speed ? 25 : 1000;  // about 40 MB/s and 1 MB/s of bulk data
    c.packet_payload = c.high_speed ? 510 : 62;
    char serial[32];
    std::snprintf(serial, sizeof serial, "VT%06u", unsigned(i + 1));
    const std::string base_serial = e.has_serial ? e.serial : serial;
    const std::string base_desc = e.has_description ? e.description : base;
    for (int ch = 0; ch < channels; ++ch) {
      channel_info k = c;
      k.letter = char('A' + ch);
      k.location = uint32_t(0x1011 + 0x100 * i + ch);
      k.serial = (base_serial + k.letter).substr(0, 15);
      std::string d = base_desc + " " + k.letter;
      if (d.size() > 63) d = d.substr(0, 62) + k.letter;
      k.description = d;
      // MPSSE: channel A of the FT2232C/D, A and B of the H chips.
      k.mpsse = ch == 0 || (ch == 1 && c.high_speed);
      k.where = "ftdi:" + std::to_string(i) + ":" + k.letter;
      if (cfg.positions.empty()) {
        k.chip_attached = out.empty() && ch == 0;
      } else {
        for (const chip_position& p : cfg.positions) k.chip_attached = k.chip_attached || p.where == k.where;
      }
      out.push_back(k);
    }
  }
  return out;
}

}  // namespace vt
