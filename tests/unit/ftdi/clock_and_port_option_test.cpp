// The MPSSE clock divisor, the -p value of the FTDI adapters and the names of D2XX codes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ftdi/ft_status.h"
#include "ftdi/ftdi_port_option.h"
#include "ftdi/mpsse_clock.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

// SCK = base / (divisor + 1), never faster than asked; 6 MHz base, 30 MHz on the H chips from 0.5 MHz.
TEST(mpsse_clock, divisor_and_base) {
  const struct {
    uint32_t type, requested;
    uint8_t command;
    uint32_t count;
    float mhz;
  } cases[] = {
      {6, 190000, 0x8B, 32, 0.1875f},   {6, 1000000, 0x8A, 30, 1.0f},   {6, 499999, 0x8B, 13, 6.0f / 13},
      {6, 500000, 0x8A, 60, 0.5f},      {7, 190000, 0x8B, 32, 0.1875f}, {4, 190000, 0, 32, 0.1875f},
      {4, 6000000, 0, 1, 6.0f},         {6, 30000000, 0x8A, 1, 30.0f},  {4, 4000000000u, 0, 1, 6.0f},
      {4, 92, 0, 65218, 6.0f / 65218},  {6, 92, 0x8B, 65218, 6.0f / 65218},
  };
  for (const auto& c : cases) {
    mpsse_clock clock = choose_mpsse_clock(c.type, c.requested);
    EXPECT_EQ(clock.base_command, c.command) << c.type << " " << c.requested;
    EXPECT_EQ(clock.divisor, c.count - 1) << c.type << " " << c.requested;
    EXPECT_FLOAT_EQ(clock.sck_mhz, c.mhz) << c.type << " " << c.requested;
  }
  for (uint32_t too_slow : {91u, 0u}) {  // 6 MHz / 65536 = 91.55 Hz
    message_capture out;
    EXPECT_EQ(status_of([&] { choose_mpsse_clock(6, too_slow); }), 70);
    EXPECT_EQ(out.text(), "SCK frequency for FT2232/FT4232 MPSSE mode must be higher than 92Hz\n");
  }
}

// The lengths at their limits and the items' odd forms; the usual values are opened end to end.
TEST(ftdi_port_option, items_and_their_limits) {
  const std::string desc64(64, 'x'), d65 = "d=" + std::string(65, 'y'), long_item = "q=" + std::string(70, 'z');
  const struct {
    std::string text, message;  // message empty: accepted
    const char* serial_number;
    const char* description;
  } cases[] = {
      {"s=1234567890123456", "", "1234567890123456", ""},
      {"s=a,d=b,s=c,d=e", "", "c", "e"},  // later items win
      {"v=zz,p=zz,d=x", "", "", "x"},     // not a number: unchanged
      {"d=a=b", "", "", "a=b"},
      {"d=" + desc64, "", "", desc64.c_str()},
      {"V=0403,p=1", "Invalid FT2232 option 'V=0403'\n", "", ""},
      {"d=a,,s=b", "Invalid FT2232 option ''\n", "", ""},
      {"d=", "Invalid FT2232 option 'd='\n", "", ""},
      {"s=12345678901234567", "Serial number too long: 's=12345678901234567'\n", "", ""},
      {d65 + ",s=1", "Option too long: '" + d65 + "'\n", "", ""},
      {"s=1," + long_item, "Option too long: '" + long_item + "'\n", "", ""},
  };
  for (const auto& c : cases) {
    ftdi_device_request request;
    strcpy(request.description, "stale");
    message_capture out;
    const int code = status_of([&] { parse_ftdi_port_option(c.text.c_str(), request); });
    EXPECT_EQ(out.text(), c.message) << c.text;
    EXPECT_EQ(code, c.message.empty() ? -1 : 70) << c.text;
    if (code != -1) continue;
    EXPECT_EQ(request.vid, 0u) << c.text;
    EXPECT_STREQ(request.serial_number, c.serial_number) << c.text;
    EXPECT_STREQ(request.description, c.description) << c.text;
  }
}

TEST(ft_status, names_end_at_the_last_code) {
  EXPECT_STREQ(ft_status_name(19), "FT_DEVICE_LIST_NOT_READY");
  EXPECT_STREQ(ft_status_name(20), "TOO HIGH ERROR CODE");
  EXPECT_STREQ(ft_device_type_name(7), "FT_DEVICE_4232H");
  EXPECT_STREQ(ft_device_type_name(8), "TOO HIGH TYPE CODE");
}

}  // namespace
