// vtarget end to end: a plain ISP client (not zindle) bit-bangs the chip
// through the emulated ppdev device and through direct port I/O.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "tests/support/vt_run.h"

#ifdef VT_BIN_DIR
namespace {

const std::string bin = VT_BIN_DIR;

// vtarget on its deterministic clock, so that no result depends on the host's speed.
vt_test::result run(const std::string& vtarget_args, const std::string& client_args) {
  return vt_test::run_command(bin + "/vtarget --deterministic " + vtarget_args + " -- " + bin + "/vt_lpt_client " +
                              client_args);
}

TEST(Vtarget, PlainClientReadsTheSignature) {
  const std::string ok = "echo 53\nsignature 1E9307\n", garbled = "echo 00\nsignature 000000\n",
                    floating = "echo FF\nsignature FFFFFF\n";
  const struct { const char *vt, *client; std::string expect; } rows[] = {
      {"", "ppdev /dev/parport0 sig", ok},
      {"--parport /dev/parport1 --chip mega2560", "ppdev /dev/parport1 sig", "echo 53\nsignature 1E9801\n"},
      {"--chip 90S2313", "io 378 sig", "echo 53\nsignature 1E9101\n"},
      {"--wiring map:mosi=D5:miso=ACK:sck=D6:reset=D4:led_ok=ADBUS4", "ppdev /dev/parport0 sig", ok},
      {"--power adapter", "ppdev /dev/parport0 sig", floating},  // this client never switches power on
      // A factory-new mega8 runs at 1 MHz: SCK phases must last more than 2 us,
      // made of port writes (1 us each) or of a write and a real-time wait.
      {"--wiring stk200", "--wiring stk200 ppdev /dev/parport0 sig", ok},
      {"--wiring stk200", "--wiring stk200 --phase 2 ppdev /dev/parport0 sig", garbled},
      {"--wiring stk200", "--wiring stk200 --phase 1 --wait nanosleep ppdev /dev/parport0 sig", garbled},
      {"--wiring stk200", "--wiring stk200 --phase 2 --wait nanosleep ppdev /dev/parport0 sig", ok},
      {"--wiring stk200", "--wiring stk200 --phase 5 --wait nanosleep ppdev /dev/parport0 program 5", ok + "verify ok\n"},
      // On the host's clock the client's own waits reach the chip as they are.
      {"--clock host --wiring stk200", "--wiring stk200 --phase 5 --wait nanosleep io 378 sig", ok},
      // The control register's direction bit turns the data lines to input, even through PPWCONTROL.
      {"", "--control 24 ppdev /dev/parport0 sig", floating},
      {"", "--control 24 io 278 sig", floating},
  };
  for (const auto& r : rows) EXPECT_EQ(run(r.vt, r.client).out, r.expect) << r.vt << " / " << r.client;
  EXPECT_NE(run("", "ppdev /dev/parport7 sig").status, 0) << "only the emulated path is taken over";
  // No host delivers a trapped port instruction in 10 ns.
  EXPECT_NE(run("--realtime --lpt-cycle 0.01", "io 378 sig").out.find("vtarget: the host could not keep up"),
            std::string::npos);
}

TEST(Vtarget, StateCarriesOverAndTraceIsDeterministic) {
  scratch_dir dir;
  const std::string state = dir / "m8.state", out = dir / "flash.bin", t1 = dir / "t1", t2 = dir / "t2";
  const std::string first = run("--state " + state + " --trace " + t1, "ppdev /dev/parport0 program 3").out;
  EXPECT_EQ(first, "echo 53\nsignature 1E9307\nverify ok\n");
  std::remove(state.c_str());
  EXPECT_EQ(run("--state " + state + " --trace " + t2, "ppdev /dev/parport0 program 3").status, 0);
  EXPECT_EQ(vt_test::read_file(t1), vt_test::read_file(t2)) << "line for line and time stamp for time stamp";
  const std::string trace = vt_test::read_file(t1);  // a time column, then the event
  EXPECT_NE(trace.find(" isp AC 53 00 00 -> 00 AC 53 00\n"), std::string::npos);
  EXPECT_NE(trace.find(" isp 4C 0F E0 00 -> E4 4C 0F E0\n"), std::string::npos) << "last page written";
  // The client drops the lines at exit, after main: still traced, before the final state.
  EXPECT_TRUE(std::regex_search(trace, std::regex(" reset high\n.* reset low\n.* exit power low enable high reset low")));
  // The state keeps the FLASH of the run; vtarget exports it.
  const std::string shown = vt_test::run_command(bin + "/vtarget --state " + state + " --flash-out " + out + " --show").out;
  EXPECT_NE(shown.find("chip erases: 1\n"), std::string::npos) << shown;
  const std::string flash = vt_test::read_file(out);
  ASSERT_EQ(flash.size(), 8192u);
  for (unsigned i = 0; i < 8192; i += 97) EXPECT_EQ(uint8_t(flash[i]), uint8_t((i * 7 + 3 + (i >> 8)) ^ (i >> 3))) << i;
  const std::string locked = vt_test::run_command(bin + "/vtarget --chip mega8 --fault locked=write --show").out;
  EXPECT_NE(locked.find("lock: FE (write protected)\n"), std::string::npos) << locked;
}

TEST(Vtarget, UsageErrors) {
  for (const char* args :
       {"--chip mega9", "--wiring nosuch", "--wiring map:mosi=D9", "--fault bogus", "--ftdi ft9999", "--osc fast",
        "--clock fast", "--chip-at parport0", "--chip-at parport3=mega8", "--chip-at ft2232h:A=mega8",
        "--ftdi ft2232h --chip-at ft2232h#2:A=mega8", "--ftdi ft4232h --chip-at ft4232h:C=mega8",
        "--ftdi ft2232c --chip-at ft2232c:B=mega8", "--chip-at parport0=mega8 --chip-at parport0=mega8",
        "--chip-at parport0=mega8,fault=bogus", "--chip-at parport0=mega8,speed=1",
        "--chip mega8 --chip-at parport0=mega8", "--no-parport --chip-at parport1=mega8", "--vcd-lines some",
        "--vcd-window 5,2", "--vcd"})
    EXPECT_EQ(vt_test::run_command(bin + "/vtarget " + args).status, 2) << args;
}

}  // namespace
#endif  // VT_BIN_DIR
