#pragma once

// One WinUSB device: its class of device interfaces, its file and the bulk pipes of its
// first interface.
//
// Each operation gives true, or false with the reason in the thread's last error, which
// stays across what is cleaned up; 0 there means a wrong argument or state. Nothing is
// logged. No lock: opening and closing one object is one caller's business at a time, while
// the two pipes may be used at once.

#include <windows.h>

#include <winusb.h>

#include <atomic>
#include <cstdint>

#include "support/handles.h"
#include "support/last_error.h"
#include "support/text.h"

namespace vlp {

// The classes of device interfaces in which printers of this make are found.
extern const GUID kSerialNumberInterface;  // {B1CEB704-C9BA-4369-82B7-AF7EE754099F}
extern const GUID kProductInterface;       // {D8965402-43CD-4410-8B2B-FCDAEB81B001}

struct WinUsbTraits {
  using Handle = WINUSB_INTERFACE_HANDLE;
  static void Close(WINUSB_INTERFACE_HANDLE handle) {
    const LastErrorKeeper keeper;
    WinUsb_Free(handle);
  }
};
using WinUsbHandle = Owned<WinUsbTraits>;

struct DeviceFileTraits {
  using Handle = HANDLE;
  static void Close(HANDLE file) {
    const LastErrorKeeper keeper;
    CloseHandle(file);
  }
};
using DeviceFile = Owned<DeviceFileTraits>;

class CWinUSB_IO {
 public:
  // Not owned; null for none, when no device is ever found.
  explicit CWinUSB_IO(const GUID* guid) : m_pGuid(guid) {}
  ~CWinUSB_IO() { CloseWinUSBDevice(); }
  CWinUSB_IO(const CWinUSB_IO&) = delete;
  CWinUSB_IO& operator=(const CWinUSB_IO&) = delete;

  // The path of the present device at this index, into kTextLimit bytes. Indices count from
  // 0 and shift as devices come and go; the last error ERROR_NO_MORE_ITEMS ends a walk.
  bool GetDevicePath(std::uint32_t index, char* path) const;

  // Opens the device and finds its pipes; false without a bulk pipe of each direction.
  bool OpenWinUSBDevice(const char* path);
  void CloseWinUSBDevice();
  bool IsOpened() const { return m_bOpened.load() != 0; }

  // One transfer, of no time limit: it blocks until the device completes it or is gone.
  bool WritePipe(const std::uint8_t* data, std::uint32_t size, std::uint32_t* written);
  bool ReadPipe(std::uint8_t* data, std::uint32_t size, std::uint32_t* got);

 private:
  void FindPipes();
  bool RefuseTransfer(const void* data, std::uint32_t size, const std::uint32_t* count) const;

  const GUID* m_pGuid;
  DeviceFile m_hFile;
  WinUsbHandle m_hWinUsb;
  std::int32_t m_nBulkInPipe = -1;  // -1: none
  std::int32_t m_nBulkOutPipe = -1;
  std::int32_t m_nInterruptPipe = -1;  // found and of no use
  std::atomic<std::uint32_t> m_bOpened{0};
};

}  // namespace vlp
