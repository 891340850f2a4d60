// The emulated libftd2xx.so as any client uses it: loaded with dlopen, devices
// listed and opened through D2XX, MPSSE commands written and answers read.
// Every case runs in a child process of its own, because the bench reads its
// configuration once per process.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
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

const std::string lib_dir = VT_FTDI_DIR;

struct d2xx {
  void* handle = nullptr;
#define VT_DECLARE(n) decltype(&::n) n = nullptr;
  VT_D2XX_FUNCTIONS(VT_DECLARE)
#undef VT_DECLARE
  int resolved = 0;

  explicit d2xx(const std::string& path) {
    handle = dlopen(path.c_str(), RTLD_NOW);
    if (!handle) return;
#define VT_RESOLVE(n)                                           \
  n = reinterpret_cast<decltype(&::n)>(dlsym(handle, #n)); \
  resolved += n != nullptr;
    VT_D2XX_FUNCTIONS(VT_RESOLVE)
#undef VT_RESOLVE
  }
};

int config_counter = 0;

// Runs `body` in a child process whose bench has the configuration `cfg`.
void in_child(const vt::bench_config& cfg, const std::function<void()>& body) {
  const std::string path =
      ::testing::TempDir() + "simftdi_" + std::to_string(getpid()) + "_" + std::to_string(config_counter++) + ".cfg";
  {
    std::ofstream f(path);
    f << vt::format_config(cfg);
  }
  std::fflush(stdout);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("VTARGET_CONFIG", path.c_str(), 1);
    body();
    std::fflush(stdout);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child failed, status " << status;
  unlink(path.c_str());
}

vt::bench_config with_ftdi(std::vector<std::string> types) {
  vt::bench_config c;
  c.clock = vt::clock_mode::deterministic;  // the modelled times do not depend on the host
  c.emulate_lpt = false;
  for (auto& t : types) c.ftdi.push_back({t, false, "", false, ""});
  return c;
}

// An ISP master on an MPSSE channel: SCK ADBUS0, MOSI ADBUS1, MISO ADBUS2, RESET ADBUS3.
struct mpsse_client {
  d2xx& lib;
  FT_HANDLE h = nullptr;

  void write(std::vector<uint8_t> bytes) {
    DWORD n = 0;
    EXPECT_EQ(lib.FT_Write(h, bytes.data(), DWORD(bytes.size()), &n), FT_OK);
    EXPECT_EQ(n, bytes.size());
  }
  std::vector<uint8_t> read(DWORD count) {
    std::vector<uint8_t> b(count);
    DWORD n = 0;
    EXPECT_EQ(lib.FT_Read(h, b.data(), count, &n), FT_OK);
    b.resize(n);
    return b;
  }
  // MPSSE mode, SCK = 6 MHz / (1 + divisor), RESET pulsed high then held low.
  void start(bool h_chip, uint16_t divisor, bool fast_base = false) {
    EXPECT_EQ(lib.FT_SetBitMode(h, 0, FT_BITMODE_MPSSE), FT_OK);
    EXPECT_EQ(lib.FT_SetTimeouts(h, 500, 500), FT_OK);
    std::vector<uint8_t> setup;
    if (h_chip) setup.push_back(fast_base ? 0x8A : 0x8B);
    setup.insert(setup.end(), {0x86, uint8_t(divisor), uint8_t(divisor >> 8), 0x80, 0x08, 0x0B});
    write(setup);
    write({0x80, 0x00, 0x0B});
  }
  std::vector<uint8_t> isp(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    write({0x31, 0x03, 0x00, a, b, c, d, 0x87});
    return read(4);
  }
  uint32_t signature() {
    uint32_t s = 0;
    for (uint8_t i = 0; i < 3; ++i) s = (s << 8) | isp(0x30, 0x00, i, 0x00)[3];
    return s;
  }
};

TEST(D2xxLibrary, ListsOneEntryPerChannelWithFactoryNames) {
  vt::bench_config cfg = with_ftdi({"ft2232c", "ft2232h", "ft4232h"});
  cfg.ftdi[1].has_description = true;
  cfg.ftdi[1].description = "My Adapter";
  cfg.ftdi[1].has_serial = true;
  cfg.ftdi[1].serial = "AB12";
  in_child(cfg, [] {
    d2xx lib(lib_dir + "/libftd2xx.so");
    ASSERT_EQ(lib.resolved, 23) << dlerror();
    DWORD n = 0;
    ASSERT_EQ(lib.FT_CreateDeviceInfoList(&n), FT_OK);
    ASSERT_EQ(n, 8u);
    std::vector<FT_DEVICE_LIST_INFO_NODE> list(n);
    ASSERT_EQ(lib.FT_GetDeviceInfoList(list.data(), &n), FT_OK);
    struct expect {
      ULONG type, id, flags;
      const char* description;
    };
    const expect rows[] = {
        {4, 0x04036010, 0, "Dual RS232 A"},    {4, 0x04036010, 0, "Dual RS232 B"},
        {6, 0x04036010, 2, "My Adapter A"},    {6, 0x04036010, 2, "My Adapter B"},
        {7, 0x04036011, 2, "Quad RS232-HS A"}, {7, 0x04036011, 2, "Quad RS232-HS B"},
        {7, 0x04036011, 2, "Quad RS232-HS C"}, {7, 0x04036011, 2, "Quad RS232-HS D"},
    };
    for (size_t i = 0; i < 8; ++i) {
      EXPECT_EQ(list[i].Type, rows[i].type) << i;
      EXPECT_EQ(list[i].ID, rows[i].id) << i;
      EXPECT_EQ(list[i].Flags, rows[i].flags) << i;
      EXPECT_STREQ(list[i].Description, rows[i].description);
      EXPECT_EQ(list[i].ftHandle, nullptr);
    }
    EXPECT_STREQ(list[2].SerialNumber, "AB12A");
    EXPECT_STREQ(list[3].SerialNumber, "AB12B");
    // The other ways of asking agree with the list.
    DWORD flags = 0, type = 0, id = 0, loc = 0;
    char serial[16], desc[64];
    FT_HANDLE h = nullptr;
    ASSERT_EQ(lib.FT_GetDeviceInfoDetail(5, &flags, &type, &id, &loc, serial, desc, &h), FT_OK);
    EXPECT_STREQ(desc, "Quad RS232-HS B");
    EXPECT_EQ(loc, list[5].LocId);
    EXPECT_EQ(lib.FT_GetDeviceInfoDetail(8, &flags, &type, &id, &loc, serial, desc, &h), FT_DEVICE_NOT_FOUND);
    DWORD count = 0;
    EXPECT_EQ(lib.FT_ListDevices(&count, nullptr, FT_LIST_NUMBER_ONLY), FT_OK);
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(lib.FT_ListDevices(reinterpret_cast<void*>(uintptr_t(3)), desc, FT_LIST_BY_INDEX | FT_OPEN_BY_DESCRIPTION),
              FT_OK);
    EXPECT_STREQ(desc, "My Adapter B");
    DWORD version = 0;
    EXPECT_EQ(lib.FT_GetLibraryVersion(&version), FT_OK);
    EXPECT_NE(version, 0u);
  });
}

TEST(D2xxLibrary, OpensBySerialDescriptionLocationAndIndexExclusively) {
  in_child(with_ftdi({"ft2232h", "ft4232h"}), [] {
    d2xx lib(lib_dir + "/libftd2xx.so");
    ASSERT_EQ(lib.resolved, 23);
    std::vector<FT_DEVICE_LIST_INFO_NODE> list(6);
    DWORD n = 6;
    ASSERT_EQ(lib.FT_GetDeviceInfoList(list.data(), &n), FT_OK);
    FT_HANDLE a = nullptr, b = nullptr, c = nullptr, d = nullptr;
    ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &a), FT_OK);
    EXPECT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &b), FT_DEVICE_NOT_OPENED);
    EXPECT_EQ(lib.FT_OpenEx(const_cast<char*>("No such device"), FT_OPEN_BY_DESCRIPTION, &b), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(lib.FT_OpenEx(list[3].SerialNumber, FT_OPEN_BY_SERIAL_NUMBER, &b), FT_OK);
    EXPECT_EQ(lib.FT_OpenEx(reinterpret_cast<void*>(uintptr_t(list[4].LocId)), FT_OPEN_BY_LOCATION, &c), FT_OK);
    EXPECT_EQ(lib.FT_Open(5, &d), FT_OK);
    EXPECT_EQ(lib.FT_Open(6, &d), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(lib.FT_Open(0, &d), FT_DEVICE_NOT_OPENED);

    FT_DEVICE type = 0;
    DWORD id = 0;
    char serial[17], desc[65];
    ASSERT_EQ(lib.FT_GetDeviceInfo(c, &type, &id, serial, desc, nullptr), FT_OK);
    EXPECT_EQ(type, 7u);
    EXPECT_EQ(id, 0x04036011u);
    EXPECT_STREQ(desc, "Quad RS232-HS C");
    ASSERT_EQ(lib.FT_GetDeviceInfoList(list.data(), &n), FT_OK);
    EXPECT_EQ(list[0].Flags & FT_FLAGS_OPENED, FT_FLAGS_OPENED);
    EXPECT_EQ(list[0].ftHandle, a);
    EXPECT_EQ(list[2].Flags & FT_FLAGS_OPENED, 0u);

    DWORD version = 0;
    EXPECT_EQ(lib.FT_GetDriverVersion(a, &version), FT_OK);
    UCHAR latency = 0;
    EXPECT_EQ(lib.FT_GetLatencyTimer(a, &latency), FT_OK);
    EXPECT_EQ(latency, 16);
    EXPECT_EQ(lib.FT_SetLatencyTimer(a, 1), FT_INVALID_PARAMETER);
    EXPECT_EQ(lib.FT_SetLatencyTimer(a, 2), FT_OK);
    EXPECT_EQ(lib.FT_SetUSBParameters(a, 100, 0), FT_INVALID_PARAMETER);
    EXPECT_EQ(lib.FT_SetBaudRate(a, 115200), FT_OK);
    EXPECT_EQ(lib.FT_SetVIDPID(0x0403, 0x6010), FT_OK);

    ASSERT_EQ(lib.FT_Close(a), FT_OK);
    EXPECT_EQ(lib.FT_Close(a), FT_INVALID_HANDLE);
    EXPECT_EQ(lib.FT_GetDriverVersion(a, &version), FT_INVALID_HANDLE);
    EXPECT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &a), FT_OK);
  });
}

