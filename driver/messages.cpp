#include "driver/messages.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "driver/process_state.h"

message_stream::message_stream() : stream(stdout), threshold(2) {
  setvbuf(stdout, nullptr, _IONBF, 0);
}

message_stream msg_stream;
const process_state_reset reset_messages{[] {
  msg_stream.stream = stdout;
  msg_stream.threshold = 2;
}};

const char* const help_hint = "For short help type\n\tzindle -h";

namespace {
void vreport(uint8_t level, const char* format, va_list args) {
  if (format == nullptr || level > msg_stream.threshold) return;
  vfprintf(msg_stream.stream, format, args);
  fflush(msg_stream.stream);
}
}  // namespace

void report(uint8_t level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  vreport(level, format, args);
  va_end(args);
}

app_error::~app_error() = default;
const char* app_error::what() const noexcept { return ""; }

rtl_error::rtl_error(int c) : app_error(c), saved_errno(errno) {}
rtl_error::~rtl_error() = default;
const char* rtl_error::what() const noexcept { return strerror(saved_errno); }

const char* memory_kind_name(int kind) { return kind == mem_code ? "CODE memory" : "DATA memory"; }

FILE* open_file_or_fail(const char* path, const char* mode) {
  FILE* f = fopen(path, mode);
  if (f == nullptr) {
    int e = errno;
    report(0, "Can't open file '%s'\n", path);
    errno = e;
    throw rtl_error(status_usage);
  }
  return f;
}

void fail_file_name_required(char letter) {
  report(0, "File name required for -%c\n", letter);
  throw app_error(status_usage);
}

void fail_cant_fit(const char* what, int kind) {
  report(0, "Can't fit %s in %s\n", what, memory_kind_name(kind));
  throw app_error(status_data);
}

void fail_invalid_value(char letter, const char* value) {
  report(0, "Invalid value '%s' for switch %c\n\n%s\n", value, letter, help_hint);
  throw app_error(status_usage);
}

void fail_value_required(const char* switch_text) {
  report(0, "Value required for switch '%s'\n", switch_text);
  throw app_error(status_usage);
}

void fail_sync_lost() {
  report(0, "\nSynchronisation lost\n");
  throw app_error(status_sync_lost);
}

void fail(int code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  vreport(0, format, args);
  va_end(args);
  throw app_error(code);
}
