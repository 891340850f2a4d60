// The MPSSE clock divisor and the -p value of the FTDI adapters.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

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

TEST(ftdi_port_option, fills_the_request_from_the_items) {
  const std::string desc64(64, 'x'), d64 = "d=" + desc64;
  const struct {
    const char* text;
    uint32_t vid, pid;
    const char* serial_number;
    const char* description;
  } cases[] = {
      {"d=Dual RS232-HS B", 0, 0, "", "Dual RS232-HS B"},
      {"v=0403,p=6010,d=Dual RS232 A", 0x0403, 0x6010, "", "Dual RS232 A"},
      {"v=0x0403,p=0X6011,s=A", 0x0403, 0x6011, "A", ""},
      {"s=1234567890123456", 0, 0, "1234567890123456", ""},  // 16 characters: the limit
      {"s=a,d=b,s=c,d=e", 0, 0, "c", "e"},                    // later items win
      {"v=zz,p=zz,d=x", 0, 0, "", "x"},                        // not a number: unchanged
      {"d=a=b", 0, 0, "", "a=b"},
      {d64.c_str(), 0, 0, "", desc64.c_str()},
  };
  for (const auto& c : cases) {
    ftdi_device_request request;
    strcpy(request.description, "stale");
    message_capture out;
    ASSERT_EQ(status_of([&] { parse_ftdi_port_option(c.text, request); }), -1) << c.text << ": " << out.text();
    EXPECT_EQ(request.vid, c.vid) << c.text;
    EXPECT_EQ(request.pid, c.pid) << c.text;
    EXPECT_STREQ(request.serial_number, c.serial_number) << c.text;
    EXPECT_STREQ(request.description, c.description) << c.text;
    EXPECT_EQ(out.text(), "");
  }
}

TEST(ftdi_port_option, refuses_bad_items_with_their_messages) {
  const std::string d65 = "d=" + std::string(65, 'y'), long_item = "q=" + std::string(70, 'z');
  const struct {
    std::string text, message;
  } cases[] = {
      {"V=0403,p=1", "Invalid FT2232 option 'V=0403'\n"},
      {"vid=0403", "Invalid FT2232 option 'vid=0403'\n"},
      {"d=a,,s=b", "Invalid FT2232 option ''\n"},
      {"d=", "Invalid FT2232 option 'd='\n"},
      {"s=12345678901234567", "Serial number too long: 's=12345678901234567'\n"},
      {d65 + ",s=1", "Option too long: '" + d65 + "'\n"},
      {"s=1," + long_item, "Option too long: '" + long_item + "'\n"},
      {"v=0403", "Both VID and PID must be set\n"},
      {"p=6010,d=x", "Both VID and PID must be set\n"},
  };
  for (const auto& c : cases) {
    ftdi_device_request request;
    message_capture out;
    EXPECT_EQ(status_of([&] { parse_ftdi_port_option(c.text.c_str(), request); }), 70) << c.text;
    EXPECT_EQ(out.text(), c.message) << c.text;
  }
}

TEST(ftdi_port_option, without_a_value_uses_the_factory_description_of_channel_a) {
  const struct {
    uint32_t type;
    const char* description;
  } cases[] = {{6, "Dual RS232-HS A"}, {7, "Quad RS232-HS A"}, {4, "Dual RS232 A"}};
  for (const auto& c : cases) {
    ftdi_device_request request;
    request.type = c.type;
    request.vid = 5;
    message_capture out(3);
    parse_ftdi_port_option(nullptr, request);
    EXPECT_STREQ(request.description, c.description);
    EXPECT_EQ(request.vid, 0u);
    EXPECT_EQ(out.text(), std::string("No FTDI \"port\" switch found\ndevice with default description \"") +
                              c.description + "\" will be used\n");
  }
}

}  // namespace
