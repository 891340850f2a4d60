// The emulated libftd2xx.so as any client uses it: loaded with dlopen, devices
// listed and opened, MPSSE commands written and answers read. Each case runs in
// a child process, because the bench reads its configuration once per process.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "sim/bench/bench.h"
#include "sim/bench/config.h"
#include "sim/ftdi/d2xx_api.h"
#include "tests/support/vt_run.h"

#ifdef VT_FTDI_DIR
namespace {

struct d2xx {
#define VT_DECLARE(n) decltype(&::n) n = nullptr;
  VT_D2XX_FUNCTIONS(VT_DECLARE)
#undef VT_DECLARE
  int resolved = 0;
  d2xx() {
    void* handle = dlopen(VT_FTDI_DIR "/libftd2xx.so", RTLD_NOW);
#define VT_RESOLVE(n) resolved += (n = reinterpret_cast<decltype(&::n)>(handle ? dlsym(handle, #n) : nullptr)) != nullptr;
    VT_D2XX_FUNCTIONS(VT_RESOLVE)
#undef VT_RESOLVE
  }
};

// Runs `body` in a child process whose bench has FTDI chips of these types, on the modelled clock.
void in_child(std::vector<std::string> types, const char* fault, const std::function<void(d2xx&)>& body) {
  vt::bench_config cfg;
  cfg.clock = vt::clock_mode::deterministic, cfg.emulate_lpt = false, cfg.chip = "mega8";
  for (auto& t : types) cfg.ftdi.push_back({t, t == "ft2232h", "My Adapter", t == "ft2232h", "AB12"});
  if (fault) cfg.faults.push_back(vt::parse_fault(fault));
  scratch_dir dir;
  std::ofstream(dir / "cfg") << vt::format_config(cfg);
  std::fflush(stdout);
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("VTARGET_CONFIG", (dir / "cfg").c_str(), 1);
    d2xx lib;
    EXPECT_EQ(lib.resolved, 23);
    body(lib);
    std::fflush(stdout);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child failed, status " << status;
}

// A channel opened in MPSSE mode with 500 ms timeouts.
FT_HANDLE open_mpsse(d2xx& lib, const char* description) {
  FT_HANDLE h = nullptr;
  EXPECT_EQ(lib.FT_OpenEx(const_cast<char*>(description), FT_OPEN_BY_DESCRIPTION, &h), FT_OK) << description;
  EXPECT_EQ(lib.FT_SetBitMode(h, 0, FT_BITMODE_MPSSE) | lib.FT_SetTimeouts(h, 500, 500), FT_OK);
  return h;
}

// Types 4, 6, 7 and the factory descriptions of FT2232C/D and FT4232H, one entry per channel
// (IDs 0x04036010, 0x04036011); then each call and what FTDI's library answers.
TEST(D2xxLibrary, ListsOpensAndAnswersLikeFtdisLibrary) {
  in_child({"ft2232c", "ft2232h", "ft4232h"}, nullptr, [](d2xx& lib) {
    DWORD n = 0, flags = 0, type = 0, id = 0, loc = 0, count = 0, version = 0;
    ASSERT_EQ(lib.FT_CreateDeviceInfoList(&n), FT_OK);
    ASSERT_EQ(n, 8u);
    std::vector<FT_DEVICE_LIST_INFO_NODE> list(n);
    ASSERT_EQ(lib.FT_GetDeviceInfoList(list.data(), &n), FT_OK);
    std::string got;
    for (const auto& e : list)
      got += std::to_string(e.Type) + " " + std::to_string(e.ID) + " " + std::to_string(e.Flags) + " " + e.Description + "\n";
    EXPECT_EQ(got, "4 67330064 0 Dual RS232 A\n4 67330064 0 Dual RS232 B\n6 67330064 2 My Adapter A\n"
                   "6 67330064 2 My Adapter B\n7 67330065 2 Quad RS232-HS A\n7 67330065 2 Quad RS232-HS B\n"
                   "7 67330065 2 Quad RS232-HS C\n7 67330065 2 Quad RS232-HS D\n");
    EXPECT_STREQ(list[3].SerialNumber, "AB12B");
    char serial[17], desc[3][65];
    FT_HANDLE a = nullptr, b = nullptr, c = nullptr, d = nullptr;
    FT_DEVICE dev_type = 0;
    UCHAR latency = 0;
    const auto by_desc = [&](const char* text, FT_HANDLE* h) {
      return lib.FT_OpenEx(const_cast<char*>(text), FT_OPEN_BY_DESCRIPTION, h);
    };
    std::vector<FT_STATUS> st = {
        lib.FT_GetDeviceInfoDetail(8, &flags, &type, &id, &loc, serial, desc[0], &a),
        lib.FT_GetDeviceInfoDetail(5, &flags, &type, &id, &loc, serial, desc[0], &a),
        lib.FT_ListDevices(&count, nullptr, FT_LIST_NUMBER_ONLY),
        lib.FT_ListDevices(reinterpret_cast<void*>(uintptr_t(3)), desc[1], FT_LIST_BY_INDEX | FT_OPEN_BY_DESCRIPTION),
        by_desc("My Adapter A", &a), by_desc("My Adapter A", &b), by_desc("No such", &b),
        lib.FT_OpenEx(list[3].SerialNumber, FT_OPEN_BY_SERIAL_NUMBER, &b),
        lib.FT_OpenEx(reinterpret_cast<void*>(uintptr_t(list[6].LocId)), FT_OPEN_BY_LOCATION, &c),
        lib.FT_Open(7, &d), lib.FT_Open(8, &d), lib.FT_Open(2, &d),
        lib.FT_GetDeviceInfo(c, &dev_type, &id, serial, desc[2], nullptr), lib.FT_GetLatencyTimer(a, &latency),
        lib.FT_SetLatencyTimer(a, 1), lib.FT_SetLatencyTimer(a, 2), lib.FT_SetUSBParameters(a, 100, 0)};
    EXPECT_EQ(std::string(desc[0]) + "|" + desc[1] + "|" + desc[2], "Quad RS232-HS B|My Adapter B|Quad RS232-HS C");
    EXPECT_EQ(std::vector<DWORD>({loc, count, dev_type, latency}), std::vector<DWORD>({list[5].LocId, 8, 7, 16}));
    ASSERT_EQ(lib.FT_GetDeviceInfoList(list.data(), &n), FT_OK);
    EXPECT_TRUE(list[2].Flags & FT_FLAGS_OPENED && list[2].ftHandle == a && !(list[0].Flags & FT_FLAGS_OPENED));
    st.insert(st.end(),
              {lib.FT_Close(a), lib.FT_Close(a), lib.FT_GetDriverVersion(a, &version), by_desc("My Adapter A", &a)});
    EXPECT_EQ(st, (std::vector<FT_STATUS>{FT_DEVICE_NOT_FOUND, FT_OK, FT_OK, FT_OK,  // listing
                                          FT_OK, FT_DEVICE_NOT_OPENED, FT_DEVICE_NOT_FOUND, FT_OK, FT_OK,  // opening
                                          FT_OK, FT_DEVICE_NOT_FOUND, FT_DEVICE_NOT_OPENED, FT_OK, FT_OK,
                                          FT_INVALID_PARAMETER, FT_OK, FT_INVALID_PARAMETER,  // settings
                                          FT_OK, FT_INVALID_HANDLE, FT_INVALID_HANDLE, FT_OK}));  // closing
  });
}

// With send immediate (87) the answer comes after one USB turn-around (125 us high speed, 1 ms full
// speed); without it when the latency timer (16 ms) expires; a read of more than will come returns
// what there is at the timeout (500 ms).
TEST(D2xxLibrary, ModelledUsbTiming) {
  in_child({"ft2232c", "ft4232h"}, nullptr, [](d2xx& lib) {
    FT_HANDLE h = open_mpsse(lib, "Quad RS232-HS A"), c = open_mpsse(lib, "Dual RS232 A");
    const struct { FT_HANDLE handle; std::vector<uint8_t> out; DWORD count, got; double min_us, max_us; } rows[] = {
        {h, {0x81, 0x83, 0x87}, 2, 2, 125, 200}, {c, {0x81, 0x83, 0x87}, 2, 2, 1000, 1100},
        {h, {0x81, 0x83}, 2, 2, 16000, 16300},   {h, {0x81, 0x87}, 3, 1, 499000, 501000}};
    for (auto r : rows) {
      const uint64_t t0 = vt::bench::now_ns();
      DWORD n = 0, rx = 99;
      uint8_t in[4];
      EXPECT_EQ(lib.FT_Write(r.handle, r.out.data(), DWORD(r.out.size()), &n), FT_OK);
      EXPECT_EQ(lib.FT_Read(r.handle, in, r.count, &n), FT_OK);
      const double us = double(vt::bench::now_ns() - t0) / 1000.0;
      EXPECT_EQ(n, r.got);
      EXPECT_TRUE(us >= r.min_us && us <= r.max_us) << us << " us";
      EXPECT_TRUE(lib.FT_GetQueueStatus(r.handle, &rx) == FT_OK && rx == 0) << "nothing left to read";
    }
  });
}

// A Programming Enable written (8 bytes) and its answer read (4), twice: the statuses and counts seen.
TEST(D2xxLibrary, UsbFaults) {
  const struct { const char* fault; FT_STATUS write_status[2], read_status[2]; DWORD written[2], got[2]; } rows[] = {
      {"usb-read-error=2", {FT_OK, FT_OK}, {FT_OK, FT_IO_ERROR}, {8, 8}, {4, 0}},
      {"usb-write-error=2", {FT_OK, FT_IO_ERROR}, {FT_OK, FT_OK}, {8, 0}, {4, 0}},
      {"usb-short-read", {FT_OK, FT_OK}, {FT_OK, FT_OK}, {8, 8}, {2, 2}},
      {"usb-short-write=2", {FT_OK, FT_OK}, {FT_OK, FT_OK}, {8, 4}, {4, 0}}};
  for (const auto& r : rows) {
    in_child({"ft2232c"}, r.fault, [&](d2xx& lib) {
      const FT_HANDLE h = open_mpsse(lib, "Dual RS232 A");
      for (int call = 0; call < 2; ++call) {
        uint8_t cmd[8] = {0x31, 0x03, 0x00, 0xAC, 0x53, 0x00, 0x00, 0x87}, in[4];
        DWORD n = 99, got = 99;
        EXPECT_EQ(lib.FT_Write(h, cmd, 8, &n), r.write_status[call]) << r.fault << " call " << call;
        EXPECT_EQ(lib.FT_Read(h, in, 4, &got), r.read_status[call]) << r.fault << " call " << call;
        EXPECT_EQ(n * 100 + got, r.written[call] * 100 + r.got[call]) << r.fault << " call " << call;
        lib.FT_Purge(h, FT_PURGE_RX | FT_PURGE_TX);
      }
    });
  }
}

TEST(D2xxLibrary, MissingFunctionVariantsLackExactlyTheirFunction) {
  const char* names[] = {
#define VT_NAME(n) #n,
      VT_D2XX_FUNCTIONS(VT_NAME)
#undef VT_NAME
  };
  for (const char* missing : names) {
    void* h = dlopen((std::string(VT_FTDI_DIR "/missing/") + missing + "/libftd2xx.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(h, nullptr) << missing;
    for (const char* n : names) EXPECT_EQ(dlsym(h, n) == nullptr, std::strcmp(n, missing) == 0) << missing << " " << n;
    dlclose(h);
  }
}

}  // namespace
#endif
