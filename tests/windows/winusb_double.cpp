// WinUSB over simulated printers: those of this process, or of the one that a file leads to. A
// device has one interface with three endpoints; synchronous transfers alone are served.

#include "tests/windows/winusb_double.h"

#include "tests/windows/hardware_folder.h"
#include "tests/windows/usb_bus.h"
#include "tests/windows/usb_calls.h"
#include "tests/windows/usb_place.h"

#include <windows.h>

#include <winusb.h>

#include <algorithm>
#include <memory>
#include <new>

namespace {

using doubles::FarUsb;
using simulator::Bytes;

constexpr UCHAR out_pipe = 0x02;
constexpr UCHAR in_pipe = 0x81;
constexpr UCHAR interrupt_pipe = 0x83;
constexpr UCHAR endpoint_count = 3;

// `elsewhere` for a device of another process; otherwise `number` is one of this process's bus.
struct Interface {
  std::unique_ptr<FarUsb> elsewhere = {};
  uint64_t number = 0;

  DWORD open(uint32_t device_number) {
    return elsewhere ? elsewhere->open(device_number)
                     : doubles::open_usb(device_number, doubles::UsbHost::here, number);
  }
  DWORD state() { return elsewhere ? elsewhere->state() : doubles::usb_state(number); }
  DWORD read(size_t most, Bytes& bytes) {
    return elsewhere ? elsewhere->read(most, bytes) : doubles::read_usb(number, most, bytes);
  }
  DWORD write(const Bytes& bytes, size_t& count) {
    return elsewhere ? elsewhere->write(bytes, count) : doubles::write_usb(number, bytes, count);
  }
  DWORD close() {
    return elsewhere ? elsewhere->close() : doubles::close_usb(number, doubles::UsbEnd::closed);
  }
};

CRITICAL_SECTION table_lock;                               // never held over a call
std::vector<std::shared_ptr<Interface>>* table = nullptr;  // the open ones

class TableGuard {
 public:
  TableGuard() { EnterCriticalSection(&table_lock); }
  ~TableGuard() { LeaveCriticalSection(&table_lock); }
  TableGuard(const TableGuard&) = delete;
  TableGuard& operator=(const TableGuard&) = delete;
};

BOOL fail_with(DWORD error) {
  SetLastError(error);
  return FALSE;
}

BOOL give(DWORD error) { return error == ERROR_SUCCESS ? TRUE : fail_with(error); }

std::shared_ptr<Interface> interface_of(WINUSB_INTERFACE_HANDLE handle) {
  const TableGuard guard;
  const auto found =
      std::find_if(table->begin(), table->end(),
                   [&](const std::shared_ptr<Interface>& one) { return one.get() == handle; });
  return found == table->end() ? nullptr : *found;
}

// What a transfer needs, or the error.
DWORD check_transfer(WINUSB_INTERFACE_HANDLE handle, bool right_pipe,
                     std::shared_ptr<Interface>& open) {
  open = interface_of(handle);
  return open == nullptr ? ERROR_INVALID_HANDLE
         : right_pipe    ? ERROR_SUCCESS
                         : ERROR_INVALID_PARAMETER;
}

// The printers of the folder that VLPBIDI_HARDWARE names, unless another process has plugged
// them in already: then that one serves them as long as it lives.
void plug_described() {
  doubles::read_hardware_folder([](const std::string&,
                                   const std::optional<simulator::HardwareKeys>& keys,
                                   const std::string&) {
    std::string error;
    const auto printer = keys ? simulator::describe_printer(*keys, error) : std::nullopt;
    const auto usb = printer ? simulator::describe_usb(*keys, error) : std::nullopt;
    if (usb && !usb->paths.empty()) {
      doubles::plug_usb(usb->paths, *printer, usb->d4);
    }
  });
}

}  // namespace

extern "C" const doubles::WinusbControl* WinusbDoubleControl() { return &doubles::usb_bus_control; }

extern "C" BOOL WINAPI WinUsb_Initialize(HANDLE file, PWINUSB_INTERFACE_HANDLE handle) {
  const auto number = doubles::usb_number_of(file);
  ULONG process = 0;
  if (handle == nullptr || !number || GetNamedPipeServerProcessId(file, &process) == FALSE) {
    return fail_with(handle == nullptr ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
  }
  const auto open = std::make_shared<Interface>();
  if (process != GetCurrentProcessId()) {
    open->elsewhere = std::make_unique<FarUsb>(process);
  }
  const DWORD error = open->open(*number);
  if (error == ERROR_SUCCESS) {
    const TableGuard guard;
    table->push_back(open);
    *handle = open.get();
  }
  return give(error);
}

extern "C" BOOL WINAPI WinUsb_Free(WINUSB_INTERFACE_HANDLE handle) {
  const auto open = interface_of(handle);
  if (open == nullptr) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  {
    const TableGuard guard;
    std::erase(*table, open);
  }
  return give(open->close());
}

extern "C" BOOL WINAPI WinUsb_QueryInterfaceSettings(WINUSB_INTERFACE_HANDLE handle,
                                                     UCHAR alternate,
                                                     PUSB_INTERFACE_DESCRIPTOR descriptor) {
  const auto open = interface_of(handle);
  if (open == nullptr || descriptor == nullptr) {
    return fail_with(open == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
  }
  const DWORD error = alternate != 0 ? ERROR_NO_MORE_ITEMS : open->state();
  if (error != ERROR_SUCCESS) {
    return fail_with(error);
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
  std::shared_ptr<Interface> open;
  Bytes bytes;
  DWORD error = check_transfer(handle, pipe == in_pipe, open);
  if (error == ERROR_SUCCESS) {
    error = open->read(size, bytes);
  }
  if (error != ERROR_SUCCESS) {
    return fail_with(error);
  }
  std::copy(bytes.begin(), bytes.end(), buffer);
  *count = static_cast<ULONG>(bytes.size());
  return TRUE;
}

extern "C" BOOL WINAPI WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE handle, UCHAR pipe, PUCHAR buffer,
                                        ULONG size, PULONG count, LPOVERLAPPED overlapped) {
  if (buffer == nullptr || size == 0 || count == nullptr || overlapped != nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *count = 0;
  std::shared_ptr<Interface> open;
  size_t written = 0;
  DWORD error = check_transfer(handle, pipe == out_pipe, open);
  if (error == ERROR_SUCCESS) {
    error = open->write(Bytes(buffer, buffer + size), written);
  }
  *count = static_cast<ULONG>(written);
  return give(error);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    InitializeCriticalSection(&table_lock);
    table = new (std::nothrow) std::vector<std::shared_ptr<Interface>>;
    if (table == nullptr || !doubles::make_usb_bus()) {
      return FALSE;
    }
    plug_described();  // before anybody can look for them
  }
  return TRUE;
}
