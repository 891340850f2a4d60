// Loading the run's input HEX files into the code and data images; called once
// by the program entry before the adapter is powered up.
#pragma once

void load_input_files();
