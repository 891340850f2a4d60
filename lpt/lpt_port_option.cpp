#include "lpt/lpt_port_option.h"

#include <cstdio>
#include <cstring>

#include "driver/messages.h"
#include "lpt/direct_io_port.h"
#include "lpt/ppdev_port.h"

lpt_port_choice parse_lpt_port_option(const char* port_text) {
  lpt_port_choice choice;
  unsigned number = 2;
  if (port_text != nullptr) {
    std::string text(port_text);
    const size_t comma = text.find(',');
    if (comma != std::string::npos) {
      text.erase(comma);
      report(1, "warning: forced LPT cycle time will be ignored\n");
    }
    if (text[0] == '/') {
      choice.path = text;
      return choice;
    }
    if (sscanf(text.c_str(), "%X", &number) != 1 || number == 0 || (number >= 4 && number <= 255))
      fail(status_usage, "Invalid value for switch -p\n");
  }
  if (number < 4) {
    report(3, "\t%% LPT port number %d\n", static_cast<int>(number));
    choice.base = lpt_base_address(static_cast<int>(number));
    if (choice.base == 0) fail(status_usage, "LPT%d not found\n", static_cast<int>(number));
  } else {
    choice.base = number;
  }
  report(3, "\t%% LPT base address 0x%3X\n", choice.base);
  return choice;
}

std::unique_ptr<lpt_port> open_lpt_port(const char* port_text) {
  const lpt_port_choice choice = parse_lpt_port_option(port_text);
  if (!choice.path.empty()) return std::make_unique<ppdev_port>(choice.path.c_str());
  return std::make_unique<direct_io_port>(choice.base);
}
