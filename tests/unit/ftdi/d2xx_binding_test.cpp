// The D2XX binding, the listing and the opening, against a small stand-in
// library (tests/unit/ftdi/fake) loaded by path in place of libftd2xx.so.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "fake_d2xx.h"
#include "ftdi/d2xx_device.h"
#include "ftdi/d2xx_library.h"
#include "ftdi/ft_status.h"
#include "ftdi/list_ftdi_devices.h"
#include "ftdi/open_ftdi_device.h"
#include "ftdi_test_support.h"

namespace {

TEST(ft_names, status_and_type_tables) {
  EXPECT_STREQ(ft_status_name(0), "FT_OK");
  EXPECT_STREQ(ft_status_name(2), "FT_DEVICE_NOT_FOUND");
  EXPECT_STREQ(ft_status_name(4), "FT_IO_ERROR");
  EXPECT_STREQ(ft_status_name(16), "FT_INVALID_ARGS");
  EXPECT_STREQ(ft_status_name(19), "FT_DEVICE_LIST_NOT_READY");
  EXPECT_STREQ(ft_status_name(20), "TOO HIGH ERROR CODE");
  EXPECT_STREQ(ft_status_name(0xFFFFFFFF), "TOO HIGH ERROR CODE");
  EXPECT_STREQ(ft_device_type_name(0), "FT_DEVICE_BM");
  EXPECT_STREQ(ft_device_type_name(4), "FT_DEVICE_2232C");
  EXPECT_STREQ(ft_device_type_name(6), "FT_DEVICE_2232H");
  EXPECT_STREQ(ft_device_type_name(7), "FT_DEVICE_4232H");
  EXPECT_STREQ(ft_device_type_name(8), "TOO HIGH TYPE CODE");
}

TEST(ft_names, check_ft_status_messages) {
  const struct {
    uint32_t status;
    bool short_transfer;
    int code;
    const char* message;
  } cases[] = {
      {0, false, -1, ""},
      {4, false, 70, "Can't read from FTDI chip (FT_IO_ERROR)\n"},
      {4, true, 70, "Can't read from FTDI chip (FT_IO_ERROR)\n"},
      {0, true, 70, "Can't read from FTDI chip\n"},
      {25, false, 70, "Can't read from FTDI chip (TOO HIGH ERROR CODE)\n"},
  };
  for (const auto& c : cases) {
    captured_output out;
    EXPECT_EQ(status_of([&] { check_ft_status(c.status, "read from FTDI chip", c.short_transfer); }), c.code);
    EXPECT_EQ(out.text(), c.message);
  }
}

// Keeps the stand-in loaded so that its state survives the binding's unloads.
class d2xx_test : public ::testing::Test {
 protected:
  void SetUp() override {
    handle = dlopen(FAKE_D2XX_PATH, RTLD_NOW);
    ASSERT_NE(handle, nullptr) << dlerror();
    fake = static_cast<fake_d2xx_state*>(dlsym(handle, "fake_d2xx"));
    ASSERT_NE(fake, nullptr);
    *fake = fake_d2xx_state{};
    fake->opened = -1;
    fake->library_version = 0x010204;
    fake->driver_version = 0x011203;
  }
  void TearDown() override { dlclose(handle); }

  void add(unsigned type, unsigned id, const char* serial, const char* description) {
    fake_d2xx_device& d = fake->devices[fake->device_count++];
    d.type = type;
    d.id = id;
    set_field(d.serial_number, serial);
    set_field(d.description, description);
  }
  // D2XX's text fields are fixed arrays: a text that fills its field has no NUL after it.
  template <size_t N>
  static void set_field(char (&field)[N], const char* text) {
    std::memset(field, 0, N);
    std::memcpy(field, text, std::min(std::strlen(text), N));
  }
  void add_ft2232h() {
    add(6, 0x04036010, "FTH1A", "Dual RS232-HS A");
    add(6, 0x04036010, "FTH1B", "Dual RS232-HS B");
  }
  void add_ft4232h() {
    const char* letters = "ABCD";
    for (int i = 0; i < 4; ++i)
      add(7, 0x04036011, (std::string("FTQ") + letters[i]).c_str(),
          (std::string("Quad RS232-HS ") + letters[i]).c_str());
  }
  void add_ft2232c() {
    add(4, 0x04036010, "FTC1A", "Dual RS232 A");
    add(4, 0x04036010, "FTC1B", "Dual RS232 B");
  }

  static ftdi_device_request request(uint32_t type, const char* description, const char* serial = "") {
    ftdi_device_request r;
    r.type = type;
    strcpy(r.description, description);
    strcpy(r.serial_number, serial);
    return r;
  }

