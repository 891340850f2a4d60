// Which /proc/ioports ranges belong to a parallel port.
#include "lpt/parallel_port_list.h"

#include <gtest/gtest.h>

namespace {

// As a PC with one parallel port (SPP and ECP ranges) and one on a PCI card shows it to root.
const char* const listing =
    "0000-0cf7 : PCI Bus 0000:00\n"
    "  0070-0071 : rtc_cmos\n"
    "  0378-037a : parport0\n"
    "  037b-037f : parport0\n"
    "  03f8-03ff : serial\n"
    "0cf8-0cff : PCI conf1\n"
    "  e000-efff : PCI Bus 0000:01\n"
    "    e800-e807 : parport1\n"
    "    e808-e80f : parport_pc_ecp\n";

TEST(ParallelPortList, OnlyRangesOfParallelPorts) {
  const struct {
    const char* text;
    uint32_t base;
    bool listed;
  } rows[] = {
      {listing, 0x378, true},
      {listing, 0x37B, true},    // the EPP range is the port's too
      {listing, 0x37A, false},   // the three registers must lie in one range
      {listing, 0xE800, true},   // nested deeper, on a PCI card
      {listing, 0xE808, false},  // "parport_pc_ecp" is not a port's name
      {listing, 0x278, false},
      {listing, 0x3F8, false},
      {"0000-0000 : PCI Bus 0000:00\n  0000-0000 : parport0\n", 0x378, false},  // what others than root see
  };
  for (const auto& r : rows) EXPECT_EQ(lists_parallel_port(r.text, r.base), r.listed) << std::hex << r.base;
}

}  // namespace
