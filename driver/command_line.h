// The command line: switches, chip name and file names into the run settings,
// then the check that the combination asks for a sensible job. Used by the
// program entry; tests call it repeatedly after reset_process_state().
#pragma once

// Parses argv[1] .. argv[argc - 1] in order into the settings. The first bad
// argument is reported and thrown (app_error 70); -h/-? print the help and
// throw app_error with status 0, which ends the run without work.
void parse_command_line(int argc, char** argv);

// Checks the parsed settings in their fixed order (chip named, fuse list,
// read against write/verify, files against actions); throws app_error 70.
void check_combination();
