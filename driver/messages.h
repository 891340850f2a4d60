// The one output routine and the two exception classes that end a run.
// Everything the user sees goes through report(); every failure is reported
// first and then thrown as app_error/rtl_error carrying the exit status.
#pragma once

#include <cstdint>
#include <cstdio>
#include <exception>

struct message_stream {
  FILE* stream;
  uint8_t threshold;
  message_stream();
};
extern message_stream msg_stream;

// Prints when level <= msg_stream.threshold; flushed per call; never adds a newline.
void report(uint8_t level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Exit statuses.
enum exit_status : int {
  status_ok = 0,
  status_chip_failed = 10,
  status_identity = 30,
  status_sync_lost = 40,
  status_data = 50,
  status_no_memory = 60,
  status_usage = 70,
  status_terminated = 80,
  status_other = 255,
};

class app_error : public std::exception {
 public:
  explicit app_error(int c) : code(c) {}
  ~app_error() override;
  const char* what() const noexcept override;
  int code;
};

// A system library call failed: what() is the system's text for errno.
class rtl_error : public app_error {
 public:
  explicit rtl_error(int c);
  ~rtl_error() override;
  const char* what() const noexcept override;

 private:
  int saved_errno;
};

// Memory kinds: 0 CODE (FLASH), 1 DATA (EEPROM).
enum memory_kind : uint8_t { mem_code = 0, mem_data = 1 };
const char* memory_kind_name(int kind);  // "CODE memory" / "DATA memory"

extern const char* const help_hint;  // "For short help type\n\tzindle -h"

// Throw helpers: print the message at level 0, then throw.
FILE* open_file_or_fail(const char* path, const char* mode);
[[noreturn]] void fail_file_name_required(char letter);
[[noreturn]] void fail_cant_fit(const char* what, int kind);
[[noreturn]] void fail_invalid_value(char letter, const char* value);
[[noreturn]] void fail_value_required(const char* switch_text);
[[noreturn]] void fail_sync_lost();
// report(0, ...) then throw app_error(code): the inline pattern in one call.
[[noreturn]] void fail(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));
