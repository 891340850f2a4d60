// The configuration vtarget hands to the emulations survives its text form.
#include <gtest/gtest.h>

#include "sim/bench/config.h"

namespace {

TEST(BenchConfig, RoundTrip) {
  vt::bench_config c;
  c.chip = "tiny2313";
  c.chip_image = "/tmp/a b.image";
  c.lock_dir = "/tmp/vtarget.x";
  c.wiring = "map";
  c.wiring_map = "mosi=ADBUS1:reset=~ACBUS2";
  c.power_from_adapter = true;
  c.ftdi.push_back({"ft2232h", true, "My:adapter\twith tab", false, ""});
  c.ftdi.push_back({"ft4232h", false, "", true, "FT1234"});
  c.osc_hz = 3686400;
  c.lpt_cycle_us = 0.5;
  c.usb_latency_us = 125;
  c.clock = vt::clock_mode::deterministic;
  c.faults.push_back(vt::parse_fault("usb-read-error=3"));
  c.faults.push_back(vt::parse_fault("no-ftdi"));
  c.faults.back().at = "parport:1";
  c.positions.push_back({"ftdi:1:B", "mega328p", "/tmp/b.image"});
  c.trace_file = "t\\x";
  c.key_press_ms = 10;
  c.vcd_file = "w.vcd";
  c.vcd_isp_only = true;
  c.vcd_from_ms = 1.5;
  vt::bench_config r;
  std::string error;
  ASSERT_TRUE(vt::parse_config(vt::format_config(c), r, error)) << error;
  EXPECT_EQ(r.chip, c.chip);
  EXPECT_EQ(r.chip_image, c.chip_image);
  EXPECT_EQ(r.lock_dir, c.lock_dir);
  EXPECT_EQ(r.clock, vt::clock_mode::deterministic);
  EXPECT_EQ(r.wiring_map, c.wiring_map);
  EXPECT_TRUE(r.power_from_adapter);
  ASSERT_EQ(r.ftdi.size(), 2u);
  EXPECT_EQ(r.ftdi[0].description, "My:adapter\twith tab");
  EXPECT_FALSE(r.ftdi[0].has_serial);
  EXPECT_EQ(r.ftdi[1].serial, "FT1234");
  EXPECT_EQ(r.osc_hz, 3686400);
  EXPECT_EQ(r.usb_latency_us, 125);
  ASSERT_EQ(r.faults.size(), 2u);
  EXPECT_EQ(r.faults[0].number(), 3);
  EXPECT_EQ(r.faults[0].id, vt::fault_id::usb_read_error);
  EXPECT_FALSE(r.faults[1].has_value);
  EXPECT_EQ(r.faults[1].at, "parport:1");
  ASSERT_EQ(r.positions.size(), 1u);
  EXPECT_EQ(r.positions[0].where, "ftdi:1:B");
  EXPECT_EQ(r.positions[0].image, "/tmp/b.image");
  EXPECT_EQ(r.trace_file, "t\\x");
  EXPECT_EQ(r.key_press_ms, 10);
  EXPECT_EQ(r.vcd_file, "w.vcd");
  EXPECT_TRUE(r.vcd_isp_only);
  EXPECT_EQ(r.vcd_from_ms, 1.5);
  EXPECT_LT(r.vcd_to_ms, 0);
  EXPECT_FALSE(vt::parse_config("bogus=1\n", r, error));
  EXPECT_FALSE(vt::parse_config("clock=fast\n", r, error));
}

}  // namespace
