// The kernel's side of the emulated parallel ports.
#include "sim/lpt/host_view.h"

#include <grp.h>
#include <linux/capability.h>
#include <sys/auxv.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <vector>

namespace vt {

const emulated_base emulated_bases[3] = {{0x378, "parport0"}, {0x278, "parport1"}, {0x3BC, "parport2"}};

std::string io_port_list(const std::string& real_list, bool show_addresses) {
  std::vector<const emulated_base*> pending;  // in address order
  for (const emulated_base& b : emulated_bases) pending.push_back(&b);
  std::sort(pending.begin(), pending.end(), [](auto* x, auto* y) { return x->base < y->base; });
  auto entry = [&](const emulated_base& b) {
    char line[64];
    const unsigned first = show_addresses ? b.base : 0, last = show_addresses ? b.base + 2 : 0;
    std::snprintf(line, sizeof line, "  %04x-%04x : %s\n", first, last, b.name);
    return std::string(line);
  };
  // Nested one level (two blanks), as under the PCI bus's first range, before
  // the first such entry that starts above them; at the end when none does.
  std::string out;
  std::istringstream lines(real_list);
  std::string line;
  size_t next = 0;
  while (std::getline(lines, line)) {
    unsigned long first = 0;
    const bool child = line.compare(0, 2, "  ") == 0 && line.size() > 2 && line[2] != ' ';
    if (show_addresses && child && std::sscanf(line.c_str(), " %lx", &first) == 1)
      while (next < pending.size() && pending[next]->base < first) out += entry(*pending[next++]);
    out += line + "\n";
  }
  while (next < pending.size()) out += entry(*pending[next++]);
  return out;
}

bool has_capability(int capability) {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  if (syscall(SYS_capget, &header, data) != 0) return false;
  return (data[capability / 32].effective >> (capability % 32)) & 1u;
}

bool secure_program() { return getauxval(AT_SECURE) != 0; }

namespace {

gid_t lp_group() {
  const group* g = getgrnam("lp");
  return g ? g->gr_gid : 7;
}

}  // namespace

bool may_open_parport() {
  if (geteuid() == 0 || has_capability(CAP_DAC_OVERRIDE)) return true;
  const gid_t lp = lp_group();
  if (getegid() == lp) return true;
  gid_t groups[256];
  const int count = getgroups(256, groups);
  for (int i = 0; i < count; ++i)
    if (groups[i] == lp) return true;
  return false;
}

bool may_request_ports() { return has_capability(CAP_SYS_RAWIO); }

void parport_stat(struct stat& st, unsigned minor) {
  std::memset(&st, 0, sizeof st);
  st.st_mode = S_IFCHR | 0660;
  st.st_rdev = makedev(99, minor);
  st.st_uid = 0;
  st.st_gid = lp_group();
  st.st_nlink = 1;
  st.st_blksize = 4096;
}

}  // namespace vt
