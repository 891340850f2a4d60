// The 23 exported D2XX functions over the emulated channels.
//
// USB faults (--fault, faults.h; counted over all channels of the process):
//   usb-read-error[=N]   FT_Read fails with FT_IO_ERROR from its N-th call on (default 1)
//   usb-write-error[=N]  FT_Write fails with FT_IO_ERROR from its N-th call on; nothing is sent
//   usb-short-read[=N]   FT_Read returns FT_OK with half the bytes asked for, from its N-th call on
//   usb-short-write[=N]  FT_Write sends only half the bytes (and says so), from its N-th call on
//   no-ftdi              no devices on the bus
// (missing-function=NAME is a different build of the library: see CMakeLists.txt.)
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/bench/bench.h"
#include "sim/ftdi/d2xx_api.h"
#include "sim/ftdi/ftdi_bus.h"
#include "sim/ftdi/ftdi_channel.h"
#include "sim/ftdi/ftdi_wiring.h"

namespace vt {
namespace {

constexpr DWORD library_version = 0x00010427;  // 1.4.27
constexpr DWORD driver_version = 0x00010427;

struct d2xx_state {
  std::mutex lock;
  bool built = false;
  ftdi_wiring wiring;
  std::vector<std::unique_ptr<ftdi_channel>> channels;
  DWORD vid = 0x0403, pid = 0x6010;
  unsigned long reads = 0, writes = 0;
};

// Made on the first call and freed when the library is unloaded: at dlclose,
// or at exit after the program's own static destructors (which may still
// close their device) have run.
d2xx_state* the_state = nullptr;

d2xx_state& state() {
  if (the_state == nullptr) the_state = new d2xx_state;
  return *the_state;
}

// One call of the program into the library: locked, and on the bench's clock.
struct library_call {
  explicit library_call(d2xx_state& s) : lock(s.lock) {}
  std::lock_guard<std::mutex> lock;
  bench::emulation_call call;
};

__attribute__((destructor)) void free_state() {
  delete the_state;
  the_state = nullptr;
}

// The bus as the configuration describes it; built on the first call.
std::vector<std::unique_ptr<ftdi_channel>>& bus(d2xx_state& s) {
  if (s.built) return s.channels;
  s.built = true;
  const bench_config& cfg = bench::config();
  std::string type_error;
  std::vector<channel_info> infos = emulated_channels(cfg, type_error);
  if (!type_error.empty()) bench::trace("ftdi: unknown chip type '%s' left out", type_error.c_str());
  if (!infos.empty()) {
    std::string error;
    if (!s.wiring.configure(cfg.wiring, cfg.wiring_map, infos[0].chip, error)) {
      bench::trace("ftdi: %s; the MPSSE pins are used", error.c_str());
      s.wiring.configure("", "", infos[0].chip, error);
    }
  }
  for (const channel_info& i : infos) s.channels.emplace_back(new ftdi_channel(i, s.wiring));
  return s.channels;
}

ftdi_channel* channel_of(d2xx_state& s, FT_HANDLE h) {
  for (auto& c : bus(s))
    if (c.get() == h && c->is_open()) return c.get();
  return nullptr;
}

// Runs `body` with the library locked on the open channel behind `handle`;
// an unknown or closed handle is refused as the real library does.
template <class F>
FT_STATUS on_channel(FT_HANDLE handle, F&& body) {
  d2xx_state& s = state();
  library_call g(s);
  ftdi_channel* c = channel_of(s, handle);
  if (!c) return FT_INVALID_HANDLE;
  return body(s, *c);
}

// From the N-th call on (N = the fault's value, default 1).
bool fault_hits(fault_id id, unsigned long call) {
  const fault_spec* f = bench::fault(id);
  return f && long(call) >= f->number(1);
}

void copy_text(void* dst, const std::string& text, size_t field) {
  if (!dst) return;
  size_t n = std::min(text.size(), field - 1);
  std::memcpy(dst, text.data(), n);
  static_cast<char*>(dst)[n] = 0;
}

// A channel is exclusive: open in this process, or held by another process
// that vtarget runs (the bench's channel lock).
FT_STATUS open_channel(ftdi_channel* c, FT_HANDLE* handle) {
  if (c->is_open() || !bench::attach(c->info().where)) return FT_DEVICE_NOT_OPENED;
  c->open();
  *handle = c;
  return FT_OK;
}

}  // namespace
}  // namespace vt