TEST(D2xxLibrary, ReadsTheSimulatedChipThroughMpsse) {
  struct row {
    const char* type;
    const char* chip;
    const char* channel;
    uint32_t signature;  // 0: no chip on that channel
  };
  const row rows[] = {
      {"ft2232c", "mega8", "Dual RS232 A", 0x1E9307},
      {"ft2232h", "tiny13", "Dual RS232-HS A", 0x1E9007},
      {"ft4232h", "mega16", "Quad RS232-HS A", 0x1E9403},
      {"ft2232h", "mega8", "Dual RS232-HS B", 0},
  };
  for (const row& r : rows) {
    vt::bench_config cfg = with_ftdi({r.type});
    cfg.chip = r.chip;
    in_child(cfg, [&] {
      d2xx lib(lib_dir + "/libftd2xx.so");
      mpsse_client m{lib};
      ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>(r.channel), FT_OPEN_BY_DESCRIPTION, &m.h), FT_OK);
      m.start(std::strcmp(r.type, "ft2232c") != 0, 31);
      std::vector<uint8_t> echo = m.isp(0xAC, 0x53, 0x00, 0x00);
      ASSERT_EQ(echo.size(), 4u);
      if (!r.signature) {
        EXPECT_EQ(echo, (std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF})) << "MISO floats high";
        return;
      }
      EXPECT_EQ(echo[2], 0x53) << r.type;
      EXPECT_EQ(m.signature(), r.signature) << r.type;
    });
  }
}

