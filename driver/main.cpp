#include "driver/program_entry.h"

int main(int argc, char** argv) { return program_entry(argc, argv); }
