// WinUSB: a device's file, its interface, and transfers on its pipes.

#include <windows.h>

#include <winusb.h>

#include "platform/machine_state.h"
#include "platform/usb_state.h"
#include "platform/waiting.h"

#include <algorithm>

namespace platform {
namespace {

constexpr uint8_t bulk = 2;
constexpr uint8_t to_host = 0x80;
constexpr uint64_t longest_wait_ms = 86'400'000;

// A device's open file. WinUSB lets nobody else open it meanwhile.
class UsbFile final : public Object {
 public:
  static constexpr char kKind[] = "USB device";
  UsbFile(std::shared_ptr<UsbConnection> connection, DWORD access, DWORD flags)
      : Object(kKind),
        connection_(std::move(connection)),
        may_both_((access & GENERIC_READ) != 0 && (access & GENERIC_WRITE) != 0),
        overlapped_((flags & FILE_FLAG_OVERLAPPED) != 0) {}

  void last_handle_closed() override {
    UsbDevice& device = *connection_->device;
    connection_->closed = true;
    if (interfaces > 0) {
      device.printer.breach("its file was closed before its WinUSB interface was freed");
    }
    if (device.connection == connection_) {
      device.connection.reset();
      device.printer.end_exchange(device.now());
      notice_removal(device);
    }
    stir(device);
  }

  const std::shared_ptr<UsbConnection>& connection() const { return connection_; }
  bool may_both() const { return may_both_; }
  bool overlapped() const { return overlapped_; }

  uint32_t interfaces = 0;  // that haven't been freed

 private:
  std::shared_ptr<UsbConnection> connection_;
  bool may_both_;
  bool overlapped_;
};

class UsbInterface final : public Object {
 public:
  static constexpr char kKind[] = "WinUSB interface";
  explicit UsbInterface(UsbFile& file) : Object(kKind), file_(file) {
    ++file_.references;
    ++file_.interfaces;
  }
  ~UsbInterface() override { dereference(&file_); }

  void last_handle_closed() override {
    --file_.interfaces;
    freed = true;
    stir(device());
  }

  UsbConnection& connection() const { return *file_.connection(); }
  UsbDevice& device() const { return *connection().device; }

  // Why nothing can be done with it any more, or 0. For a call that begins, and one inside.
  DWORD refusal() const { return connection().closed ? ERROR_INVALID_HANDLE : ended(); }
  DWORD ended() const {
    if (freed || connection().closed) {
      return ERROR_OPERATION_ABORTED;
    }
    return connection().removed ? device().removal_error : DWORD{ERROR_SUCCESS};
  }

  bool freed = false;
  uint32_t reads = 0;  // inside
  uint32_t writes = 0;

