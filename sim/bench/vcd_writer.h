// A Value Change Dump (IEEE 1364) of one-bit wires on a nanosecond clock, as
// waveform viewers read it. The bench records the lines between adapter and
// chip with it (--vcd); it knows nothing of chips or adapters.
//
// Output is buffered in memory and written in large blocks. A recording may
// continue a file that an earlier process left (several programs one after
// another in one vtarget run): its times then follow on the file's last time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vt {

class vcd_writer {
 public:
  // Values of a wire: '0', '1', 'z' (nobody drives it), 'x' (not known yet).
  explicit vcd_writer(std::vector<std::string> wires);
  ~vcd_writer();
  vcd_writer(const vcd_writer&) = delete;
  vcd_writer& operator=(const vcd_writer&) = delete;

  // Only changes in [from_ns, to_ns] of the file's time are written (the values at from_ns first).
  void set_window(uint64_t from_ns, uint64_t to_ns);

  // Writes to `fd` (open for reading and appending). An empty file
  // gets the header; a file holding an earlier recording of the same wires is
  // continued after its last time. False with `error` when the file holds
  // something else or cannot be read. The writer closes `fd`.
  bool open(int fd, std::string& error);
  bool is_open() const { return fd_ >= 0; }

  // Wire `index` has `value` from time t_ns on (t_ns never decreasing).
  void change(uint64_t t_ns, size_t index, char value);
  // Ends the recording at t_ns (the last values last until then), writes the
  // rest and closes the file.
  void close(uint64_t t_ns);
  // Drops what is buffered and closes without writing (a forked copy).
  void abandon();

  // The short name of wire `index` in the file: '!', '"', ... '~', then two characters.
  static std::string identifier(size_t index);

 private:
  std::string header() const;
  bool read_end(int fd, std::string& error);
  // The values held from cur_ until `until`: written when that meets the window.
  void settle(uint64_t until);
  void stamp(uint64_t t);
  void flush();

  std::vector<std::string> wires_;
  std::vector<char> values_;   // from cur_ on
  std::vector<char> written_;  // as the file has them
  std::string buffer_;
  int fd_ = -1;
  uint64_t offset_ = 0;        // added to every time: the end of the recording continued
  uint64_t from_ = 0, to_ = UINT64_MAX;
  uint64_t cur_ = 0;           // time of the last change given
  bool any_ = false;           // a change has been given
  uint64_t last_stamp_ = 0;
  bool stamped_ = false;       // a time has been written by this writer
  bool dumped_ = false;        // the values at the start have been written
  bool continued_ = false;     // continuing an earlier recording
};

}  // namespace vt
