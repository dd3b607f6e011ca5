#include "tests/windows/usb_bus.h"

#include "tests/windows/usb_calls.h"
#include "tests/windows/usb_place.h"

#include <algorithm>
#include <memory>
#include <new>

namespace doubles {
namespace {

using simulator::D4Transfer;

// How long the interface of a process that has died may take to go.
constexpr DWORD longest_farewell_ms = 5000;

struct Interface;

using Paths = std::vector<std::string>;

struct Device {
  Device(const Paths& paths, uint32_t its_number, const simulator::PrinterOptions& options,
         const simulator::D4Options& d4)
      : printer(options, d4), number(its_number) {
    put_at(paths);
  }

  void put_at(const Paths& paths) {
    places.clear();
    for (const std::string& path : paths) {
      places.push_back(std::make_unique<UsbPlace>(path, number));
    }
  }
  bool appear() {
    return std::all_of(places.begin(), places.end(), [](const auto& at) { return at->appear(); });
  }
  bool await_next_open() {
    return std::all_of(places.begin(), places.end(),
                       [](const auto& at) { return at->await_next_open(); });
  }
  bool is_at(const std::string& path) const {
    return std::any_of(places.begin(), places.end(), [&](const auto& at) {
      return lstrcmpiA(at->path().c_str(), path.c_str()) == 0;
    });
  }
  const std::string& name() const { return places.front()->path(); }

