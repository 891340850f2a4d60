// The configuration vtarget hands to the emulations survives its text form.
#include <gtest/gtest.h>

#include "sim/bench/config.h"

namespace {

TEST(BenchConfig, RoundTrip) {
  vt::bench_config c, r;
  c.chip_image = "/tmp/a b.image", c.wiring_map = "mosi=ADBUS1:reset=~ACBUS2", c.trace_file = "t\\x";
  c.ftdi = {{"ft2232h", true, "My:adapter\twith tab", false, ""}, {"ft4232h", false, "", true, "FT1234"}};
  c.faults = {vt::parse_fault("usb-read-error=3"), vt::parse_fault("no-ftdi")};
  c.faults.back().at = "parport:1";
  c.positions.push_back({"ftdi:1:B", "mega328p", "/tmp/b.image"});
  c.power_from_adapter = c.vcd_isp_only = true, c.clock = vt::clock_mode::deterministic;
  c.osc_hz = 3686400, c.lpt_cycle_us = 0.5, c.usb_latency_us = 125, c.key_press_ms = 10, c.vcd_from_ms = 1.5;
  std::string error, text = vt::format_config(c);
  ASSERT_TRUE(vt::parse_config(text, r, error)) << error;
  EXPECT_EQ(vt::format_config(r), text);
  EXPECT_EQ(r.ftdi[0].description + "|" + r.faults[1].at + "|" + r.positions[0].image + "|" + r.trace_file + "|" +
                std::to_string(r.faults[0].number()) + "|" + std::to_string(r.vcd_from_ms),
            "My:adapter\twith tab|parport:1|/tmp/b.image|t\\x|3|1.500000");
  EXPECT_FALSE(vt::parse_config("bogus=1\n", r, error) || vt::parse_config("clock=fast\n", r, error));
}

}  // namespace