using vt::d2xx_state;
using vt::ftdi_channel;

extern "C" {

FT_STATUS FT_Open(int device_number, FT_HANDLE* handle) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  if (!handle) return FT_INVALID_PARAMETER;
  auto& b = vt::bus(s);
  if (device_number < 0 || size_t(device_number) >= b.size()) return FT_DEVICE_NOT_FOUND;
  return vt::open_channel(b[size_t(device_number)].get(), handle);
}

FT_STATUS FT_OpenEx(void* arg, DWORD flags, FT_HANDLE* handle) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  if (!handle) return FT_INVALID_PARAMETER;
  if (flags != FT_OPEN_BY_SERIAL_NUMBER && flags != FT_OPEN_BY_DESCRIPTION && flags != FT_OPEN_BY_LOCATION)
    return FT_INVALID_PARAMETER;
  if (!arg && flags != FT_OPEN_BY_LOCATION) return FT_INVALID_PARAMETER;
  // A set-uid program is judged as on a machine whose USB device nodes only
  // root may write; ordinary programs are let through (no root needed here).
  if (getauxval(AT_SECURE) != 0 && geteuid() != 0) return FT_DEVICE_NOT_OPENED;
  // The first matching channel that is still free; a match that is open
  // elsewhere makes the open fail when no free one follows.
  ftdi_channel* busy = nullptr;
  for (auto& c : vt::bus(s)) {
    const vt::channel_info& i = c->info();
    bool match = flags == FT_OPEN_BY_LOCATION ? i.location == DWORD(reinterpret_cast<uintptr_t>(arg))
                 : flags == FT_OPEN_BY_SERIAL_NUMBER ? i.serial == static_cast<const char*>(arg)
                                                      : i.description == static_cast<const char*>(arg);
    if (!match) continue;
    if (vt::open_channel(c.get(), handle) == FT_OK) return FT_OK;
    busy = c.get();
  }
  return busy ? FT_DEVICE_NOT_OPENED : FT_DEVICE_NOT_FOUND;
}

FT_STATUS FT_ListDevices(void* arg1, void* arg2, DWORD flags) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  auto& b = vt::bus(s);
  const DWORD what = flags & (FT_OPEN_BY_SERIAL_NUMBER | FT_OPEN_BY_DESCRIPTION | FT_OPEN_BY_LOCATION);
  auto put = [&](size_t index, void* dst) {
    const vt::channel_info& i = b[index]->info();
    if (what == FT_OPEN_BY_LOCATION) *static_cast<DWORD*>(dst) = i.location;
    else if (what == FT_OPEN_BY_DESCRIPTION) vt::copy_text(dst, i.description, 64);
    else vt::copy_text(dst, i.serial, 16);
  };
  if (flags & FT_LIST_NUMBER_ONLY) {
    if (!arg1) return FT_INVALID_PARAMETER;
    *static_cast<DWORD*>(arg1) = DWORD(b.size());
    return FT_OK;
  }
  if (what != FT_OPEN_BY_SERIAL_NUMBER && what != FT_OPEN_BY_DESCRIPTION && what != FT_OPEN_BY_LOCATION)
    return FT_INVALID_PARAMETER;
  if (flags & FT_LIST_BY_INDEX) {
    const size_t index = size_t(reinterpret_cast<uintptr_t>(arg1));
    if (!arg2) return FT_INVALID_PARAMETER;
    if (index >= b.size()) return FT_DEVICE_NOT_FOUND;
    put(index, arg2);
    return FT_OK;
  }
  if (flags & FT_LIST_ALL) {
    if (!arg1) return FT_INVALID_PARAMETER;
    for (size_t i = 0; i < b.size(); ++i) {
      if (what == FT_OPEN_BY_LOCATION) put(i, static_cast<DWORD*>(arg1) + i);
      else put(i, static_cast<char**>(arg1)[i]);
    }
    if (arg2) *static_cast<DWORD*>(arg2) = DWORD(b.size());
    return FT_OK;
  }
  return FT_INVALID_PARAMETER;
}

