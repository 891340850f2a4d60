// LD_PRELOAD library of the virtual target: takes over the parport device
// (open/ioctl/close/fstat on the emulated path) and direct port I/O (ioperm,
// then every in/out instruction on a granted port traps and is carried out
// here), and lists the emulated ports in /proc/ioports. Each ioctl and each
// trapped instruction is one call into the emulation on the bench's clock; the
// trap's own delivery is measured once and not counted as the program's time.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <linux/ioctl.h>
#include <linux/parport.h>
#include <linux/ppdev.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sim/bench/bench.h"
#include "sim/lpt/host_view.h"
#include "sim/bench/host_clock.h"
#include "sim/lpt/port.h"

namespace {

using vt::emulated_port;

// ---- the parport device --------------------------------------------------

struct pp_file {
  int fd = -1;
  bool path_only = false;  // opened with O_PATH: no ioctl
  bool claimed = false;
  bool exclusive = false;
  int port = 0;  // the channel behind it: parport N (a plain int keeps the table constant-initialized)
  int mode = IEEE1284_MODE_COMPAT;
  int phase = 0;  // forward idle
  int flags = 0;
};

const int max_files = 16;
pp_file files[max_files];

template <typename F>
F real(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

// VTARGET_PARPORT lists the emulated device paths, ':' separated; the N-th is
// the channel "parport:N". -1 for any other path.
int emulated_path_index(const char* path) {
  const char* p = std::getenv("VTARGET_PARPORT");
  if (!p || !*p || !path) return -1;
  const size_t length = std::strlen(path);
  for (int index = 0;; ++index) {
    const char* end = std::strchr(p, ':');
    const size_t n = end ? size_t(end - p) : std::strlen(p);
    if (n == length && std::strncmp(p, path, n) == 0) return index;
    if (!end) return -1;
    p = end + 1;
  }
}

std::string channel_name(int index) { return "parport:" + std::to_string(index); }

pp_file* find_file(int fd) {
  for (pp_file& f : files)
    if (f.fd >= 0 && f.fd == fd) return &f;
  return nullptr;
}

int fail(int e) {
  errno = e;
  return -1;
}

int open_emulated(int flags, int port) {
  const bool path_only = (flags & O_PATH) != 0;  // needs no rights on the node itself
  if (!path_only && vt::secure_program() && !vt::may_open_parport()) return fail(EACCES);
  // A real descriptor keeps the number unique; the device itself is this table entry.
  int fd = real<int (*)(const char*, int, ...)>("open")("/dev/null", (flags & O_CLOEXEC) | O_RDWR);
  if (fd < 0) return fd;
  for (pp_file& f : files) {
    if (f.fd < 0) {
      f = pp_file();
      f.fd = fd;
      f.path_only = path_only;
      f.port = port;
      return fd;
    }
  }
  real<int (*)(int)>("close")(fd);
  errno = EMFILE;
  return -1;
}

// The device reopened through /proc/self/fd/N from a descriptor of it.
bool is_reopened_device(const char* path) {
  const char prefix[] = "/proc/self/fd/";
  if (!path || std::strncmp(path, prefix, sizeof prefix - 1) != 0) return false;
  char* end = nullptr;
  const long fd = std::strtol(path + sizeof prefix - 1, &end, 10);
  return end != path + sizeof prefix - 1 && *end == '\0' && find_file(int(fd)) != nullptr;
}

// /proc/ioports with the emulated ports among the real entries.
int open_io_port_list() {
  std::string real_list;
  const int in = real<int (*)(const char*, int, ...)>("open")("/proc/ioports", O_RDONLY | O_CLOEXEC);
  if (in >= 0) {
    char buffer[4096];
    ssize_t n;
    while ((n = read(in, buffer, sizeof buffer)) > 0) real_list.append(buffer, size_t(n));
    real<int (*)(int)>("close")(in);
  }
  const std::string text = vt::io_port_list(real_list, vt::has_capability(CAP_SYS_ADMIN));
  const int fd = memfd_create("ioports", MFD_CLOEXEC);
  if (fd < 0) return fd;
  if (write(fd, text.data(), text.size()) != ssize_t(text.size()) || lseek(fd, 0, SEEK_SET) != 0) {
    real<int (*)(int)>("close")(fd);
    return fail(EIO);
  }
  return fd;
}

// The files of the emulation: the parport device and the kernel's port list.
bool open_ours(const char* path, int flags, int& fd) {
  const int index = emulated_path_index(path);
  if (index >= 0) {
    fd = open_emulated(flags, index);
    return true;
  }
  if (is_reopened_device(path)) {
    const char* number = path + std::strlen("/proc/self/fd/");
    fd = open_emulated(flags, find_file(std::atoi(number))->port);
    return true;
  }
  if (path && std::strcmp(path, "/proc/ioports") == 0) {
    fd = open_io_port_list();
    return true;
  }
  return false;
}

int pp_ioctl(pp_file& f, unsigned long req, void* arg) {
  if (f.path_only) return fail(EBADF);
  emulated_port& port = emulated_port::instance();
  unsigned char* byte = static_cast<unsigned char*>(arg);
  int* num = static_cast<int*>(arg);
  switch (req) {
    case PPCLAIM:
      if (f.claimed) return fail(EINVAL);
      // Another process (run by the same vtarget) has the port: the kernel
      // refuses to register a second device on it.
      if (!vt::bench::attach(channel_name(f.port))) return fail(EBUSY);
      f.claimed = true;
      return 0;
    case PPEXCL:
      f.exclusive = true;
      return 0;
    case PPSETMODE:
      f.mode = *num;
      return 0;
    case PPGETMODE:
      *num = f.mode;
      return 0;
    case PPGETMODES:
      *reinterpret_cast<unsigned int*>(arg) = PARPORT_MODE_PCSPP | PARPORT_MODE_TRISTATE;
      return 0;
    case PPSETPHASE:
      f.phase = *num;
      return 0;
    case PPGETPHASE:
      *num = f.phase;
      return 0;
    case PPSETFLAGS:
      f.flags = *num;
      return 0;
    case PPGETFLAGS:
      *num = f.flags;
      return 0;
    default:
      break;
  }
  // Everything else needs the port claimed, as in the kernel driver.
  if (!f.claimed) return fail(EINVAL);
  switch (req) {
    case PPRELEASE:
      if (vt::bench::fault(vt::fault_id::ppdev_release_error)) return fail(EIO);  // the port stays claimed
      f.claimed = false;
      vt::bench::detach(channel_name(f.port));
      return 0;
    case PPYIELD:
      return 0;
    case PPRDATA:
      *byte = port.read_data();
      return 0;
    case PPWDATA:
      port.write_data(*byte);
      return 0;
    case PPRSTATUS:
      *byte = port.read_status();
      return 0;
    case PPRCONTROL:
      *byte = port.read_control_ppdev();
      return 0;
    case PPWCONTROL:
      port.write_control_ppdev(*byte);
      return 0;
    case PPFCONTROL: {
      auto* fr = static_cast<ppdev_frob_struct*>(arg);
      port.frob_control(fr->mask, fr->val);
      return 0;
    }
    case PPDATADIR:
      port.set_data_input(*num != 0);
      return 0;
    case PPNEGOT:
      return *num == IEEE1284_MODE_COMPAT ? 0 : fail(EIO);
    case PPWCTLONIRQ:
    case PPCLRIRQ:
      return 0;
    default:
      return fail(ENOTTY);
  }
}

// ---- direct I/O --------------------------------------------------------

bool granted[0x400];
struct sigaction previous_segv;
bool handler_installed = false;
// While the trap is being timed, reads of this port (never granted) trap and answer 0xFF.
const unsigned calibration_port = 0x80;
volatile bool calibrating = false;

bool emulated_io_port(unsigned long p) {
  for (const vt::emulated_base& b : vt::emulated_bases)
    if (p >= b.base && p < b.base + 8) return true;
  return false;
}

uint8_t port_in(unsigned p) {
  emulated_port& port = emulated_port::instance();
  for (const vt::emulated_base& b : vt::emulated_bases) {
    if (p == b.base) return port.read_data();
    if (p == b.base + 1) return port.read_status();
    if (p == b.base + 2) return port.read_control_raw();
  }
  return 0xFF;
}

void port_out(unsigned p, uint8_t v) {
  emulated_port& port = emulated_port::instance();
  for (const vt::emulated_base& b : vt::emulated_bases) {
    if (p == b.base) return port.write_data(v);
    if (p == b.base + 2) return port.write_control(v);
  }
}

#if defined(__x86_64__)
#define VT_IP REG_RIP
#define VT_AX REG_RAX
#define VT_DX REG_RDX
#define VT_SI REG_RSI
#define VT_DI REG_RDI
#define VT_CX REG_RCX
#define VT_FL REG_EFL
#else
#define VT_IP REG_EIP
#define VT_AX REG_EAX
#define VT_DX REG_EDX
#define VT_SI REG_ESI
#define VT_DI REG_EDI
#define VT_CX REG_ECX
#define VT_FL REG_EFL
#endif

// Carries out the port instruction at the faulting address; false when it is
// none, or its port was never granted.
bool emulate_instruction(greg_t* r) {
  const uint8_t* ip = reinterpret_cast<const uint8_t*>(r[VT_IP]);
  bool rep = false, op16 = false, addr32 = false;
  int len = 0;
  for (;; ++len) {
    uint8_t b = ip[len];
    if (b == 0xF3 || b == 0xF2) rep = true;
    else if (b == 0x66) op16 = true;
    else if (b == 0x67) addr32 = true;
    else if (b == 0x26 || b == 0x2E || b == 0x36 || b == 0x3E || b == 0x64 || b == 0x65) continue;
#if defined(__x86_64__)
    else if (b >= 0x40 && b <= 0x4F) continue;
#endif
    else break;
    if (len > 8) return false;
  }
  const uint8_t op = ip[len++];
  int size = 1;
  unsigned port;
  switch (op) {
    case 0xE4: case 0xE5: case 0xE6: case 0xE7:
      port = ip[len++];
      break;
    case 0xEC: case 0xED: case 0xEE: case 0xEF: case 0x6C: case 0x6D: case 0x6E: case 0x6F:
      port = unsigned(r[VT_DX]) & 0xFFFF;
      break;
    default:
      return false;
  }
  if (op & 1) size = op16 ? 2 : 4;
  if (calibrating && port == calibration_port && op == 0xE4) {
    r[VT_AX] = greg_t(uint64_t(r[VT_AX]) | 0xFF);
    r[VT_IP] = greg_t(r[VT_IP] + len);
    return true;
  }
  for (int i = 0; i < size; ++i)
    if (port + i >= 0x400 || !granted[port + i]) return false;
  vt::bench::emulation_call call(true);

  auto in_value = [&] {
    uint32_t v = 0;
    for (int i = 0; i < size; ++i) v |= uint32_t(port_in(port + i)) << (8 * i);
    return v;
  };
  auto out_value = [&](uint32_t v) {
    for (int i = 0; i < size; ++i) port_out(port + i, uint8_t(v >> (8 * i)));
  };
  const uint32_t mask = size == 1 ? 0xFFu : size == 2 ? 0xFFFFu : 0xFFFFFFFFu;
  if (op == 0xE4 || op == 0xE5 || op == 0xEC || op == 0xED) {
    uint32_t v = in_value();
    if (size == 4) r[VT_AX] = greg_t(v);
    else r[VT_AX] = greg_t((uint64_t(r[VT_AX]) & ~uint64_t(mask)) | v);
  } else if (op == 0xE6 || op == 0xE7 || op == 0xEE || op == 0xEF) {
    out_value(uint32_t(r[VT_AX]) & mask);
  } else {
    // String forms: outs from [SI], ins to [DI], REP counts in CX, DF sets the direction.
    const bool down = (r[VT_FL] & 0x400) != 0;
    const long step = down ? -size : size;
    uint64_t count = rep ? uint64_t(r[VT_CX]) : 1;
#if defined(__x86_64__)
    if (rep && addr32) count &= 0xFFFFFFFFu;
#else
    (void)addr32;
#endif
    for (; count > 0; --count) {
      if (op == 0x6E || op == 0x6F) {
        const uint8_t* src = reinterpret_cast<const uint8_t*>(r[VT_SI]);
        uint32_t v = 0;
        std::memcpy(&v, src, size_t(size));
        out_value(v);
        r[VT_SI] = greg_t(r[VT_SI] + step);
      } else {
        uint32_t v = in_value();
        std::memcpy(reinterpret_cast<void*>(r[VT_DI]), &v, size_t(size));
        r[VT_DI] = greg_t(r[VT_DI] + step);
      }
    }
    if (rep) r[VT_CX] = 0;
  }
  r[VT_IP] = greg_t(r[VT_IP] + len);
  return true;
}

void on_segv(int sig, siginfo_t* info, void* context) {
  auto* uc = static_cast<ucontext_t*>(context);
  if (emulate_instruction(uc->uc_mcontext.gregs)) return;
  // Not a port access of ours: let the previous disposition have it when the instruction runs again.
  sigaction(SIGSEGV, &previous_segv, nullptr);
  handler_installed = false;
  (void)sig;
  (void)info;
}

// What one trapped port instruction costs the host on top of the emulation:
// the fault's delivery and the return from the handler, the fastest of a few
// rounds of trapped reads.
uint64_t time_the_trap() {
  calibrating = true;
  uint64_t best = UINT64_MAX;
  for (int round = 0; round < 8; ++round) {
    const int reads = 16;
    const uint64_t start = vt::host::monotonic_ns();
    for (int i = 0; i < reads; ++i) {
      uint8_t v;
      __asm__ volatile("inb %1, %0" : "=a"(v) : "i"(calibration_port));
    }
    const uint64_t each = (vt::host::monotonic_ns() - start) / reads;
    if (each < best) best = each;
  }
  calibrating = false;
  return best;
}

void install_handler() {
  if (handler_installed) return;
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_sigaction = on_segv;
  sa.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGSEGV, &sa, &previous_segv);
  handler_installed = true;
  static bool timed = false;
  if (!timed && vt::bench::config().clock != vt::clock_mode::deterministic) {
    timed = true;
    vt::bench::set_trap_overhead_ns(time_the_trap());
  }
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  int fd;
  if (open_ours(path, flags, fd)) return fd;
  va_list ap;
  va_start(ap, flags);
  mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? mode_t(va_arg(ap, int)) : 0;
  va_end(ap);
  return real<int (*)(const char*, int, ...)>("open")(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  int fd;
  if (open_ours(path, flags, fd)) return fd;
  va_list ap;
  va_start(ap, flags);
  mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? mode_t(va_arg(ap, int)) : 0;
  va_end(ap);
  return real<int (*)(const char*, int, ...)>("open64")(path, flags, mode);
}

int __open_2(const char* path, int flags) {
  int fd;
  if (open_ours(path, flags, fd)) return fd;
  return real<int (*)(const char*, int)>("__open_2")(path, flags);
}

int __open64_2(const char* path, int flags) {
  int fd;
  if (open_ours(path, flags, fd)) return fd;
  return real<int (*)(const char*, int)>("__open64_2")(path, flags);
}

int close(int fd) {
  if (pp_file* f = find_file(fd)) {
    if (f->claimed) vt::bench::detach(channel_name(f->port));  // closing releases the port, as the driver does
    f->claimed = false;
    f->fd = -1;
  }
  return real<int (*)(int)>("close")(fd);
}

int ioctl(int fd, unsigned long request, ...) {
  va_list ap;
  va_start(ap, request);
  void* arg = va_arg(ap, void*);
  va_end(ap);
  if (pp_file* f = find_file(fd)) {
    vt::bench::emulation_call call;
    return pp_ioctl(*f, request, arg);
  }
  return real<int (*)(int, unsigned long, void*)>("ioctl")(fd, request, arg);
}

int fstat(int fd, struct stat* st) noexcept {
  if (find_file(fd)) {
    vt::parport_stat(*st, 0);
    return 0;
  }
  return real<int (*)(int, struct stat*)>("fstat")(fd, st);
}

int fstat64(int fd, struct stat64* st) noexcept {
  if (find_file(fd)) {
    struct stat s;
    vt::parport_stat(s, 0);
    std::memset(st, 0, sizeof *st);
    st->st_mode = s.st_mode;
    st->st_rdev = s.st_rdev;
    st->st_gid = s.st_gid;
    st->st_nlink = s.st_nlink;
    return 0;
  }
  return real<int (*)(int, struct stat64*)>("fstat64")(fd, st);
}

int ioperm(unsigned long from, unsigned long num, int turn_on) {
  bool ours = num > 0 && from + num <= 0x400;
  for (unsigned long p = from; ours && p < from + num; ++p) ours = emulated_io_port(p);
  if (vt::secure_program() && turn_on) {
    // A set-uid program under test never reaches the machine's real ports.
    if (!ours || !vt::may_request_ports()) return fail(EPERM);
  }
  if (!ours) return real<int (*)(unsigned long, unsigned long, int)>("ioperm")(from, num, turn_on);
  vt::bench::emulation_call call;  // timing the trap is the emulation's time, not the program's
  if (!vt::bench::config().positions.empty()) {
    // Several chips: the port's base says which one; one process per port.
    for (size_t i = 0; i < sizeof vt::emulated_bases / sizeof vt::emulated_bases[0]; ++i) {
      const unsigned base = vt::emulated_bases[i].base;
      if (from >= base + 8 || from + num <= base) continue;
      if (!turn_on) vt::bench::detach(channel_name(int(i)));
      else if (!vt::bench::attach(channel_name(int(i)))) return fail(EBUSY);
    }
  }
  for (unsigned long p = from; p < from + num; ++p) granted[p] = turn_on != 0;
  if (turn_on) {
    install_handler();
    emulated_port::instance();
  }
  return 0;
}

}  // extern "C"
