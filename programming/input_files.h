// Loading the run's input HEX files into the code and data images; called once
// by the program entry before the adapter is powered up.
#pragma once

// Reads the code file, then the data file, when the run writes or verifies;
// then, for a single bare file name, moves what lies beyond the current chip's
// FLASH into the data image.
void load_input_files();