FT_STATUS FT_Close(FT_HANDLE handle) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    c.close();
    vt::bench::detach(c.info().where);
    return FT_OK;
  });
}

FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, DWORD bytes_to_read, DWORD* bytes_returned) {
  return vt::on_channel(handle, [&](d2xx_state& s, ftdi_channel& c) -> FT_STATUS {
    if (!buffer || !bytes_returned) return FT_INVALID_PARAMETER;
    *bytes_returned = 0;
    const unsigned long call = ++s.reads;
    if (vt::fault_hits(vt::fault_id::usb_read_error, call)) return FT_IO_ERROR;
    DWORD count = vt::fault_hits(vt::fault_id::usb_short_read, call) ? bytes_to_read / 2 : bytes_to_read;
    *bytes_returned = c.read(static_cast<uint8_t*>(buffer), count);
    return FT_OK;
  });
}

FT_STATUS FT_Write(FT_HANDLE handle, void* buffer, DWORD bytes_to_write, DWORD* bytes_written) {
  return vt::on_channel(handle, [&](d2xx_state& s, ftdi_channel& c) -> FT_STATUS {
    if (!buffer || !bytes_written) return FT_INVALID_PARAMETER;
    *bytes_written = 0;
    const unsigned long call = ++s.writes;
    if (vt::fault_hits(vt::fault_id::usb_write_error, call)) return FT_IO_ERROR;
    DWORD count = vt::fault_hits(vt::fault_id::usb_short_write, call) ? bytes_to_write / 2 : bytes_to_write;
    *bytes_written = c.write(static_cast<const uint8_t*>(buffer), count);
    return FT_OK;
  });
}

FT_STATUS FT_SetBaudRate(FT_HANDLE handle, ULONG baud_rate) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    return c.set_baud_rate(baud_rate);
  });
}

FT_STATUS FT_SetDivisor(FT_HANDLE handle, USHORT divisor) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    c.set_divisor(divisor);
    return FT_OK;
  });
}

FT_STATUS FT_Purge(FT_HANDLE handle, ULONG mask) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    c.purge(mask);
    return FT_OK;
  });
}

FT_STATUS FT_SetTimeouts(FT_HANDLE handle, ULONG read_timeout_ms, ULONG write_timeout_ms) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    c.set_timeouts(read_timeout_ms, write_timeout_ms);
    return FT_OK;
  });
}

FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, DWORD* rx_bytes) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    if (!rx_bytes) return FT_INVALID_PARAMETER;
    *rx_bytes = c.queue_status();
    return FT_OK;
  });
}

FT_STATUS FT_GetStatus(FT_HANDLE handle, DWORD* rx_bytes, DWORD* tx_bytes, DWORD* event_word) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    if (!rx_bytes || !tx_bytes || !event_word) return FT_INVALID_PARAMETER;
    *rx_bytes = c.queue_status();
    *tx_bytes = 0;  // the engine takes every byte as it arrives
    *event_word = 0;
    return FT_OK;
  });
}

FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, UCHAR latency_ms) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    return c.set_latency_timer(latency_ms);
  });
}

FT_STATUS FT_GetLatencyTimer(FT_HANDLE handle, UCHAR* latency_ms) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    if (!latency_ms) return FT_INVALID_PARAMETER;
    *latency_ms = c.latency_timer();
    return FT_OK;
  });
}