TEST(D2xxLibrary, SckTooFastForTheChipLosesTheEcho) {
  // A mega8 on its 1 MHz factory clock needs SCK phases of more than two clock cycles.
  struct row {
    bool fast_base;
    uint16_t divisor;
    bool in_step;
  };
  const row rows[] = {{false, 31, true}, {false, 2, false}, {true, 29, false}, {true, 0, false}};
  for (const row& r : rows) {
    in_child(with_ftdi({"ft2232h"}), [&] {
      d2xx lib(lib_dir + "/libftd2xx.so");
      mpsse_client m{lib};
      ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &m.h), FT_OK);
      m.start(true, r.divisor, r.fast_base);
      EXPECT_EQ(m.isp(0xAC, 0x53, 0x00, 0x00)[2] == 0x53, r.in_step) << r.divisor;
    });
  }
}

TEST(D2xxLibrary, BadCommandAndModelledUsbTiming) {
  vt::bench_config cfg = with_ftdi({"ft2232h", "ft2232c"});
  in_child(cfg, [] {
    d2xx lib(lib_dir + "/libftd2xx.so");
    mpsse_client h{lib}, c{lib};
    ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &h.h), FT_OK);
    ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232 A"), FT_OPEN_BY_DESCRIPTION, &c.h), FT_OK);
    h.start(true, 31);
    c.start(false, 31);
    h.write({0xAA, 0x87});
    EXPECT_EQ(h.read(2), (std::vector<uint8_t>{0xFA, 0xAA}));

    // With send immediate the answer comes after one turn-around (125 us high
    // speed, 1 ms full speed); without it the latency timer (16 ms) sends it.
    struct row {
      mpsse_client* m;
      bool immediate;
      double min_us, max_us;
    };
    const row rows[] = {{&h, true, 125, 200}, {&c, true, 1000, 1100}, {&h, false, 16000, 16300}};
    for (const row& r : rows) {
      const uint64_t t0 = vt::bench::now_ns();
      if (r.immediate) r.m->write({0x81, 0x83, 0x87});
      else r.m->write({0x81, 0x83});
      EXPECT_EQ(r.m->read(2).size(), 2u);
      const double us = double(vt::bench::now_ns() - t0) / 1000.0;
      EXPECT_GE(us, r.min_us);
      EXPECT_LE(us, r.max_us);
    }
    // A read of more than will come returns what there is at the timeout (500 ms).
    const uint64_t t0 = vt::bench::now_ns();
    h.write({0x81, 0x87});
    EXPECT_EQ(h.read(3).size(), 1u);
    EXPECT_NEAR(double(vt::bench::now_ns() - t0) / 1e6, 500.0, 1.0);
    DWORD rx = 99;
    EXPECT_EQ(lib.FT_GetQueueStatus(h.h, &rx), FT_OK);
    EXPECT_EQ(rx, 0u);
  });
}

