// The mapped chip image: a fixed header, then the FLASH and the EEPROM.
#include "sim/chip/chip_image.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace vt {
namespace {

const char magic[8] = {'V', 'T', 'I', 'M', 'A', 'G', 'E', '1'};

struct header {
  char magic[8];
  char chip[32];
  uint32_t flash_size;
  uint32_t eeprom_size;
  uint8_t fuse[3];
  uint8_t lock;
  uint8_t calibration[4];
  uint32_t erase_cycles;
};

size_t image_size(uint32_t flash, uint32_t eeprom) { return sizeof(header) + flash + eeprom; }

bool header_ok(const uint8_t* p, size_t size) {
  if (size < sizeof(header)) return false;
  header h;
  std::memcpy(&h, p, sizeof h);
  return std::memcmp(h.magic, magic, sizeof magic) == 0 && size == image_size(h.flash_size, h.eeprom_size);
}

chip_state decode(const uint8_t* p) {
  header h;
  std::memcpy(&h, p, sizeof h);
  chip_state s;
  s.chip.assign(h.chip, strnlen(h.chip, sizeof h.chip));
  const uint8_t* flash = p + sizeof(header);
  s.flash.assign(flash, flash + h.flash_size);
  s.eeprom.assign(flash + h.flash_size, flash + h.flash_size + h.eeprom_size);
  std::copy(h.fuse, h.fuse + 3, s.fuse);
  s.lock = h.lock;
  std::copy(h.calibration, h.calibration + 4, s.calibration);
  s.erase_cycles = h.erase_cycles;
  return s;
}

}  // namespace

bool write_chip_image(const std::string& path, const chip_state& s, std::string& error) {
  header h{};
  std::memcpy(h.magic, magic, sizeof magic);
  std::strncpy(h.chip, s.chip.c_str(), sizeof h.chip - 1);
  h.flash_size = uint32_t(s.flash.size());
  h.eeprom_size = uint32_t(s.eeprom.size());
  std::copy(s.fuse, s.fuse + 3, h.fuse);
  h.lock = s.lock;
  std::copy(s.calibration, s.calibration + 4, h.calibration);
  h.erase_cycles = s.erase_cycles;
  std::string bytes(reinterpret_cast<const char*>(&h), sizeof h);
  bytes.append(s.flash.begin(), s.flash.end());
  bytes.append(s.eeprom.begin(), s.eeprom.end());
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  bool ok = fd >= 0 && ::write(fd, bytes.data(), bytes.size()) == ssize_t(bytes.size());
  if (fd >= 0) ok = ::close(fd) == 0 && ok;
  if (!ok) error = "can't write " + path;
  return ok;
}

bool read_chip_image(const std::string& path, chip_state& s, std::string& error) {
  chip_image image;
  if (!image.map(path, error)) return false;
  s = image.load();
  return true;
}

chip_image::~chip_image() {
  if (base_) munmap(base_, size_);
}

bool chip_image::map(const std::string& path, std::string& error) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct stat sb;
  void* p = MAP_FAILED;
  if (fd >= 0 && fstat(fd, &sb) == 0 && sb.st_size > 0)
    p = mmap(nullptr, size_t(sb.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (fd >= 0) ::close(fd);
  if (p == MAP_FAILED) {
    error = "can't map " + path;
    return false;
  }
  base_ = static_cast<uint8_t*>(p);
  size_ = size_t(sb.st_size);
  if (!header_ok(base_, size_)) {
    error = path + ": not a chip image";
    return false;
  }
  return true;
}

chip_state chip_image::load() const { return decode(base_); }

void chip_image::store(const chip_state& s, const chip_change& c) {
  header h;
  std::memcpy(&h, base_, sizeof h);
  std::copy(c.fuse, c.fuse + 3, h.fuse);
  h.lock = c.lock;
  h.erase_cycles = s.erase_cycles;
  std::memcpy(base_, &h, sizeof h);
  uint8_t* flash = base_ + sizeof(header);
  uint8_t* eeprom = flash + h.flash_size;
  auto copy = [](uint8_t* to, uint32_t size, const std::vector<uint8_t>& from, uint32_t first, uint32_t count) {
    if (first >= size || first >= from.size()) return;
    count = std::min({count, size - first, uint32_t(from.size()) - first});
    std::memcpy(to + first, from.data() + first, count);
  };
  switch (c.kind) {
    case chip_change::what::flash: copy(flash, h.flash_size, s.flash, c.first, c.count); break;
    case chip_change::what::eeprom: copy(eeprom, h.eeprom_size, s.eeprom, c.first, c.count); break;
    case chip_change::what::everything:
      copy(flash, h.flash_size, s.flash, 0, h.flash_size);
      copy(eeprom, h.eeprom_size, s.eeprom, 0, h.eeprom_size);
      break;
    case chip_change::what::fuses_and_lock: break;
  }
}

}  // namespace vt