  std::vector<std::unique_ptr<UsbPlace>> places = {};
  simulator::UsbPrinter printer;
  uint32_t number;
  bool present = true;
  Interface* open = nullptr;
};

struct Interface {
  std::shared_ptr<Device> device;
  uint64_t number;
  UsbHost host;
  bool removed = false;
  bool freed = false;
  uint32_t reads = 0;  // inside
  uint32_t writes = 0;
};

// One lock round everything; whoever waits for something to change waits on `changed`.
struct Bus {
  CRITICAL_SECTION lock;
  CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
  std::vector<std::shared_ptr<Device>> devices = {};
  std::vector<std::shared_ptr<Interface>> interfaces = {};
  std::vector<std::string> breaches = {};
  uint32_t last_device = 0;
  uint64_t last_interface = 0;
};
Bus* bus = nullptr;  // lives from attach to the process's end

class Guard {
 public:
  Guard() { EnterCriticalSection(&bus->lock); }
  ~Guard() { LeaveCriticalSection(&bus->lock); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
};

// Since the first call; finer than the tick count, which Wine moves in steps of many
// milliseconds.
uint64_t now_ms() {
  static LONGLONG begin = 0;
  LARGE_INTEGER count;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  begin = begin == 0 ? count.QuadPart : begin;
  return static_cast<uint64_t>((count.QuadPart - begin) / (frequency.QuadPart / 1000));
}

std::shared_ptr<Device> find(const std::string& path) {
  const auto found =
      std::find_if(bus->devices.begin(), bus->devices.end(),
                   [&](const std::shared_ptr<Device>& one) { return one->is_at(path); });
  return found == bus->devices.end() ? nullptr : *found;
}

void tell_breaches(Device& device) {
  for (const std::string& text : device.printer.take_breaches()) {
    bus->breaches.push_back(device.name() + ": " + text);
  }
}

// What is inside the device finds out at its next look.
void disconnect(Device& device) {
  device.present = false;
  if (device.open != nullptr) {
    device.open->removed = true;
  }
  device.open = nullptr;
  for (const auto& place : device.places) {
    place->vanish();
  }
  WakeAllConditionVariable(&bus->changed);
}

void unplug(Device& device) {
  if (device.present) {
    device.printer.unplug(now_ms());
    disconnect(device);
  }
}

// A device may go by itself: at a byte, or at a time.
void notice_removal(Device& device) {
  if (device.present) {
    device.printer.look(now_ms());
    if (device.printer.gone()) {
      disconnect(device);
    }
  }
}

void drop(const std::shared_ptr<Device>& device) {
  unplug(*device);
  tell_breaches(*device);
  std::erase(bus->devices, device);
}

// --- Control ------------------------------------------------------------------------------

void reset() {
  const Guard guard;
  while (!bus->devices.empty()) {
    drop(bus->devices.back());
  }
  bus->breaches.clear();
  forget_usb_places();
}

bool plug(const std::string& path, const simulator::PrinterOptions& printer,
          const simulator::D4Options& d4) {
  return plug_usb({path}, printer, d4);
}

bool unplug_path(const std::string& path) {
  const Guard guard;
  const auto device = find(path);
  if (device != nullptr) {
    unplug(*device);
  }
  return device != nullptr;
}

bool replug(const std::string& path, const std::string& new_path) {
  const Guard guard;
  const auto device = find(path);
  if (device == nullptr) {
    return false;
  }
  unplug(*device);
  const auto there = find(new_path);
  if (there != nullptr && there != device) {
    drop(there);
  }
  device->put_at({new_path});
  device->printer.replug(now_ms());
  device->present = true;
  return device->appear();
}

bool work_on(const std::string& path,
             platform::FunctionRef<void(simulator::UsbPrinter&, uint64_t)> work) {
  const Guard guard;
  const auto device = find(path);
  if (device == nullptr) {
    return false;
  }
  notice_removal(*device);
  work(device->printer, now_ms());
  notice_removal(*device);
  WakeAllConditionVariable(&bus->changed);
  return true;
}

std::vector<std::string> breaches() {
  const Guard guard;
  for (const auto& device : bus->devices) {
    tell_breaches(*device);
  }
  std::vector<std::string> all = bus->breaches;
  for (const auto& open : bus->interfaces) {
    all.push_back(open->device->name() + ": its interface is open");
  }
  return all;
}

// --- Transfers ----------------------------------------------------------------------------

std::shared_ptr<Interface> find_interface(uint64_t number) {
  const auto found =
      std::find_if(bus->interfaces.begin(), bus->interfaces.end(),
                   [&](const std::shared_ptr<Interface>& one) { return one->number == number; });
  return found == bus->interfaces.end() ? nullptr : *found;
}

DWORD ended(const Interface& open) {
  if (open.freed) {
    return ERROR_OPERATION_ABORTED;
  }
  return open.removed ? usb_removal_error : DWORD{ERROR_SUCCESS};
}

// What came of a look at a transfer.
struct Progress {
  D4Transfer how = D4Transfer::pending;
  simulator::Bytes bytes = {};
  size_t count = 0;
};

// Looks again whenever something has changed or comes due. 0 or the error of a failure.
DWORD run_transfer(Interface& open, Progress& progress,
                   platform::FunctionRef<Progress(simulator::UsbPrinter&, uint64_t)> look) {
  Device& device = *open.device;
  for (;;) {
    if (const DWORD error = ended(open)) {
      return error;
    }
    const uint64_t now = now_ms();
    progress = look(device.printer, now);
    notice_removal(device);
    if (progress.how == D4Transfer::gone) {
      return usb_removal_error;
    }
    if (progress.how == D4Transfer::done) {
      return ERROR_SUCCESS;
    }
    DWORD wait = INFINITE;
    if (const auto due = device.printer.next_due()) {
      wait = *due > now ? static_cast<DWORD>(std::min<uint64_t>(*due - now, 60000)) : 1;
    }
    if (!open.removed) {
      SleepConditionVariableCS(&bus->changed, &bus->lock, wait);
    }
  }
}

// A process that died may have left its mutex to the next one before its pipes are closed.
void await_farewell(const Device& device) {
  const uint64_t end = now_ms() + longest_farewell_ms;
  for (uint64_t now = now_ms(); now < end; now = now_ms()) {
    if (device.open == nullptr || device.open->host == UsbHost::here) {
      return;
    }
    SleepConditionVariableCS(&bus->changed, &bus->lock, static_cast<DWORD>(end - now));
  }
}

// Between the two no other transfer of the kind may be inside.
class Inside {
 public:
  Inside(Device& device, uint32_t& count, const char* call) : count_(count) {
    if (++count_ > 1) {
      device.printer.breach(std::string("two transfers at once in ") + call);
    }
  }
  ~Inside() { --count_; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  uint32_t& count_;
};

}  // namespace

constexpr WinusbControl usb_bus_control = {.reset = reset,
                                           .plug = plug,
                                           .unplug = unplug_path,
                                           .replug = replug,
                                           .work = work_on,
                                           .breaches = breaches};

bool make_usb_bus() {
  bus = new (std::nothrow) Bus;
  if (bus != nullptr) {
    InitializeCriticalSection(&bus->lock);
  }
  return bus != nullptr;
}

bool plug_usb(const Paths& paths, const simulator::PrinterOptions& printer,
              const simulator::D4Options& d4) {
  const Guard guard;
  for (const std::string& path : paths) {
    if (const auto there = find(path)) {
      drop(there);
    }
  }
  const auto device = std::make_shared<Device>(paths, ++bus->last_device, printer, d4);
  bus->devices.push_back(device);
  if (device->appear() && serve_usb_calls()) {
    return true;
  }
  drop(device);
  return false;
}

DWORD open_usb(uint32_t device_number, UsbHost host, uint64_t& interface_number) {
  const Guard guard;
  const auto found = std::find_if(
      bus->devices.begin(), bus->devices.end(),
      [&](const std::shared_ptr<Device>& one) { return one->number == device_number; });
  if (found == bus->devices.end()) {
    return ERROR_INVALID_HANDLE;
  }
  const std::shared_ptr<Device> device = *found;  // the lock is left below
  await_farewell(*device);
  notice_removal(*device);
  if (!device->present) {
    return usb_removal_error;
  }
  if (!device->await_next_open()) {
    return ERROR_ACCESS_DENIED;
  }
  if (device->open != nullptr) {
    return ERROR_ACCESS_DENIED;
  }
  const auto open = std::make_shared<Interface>(Interface{device, ++bus->last_interface, host});
  device->open = open.get();
  bus->interfaces.push_back(open);
  interface_number = open->number;
  return ERROR_SUCCESS;
}

DWORD close_usb(uint64_t interface_number, UsbEnd end) {
  const Guard guard;
  const auto open = find_interface(interface_number);
  if (open == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  Device& device = *open->device;
  open->freed = true;
  std::erase(bus->interfaces, open);
  if (device.open == open.get()) {
    device.open = nullptr;
    if (end == UsbEnd::closed) {
      device.printer.end_exchange(now_ms());
    } else {
      device.printer.lose_host(now_ms());
    }
    notice_removal(device);
  }
  WakeAllConditionVariable(&bus->changed);
  return ERROR_SUCCESS;
}

DWORD usb_state(uint64_t interface_number) {
  const Guard guard;
  const auto open = find_interface(interface_number);
  return open == nullptr ? ERROR_INVALID_HANDLE : ended(*open);
}

DWORD read_usb(uint64_t interface_number, size_t most, simulator::Bytes& bytes) {
  const Guard guard;
  const auto open = find_interface(interface_number);
  if (open == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  const Inside inside(*open->device, open->reads, "WinUsb_ReadPipe");
  Progress progress;
  const DWORD error =
      run_transfer(*open, progress, [&](simulator::UsbPrinter& printer, uint64_t now) {
        simulator::D4Taken taken = printer.take(now, most);
        return Progress{.how = taken.how, .bytes = std::move(taken.bytes)};
      });
  if (error == ERROR_SUCCESS) {
    bytes = std::move(progress.bytes);
  }
  return error;
}

DWORD write_usb(uint64_t interface_number, const simulator::Bytes& bytes, size_t& count) {
  const Guard guard;
  const auto open = find_interface(interface_number);
  if (open == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  const Inside inside(*open->device, open->writes, "WinUsb_WritePipe");
  Progress progress;
  const DWORD error =
      run_transfer(*open, progress, [&](simulator::UsbPrinter& printer, uint64_t now) {
        const simulator::D4Written written = printer.write(bytes, now);
        WakeAllConditionVariable(&bus->changed);  // a read inside may have something to take
        return Progress{.how = written.how, .count = written.count};
      });
  count = progress.count;
  return error;
}

}  // namespace doubles
