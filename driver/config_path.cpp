#include "driver/config_path.h"

#include <errno.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "driver/messages.h"
#include "driver/process_state.h"

namespace {

const size_t program_dir_size = 4096;

enum class dir_state { unknown, not_found, found };
dir_state program_dir_state = dir_state::unknown;
char program_dir_buffer[program_dir_size];
const process_state_reset reset_program_dir{[] { program_dir_state = dir_state::unknown; }};

void copy_cut(char* out, size_t out_size, const char* text) {
  size_t length = strlen(text);
  if (length > out_size - 1) length = out_size - 1;
  memcpy(out, text, length);
  out[length] = '\0';
}

}  // namespace

bool is_regular_file(const char* path) {
  struct stat st;
  return path != nullptr && stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

bool has_no_dir(const char* path) { return strchr(path, '/') == nullptr; }

bool next_token(tokenizer& t, char* out, size_t out_size, const char* delimiters) {
  if (delimiters == nullptr) delimiters = t.delimiters;
  if (out == nullptr || delimiters == nullptr || t.position == nullptr) return false;
  const char* p = t.position;
  while (*p != '\0' && strchr(delimiters, *p) != nullptr) ++p;
  if (*p == '\0') {
    t.position = p;
    return false;
  }
  const size_t length = strcspn(p, delimiters);
  size_t copied = length;
  if (out_size < 1) return false;
  if (copied > out_size - 1) copied = out_size - 1;
  memcpy(out, p, copied);
  out[copied] = '\0';
  p += length;
  if (*p != '\0') ++p;
  t.position = p;
  return true;
}

void strip_comment(char* line) {
  if (line == nullptr || *line == '\0') return;
  if (char* hash = strchr(line, '#')) *hash = '\0';
  if (char* semicolon = strchr(line, ';')) *semicolon = '\0';
}

void trim_right(char* text) {
  if (text == nullptr || *text == '\0') return;
  size_t length = strlen(text);
  while (length > 0 && isspace(static_cast<unsigned char>(text[length - 1]))) --length;
  text[length] = '\0';
}

char* trim(char* text) {
  if (text == nullptr || *text == '\0') return text;
  trim_right(text);
  while (*text != '\0' && isspace(static_cast<unsigned char>(*text))) ++text;
  return text;
}

bool find_file(char* out, size_t out_size, const char* name, const char* const* lists) {
  if (name == nullptr || out == nullptr || out_size < 1) return false;
  if (is_regular_file(name)) {
    copy_cut(out, out_size, name);
    return true;
  }
  if (lists == nullptr || lists[0] == nullptr) return false;
  // A path into a subdirectory is taken as given; ./x and ../x are searched.
  if (!has_no_dir(name) && name[0] != '.') return false;
  const long room = static_cast<long>(out_size) - 1 - static_cast<long>(strlen(name));
  if (room < 1) return false;
  for (const char* const* list = lists; *list != nullptr; ++list) {
    tokenizer dirs{*list, ":"};
    while (next_token(dirs, out, static_cast<size_t>(room))) {
      size_t length = strlen(out);
      if (length == 0 || out[length - 1] != '/') {
        out[length++] = '/';
        out[length] = '\0';
      }
      strcpy(out + length, name);
      if (is_regular_file(out)) return true;
    }
  }
  return false;
}

bool compute_program_dir(const char* invocation, char* buffer) {
  if (invocation == nullptr || *invocation == '\0') return false;
  if (has_no_dir(invocation)) {
    const char* path = getenv("PATH");
    if (path == nullptr) return false;
    const char* lists[] = {path, nullptr};
    if (!find_file(buffer, program_dir_size, invocation, lists)) return false;
  } else {
    copy_cut(buffer, program_dir_size, invocation);
  }
  char* slash = strrchr(buffer, '/');
  if (slash != nullptr) {
    *slash = '\0';
  } else {
    strcpy(buffer, ".");  // found in the current directory
  }
  return true;
}

const char* program_dir() {
  if (program_dir_state == dir_state::unknown)
    program_dir_state =
        compute_program_dir(program_invocation_name, program_dir_buffer) ? dir_state::found : dir_state::not_found;
  return program_dir_state == dir_state::found ? program_dir_buffer : nullptr;
}

bool find_config_file(char* out, size_t out_size, const char* name) {
  if (name == nullptr || out == nullptr || out_size < 1) return false;
  const char* lists[3] = {nullptr, nullptr, nullptr};
  int count = 0;
  const char* config_path = getenv("ZINDLE_CONFIG_PATH");
  if (config_path != nullptr && *config_path == '\0') config_path = nullptr;
  if (config_path != nullptr) lists[count++] = config_path;
  const char* own_dir = program_dir();
  if (own_dir != nullptr) lists[count++] = own_dir;
  report(3, "\t%% config path %s\n", config_path != nullptr ? config_path : "not defined");
  if (own_dir != nullptr) report(3, "\t%% program path %s\n", own_dir);
  return find_file(out, out_size, name, lists);
}
