// The special data commands (-c*, -c?, -d*): OSCCAL, SERNO and BYTES cells
// that the run patches into the images just before writing or verifying.
#pragma once

void parse_special_command(const char* text);
