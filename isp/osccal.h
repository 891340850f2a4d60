// Reading the chip's oscillator calibration bytes into isp_chip.osccal, for
// the fuse read-out and for inserting them into the image.
#pragma once

void read_osccal();
