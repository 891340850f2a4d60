// State of the small D2XX stand-in that the FTDI unit tests load instead of
// FTDI's library: the devices it lists and the statuses it returns, and a
// record of the calls it received. The tests reach it with dlsym.
#pragma once

struct fake_d2xx_device {
  unsigned type;
  unsigned id;
  char serial_number[16];
  char description[64];
};

struct fake_d2xx_state {
  int device_count;
  fake_d2xx_device devices[8];
  // Statuses returned (0 = FT_OK).
  unsigned create_list_status;
  unsigned get_list_status;
  unsigned open_status;  // used instead of the search when not 0
  unsigned get_info_status;
  unsigned library_version_status;
  unsigned driver_version_status;
  unsigned io_status;    // FT_Read and FT_Write
  unsigned library_version;
  unsigned driver_version;
  unsigned short_by;     // FT_Read/FT_Write report this many bytes fewer
  // Record.
  int opened;            // index of the open device, -1 none
  int close_calls;
  int vid_pid_calls;
  unsigned vid, pid;
  unsigned open_flags;
  char open_text[80];
};
