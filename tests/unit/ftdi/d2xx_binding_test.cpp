// The D2XX binding and the device opening, against the virtual target's libftd2xx.so loaded by path.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>

#include "ftdi/d2xx_device.h"
#include "ftdi/ft_status.h"
#include "ftdi/open_ftdi_device.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

TEST(ft_names, check_ft_status_messages) {
  const struct {
    uint32_t status;
    bool short_transfer;
    int code;
    const char* message;
  } cases[] = {
      {0, false, -1, ""},
      {4, true, 70, "Can't read from FTDI chip (FT_IO_ERROR)\n"},
      {0, true, 70, "Can't read from FTDI chip\n"},
      {25, false, 70, "Can't read from FTDI chip (TOO HIGH ERROR CODE)\n"},
  };
  for (const auto& c : cases) {
    message_capture out;
    EXPECT_EQ(status_of([&] { check_ft_status(c.status, "read from FTDI chip", c.short_transfer); }), c.code);
    EXPECT_EQ(out.text(), c.message);
  }
}

#ifdef VT_FTDI_DIR
const std::string library = VT_FTDI_DIR "/libftd2xx.so";

// True when the library held open by on_bus() opens the channel with this serial number (then closed again).
bool channel_free(const char* serial) {
  void* held = dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  auto open_ex = reinterpret_cast<unsigned (*)(const void*, unsigned, void**)>(dlsym(held, "FT_OpenEx"));
  auto close = reinterpret_cast<unsigned (*)(void*)>(dlsym(held, "FT_Close"));
  void* handle = nullptr;
  const bool free = open_ex(serial, 1, &handle) == 0 && close(handle) == 0;
  dlclose(held);
  return free;
}

// Runs `body` in a child process on an emulated bus of an FT2232H, an FT4232H and an FT2232C plus
// `faults` (its bench reads the setup once per process), with the library held loaded throughout.
void on_bus(const std::string& faults, const std::function<void()>& body) {
  const std::string path = ::testing::TempDir() + "d2xx_binding_" + std::to_string(getpid()) + ".cfg";
  std::ofstream(path) << "emulate_lpt=0\nclock=deterministic\nftdi=ft2232h\t0\t\t0\t\nftdi=ft4232h\t0\t\t0\t\n"
                         "ftdi=ft2232c\t0\t\t0\t\n" + faults;
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("VTARGET_CONFIG", path.c_str(), 1);
    if (dlopen(library.c_str(), RTLD_NOW) == nullptr) _exit(2);
    body();
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  unlink(path.c_str());
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child failed, status " << status;
}

ftdi_device_request request(uint32_t type, const char* description, const char* serial = "") {
  ftdi_device_request r;
  r.type = type;
  strcpy(r.description, description);
  strcpy(r.serial_number, serial);
  return r;
}

TEST(d2xx_binding, opens_uses_and_closes_channels) {
  on_bus("", [] {
    {
      message_capture out(3);
      auto device = open_ftdi_device(request(6, "Dual RS232-HS A"), library.c_str());
      EXPECT_NE(out.text().find("\t% FTDI driver version 1.4.27\n"), std::string::npos) << out.text();
      EXPECT_EQ(dynamic_cast<d2xx_device&>(*device).type, 6u);
      message_capture busy;  // a channel opens once
      EXPECT_EQ(status_of([] { open_ftdi_device(request(6, "", "VT000001A"), library.c_str()); }), 70);
      EXPECT_EQ(busy.text(), "Can't open FTDI device with serial number \"VT000001A\" (FT_DEVICE_NOT_OPENED)\n");
      EXPECT_FALSE(channel_free("VT000001A"));
    }
    EXPECT_TRUE(channel_free("VT000001A"));
    // Opens by serial number when the description matches too; data goes both ways.
    auto device = open_ftdi_device(request(6, "Dual RS232-HS A", "VT000001A"), library.c_str());
    device->set_bit_mode(0x00, 0x02);
    device->set_timeouts(100, 100);
    const uint8_t bad_command = 0xAA;  // the MPSSE answers an unknown command with 0xFA and the command
    device->write(&bad_command, 1);
    uint8_t answer[2] = {};
    device->read(answer, 2);
    EXPECT_EQ(answer[0], 0xFA);
    EXPECT_EQ(answer[1], 0xAA);
    // Refused after opening: the channel is closed again.
    const struct {
      ftdi_device_request request;
      const char* message;
    } cases[] = {
        {request(6, "Quad RS232-HS A"),
         "Can't use opened FTDI device (some of parameters not match)\n"
         "Requested  FT_DEVICE_2232H (0x6) - \"Quad RS232-HS A\", serno \"any\"\n"
         "Found      FT_DEVICE_4232H (0x7) - \"Quad RS232-HS A\", serno \"VT000002A\"\n"},
        {request(4, "Dual RS232 B"), "Channel B can't be used for MPSSE mode\n"},
        {request(7, "Quad RS232-HS C"), "Channel C can't be used for MPSSE mode\n"},
    };
    for (const auto& c : cases) {
      message_capture out;
      EXPECT_EQ(status_of([&] { open_ftdi_device(c.request, library.c_str()); }), 70) << c.message;
      EXPECT_EQ(out.text(), c.message);
    }
    for (const char* serial : {"VT000002A", "VT000003B", "VT000002C"})
      EXPECT_TRUE(channel_free(serial)) << serial;
  });
}

TEST(d2xx_binding, short_writes_and_failed_reads_are_refused) {
  on_bus("fault=usb-short-write\t0\t\t\nfault=usb-read-error\t0\t\t\n", [] {
    auto device = open_ftdi_device(request(6, "Dual RS232-HS A"), library.c_str());
    uint8_t buffer[4] = {0x80, 0x00, 0x0B, 0x87};
    message_capture out;
    EXPECT_EQ(status_of([&] { device->write(buffer, 4); }), 70);
    EXPECT_EQ(status_of([&] { device->read(buffer, 4); }), 70);
    EXPECT_EQ(out.text(), "Can't write to FTDI chip\nCan't read from FTDI chip (FT_IO_ERROR)\n");
  });
}
#endif

}  // namespace
