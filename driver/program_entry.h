// The program entry: banner, command echo, parsing, the run in its fixed order,
// and the mapping of failures to exit statuses. main() only calls it.
#pragma once

int program_entry(int argc, char** argv);