TEST(D2xxLibrary, UsbFaults) {
  struct row {
    const char* fault;
    // Reads and writes of 4 bytes (a Programming Enable): the statuses and counts seen on calls 1 and 2.
    FT_STATUS write_status[2];
    DWORD written[2];
    FT_STATUS read_status[2];
    DWORD got[2];
  };
  const row rows[] = {
      {"usb-read-error=2", {FT_OK, FT_OK}, {8, 8}, {FT_OK, FT_IO_ERROR}, {4, 0}},
      {"usb-write-error=2", {FT_OK, FT_IO_ERROR}, {8, 0}, {FT_OK, FT_OK}, {4, 0}},
      {"usb-short-read", {FT_OK, FT_OK}, {8, 8}, {FT_OK, FT_OK}, {2, 2}},
      {"usb-short-write=2", {FT_OK, FT_OK}, {8, 4}, {FT_OK, FT_OK}, {4, 0}},
  };
  for (const row& r : rows) {
    vt::bench_config cfg = with_ftdi({"ft2232h"});
    cfg.faults.push_back(vt::parse_fault(r.fault));
    in_child(cfg, [&] {
      d2xx lib(lib_dir + "/libftd2xx.so");
      FT_HANDLE h = nullptr;
      ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &h), FT_OK);
      ASSERT_EQ(lib.FT_SetBitMode(h, 0, FT_BITMODE_MPSSE), FT_OK);
      ASSERT_EQ(lib.FT_SetTimeouts(h, 100, 100), FT_OK);
      for (int call = 0; call < 2; ++call) {
        uint8_t cmd[8] = {0x31, 0x03, 0x00, 0xAC, 0x53, 0x00, 0x00, 0x87};
        uint8_t in[4];
        DWORD n = 99;
        EXPECT_EQ(lib.FT_Write(h, cmd, 8, &n), r.write_status[call]) << r.fault << " call " << call;
        EXPECT_EQ(n, r.written[call]) << r.fault << " call " << call;
        n = 99;
        EXPECT_EQ(lib.FT_Read(h, in, 4, &n), r.read_status[call]) << r.fault << " call " << call;
        EXPECT_EQ(n, r.got[call]) << r.fault << " call " << call;
        lib.FT_Purge(h, FT_PURGE_RX | FT_PURGE_TX);
      }
    });
  }
  vt::bench_config none = with_ftdi({"ft2232h"});
  none.faults.push_back(vt::parse_fault("no-ftdi"));
  in_child(none, [] {
    d2xx lib(lib_dir + "/libftd2xx.so");
    DWORD n = 99;
    EXPECT_EQ(lib.FT_CreateDeviceInfoList(&n), FT_OK);
    EXPECT_EQ(n, 0u);
    FT_HANDLE h = nullptr;
    EXPECT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &h), FT_DEVICE_NOT_FOUND);
  });
}

