// The Value Change Dump writer.
#include "sim/bench/vcd_writer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace vt {

namespace {
constexpr size_t flush_bytes = 1 << 20;
constexpr size_t tail_bytes = 1 << 16;  // holds many time stamps whatever the wires do
}  // namespace

vcd_writer::vcd_writer(std::vector<std::string> wires)
    : wires_(std::move(wires)), values_(wires_.size(), 'x'), written_(wires_.size(), 'x') {}

vcd_writer::~vcd_writer() { abandon(); }

std::string vcd_writer::identifier(size_t index) {
  // Printable characters '!' .. '~', as many as needed.
  std::string id;
  do {
    id += char('!' + index % 94);
    index /= 94;
  } while (index > 0);
  return id;
}

void vcd_writer::set_window(uint64_t from_ns, uint64_t to_ns) {
  from_ = from_ns;
  to_ = to_ns;
}

std::string vcd_writer::header() const {
  std::string h = "$version vtarget $end\n$timescale 1ns $end\n$scope module isp $end\n";
  for (size_t i = 0; i < wires_.size(); ++i) h += "$var wire 1 " + identifier(i) + " " + wires_[i] + " $end\n";
  h += "$upscope $end\n$enddefinitions $end\n";
  return h;
}

// The last time stamp of the recording in `fd`, which must hold our header.
bool vcd_writer::read_end(int fd, std::string& error) {
  struct stat64 sb;
  if (::fstat64(fd, &sb) != 0) {
    error = std::strerror(errno);
    return false;
  }
  const std::string h = header();
  std::string head(h.size(), '\0');
  const uint64_t size = uint64_t(sb.st_size);
  if (size < h.size() || ::pread64(fd, &head[0], h.size(), 0) != ssize_t(h.size()) || head != h) {
    error = "holds no recording of these lines";
    return false;
  }
  // From the header's last newline on, or the last block.
  const uint64_t start = size - h.size() + 1 > tail_bytes ? size - tail_bytes : h.size() - 1;
  std::string tail(size_t(size - start), '\0');
  if (::pread64(fd, &tail[0], tail.size(), off64_t(start)) != ssize_t(tail.size())) {
    error = std::strerror(errno);
    return false;
  }
  size_t at = tail.rfind("\n#");
  if (at == std::string::npos) return true;  // nothing recorded yet: start at 0
  offset_ = std::strtoull(tail.c_str() + at + 2, nullptr, 10);
  last_stamp_ = offset_;
  stamped_ = true;
  continued_ = true;
  return true;
}

bool vcd_writer::open(int fd, std::string& error) {
  struct stat64 sb;
  if (::fstat64(fd, &sb) != 0) {
    error = std::strerror(errno);
    ::close(fd);
    return false;
  }
  if (sb.st_size == 0) {
    buffer_ = header();
  } else if (!read_end(fd, error)) {
    ::close(fd);
    return false;
  }
  fd_ = fd;
  return true;
}

void vcd_writer::stamp(uint64_t t) {
  if (stamped_ && t <= last_stamp_) return;
  buffer_ += '#';
  buffer_ += std::to_string(t);
  buffer_ += '\n';
  last_stamp_ = t;
  stamped_ = true;
}

void vcd_writer::settle(uint64_t until) {
  if (cur_ > to_ || (cur_ < from_ && until <= from_)) return;
  const bool first = !dumped_;
  if (!first && values_ == written_) return;
  stamp(cur_ < from_ ? from_ : cur_);
  if (first && !continued_) buffer_ += "$dumpvars\n";
  for (size_t i = 0; i < values_.size(); ++i) {
    if (!first && values_[i] == written_[i]) continue;
    buffer_ += values_[i];
    buffer_ += identifier(i);
    buffer_ += '\n';
  }
  if (first && !continued_) buffer_ += "$end\n";
  written_ = values_;
  dumped_ = true;
  if (buffer_.size() >= flush_bytes) flush();
}

void vcd_writer::change(uint64_t t_ns, size_t index, char value) {
  if (fd_ < 0 || index >= values_.size()) return;
  const uint64_t t = offset_ + t_ns;
  if (any_ && t > cur_) settle(t);
  if (!any_ || t > cur_) cur_ = t;
  any_ = true;
  values_[index] = value;
}

void vcd_writer::flush() {
  size_t done = 0;
  while (done < buffer_.size()) {
    ssize_t n = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // a full disk: the recording ends short
    done += size_t(n);
  }
  buffer_.clear();
}

void vcd_writer::close(uint64_t t_ns) {
  if (fd_ < 0) return;
  const uint64_t end = offset_ + t_ns;
  if (any_) {
    settle(end > cur_ ? end : cur_);
    if (dumped_) stamp(end < to_ ? end : to_);
  }
  flush();
  ::close(fd_);
  fd_ = -1;
}

void vcd_writer::abandon() {
  buffer_.clear();
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

}  // namespace vt
