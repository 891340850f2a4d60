// vtarget with --ftdi end to end: a plain MPSSE client (not zindle) finds the
// emulated libftd2xx.so through the library path that vtarget sets, and talks
// to the simulated chip.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/support/vt_run.h"

#if defined(VT_FTDI_DIR) && defined(VT_BIN_DIR)
namespace {

const std::string bin = VT_BIN_DIR;

using vt_test::result;
using vt_test::run_command;

result vtarget(const std::string& args, const std::string& client_args) {
  return run_command(vt_test::vtarget_command(bin, args) + " -- " + bin + "/vt_ftdi_client " + client_args);
}

TEST(VtargetFtdi, ClientsReachTheChipOrSeeTheFault) {
  struct row {
    const char* vtarget_args;
    const char* client_args;
    int status;
    const char* output;
  };
  const row rows[] = {
      {"--ftdi ft2232h", "sig", 0, "echo 53\nsignature 1E9307\n"},
      {"--chip tiny2313 --ftdi ft4232h", "sig 'Quad RS232-HS A'", 0, "echo 53\nsignature 1E910A\n"},
      {"--ftdi ft2232c:description=USB-ISP:serial=X1", "sig USB-ISP\\ A", 0, "echo 53\nsignature 1E9307\n"},
      {"--ftdi ft2232h --ftdi ft2232c", "list", 0,
       "0: type 6 id 04036010 loc 1011 \"Dual RS232-HS A\" serial \"VT000001A\"\n"
       "1: type 6 id 04036010 loc 1012 \"Dual RS232-HS B\" serial \"VT000001B\"\n"
       "2: type 4 id 04036010 loc 1111 \"Dual RS232 A\" serial \"VT000002A\"\n"
       "3: type 4 id 04036010 loc 1112 \"Dual RS232 B\" serial \"VT000002B\"\n"},
      // RESET moved to another pin: the client's RESET line is not the chip's.
      {"--ftdi ft2232h --wiring map:reset=adbus4", "sig", 0, "echo FF\nsignature FFFFFF\n"},
      {"--ftdi ft2232h --fault no-ftdi", "sig", 3, "no devices (status 0)\n"},
      {"", "sig", 3, "no devices (status 0)\n"},
      {"--ftdi ft2232h --fault usb-read-error", "sig", 1, "read failed (status 4)\n"},
      {"--ftdi ft2232h --fault usb-short-write=3", "sig", 1, "echo 53\nwrite failed (status 0)\n"},
  };
  for (const row& r : rows) {
    result res = vtarget(r.vtarget_args, r.client_args);
    EXPECT_EQ(res.status, r.status) << r.vtarget_args << "\n" << res.out;
    EXPECT_EQ(res.out, r.output) << r.vtarget_args;
  }
}

TEST(VtargetFtdi, ProgramsTheWholeFlashKeptInTheState) {
  const std::string state = ::testing::TempDir() + "vtarget_ftdi_" + std::to_string(getpid()) + ".state";
  const std::string flash = state + ".bin";
  unlink(state.c_str());
  result r = vtarget("--ftdi ft2232h --state " + state, "program 9");
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out, "echo 53\nverify ok\n");
  r = run_command(bin + "/vtarget --state " + state + " --flash-out " + flash);
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string data = vt_test::read_file(flash);
  ASSERT_EQ(data.size(), 8192u);
  // The client's pattern: (i * 7 + seed) ^ (i >> 8).
  for (uint32_t i = 0; i < data.size(); ++i) ASSERT_EQ(uint8_t(data[i]), uint8_t((i * 7 + 9) ^ (i >> 8))) << i;
  unlink(state.c_str());
  unlink(flash.c_str());
}

TEST(VtargetFtdi, MissingFunctionVariantIsRefusedByTheClient) {
  // The variant folder first on the library path, as vtarget's missing-function fault does.
  const std::string dir = std::string(VT_FTDI_DIR) + "/missing/FT_GetStatus";
  result r = run_command("LD_LIBRARY_PATH=" + dir + ":" + bin + " " + bin + "/vt_ftdi_client sig");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "missing function FT_GetStatus\n");
}

}  // namespace
#endif