TEST(D2xxLibrary, MissingFunctionVariantsLackExactlyTheirFunction) {
  in_child(with_ftdi({"ft2232h"}), [] {
    const char* names[] = {
#define VT_NAME(n) #n,
        VT_D2XX_FUNCTIONS(VT_NAME)
#undef VT_NAME
    };
    for (const char* missing : names) {
      const std::string path = lib_dir + "/missing/" + missing + "/libftd2xx.so";
      void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
      ASSERT_NE(h, nullptr) << path;
      for (const char* n : names) EXPECT_EQ(dlsym(h, n) == nullptr, std::strcmp(n, missing) == 0) << missing << " " << n;
      dlclose(h);
    }
  });
}

TEST(D2xxLibrary, WiringMapMovesResetAndPowerAndLinesAreTraced) {
  vt::bench_config cfg = with_ftdi({"ft2232h"});
  cfg.wiring = "map";
  cfg.wiring_map = "reset=dbus4:power=~cbus1:mosi=D5";  // D5 is a parallel-port pin: not ours
  cfg.power_from_adapter = true;
  cfg.trace_file = ::testing::TempDir() + "simftdi_trace_" + std::to_string(getpid());
  unlink(cfg.trace_file.c_str());
  in_child(cfg, [&] {
    d2xx lib(lib_dir + "/libftd2xx.so");
    mpsse_client m{lib};
    ASSERT_EQ(lib.FT_OpenEx(const_cast<char*>("Dual RS232-HS A"), FT_OPEN_BY_DESCRIPTION, &m.h), FT_OK);
    EXPECT_EQ(lib.FT_SetBitMode(m.h, 0, FT_BITMODE_MPSSE), FT_OK);
    EXPECT_EQ(lib.FT_SetTimeouts(m.h, 500, 500), FT_OK);
    // ADBUS3 low is no longer RESET, and power (CBUS1, active low) is off.
    m.write({0x8B, 0x86, 31, 0x00, 0x82, 0x02, 0x02, 0x80, 0x10, 0x1B, 0x80, 0x00, 0x1B});
    EXPECT_NE(m.isp(0xAC, 0x53, 0x00, 0x00)[2], 0x53);
    m.write({0x82, 0x00, 0x02, 0x80, 0x10, 0x1B, 0x80, 0x00, 0x1B});  // power on, RESET pulse on DBUS4
    EXPECT_EQ(m.isp(0xAC, 0x53, 0x00, 0x00)[2], 0x53);
    EXPECT_EQ(m.signature(), 0x1E9307u);
  });
  const std::string trace = vt_test::read_file(cfg.trace_file);
  const size_t power_on = trace.find(" power high");
  ASSERT_NE(power_on, std::string::npos) << trace;
  EXPECT_NE(trace.find(" reset low", power_on), std::string::npos) << trace;
  EXPECT_NE(trace.find("isp AC 53 00 00 -> "), std::string::npos) << trace;
  unlink(cfg.trace_file.c_str());
}

}  // namespace
#endif
