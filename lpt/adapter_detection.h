// Recognising the buffered parallel-port adapters by their loop-back lines
// between data outputs and status inputs.
#pragma once

#include "lpt/lpt_port.h"

// An Atmel STK200/STK300 adapter answers on BUSY and PE.
bool detect_stk(lpt_port& port);
// A ByteBlaster (MV) loops D7 to ACK and D6 to PE; a ByteBlaster II is told
// apart by its ACK/ERROR loop and recorded in byteblaster2.
bool detect_byteblaster(lpt_port& port, bool& byteblaster2);