 private:
  UsbFile& file_;
};

HANDLE no_file(DWORD error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

bool starts_with_usb(const std::u16string& upper_path) {
  return upper_path.starts_with(u"\\\\?\\USB#") || upper_path.starts_with(u"\\\\.\\USB#");
}

// The error of a call that only asks; looks at the device's presence first.
DWORD question_error(const UsbInterface& interface) {
  notice_removal(interface.device());
  return interface.refusal();
}

// What came of a look at a transfer.
struct Progress {
  simulator::D4Transfer how = simulator::D4Transfer::pending;
  DWORD error = ERROR_SUCCESS;
  size_t count = 0;
  simulator::Bytes bytes = {};
};

// One transfer, of which the thread waits for the end.
class Transfer {
 public:
  Transfer(UsbInterface& interface, const char* call, bool in)
      : interface_(interface), call_(call), in_(in) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer() {
    if (news_ != nullptr) CloseHandle(news_);
  }

  // `look` is asked again whenever something has changed or come due.
  Progress run(FunctionRef<Progress(simulator::UsbPrinter&, uint64_t now_ms)> look) {
    for (bool first = true;; first = false) {
      Progress progress;
      DWORD wait = INFINITE;
      {
        const StateGuard guard;
        if (first) begin();
        progress = look_once(look, wait);
        if (progress.how != simulator::D4Transfer::pending) {
          end();
          return progress;
        }
      }
      if (WaitForSingleObject(news_, wait) == WAIT_FAILED) {
        const StateGuard guard;  // the thread was terminated meanwhile
        end();
        return failed(ERROR_OPERATION_ABORTED);
      }
    }
  }

 private:
  static Progress failed(DWORD error) {
    return {.how = simulator::D4Transfer::gone, .error = error};
  }

  void begin() {
    uint32_t& inside = in_ ? interface_.reads : interface_.writes;
    if (++inside > 1) {
      interface_.device().printer.breach(std::string("two transfers at once in ") + call_);
    }
  }

  void end() {
    --(in_ ? interface_.reads : interface_.writes);
    std::erase(interface_.device().waiting, event_);
  }

  Progress look_once(FunctionRef<Progress(simulator::UsbPrinter&, uint64_t now_ms)> look,
                     DWORD& wait) {
    UsbDevice& device = interface_.device();
    if (const DWORD ended = interface_.ended()) {
      return failed(ended);
    }
    const uint64_t now = device.now();
    Progress progress = look(device.printer, now);
    notice_removal(device);
    if (progress.how == simulator::D4Transfer::pending && interface_.connection().removed) {
      return failed(device.removal_error);
    }
    if (progress.how == simulator::D4Transfer::gone) {
      progress.error = device.removal_error;
    } else if (progress.how == simulator::D4Transfer::pending) {
      const auto due = device.printer.next_due();
      if (due) {
        const uint64_t left = *due > now ? *due - now : 1;
        wait = static_cast<DWORD>(std::min(left, longest_wait_ms));
      }
      listen(device);
    }
    return progress;
  }

  void listen(UsbDevice& device) {
    if (news_ == nullptr) {
      event_ = make_event(false, false);
      news_ = add_handle_locked(event_, call_);
      device.waiting.push_back(event_);
    }
  }

  UsbInterface& interface_;
  const char* call_;
  bool in_;
  HANDLE news_ = nullptr;
  Object* event_ = nullptr;
};

// What both kinds of transfers ask first. The pipe that serves is the last bulk one of its
// direction; on others that exist nothing ever happens.
DWORD pipe_refusal(const UsbInterface& interface, uint8_t pipe, bool in) {
  const StateGuard guard;
  if (const DWORD refused = interface.refusal()) {
    return refused;
  }
  UsbDevice& device = interface.device();
  const UsbEndpoint* found = nullptr;
  const UsbEndpoint* serving = nullptr;
  for (const UsbEndpoint& endpoint : device.descriptor.endpoints) {
    const bool fits = ((endpoint.address & to_host) != 0) == in;
    found = fits && endpoint.address == pipe ? &endpoint : found;
    serving = fits && endpoint.type == bulk ? &endpoint : serving;
  }
  if (found != nullptr && found == serving) {
    return ERROR_SUCCESS;
  }
  device.printer.breach(std::string(in ? "a read" : "a write") + " on pipe " +
                        std::to_string(pipe) + ", which isn't the printer's");
  return found == nullptr ? ERROR_INVALID_PARAMETER : ERROR_GEN_FAILURE;
}

}  // namespace

std::optional<HANDLE> open_usb_path(LPCSTR path, DWORD access, DWORD flags) {
  std::u16string text = path == nullptr ? std::u16string() : ansi().widen(path);
  if (!starts_with_usb(upper(text))) {
    return std::nullopt;
  }
  text[2] = u'?';
  HANDLE handle = nullptr;
  {
    const StateGuard guard;
    const std::shared_ptr<UsbDevice> device = find_present_usb_device(text);
    if (device == nullptr) {
      return no_file(ERROR_FILE_NOT_FOUND);
    }
    if (device->connection != nullptr) {
      return no_file(ERROR_ACCESS_DENIED);
    }
    device->connection = std::make_shared<UsbConnection>();
    device->connection->device = device;
    handle = add_handle_locked(new UsbFile(device->connection, access, flags), "CreateFileA");
  }
  SetLastError(ERROR_SUCCESS);
  return handle;
}

}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::Progress;
using platform::Ref;
using platform::StateGuard;
using platform::UsbFile;
using platform::UsbInterface;
using simulator::D4Transfer;

BOOL WINAPI WinUsb_Initialize(HANDLE DeviceHandle, PWINUSB_INTERFACE_HANDLE InterfaceHandle) {
  const Call call("WinUsb_Initialize");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  if (InterfaceHandle == nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  const Ref<UsbFile> file(DeviceHandle);
  if (!file || !file->overlapped()) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (!file->may_both()) {
    return fail_with(ERROR_ACCESS_DENIED);
  }
  const StateGuard guard;
  platform::UsbConnection& connection = *file->connection();
  platform::notice_removal(*connection.device);
  if (connection.removed) {
    return fail_with(connection.device->removal_error);
  }
  *InterfaceHandle = platform::add_handle_locked(new UsbInterface(*file), "WinUsb_Initialize");
  return TRUE;
}

BOOL WINAPI WinUsb_Free(WINUSB_INTERFACE_HANDLE InterfaceHandle) {
  const Call call("WinUsb_Free");
  {
    const Ref<UsbInterface> interface(InterfaceHandle);
    if (!interface || !platform::drop_handle(InterfaceHandle)) {
      return fail_with(ERROR_INVALID_HANDLE);
    }
  }
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  return TRUE;
}

BOOL WINAPI WinUsb_QueryInterfaceSettings(WINUSB_INTERFACE_HANDLE InterfaceHandle,
                                          UCHAR AlternateInterfaceNumber,
                                          PUSB_INTERFACE_DESCRIPTOR UsbAltInterfaceDescriptor) {
  const Call call("WinUsb_QueryInterfaceSettings");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<UsbInterface> interface(InterfaceHandle);
  if (!interface) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (UsbAltInterfaceDescriptor == nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  USB_INTERFACE_DESCRIPTOR told = {};
  {
    const StateGuard guard;
    const platform::UsbDescriptor& descriptor = interface->device().descriptor;
    DWORD error = platform::question_error(*interface);
    if (error == ERROR_SUCCESS) {
      error = AlternateInterfaceNumber != 0 ? DWORD{ERROR_NO_MORE_ITEMS}
                                            : descriptor.settings_error.value_or(ERROR_SUCCESS);
    }
    if (error != ERROR_SUCCESS) {
      return fail_with(error);
    }
    told.bNumEndpoints = descriptor.told_endpoints.value_or(
        static_cast<UCHAR>(std::min<size_t>(descriptor.endpoints.size(), 30)));
  }
  told.bLength = sizeof told;
  told.bDescriptorType = USB_INTERFACE_DESCRIPTOR_TYPE;
  told.bInterfaceClass = USB_DEVICE_CLASS_VENDOR_SPECIFIC;
  *UsbAltInterfaceDescriptor = told;
  return TRUE;
}

BOOL WINAPI WinUsb_QueryPipe(WINUSB_INTERFACE_HANDLE InterfaceHandle,
                             UCHAR AlternateInterfaceNumber, UCHAR PipeIndex,
                             PWINUSB_PIPE_INFORMATION PipeInformation) {
  const Call call("WinUsb_QueryPipe");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<UsbInterface> interface(InterfaceHandle);
  if (!interface) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (PipeInformation == nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  platform::UsbEndpoint endpoint;
  {
    const StateGuard guard;
    const auto& endpoints = interface->device().descriptor.endpoints;
    DWORD error = platform::question_error(*interface);
    if (error == ERROR_SUCCESS &&
        (AlternateInterfaceNumber != 0 || PipeIndex >= endpoints.size())) {
      error = ERROR_NO_MORE_ITEMS;
    }
    if (error != ERROR_SUCCESS) {
      return fail_with(error);
    }
    endpoint = endpoints[PipeIndex];
  }
  PipeInformation->PipeType = static_cast<USBD_PIPE_TYPE>(endpoint.type);
  PipeInformation->PipeId = endpoint.address;
  PipeInformation->MaximumPacketSize = endpoint.packet_bytes;
  PipeInformation->Interval = endpoint.interval;
  return TRUE;
}

BOOL WINAPI WinUsb_ReadPipe(WINUSB_INTERFACE_HANDLE InterfaceHandle, UCHAR PipeID, PUCHAR Buffer,
                            ULONG BufferLength, PULONG LengthTransferred, LPOVERLAPPED Overlapped) {
  const Call call("WinUsb_ReadPipe");
  if (LengthTransferred == nullptr || Overlapped != nullptr || Buffer == nullptr ||
      BufferLength == 0) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *LengthTransferred = 0;
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<UsbInterface> interface(InterfaceHandle);
  if (!interface) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (const DWORD refused = platform::pipe_refusal(*interface, PipeID, true)) {
    return fail_with(refused);
  }
  platform::Transfer transfer(*interface, "WinUsb_ReadPipe", true);
  const Progress progress = transfer.run([&](simulator::UsbPrinter& printer, uint64_t now_ms) {
    simulator::D4Taken taken = printer.take(now_ms, BufferLength);
    return Progress{.how = taken.how, .bytes = std::move(taken.bytes)};
  });
  if (progress.how == D4Transfer::gone) {
    return fail_with(progress.error);
  }
  std::copy(progress.bytes.begin(), progress.bytes.end(), Buffer);
  *LengthTransferred = static_cast<ULONG>(progress.bytes.size());
  if (progress.bytes.empty()) {
    Sleep(0);  // who only reads nothing, again and again, makes no progress and is found out
  }
  return TRUE;
}

BOOL WINAPI WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE InterfaceHandle, UCHAR PipeID, PUCHAR Buffer,
                             ULONG BufferLength, PULONG LengthTransferred,
                             LPOVERLAPPED Overlapped) {
  const Call call("WinUsb_WritePipe");
  if (LengthTransferred == nullptr || Overlapped != nullptr || Buffer == nullptr ||
      BufferLength == 0) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *LengthTransferred = 0;
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<UsbInterface> interface(InterfaceHandle);
  if (!interface) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (const DWORD refused = platform::pipe_refusal(*interface, PipeID, false)) {
    return fail_with(refused);
  }
  const simulator::Bytes bytes(Buffer, Buffer + BufferLength);
  platform::Transfer transfer(*interface, "WinUsb_WritePipe", false);
  const Progress progress = transfer.run([&](simulator::UsbPrinter& printer, uint64_t now_ms) {
    const simulator::D4Written written = printer.write(bytes, now_ms);
    platform::stir(interface->device());  // a read inside may have something to take now
    return Progress{.how = written.how, .count = written.count};
  });
  if (progress.count != 0) {  // a thread that was terminated inside no longer writes anywhere
    *LengthTransferred = static_cast<ULONG>(progress.count);
  }
  return progress.how == D4Transfer::gone ? fail_with(progress.error) : TRUE;
}