  void* handle = nullptr;
  fake_d2xx_state* fake = nullptr;
};

TEST_F(d2xx_test, load_reports_file_and_version_in_one_debug_line) {
  {
    captured_output out(3);
    d2xx_library library(FAKE_D2XX_PATH);
    EXPECT_EQ(library.library_version, 0x010204u);
    EXPECT_EQ(out.text(), std::string("\t% '") + FAKE_D2XX_PATH + "' successfully loaded, version 1.2.4\n");
  }
  fake->library_version_status = 18;
  captured_output out(3);
  d2xx_library library(FAKE_D2XX_PATH);
  EXPECT_EQ(library.library_version, 0u);
  EXPECT_EQ(out.text(), std::string("\t% '") + FAKE_D2XX_PATH + "' successfully loaded\n");
}

TEST_F(d2xx_test, missing_library_and_missing_function_are_refused) {
  {
    captured_output out;
    EXPECT_EQ(status_of([] { d2xx_library library("/nonexistent/libftd2xx.so"); }), 70);
    EXPECT_EQ(out.text().rfind("Can't load library '/nonexistent/libftd2xx.so' (", 0), 0u) << out.text();
  }
  captured_output out;
  EXPECT_EQ(status_of([] { d2xx_library library(FAKE_D2XX_WITHOUT_PURGE_PATH); }), 70);
  const std::string expected = std::string("Can't get function 'FT_Purge' from library '") +
                               FAKE_D2XX_WITHOUT_PURGE_PATH + "' (";
  EXPECT_EQ(out.text().rfind(expected, 0), 0u) << out.text();
  EXPECT_NE(out.text().find("FT_Purge)\n"), std::string::npos) << out.text();
  // Unloaded again: no other holder keeps it in the process.
  EXPECT_EQ(dlopen(FAKE_D2XX_WITHOUT_PURGE_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST_F(d2xx_test, listing_prints_every_channel) {
  add_ft2232h();
  add(4, 0x04036010, "1234567890123456", "Dual RS232 A");  // serial number fills its field
  captured_output out;
  list_ftdi_devices(FAKE_D2XX_PATH);
  EXPECT_EQ(out.text(),
            "3 FTDI devices detected\n"
            " 0: FT_DEVICE_2232H (0x6) - \"Dual RS232-HS A\", serno \"FTH1A\"\n"
            " 1: FT_DEVICE_2232H (0x6) - \"Dual RS232-HS B\", serno \"FTH1B\"\n"
            " 2: FT_DEVICE_2232C (0x4) - \"Dual RS232 A\", serno \"1234567890123456\"\n");
}

TEST_F(d2xx_test, listing_failures) {
  {
    captured_output out;
    EXPECT_EQ(status_of([] { list_ftdi_devices(FAKE_D2XX_PATH); }), 70);
    EXPECT_EQ(out.text(), "No FTDI devices found\n");
  }
  add_ft2232h();
  fake->create_list_status = 4;
  {
    captured_output out;
    EXPECT_EQ(status_of([] { list_ftdi_devices(FAKE_D2XX_PATH); }), 70);
    EXPECT_EQ(out.text(), "Can't get number of FTDI devices (FT_IO_ERROR)\n");
  }
  fake->create_list_status = 0;
  fake->get_list_status = 19;
  captured_output out;
  EXPECT_EQ(status_of([] { list_ftdi_devices(FAKE_D2XX_PATH); }), 70);
  EXPECT_EQ(out.text(), "2 FTDI devices detected\nCan't get FTDI device list (FT_DEVICE_LIST_NOT_READY)\n");
}

TEST_F(d2xx_test, opens_by_description_or_serial_number) {
  add_ft2232h();
  {
    captured_output out(3);
    auto device = open_ftdi_device(request(6, "Dual RS232-HS A"), FAKE_D2XX_PATH);
    EXPECT_EQ(fake->open_flags, 2u);
    EXPECT_STREQ(fake->open_text, "Dual RS232-HS A");
    EXPECT_EQ(fake->opened, 0);
    EXPECT_EQ(fake->vid_pid_calls, 0);
    EXPECT_NE(out.text().find("\t% FTDI driver version 1.12.3\n"), std::string::npos) << out.text();
    EXPECT_EQ(dynamic_cast<d2xx_device&>(*device).type, 6u);
  }
  EXPECT_EQ(fake->close_calls, 1);  // the device closes its handle
  EXPECT_EQ(fake->opened, -1);

  // A serial number wins over the description, which must then match too.
  ftdi_device_request both = request(6, "Dual RS232-HS B", "FTH1B");
  both.vid = 0x0403;
  both.pid = 0x6010;
  auto device = open_ftdi_device(both, FAKE_D2XX_PATH);
  EXPECT_EQ(fake->open_flags, 1u);
  EXPECT_STREQ(fake->open_text, "FTH1B");
  EXPECT_EQ(fake->vid_pid_calls, 1);
  EXPECT_EQ(fake->vid, 0x0403u);
  EXPECT_EQ(fake->pid, 0x6010u);
}

TEST_F(d2xx_test, opening_failures) {
  add_ft2232h();
  add_ft4232h();
  add_ft2232c();
  const struct {
    ftdi_device_request request;
    const char* message;
  } cases[] = {
      {request(6, ""), "Description and/or serial number must be set for FTDI device opening\n"},
      {request(6, "Dual RS232-HS C"), "Can't open FTDI device with description \"Dual RS232-HS C\" (FT_DEVICE_NOT_FOUND)\n"},
      {request(6, "", "NOPE"), "Can't open FTDI device with serial number \"NOPE\" (FT_DEVICE_NOT_FOUND)\n"},
      {request(6, "Quad RS232-HS A"),
       "Can't use opened FTDI device (some of parameters not match)\n"
       "Requested  FT_DEVICE_2232H (0x6) - \"Quad RS232-HS A\", serno \"any\"\n"
       "Found      FT_DEVICE_4232H (0x7) - \"Quad RS232-HS A\", serno \"FTQA\"\n"},
      {request(6, "Dual RS232-HS B", "FTH1A"),
       "Can't use opened FTDI device (some of parameters not match)\n"
       "Requested  FT_DEVICE_2232H (0x6) - \"Dual RS232-HS B\", serno \"FTH1A\"\n"
       "Found      FT_DEVICE_2232H (0x6) - \"Dual RS232-HS A\", serno \"FTH1A\"\n"},
      {request(4, "Dual RS232 B"), "Channel B can't be used for MPSSE mode\n"},
      {request(7, "Quad RS232-HS C"), "Channel C can't be used for MPSSE mode\n"},
      {request(7, "Quad RS232-HS D"), "Channel D can't be used for MPSSE mode\n"},
  };
  for (const auto& c : cases) {
    fake->close_calls = 0;
    captured_output out;
    EXPECT_EQ(status_of([&] { open_ftdi_device(c.request, FAKE_D2XX_PATH); }), 70) << c.message;
    EXPECT_EQ(out.text(), c.message);
    EXPECT_EQ(fake->opened, -1) << c.message;  // closed again
  }

  fake->get_info_status = 4;
  fake->close_calls = 0;
  captured_output out;
  EXPECT_EQ(status_of([&] { open_ftdi_device(request(6, "Dual RS232-HS A"), FAKE_D2XX_PATH); }), 70);
  EXPECT_EQ(out.text(), "Can't get FTDI device information (FT_IO_ERROR)\n");
  EXPECT_EQ(fake->close_calls, 1);
}

TEST_F(d2xx_test, allowed_channels) {
  add_ft2232h();
  add_ft4232h();
  add_ft2232c();
  const struct {
    uint32_t type;
    const char* description;
  } allowed[] = {{6, "Dual RS232-HS A"}, {6, "Dual RS232-HS B"}, {7, "Quad RS232-HS A"}, {7, "Quad RS232-HS B"},
                 {4, "Dual RS232 A"}};
  for (const auto& c : allowed) {
    captured_output out;
    EXPECT_NE(open_ftdi_device(request(c.type, c.description), FAKE_D2XX_PATH), nullptr) << c.description;
    EXPECT_EQ(out.text(), "");
  }
}

TEST_F(d2xx_test, device_operations_check_status_and_length) {
  add_ft2232h();
  auto device = open_ftdi_device(request(6, "Dual RS232-HS A"), FAKE_D2XX_PATH);
  uint8_t buffer[8] = {};
  device->write(buffer, 8);
  device->read(buffer, 8);
  EXPECT_EQ(buffer[7], 0x5A);

  const struct {
    unsigned io_status, short_by;
    bool reading;
    const char* message;
  } cases[] = {
      {0, 1, true, "Can't read from FTDI chip\n"},
      {0, 3, false, "Can't write to FTDI chip\n"},
      {4, 0, true, "Can't read from FTDI chip (FT_IO_ERROR)\n"},
      {10, 0, false, "Can't write to FTDI chip (FT_FAILED_TO_WRITE_DEVICE)\n"},
  };
  for (const auto& c : cases) {
    fake->io_status = c.io_status;
    fake->short_by = c.short_by;
    captured_output out;
    EXPECT_EQ(status_of([&] {
                if (c.reading)
                  device->read(buffer, 8);
                else
                  device->write(buffer, 8);
              }),
              70);
    EXPECT_EQ(out.text(), c.message);
  }
  captured_output out;
  EXPECT_EQ(status_of([&] { device->set_baud_rate(9600); }), 70);  // the stand-in refuses baud rates
  EXPECT_EQ(out.text(), "Can't set baud rate (FT_INVALID_BAUD_RATE)\n");
}

}  // namespace
