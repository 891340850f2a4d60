#include "lpt/parallel_port_list.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <sstream>

const char* const io_port_list_file = "/proc/ioports";

namespace {

bool is_parport_name(const char* name) {
  if (strncmp(name, "parport", 7) != 0) return false;
  const char* number = name + 7;
  return *number != '\0' && strspn(number, "0123456789") == strlen(number);
}

}  // namespace

bool lists_parallel_port(const std::string& listing, uint32_t base) {
  std::istringstream lines(listing);
  std::string line;
  while (std::getline(lines, line)) {
    unsigned long first = 0, last = 0;
    int name_at = 0;
    if (sscanf(line.c_str(), " %lx-%lx : %n", &first, &last, &name_at) != 2 || name_at == 0) continue;
    if (is_parport_name(line.c_str() + name_at) && first <= base && base + 2ul <= last) return true;
  }
  return false;
}

std::string read_io_port_list(const char* path) {
  std::string text;
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return text;
  char buffer[4096];
  ssize_t count;
  while ((count = read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<size_t>(count));
  close(fd);
  return text;
}
