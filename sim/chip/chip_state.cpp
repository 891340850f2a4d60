// Reading and writing the chip state file: a short text header and the memories
// as hexadecimal lines, erased (all 0xFF) lines left out.
#include "sim/chip/chip_state.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace vt {

chip_state chip_state::factory(const chip_kind& kind) {
  chip_state s;
  s.chip = kind.name();
  s.flash.assign(kind.flash_bytes, 0xFF);
  s.eeprom.assign(kind.eeprom_bytes, 0xFF);
  for (int i = 0; i < 3; ++i) s.fuse[i] = kind.fuse_default[i];
  s.lock = 0xFF;
  for (int i = 0; i < 4; ++i) s.calibration[i] = kind.calibration[i];
  return s;
}

namespace {

const size_t line_bytes = 32;

void write_memory(std::ostream& o, const char* name, const std::vector<uint8_t>& m) {
  char buf[32];
  for (size_t a = 0; a < m.size(); a += line_bytes) {
    size_t n = std::min(line_bytes, m.size() - a);
    bool erased = true;
    for (size_t i = 0; i < n; ++i) erased = erased && m[a + i] == 0xFF;
    if (erased) continue;
    std::snprintf(buf, sizeof buf, "%06zX", a);
    o << name << " " << buf;
    for (size_t i = 0; i < n; ++i) {
      std::snprintf(buf, sizeof buf, " %02X", m[a + i]);
      o << buf;
    }
    o << "\n";
  }
}

bool read_bytes(std::istringstream& in, uint8_t* out, int count) {
  for (int i = 0; i < count; ++i) {
    unsigned v;
    if (!(in >> std::hex >> v) || v > 0xFF) return false;
    out[i] = uint8_t(v);
  }
  return true;
}

}  // namespace

bool save_chip_state(const std::string& path, const chip_state& s, std::string& error) {
  std::ostringstream o;
  char buf[64];
  o << "vtarget-chip-state 1\n";
  o << "chip " << s.chip << "\n";
  o << "flash-size " << s.flash.size() << "\n";
  o << "eeprom-size " << s.eeprom.size() << "\n";
  std::snprintf(buf, sizeof buf, "fuses %02X %02X %02X\n", s.fuse[0], s.fuse[1], s.fuse[2]);
  o << buf;
  std::snprintf(buf, sizeof buf, "lock %02X\n", s.lock);
  o << buf;
  std::snprintf(buf, sizeof buf, "calibration %02X %02X %02X %02X\n", s.calibration[0], s.calibration[1],
                s.calibration[2], s.calibration[3]);
  o << buf;
  o << "erase-cycles " << s.erase_cycles << "\n";
  write_memory(o, "flash", s.flash);
  write_memory(o, "eeprom", s.eeprom);
  std::string tmp = path + ".tmp";
  {
    std::ofstream f(tmp, std::ios::binary | std::ios::trunc);
    f << o.str();
    if (!f) {
      error = "can't write " + tmp;
      return false;
    }
  }
  if (std::rename(tmp.c_str(), path.c_str()) != 0) {
    error = "can't replace " + path;
    return false;
  }
  return true;
}

bool load_chip_state(const std::string& path, chip_state& s, std::string& error) {
  std::ifstream f(path);
  if (!f) {
    error = "can't read " + path;
    return false;
  }
  std::string line;
  int n = 0;
  bool header = false;
  while (std::getline(f, line)) {
    ++n;
    std::istringstream in(line);
    std::string key;
    if (!(in >> key)) continue;
    bool ok = true;
    if (key == "vtarget-chip-state") {
      header = true;
    } else if (key == "chip") {
      ok = bool(in >> s.chip);
    } else if (key == "flash-size" || key == "eeprom-size") {
      size_t size;
      ok = bool(in >> size) && size <= (1u << 24);
      if (ok) (key == "flash-size" ? s.flash : s.eeprom).assign(size, 0xFF);
    } else if (key == "fuses") {
      ok = read_bytes(in, s.fuse, 3);
    } else if (key == "lock") {
      ok = read_bytes(in, &s.lock, 1);
    } else if (key == "calibration") {
      ok = read_bytes(in, s.calibration, 4);
    } else if (key == "erase-cycles") {
      ok = bool(in >> s.erase_cycles);
    } else if (key == "flash" || key == "eeprom") {
      std::vector<uint8_t>& m = key == "flash" ? s.flash : s.eeprom;
      size_t addr;
      ok = bool(in >> std::hex >> addr);
      unsigned v;
      while (ok && in >> std::hex >> v) {
        ok = v <= 0xFF && addr < m.size();
        if (ok) m[addr++] = uint8_t(v);
      }
    } else {
      ok = false;
    }
    if (!ok || !header) {
      error = path + ":" + std::to_string(n) + ": bad line";
      return false;
    }
  }
  if (!header) {
    error = path + ": not a chip state file";
    return false;
  }
  return true;
}

}  // namespace vt
