// vtarget end to end: a plain ISP client (not zindle) bit-bangs the chip
// through the emulated ppdev device and through direct port I/O.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "tests/support/vt_run.h"

#ifdef VT_BIN_DIR
namespace {

const std::string bin = VT_BIN_DIR;

using vt_test::read_file;
using vt_test::result;

result run(const std::string& vtarget_args, const std::string& client_args) {
  return vt_test::run_command(vt_test::vtarget_command(bin, vtarget_args) + " -- " + bin + "/vt_lpt_client " +
                              client_args);
}

std::string temp(const std::string& name) { return ::testing::TempDir() + "vtarget_test_" + name; }

// The trace without its time column.
std::string events(const std::string& trace) {
  std::istringstream in(trace);
  std::string line, out;
  while (std::getline(in, line)) {
    auto sp = line.find_first_not_of(' ');
    sp = line.find(' ', sp);
    out += line.substr(sp + 1) + "\n";
  }
  return out;
}

TEST(Vtarget, PlainClientReadsTheSignature) {
  struct row {
    const char* vt;
    const char* client;
    const char* expect;
  } rows[] = {
      {"", "ppdev /dev/parport0 sig", "echo 53\nsignature 1E9307\n"},
      {"--chip tiny13", "ppdev /dev/parport0 sig", "echo 53\nsignature 1E9007\n"},
      {"--parport /dev/parport1 --chip mega2560", "ppdev /dev/parport1 sig", "echo 53\nsignature 1E9801\n"},
      {"--chip 90S2313", "io 278 sig", "echo 53\nsignature 1E9101\n"},
      {"", "io 378 sig", "echo 53\nsignature 1E9307\n"},
      {"--wiring map:mosi=D5:miso=ACK:sck=D6:reset=D4", "ppdev /dev/parport0 sig", "echo 53\nsignature 1E9307\n"},
      {"--fault signature=1E9999", "ppdev /dev/parport0 sig", "echo 53\nsignature 1E9999\n"},
      {"--fault miso=0", "ppdev /dev/parport0 sig", "echo 00\nsignature 000000\n"},
      {"--wiring map:mosi=D5:miso=ACK:sck=D6:reset=D4:led_ok=ADBUS4", "ppdev /dev/parport0 sig",
       "echo 53\nsignature 1E9307\n"},
      {"--fault no-answer", "ppdev /dev/parport0 sig", "echo FF\nsignature FFFFFF\n"},
      // Powered from the adapter, but this client never switches power on.
      {"--power adapter", "ppdev /dev/parport0 sig", "echo FF\nsignature FFFFFF\n"},
      // An 86RF401 needs a much slower SCK than this client's 3 us phases.
      {"--chip 86RF401", "ppdev /dev/parport0 sig", "echo 00\nsignature 000000\n"},
      {"--chip mega8 --osc 700k", "ppdev /dev/parport0 sig", "echo 53\nsignature 1E9307\n"},
      {"--chip mega8 --osc 600k", "ppdev /dev/parport0 sig", "echo 00\nsignature 000000\n"},
      // A factory-new mega8 runs at 1 MHz: SCK phases must last more than 2 us,
      // made of port writes (1 us each) or of a write and a real-time wait; on
      // the host's clock the program's own waits reach the chip as they are.
      {"--wiring stk200", "--wiring stk200 ppdev /dev/parport0 sig", "echo 53\nsignature 1E9307\n"},
      {"--wiring stk200", "--wiring stk200 --phase 2 ppdev /dev/parport0 sig", "echo 00\nsignature 000000\n"},
      {"--wiring stk200", "--wiring stk200 --phase 1 --wait nanosleep ppdev /dev/parport0 sig",
       "echo 00\nsignature 000000\n"},
      {"--wiring stk200", "--wiring stk200 --phase 2 --wait clock_gettime ppdev /dev/parport0 sig",
       "echo 53\nsignature 1E9307\n"},
      {"--clock host --wiring stk200", "--wiring stk200 --phase 5 --wait nanosleep ppdev /dev/parport0 sig",
       "echo 53\nsignature 1E9307\n"},
      {"--clock host --wiring stk200", "--wiring stk200 --phase 5 --wait gettimeofday io 378 sig",
       "echo 53\nsignature 1E9307\n"},
      // The control register's direction bit turns the data lines to input, as
      // the kernel's parport_pc does even through PPWCONTROL.
      {"", "--control 04 ppdev /dev/parport0 sig", "echo 53\nsignature 1E9307\n"},
      {"", "--control 24 ppdev /dev/parport0 sig", "echo FF\nsignature FFFFFF\n"},
      {"", "--control 24 io 278 sig", "echo FF\nsignature FFFFFF\n"},
  };
  for (const row& r : rows) {
    result res = run(r.vt, r.client);
    EXPECT_EQ(res.out, r.expect) << r.vt << " / " << r.client;
  }
  EXPECT_NE(run("", "ppdev /dev/parport7 sig").status, 0) << "only the emulated path is taken over";
}

TEST(Vtarget, StateCarriesOverAndTraceIsDeterministic) {
  const std::string state = temp("m8.state"), out = temp("flash.bin");
  const std::string t1 = temp("t1"), t2 = temp("t2");
  std::remove(state.c_str());
  result a = run("--state " + state + " --trace " + t1, "ppdev /dev/parport0 program 3");
  EXPECT_EQ(a.status, 0);
  EXPECT_NE(a.out.find("verify ok"), std::string::npos) << a.out;
  std::remove(state.c_str());
  result b = run("--state " + state + " --trace " + t2, "ppdev /dev/parport0 program 3");
  EXPECT_EQ(b.status, 0);
  // Line for line and time stamp for time stamp.
  EXPECT_EQ(read_file(t1), read_file(t2));
  const std::string e1 = events(read_file(t1));
  EXPECT_NE(e1.find("isp AC 53 00 00 -> 00 AC 53 00\n"), std::string::npos);
  EXPECT_NE(e1.find("isp 4C 0F E0 00 -> E4 4C 0F E0\n"), std::string::npos) << "last page written";
  // The client's static destructor drops the lines after main: still traced, before the final state.
  EXPECT_NE(e1.find("reset high\nreset low\nexit power low enable high reset low"), std::string::npos) << e1.substr(e1.size() - 200);

  // A second run sees the first one's FLASH; vtarget exports it.
  const std::string shown = vt_test::run_command(bin + "/vtarget --state " + state + " --flash-out " + out + " --show").out;
  EXPECT_NE(shown.find("chip erases: 1\n"), std::string::npos) << shown;
  std::string flash = read_file(out);
  ASSERT_EQ(flash.size(), 8192u);
  for (unsigned a2 = 0; a2 < 8192; a2 += 97) {
    uint8_t expect = uint8_t((a2 * 7 + 3 + (a2 >> 8)) ^ (a2 >> 3));
    EXPECT_EQ(uint8_t(flash[a2]), expect) << a2;
  }
  for (const auto& f : {state, out, t1, t2}) std::remove(f.c_str());
}

TEST(Vtarget, RealTimeWaitsProgramAFactoryNewMega8) {
  result r = run("--wiring stk200", "--wiring stk200 --phase 5 --wait nanosleep ppdev /dev/parport0 program 5");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "echo 53\nsignature 1E9307\nverify ok\n");
}

