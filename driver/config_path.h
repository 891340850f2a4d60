// Finding adapter configuration files: the name as given, then every directory
// of ZINDLE_CONFIG_PATH, then the program's own directory. Also the small text
// helpers (tokens, comments, trimming) that the pin configuration reader shares.
#pragma once

#include <cstddef>

// Cuts a text into tokens; `position` advances past each token and one delimiter.
struct tokenizer {
  const char* position;
  const char* delimiters;  // used when next_token gets none
};

// out holds the path of an existing regular file on success. Prints the two
// debug lines about the search path.
bool find_config_file(char* out, size_t out_size, const char* name);
// The search itself: name as given, then every directory of every list (each a
// ':'-separated text; `lists` ends with a null entry).
bool find_file(char* out, size_t out_size, const char* name, const char* const* lists);
// Directory of the running program (computed once), or null when unknown.
const char* program_dir();
// The same computation for a given invocation name into a 4096-byte buffer.
bool compute_program_dir(const char* invocation, char* buffer);

bool is_regular_file(const char* path);
bool has_no_dir(const char* path);
bool next_token(tokenizer& t, char* out, size_t out_size, const char* delimiters = nullptr);
void strip_comment(char* line);  // cut at the first '#', then at the first ';'
void trim_right(char* text);
char* trim(char* text);  // trim_right, then the first non-blank character
