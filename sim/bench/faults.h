// The faults the virtual target can inject, named once: vtarget's parser and
// help text, the bench (chip faults), the parallel-port and the FTDI
// emulations all go through this table.
#pragma once

#include <string>

namespace vt {

enum class fault_id {
  unknown,
  // the chip
  no_answer,
  out_of_step,
  lose_step,
  busy_longer,
  miso,
  signature,
  locked,
  // the parallel port
  ppdev_release_error,
  // the FTDI emulation
  usb_read_error,
  usb_write_error,
  usb_short_read,
  usb_short_write,
  missing_function,
  no_ftdi,
};

enum class fault_side { chip, parport, ftdi };

struct fault_kind {
  fault_id id;
  const char* name;     // as given to --fault
  fault_side side;
  const char* value;    // the value's form after '=' for the help text ("" when it takes none)
  const char* help;     // one line (continued with '\n' for more)
};

// Every fault, in the order of vtarget --help.
const fault_kind* fault_kinds_begin();
const fault_kind* fault_kinds_end();
// fault_id::unknown for a name that is not in the table.
fault_id find_fault(const std::string& name);
const char* fault_name(fault_id id);

}  // namespace vt
