// Collects everything report() prints while it exists, at a chosen threshold,
// and keeps the run settings as they were.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "driver/messages.h"
#include "driver/settings.h"

class message_capture {
 public:
  explicit message_capture(uint8_t threshold = 2)
      : saved_stream(msg_stream.stream), saved_threshold(msg_stream.threshold), saved_settings(settings) {
    msg_stream.stream = open_memstream(&buffer, &size);
    msg_stream.threshold = threshold;
  }
  ~message_capture() {
    restore();
    free(buffer);
    settings = saved_settings;
  }
  std::string text() {
    fflush(msg_stream.stream);
    return std::string(buffer, size);
  }

 private:
  void restore() {
    if (msg_stream.stream != saved_stream) fclose(msg_stream.stream);
    msg_stream.stream = saved_stream;
    msg_stream.threshold = saved_threshold;
  }
  char* buffer = nullptr;
  size_t size = 0;
  FILE* saved_stream;
  uint8_t saved_threshold;
  run_settings saved_settings;
};
