// WinUSB over simulated printers, in real time. A device has one interface with three
// endpoints; synchronous transfers alone are served.

#include "tests/windows/winusb_double.h"

#include "tests/windows/usb_place.h"

#include <windows.h>

#include <winusb.h>

#include <algorithm>
#include <memory>

namespace {

using simulator::D4Transfer;

constexpr UCHAR out_pipe = 0x02;
constexpr UCHAR in_pipe = 0x81;
constexpr UCHAR interrupt_pipe = 0x83;
constexpr UCHAR endpoint_count = 3;
constexpr DWORD removal_error = ERROR_GEN_FAILURE;

struct Interface;

struct Device {
  Device(const std::string& path, uint32_t its_number, const simulator::PrinterOptions& options,
         const simulator::D4Options& d4)
      : place(std::make_unique<doubles::UsbPlace>(path, its_number)),
        printer(options, d4),
        number(its_number) {}

  std::unique_ptr<doubles::UsbPlace> place;
  simulator::UsbPrinter printer;
  uint32_t number;
  bool present = true;
  Interface* open = nullptr;
};

struct Interface {
  std::shared_ptr<Device> device;
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
  uint32_t last_number = 0;
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

BOOL fail_with(DWORD error) {
  SetLastError(error);
  return FALSE;
}

std::shared_ptr<Device> find(const std::string& path) {
  const auto found = std::find_if(bus->devices.begin(), bus->devices.end(),
                                  [&](const std::shared_ptr<Device>& one) {
                                    return lstrcmpiA(one->place->path().c_str(), path.c_str()) == 0;
                                  });
  return found == bus->devices.end() ? nullptr : *found;
}

void tell_breaches(Device& device) {
  for (const std::string& text : device.printer.take_breaches()) {
    bus->breaches.push_back(device.place->path() + ": " + text);
  }
}

// What is inside the device finds out at its next look.
void disconnect(Device& device) {
  device.present = false;
  if (device.open != nullptr) {
    device.open->removed = true;
  }
  device.open = nullptr;
  device.place->vanish();
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
  doubles::forget_usb_places();
}

bool plug(const std::string& path, const simulator::PrinterOptions& printer,
          const simulator::D4Options& d4) {
  const Guard guard;
  if (const auto there = find(path)) {
    drop(there);
  }
  const auto device = std::make_shared<Device>(path, ++bus->last_number, printer, d4);
  bus->devices.push_back(device);
  return device->place->appear();
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
  device->place = std::make_unique<doubles::UsbPlace>(new_path, device->number);
  device->printer.replug(now_ms());
  device->present = true;
  return device->place->appear();
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
    all.push_back(open->device->place->path() + ": its interface is open");
  }
  return all;
}

constexpr doubles::WinusbControl control = {.reset = reset,
                                            .plug = plug,
                                            .unplug = unplug_path,
                                            .replug = replug,
                                            .work = work_on,
                                            .breaches = breaches};

// --- The calls ----------------------------------------------------------------------------

std::shared_ptr<Interface> interface_of(WINUSB_INTERFACE_HANDLE handle) {
  const auto found =
      std::find_if(bus->interfaces.begin(), bus->interfaces.end(),
                   [&](const std::shared_ptr<Interface>& one) { return one.get() == handle; });
  return found == bus->interfaces.end() ? nullptr : *found;
}

DWORD ended(const Interface& open) {
  if (open.freed) {
    return ERROR_OPERATION_ABORTED;
  }
  return open.removed ? removal_error : DWORD{ERROR_SUCCESS};
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
      return removal_error;
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

extern "C" const doubles::WinusbControl* WinusbDoubleControl() { return &control; }

extern "C" BOOL WINAPI WinUsb_Initialize(HANDLE file, PWINUSB_INTERFACE_HANDLE handle) {
  const Guard guard;
  const auto number = doubles::usb_number_of(file);
  const auto found = std::find_if(
      bus->devices.begin(), bus->devices.end(),
      [&](const std::shared_ptr<Device>& one) { return number && one->number == *number; });
  if (handle == nullptr || found == bus->devices.end()) {
    return fail_with(handle == nullptr ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
  }
  notice_removal(**found);
  if (!(*found)->present) {
    return fail_with(removal_error);
  }
  if (!(*found)->place->await_next_open() || (*found)->open != nullptr) {
    return fail_with(ERROR_ACCESS_DENIED);
  }
  const auto open = std::make_shared<Interface>();
  open->device = *found;
  (*found)->open = open.get();
  bus->interfaces.push_back(open);
  *handle = open.get();
  return TRUE;
}

extern "C" BOOL WINAPI WinUsb_Free(WINUSB_INTERFACE_HANDLE handle) {
  const Guard guard;
  const auto open = interface_of(handle);
  if (open == nullptr) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  Device& device = *open->device;
  open->freed = true;
  std::erase(bus->interfaces, open);
  if (device.open == open.get()) {
    device.open = nullptr;
    device.printer.end_exchange(now_ms());
    notice_removal(device);
  }
  WakeAllConditionVariable(&bus->changed);
  return TRUE;
}

extern "C" BOOL WINAPI WinUsb_QueryInterfaceSettings(WINUSB_INTERFACE_HANDLE handle,
                                                     UCHAR alternate,
                                                     PUSB_INTERFACE_DESCRIPTOR descriptor) {
  const Guard guard;
  const auto open = interface_of(handle);
  if (open == nullptr || descriptor == nullptr) {
    return fail_with(open == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
  }
  if (alternate != 0 || ended(*open) != ERROR_SUCCESS) {
    return fail_with(alternate != 0 ? ERROR_NO_MORE_ITEMS : ended(*open));
  }
  *descriptor = {};
  descriptor->bLength = sizeof *descriptor;
  descriptor->bDescriptorType = USB_INTERFACE_DESCRIPTOR_TYPE;
  descriptor->bNumEndpoints = endpoint_count;
  descriptor->bInterfaceClass = 0xFF;
  return TRUE;
}

extern "C" BOOL WINAPI WinUsb_QueryPipe(WINUSB_INTERFACE_HANDLE handle, UCHAR alternate,
                                        UCHAR index, PWINUSB_PIPE_INFORMATION pipe) {
  constexpr UCHAR pipes[endpoint_count] = {out_pipe, in_pipe, interrupt_pipe};
  const Guard guard;
  const auto open = interface_of(handle);
  if (open == nullptr || pipe == nullptr) {
    return fail_with(open == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
  }
  if (alternate != 0 || index >= endpoint_count) {
    return fail_with(ERROR_NO_MORE_ITEMS);
  }
  const bool bulk = pipes[index] != interrupt_pipe;
  pipe->PipeType = bulk ? UsbdPipeTypeBulk : UsbdPipeTypeInterrupt;
  pipe->PipeId = pipes[index];
  pipe->MaximumPacketSize = bulk ? 512 : 8;
  pipe->Interval = bulk ? 0 : 4;
  return TRUE;
}

extern "C" BOOL WINAPI WinUsb_ReadPipe(WINUSB_INTERFACE_HANDLE handle, UCHAR pipe, PUCHAR buffer,
                                       ULONG size, PULONG count, LPOVERLAPPED overlapped) {
  if (buffer == nullptr || size == 0 || count == nullptr || overlapped != nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *count = 0;
  const Guard guard;
  const auto open = interface_of(handle);
  if (open == nullptr || pipe != in_pipe) {
    return fail_with(open == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
  }
  const Inside inside(*open->device, open->reads, "WinUsb_ReadPipe");
  Progress progress;
  const DWORD error =
      run_transfer(*open, progress, [&](simulator::UsbPrinter& printer, uint64_t now) {
        simulator::D4Taken taken = printer.take(now, size);
        return Progress{.how = taken.how, .bytes = std::move(taken.bytes)};
      });
  if (error != ERROR_SUCCESS) {
    return fail_with(error);
  }
  std::copy(progress.bytes.begin(), progress.bytes.end(), buffer);
  *count = static_cast<ULONG>(progress.bytes.size());
  return TRUE;
}

extern "C" BOOL WINAPI WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE handle, UCHAR pipe, PUCHAR buffer,
                                        ULONG size, PULONG count, LPOVERLAPPED overlapped) {
  if (buffer == nullptr || size == 0 || count == nullptr || overlapped != nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *count = 0;
  const Guard guard;
  const auto open = interface_of(handle);
  if (open == nullptr || pipe != out_pipe) {
    return fail_with(open == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
  }
  const simulator::Bytes bytes(buffer, buffer + size);
  const Inside inside(*open->device, open->writes, "WinUsb_WritePipe");
  Progress progress;
  const DWORD error =
      run_transfer(*open, progress, [&](simulator::UsbPrinter& printer, uint64_t now) {
        const simulator::D4Written written = printer.write(bytes, now);
        WakeAllConditionVariable(&bus->changed);  // a read inside may have something to take
        return Progress{.how = written.how, .count = written.count};
      });
  *count = static_cast<ULONG>(progress.count);
  return error == ERROR_SUCCESS ? TRUE : fail_with(error);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    bus = new (std::nothrow) Bus;
    if (bus == nullptr) {
      return FALSE;
    }
    InitializeCriticalSection(&bus->lock);
  }
  return TRUE;
}