TEST(Vtarget, RealtimeSaysWhenTheHostFallsBehind) {
  // No host delivers a trapped port instruction in 10 ns.
  result r = run("--realtime --lpt-cycle 0.01", "io 378 sig");
  EXPECT_NE(r.out.find("vtarget: the host could not keep up with --realtime: "), std::string::npos) << r.out;
}

TEST(Vtarget, ShowsTheLockThatAFaultPuts) {
  const std::string shown = vt_test::run_command(bin + "/vtarget --chip mega8 --fault locked=write --show").out;
  EXPECT_NE(shown.find("lock: FE (write protected)\n"), std::string::npos) << shown;
}

TEST(Vtarget, UsageErrors) {
  for (const char* args : {"--chip mega9", "--wiring nosuch", "--wiring map:mosi=D9", "--fault bogus", "--ftdi ft9999", "--osc fast",
                           "--clock fast", "--chip-at parport0", "--chip-at parport3=mega8",
                           "--chip-at ft2232h:A=mega8", "--ftdi ft2232h --chip-at ft2232h#2:A=mega8",
                           "--ftdi ft4232h --chip-at ft4232h:C=mega8", "--ftdi ft2232c --chip-at ft2232c:B=mega8",
                           "--chip-at parport0=mega8 --chip-at parport0=mega8", "--chip-at parport0=mega9",
                           "--chip-at parport0=mega8,fault=bogus", "--chip-at parport0=mega8,speed=1",
                           "--chip mega8 --chip-at parport0=mega8", "--no-parport --chip-at parport1=mega8", "--vcd-lines some", "--vcd-window 5,2", "--vcd-window x",
                           "--vcd"}) {
    EXPECT_EQ(vt_test::run_command(bin + "/vtarget " + args).status, 2) << args;
  }
}

// Every option, clock mode and fault that --help lists is in the manual page too.
TEST(Vtarget, ManualPageNamesEveryOptionAndFault) {
  std::istringstream help(vt_test::run_command(bin + "/vtarget --help").out);
  const std::string page = read_file(VT_SOURCE_DIR "/dist/man/vtarget.1");
  std::string line;
  int names = 0;
  while (std::getline(help, line)) {
    // "  --option VALUE  text"; the values of --clock and the fault names from column 25 on.
    const size_t start = line.find_first_not_of(' ');
    const bool option = start == 2 && line.compare(2, 2, "--") == 0;
    const bool fault = start == 25 && std::islower((unsigned char)line[25]);
    if (!option && !fault) continue;
    std::string name = line.substr(start, line.find_first_of(" =[", start) - start), man;
    for (char c : name) man += c == '-' ? std::string("\\-") : std::string(1, c);
    EXPECT_NE(page.find(man), std::string::npos) << name << " is not in the manual page";
    ++names;
  }
  EXPECT_GE(names, 36);
}

}  // namespace
#endif  // VT_BIN_DIR