FT_STATUS FT_SetBitMode(FT_HANDLE handle, UCHAR mask, UCHAR mode) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    return c.set_bit_mode(mask, mode);
  });
}

FT_STATUS FT_SetUSBParameters(FT_HANDLE handle, ULONG in_transfer_size, ULONG out_transfer_size) {
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    return c.set_usb_parameters(in_transfer_size, out_transfer_size);
  });
}

FT_STATUS FT_GetDeviceInfo(FT_HANDLE handle, FT_DEVICE* type, DWORD* id, char* serial_number, char* description,
                           void* reserved) {
  (void)reserved;
  return vt::on_channel(handle, [&](d2xx_state&, ftdi_channel& c) -> FT_STATUS {
    const vt::channel_info& i = c.info();
    if (type) *type = i.type;
    if (id) *id = i.id;
    vt::copy_text(serial_number, i.serial, 17);
    vt::copy_text(description, i.description, 65);
    return FT_OK;
  });
}

FT_STATUS FT_CreateDeviceInfoList(DWORD* number_of_devices) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  if (!number_of_devices) return FT_INVALID_PARAMETER;
  *number_of_devices = DWORD(vt::bus(s).size());
  return FT_OK;
}

FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* list, DWORD* number_of_devices) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  if (!list || !number_of_devices) return FT_INVALID_PARAMETER;
  auto& b = vt::bus(s);
  for (size_t k = 0; k < b.size(); ++k) {
    const vt::channel_info& i = b[k]->info();
    FT_DEVICE_LIST_INFO_NODE& n = list[k];
    std::memset(&n, 0, sizeof n);
    n.Flags = (b[k]->is_open() ? FT_FLAGS_OPENED : 0) | (i.high_speed ? FT_FLAGS_HISPEED : 0);
    n.Type = i.type;
    n.ID = i.id;
    n.LocId = i.location;
    vt::copy_text(n.SerialNumber, i.serial, sizeof n.SerialNumber);
    vt::copy_text(n.Description, i.description, sizeof n.Description);
    n.ftHandle = b[k]->is_open() ? b[k].get() : nullptr;
  }
  *number_of_devices = DWORD(b.size());
  return FT_OK;
}

FT_STATUS FT_GetDeviceInfoDetail(DWORD index, DWORD* flags, DWORD* type, DWORD* id, DWORD* location,
                                 void* serial_number, void* description, FT_HANDLE* handle) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  auto& b = vt::bus(s);
  if (index >= b.size()) return FT_DEVICE_NOT_FOUND;
  const vt::channel_info& i = b[index]->info();
  if (flags) *flags = (b[index]->is_open() ? FT_FLAGS_OPENED : 0) | (i.high_speed ? FT_FLAGS_HISPEED : 0);
  if (type) *type = i.type;
  if (id) *id = i.id;
  if (location) *location = i.location;
  vt::copy_text(serial_number, i.serial, 16);
  vt::copy_text(description, i.description, 64);
  if (handle) *handle = b[index]->is_open() ? b[index].get() : nullptr;
  return FT_OK;
}

FT_STATUS FT_GetDriverVersion(FT_HANDLE handle, DWORD* version) {
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  if (!vt::channel_of(s, handle)) return FT_INVALID_HANDLE;
  if (!version) return FT_INVALID_PARAMETER;
  *version = vt::driver_version;
  return FT_OK;
}

FT_STATUS FT_GetLibraryVersion(DWORD* version) {
  if (!version) return FT_INVALID_PARAMETER;
  *version = vt::library_version;
  return FT_OK;
}

FT_STATUS FT_SetVIDPID(DWORD vid, DWORD pid) {
  // Devices with other IDs would become visible; the emulated ones keep the
  // factory IDs, which the library always lists.
  d2xx_state& s = vt::state();
  vt::library_call g(s);
  s.vid = vid;
  s.pid = pid;
  return FT_OK;
}

}  // extern "C"
