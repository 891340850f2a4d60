// vt_ftdi_client: a plain MPSSE ISP client for the FTDI emulation's tests and
// demos. It loads "libftd2xx.so" by name (whichever the library path finds),
// resolves the 23 D2XX functions, opens a channel by description and talks to
// the AVR on ADBUS0..3 (SCK, MOSI, MISO, RESET) the way any programmer would.
//
//   vt_ftdi_client list                     print the device list
//   vt_ftdi_client sig [DESCRIPTION]        enable, print the echo and the signature
//   vt_ftdi_client program SEED [DESCRIPTION]
//                                           erase and program the whole FLASH of a
//                                           mega8 with a pattern (page writes, RDY/BSY
//                                           polling), read it back: "verify ok"
// Exit status: 0 done, 2 a D2XX function is missing, 3 no device, 1 anything else.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sim/ftdi/d2xx_api.h"

namespace {

struct d2xx {
#define VT_DECLARE(n) decltype(&::n) n = nullptr;
  VT_D2XX_FUNCTIONS(VT_DECLARE)
#undef VT_DECLARE
};

d2xx lib;
FT_HANDLE dev = nullptr;

[[noreturn]] void die(int code, const char* what, FT_STATUS st = 0) {
  std::printf("%s (status %u)\n", what, st);
  std::exit(code);
}

void put(std::vector<uint8_t> b) {
  DWORD n = 0;
  FT_STATUS st = lib.FT_Write(dev, b.data(), DWORD(b.size()), &n);
  if (st != FT_OK || n != b.size()) die(1, "write failed", st);
}

std::vector<uint8_t> get(size_t count) {
  std::vector<uint8_t> b(count);
  DWORD n = 0;
  FT_STATUS st = lib.FT_Read(dev, b.data(), DWORD(count), &n);
  if (st != FT_OK || n != count) die(1, "read failed", st);
  return b;
}

// Several instructions in one transfer: the answers, four bytes each.
std::vector<uint8_t> isp(const std::vector<uint8_t>& instructions) {
  const size_t n = instructions.size();
  std::vector<uint8_t> cmd = {0x31, uint8_t((n - 1) & 0xFF), uint8_t((n - 1) >> 8)};
  cmd.insert(cmd.end(), instructions.begin(), instructions.end());
  cmd.push_back(0x87);
  put(cmd);
  return get(n);
}

void wait_ready() {
  for (int i = 0; i < 10000; ++i)
    if (!(isp({0xF0, 0x00, 0x00, 0x00})[3] & 1)) return;
  die(1, "chip stays busy");
}

int program(unsigned seed) {
  const uint32_t flash = 8192, page = 64;
  std::vector<uint8_t> image(flash);
  for (uint32_t i = 0; i < flash; ++i) image[i] = uint8_t((i * 7 + seed) ^ (i >> 8));
  isp({0xAC, 0x80, 0x00, 0x00});
  wait_ready();
  for (uint32_t base = 0; base < flash; base += page) {
    std::vector<uint8_t> ins;
    for (uint32_t i = 0; i < page; ++i) {
      const uint32_t word = (base + i) / 2;
      ins.insert(ins.end(), {uint8_t(i & 1 ? 0x48 : 0x40), 0x00, uint8_t(word & 0x1F), image[base + i]});
    }
    const uint32_t word = base / 2;
    ins.insert(ins.end(), {0x4C, uint8_t(word >> 8), uint8_t(word & 0xFF), 0x00});
    isp(ins);
    wait_ready();
  }
  for (uint32_t base = 0; base < flash; base += 256) {
    std::vector<uint8_t> ins;
    for (uint32_t i = 0; i < 256; ++i) {
      const uint32_t word = (base + i) / 2;
      ins.insert(ins.end(), {uint8_t(i & 1 ? 0x28 : 0x20), uint8_t(word >> 8), uint8_t(word & 0xFF), 0x00});
    }
    std::vector<uint8_t> r = isp(ins);
    for (uint32_t i = 0; i < 256; ++i)
      if (r[4 * i + 3] != image[base + i]) {
        std::printf("differs at %04X: %02X, expected %02X\n", base + i, r[4 * i + 3], image[base + i]);
        return 1;
      }
  }
  std::printf("verify ok\n");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const std::string mode = argc > 1 ? argv[1] : "sig";
  if (mode == "program" && argc < 3) die(1, "program needs a SEED");
  void* h = dlopen("libftd2xx.so", RTLD_NOW);
  if (!h) die(1, dlerror());
#define VT_RESOLVE(n)                                                 \
  lib.n = reinterpret_cast<decltype(&::n)>(dlsym(h, #n));             \
  if (!lib.n) {                                                       \
    std::printf("missing function %s\n", #n);                         \
    return 2;                                                         \
  }
  VT_D2XX_FUNCTIONS(VT_RESOLVE)
#undef VT_RESOLVE

  DWORD count = 0;
  FT_STATUS st = lib.FT_CreateDeviceInfoList(&count);
  if (st != FT_OK) die(1, "can't list devices", st);
  if (!count) die(3, "no devices");
  if (mode == "list") {
    std::vector<FT_DEVICE_LIST_INFO_NODE> list(count);
    st = lib.FT_GetDeviceInfoList(list.data(), &count);
    if (st != FT_OK) die(1, "can't get the list", st);
    for (DWORD i = 0; i < count; ++i)
      std::printf("%u: type %u id %08X loc %04X \"%s\" serial \"%s\"\n", i, list[i].Type, list[i].ID, list[i].LocId,
                  list[i].Description, list[i].SerialNumber);
    return 0;
  }
  const int desc_arg = mode == "program" ? 3 : 2;
  const char* desc = argc > desc_arg ? argv[desc_arg] : "Dual RS232-HS A";
  st = lib.FT_OpenEx(const_cast<char*>(desc), FT_OPEN_BY_DESCRIPTION, &dev);
  if (st != FT_OK) die(st == FT_DEVICE_NOT_FOUND ? 3 : 1, "can't open", st);
  FT_DEVICE type = 0;
  lib.FT_GetDeviceInfo(dev, &type, nullptr, nullptr, nullptr, nullptr);
  if (lib.FT_SetBitMode(dev, 0, FT_BITMODE_MPSSE) != FT_OK) die(1, "can't set MPSSE mode");
  lib.FT_SetTimeouts(dev, 1000, 1000);
  lib.FT_Purge(dev, FT_PURGE_RX | FT_PURGE_TX);
  // SCK 187.5 kHz from the 6 MHz base: slow enough for a chip on 1 MHz.
  std::vector<uint8_t> setup;
  if (type != FT_DEVICE_2232C) setup.push_back(0x8B);
  setup.insert(setup.end(), {0x86, 31, 0x00, 0x80, 0x08, 0x0B, 0x80, 0x00, 0x0B});
  put(setup);
  const uint8_t echo = isp({0xAC, 0x53, 0x00, 0x00})[2];
  std::printf("echo %02X\n", echo);
  int rc = 0;
  if (mode == "program") {
    rc = echo == 0x53 ? program(unsigned(std::strtoul(argv[2], nullptr, 0))) : 1;
  } else {
    uint32_t sig = 0;
    for (uint8_t i = 0; i < 3; ++i) sig = (sig << 8) | isp({0x30, 0x00, i, 0x00})[3];
    std::printf("signature %06X\n", sig);
  }
  put({0x80, 0x08, 0x0B});  // release RESET
  lib.FT_SetBitMode(dev, 0, FT_BITMODE_RESET);
  lib.FT_Close(dev);
  return rc;
}
