#include "lpt/adapter_detection.h"

#include "driver/messages.h"
#include "driver/timer.h"

namespace {

// Writes the data register and reads the status after the lines settled.
uint8_t answer_to(lpt_port& port, uint8_t data) {
  port.write(lpt_data, data);
  timer settle;
  settle.set_delay_ms(0.01f);
  settle.sleep_delay();
  return port.read(lpt_status);
}

void clear_control_bit1(lpt_port& port) { port.write(lpt_control, port.read(lpt_control) & ~0x02); }

}  // namespace

bool detect_stk(lpt_port& port) {
  clear_control_bit1(port);
  const uint8_t s1 = answer_to(port, 0x0D);
  const uint8_t s2 = answer_to(port, 0x0E);
  int code = 0;
  if ((s1 & 0x80) && !(s2 & 0x80)) code += 1;
  if ((s1 & 0x20) && !(s2 & 0x20)) code += 2;
  static const char* const kinds[] = {" not", "300", "200", "*00"};
  report(3, "\t%% Atmel adapter for STK%s found\n", kinds[code]);
  return code != 0;
}

bool detect_byteblaster(lpt_port& port, bool& byteblaster2) {
  byteblaster2 = false;
  clear_control_bit1(port);
  int code = 0;
  if (answer_to(port, 0xFF) & 0x40) {
    if ((answer_to(port, 0xEF) & (0x40 | 0x08)) == 0) {
      byteblaster2 = true;
      port.write(lpt_control, 0x0B);
      port.write(lpt_data, 0x00);
      code = 3;
    }
  }
  if (code == 0) {
    const uint8_t s1 = answer_to(port, 0x5F);
    const uint8_t s2 = answer_to(port, 0xFF);
    if ((s1 & 0x60) != 0 || (s2 & 0x60) != 0x60)
      code = 0;
    else
      code = (s1 & 0x08) ? 2 : 1;
  }
  static const char* const kinds[] = {" not", "", "MV", "-II"};
  report(3, "\t%% ByteBlaster%s found\n", kinds[code]);
  return code != 0;
}
