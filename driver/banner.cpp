#include "driver/banner.h"

#include <string>

#include "driver/help.h"

namespace {
const char* const title = "zindle/Linux32  -  AVR controllers programmer  (c) the zindle developers";
const char* const version = "v1.0a1";
const char* const build_stamp = __DATE__ " " __TIME__;
const char* const mail_address = "zindle-bugs@example.org";
}  // namespace

const char* banner_text() {
  static const std::string text = std::string("\n") + title + "\n" + version + " (" + build_stamp + ")  " +
                                  project_web_address + "\nbug-reports, suggestions and so on mail to " +
                                  mail_address + "\n";
  return text.c_str();
}
