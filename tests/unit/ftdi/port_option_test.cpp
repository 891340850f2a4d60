// The -p value of the FTDI adapters: every item kind, limit and message.
#include <gtest/gtest.h>

#include <string>

#include "ftdi/ftdi_port_option.h"
#include "ftdi_test_support.h"

namespace {

struct port_case {
  const char* text;
  uint32_t vid, pid;
  const char* serial_number;
  const char* description;
};

TEST(ftdi_port_option, fills_the_request_from_the_items) {
  const std::string desc64(64, 'x');
  const std::string d64 = "d=" + desc64;
  const port_case cases[] = {
      {"s=FT123456", 0, 0, "FT123456", ""},
      {"d=Dual RS232-HS B", 0, 0, "", "Dual RS232-HS B"},
      {"v=0403,p=6010,d=Dual RS232 A", 0x0403, 0x6010, "", "Dual RS232 A"},
      {"v=0x0403,p=0X6011,s=A", 0x0403, 0x6011, "A", ""},
      {"s=1234567890123456", 0, 0, "1234567890123456", ""},  // 16 characters: the limit
      {"s=a,d=b,s=c,d=e", 0, 0, "c", "e"},                    // later items win
      {"v=zz,p=zz,d=x", 0, 0, "", "x"},                        // not a number: unchanged
      {"v=1234,p=5678", 0x1234, 0x5678, "", ""},               // opening refuses this later
      {"d=a=b", 0, 0, "", "a=b"},
      {d64.c_str(), 0, 0, "", desc64.c_str()},
  };
  for (const port_case& c : cases) {
    ftdi_device_request request;
    request.type = 6;
    strcpy(request.description, "stale");
    captured_output out;
    ASSERT_EQ(status_of([&] { parse_ftdi_port_option(c.text, request); }), -1) << c.text << ": " << out.text();
    EXPECT_EQ(request.vid, c.vid) << c.text;
    EXPECT_EQ(request.pid, c.pid) << c.text;
    EXPECT_STREQ(request.serial_number, c.serial_number) << c.text;
    EXPECT_STREQ(request.description, c.description) << c.text;
    EXPECT_EQ(request.type, 6u);
    EXPECT_EQ(out.text(), "");
  }
}

TEST(ftdi_port_option, refuses_bad_items_with_their_messages) {
  const std::string d65 = "d=" + std::string(65, 'y');
  const std::string long_item = "q=" + std::string(70, 'z');
  struct bad_case {
    std::string text, message;
  } cases[] = {
      {"V=0403,p=1", "Invalid FT2232 option 'V=0403'\n"},
      {"vid=0403", "Invalid FT2232 option 'vid=0403'\n"},
      {"d=a,", "Invalid FT2232 option ''\n"},
      {"d=a,,s=b", "Invalid FT2232 option ''\n"},
      {"d=", "Invalid FT2232 option 'd='\n"},
      {"x=1", "Invalid FT2232 option 'x=1'\n"},
      {"s=12345678901234567", "Serial number too long: 's=12345678901234567'\n"},
      {d65 + ",s=1", "Option too long: '" + d65 + "'\n"},
      {"s=1," + long_item, "Option too long: '" + long_item + "'\n"},
      {"v=0403", "Both VID and PID must be set\n"},
      {"p=6010,d=x", "Both VID and PID must be set\n"},
  };
  for (const bad_case& c : cases) {
    ftdi_device_request request;
    captured_output out;
    EXPECT_EQ(status_of([&] { parse_ftdi_port_option(c.text.c_str(), request); }), 70) << c.text;
    EXPECT_EQ(out.text(), c.message) << c.text;
  }
}

TEST(ftdi_port_option, without_a_value_uses_the_factory_description_of_channel_a) {
  const struct {
    uint32_t type;
    const char* description;
  } cases[] = {{6, "Dual RS232-HS A"}, {7, "Quad RS232-HS A"}, {4, "Dual RS232 A"}, {0, "Dual RS232 A"}};
  for (const auto& c : cases) {
    ftdi_device_request request;
    request.type = c.type;
    request.vid = 5;
    captured_output out(3);
    parse_ftdi_port_option(nullptr, request);
    EXPECT_STREQ(request.description, c.description);
    EXPECT_EQ(request.vid, 0u);
    EXPECT_EQ(out.text(), std::string("No FTDI \"port\" switch found\ndevice with default description \"") +
                              c.description + "\" will be used\n");
  }
}

}  // namespace
