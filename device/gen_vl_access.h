#pragma once

// The direct road to one vendor-class printer: its WinUSB device, with the D4 transport on
// it. The device is shared with other processes, so each exchange takes the machine-wide
// mutex, opens device and link, and closes all of it again.
//
// The object is made for a serial number and searches for the device that reports it; if
// none does, IsInitialized() is false and the object is of no use. It is replaced, not
// repaired. Calls belong under one lock of the owner, a command and the fetching of its
// reply under one hold of it: status, commands and fax share buffers. An exchange blocks for
// the mutex as long as the settings say, then as long as the command layer does. Throws only
// when memory runs out: what the call opened is closed, an open fax channel stays.

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "d4/c_d4_cmd_io.h"
#include "device/c_io_access.h"
#include "device/c_winusb_io.h"
#include "diag/dbg_log.h"
#include "language/status_item.h"
#include "support/critical_section.h"
#include "support/gen_vl_settings.h"
#include "support/handles.h"
#include "support/text.h"

namespace vlp {

// Status and commands; the number is that of ChnlKindD4.
inline constexpr std::uint32_t GENVL_CHANNEL_STATUS = kD4CommandChannel;
inline constexpr std::uint32_t GENVL_CHANNEL_FAX = kD4FaxChannel;

// Results; 0 is success, a positive one a count of bytes.
inline constexpr std::int32_t GENVL_E_FAILED = -1;         // no device, or an incomplete object
inline constexpr std::int32_t GENVL_E_PARAM = -2;          // wrong channel or argument
inline constexpr std::int32_t GENVL_E_DEVICE = -3;         // the exchange failed
inline constexpr std::int32_t GENVL_E_BUFFER = -4;         // the caller's buffer is too small
inline constexpr std::int32_t GENVL_E_NO_REPLY = -5;       // none is waiting
inline constexpr std::int32_t GENVL_E_MUTEX_TIMEOUT = -7;  // another process holds the device
inline constexpr std::int32_t GENVL_E_FATAL = -8;          // the link is lost

inline constexpr std::uint32_t kSearchSerialNumber = 1;
inline constexpr std::uint32_t kSearchProduct = 2;
inline constexpr std::uint32_t kSearchContainer = 3;

struct GenVlChannelSlot {
  std::uint32_t dwChannel = 0;
  std::uint32_t dwWriteMax = 0;  // longest command; 0 until known
  std::uint32_t dwReadMax = 0;   // longest reply; 0 until known
  std::uint32_t dwReplyCapacity = 0;
  std::unique_ptr<std::uint8_t[]> pReply = {};  // made at its first use
  std::uint32_t dwReplyLen = 0;                 // bytes not taken yet
};

class GenVlAccess {
 public:
  // `serial` is ten bytes; null makes an object of no use. The three behind it aren't read.
  // Null settings have values of their own. The log isn't owned and may be null. Opens
  // every device of the class in turn until one has the serial number.
  GenVlAccess(const std::uint8_t* serial, std::uint32_t pid, std::uint32_t index,
              const char* containerID, const GenVlSettings* settings, DbgLog* log);
  ~GenVlAccess();
  GenVlAccess(const GenVlAccess&) = delete;
  GenVlAccess& operator=(const GenVlAccess&) = delete;

  bool IsInitialized() const { return m_bInitialized != 0; }

  // The device's status, at most half of the settings' time old. GENVL_E_BUFFER with the
  // size in `*length` if `data` is null or too small.
  std::int32_t GenVlGetStatus(std::uint32_t channel, std::uint8_t* data, std::uint32_t capacity,
                              std::uint32_t* length);

  // Sends a command and receives its reply, which waits for GenVlGetReply. The length of
  // the command, or a code.
  std::int32_t GenVlSendRecv(std::uint32_t channel, const std::uint8_t* data, std::uint32_t length);
  // Hands the reply out, once. Its length, or a code; GENVL_E_BUFFER tells its size.
  std::int32_t GenVlGetReply(std::uint32_t channel, std::uint8_t* data, std::uint32_t capacity,
                             std::uint32_t* length);

  // The fax channel. From open to close the device stays open and its mutex with the thread
  // that opened, which alone may close. `control` is the end-of-message flag, bit 0.
  std::int32_t GenVlGetPacketSize(std::uint32_t channel, std::uint32_t* writeSize,
                                  std::uint32_t* readSize);
  std::int32_t GenVlFaxChnlOpen(std::uint32_t channel);
  std::int32_t GenVlFaxChnlClose(std::uint32_t channel);
  std::int32_t GenVlFaxWrite(std::uint32_t channel, const std::uint8_t* data, std::uint32_t length,
                             std::uint32_t control);
  std::int32_t GenVlFaxRead(std::uint32_t channel, std::uint8_t* data, std::uint32_t capacity,
                            std::uint32_t* length, std::uint8_t* control);

 private:
  friend class GenVlAccessTest;  // the searches that nobody selects yet

  // The open device for a scope.
  class OpenDevice;

  // gen_vl_access.cpp
  GenVlAccess(const GenVlSettings* settings, DbgLog* log);
  bool MakeParts(const GenVlSettings* settings);
  bool Search(const std::uint8_t* serial);
  std::int32_t OpenGenVlDevice();
  void CloseGenVlDevice();
  std::int32_t OpenFirst() VLP_REQUIRES(m_csOpen);
  void CloseLast() VLP_REQUIRES(m_csOpen);
  void GiveMutexBack();
  void LeaveUsedPort();

  // gen_vl_exchange.cpp
  bool GetSndRcvMaxSize(GenVlChannelSlot* slot);
  bool ExecGenVlCmd(GenVlChannelSlot* slot, const std::uint8_t* data, std::uint32_t length);
  bool GetD4Status();
  bool HasYoungStatus() const;
  GenVlChannelSlot* SlotOf(std::uint32_t channel);
  bool IsOpen() const;
  void TakeFatalError();

  // gen_vl_search.cpp
  bool GetGenVlDevPath(std::uint32_t index);
  bool SearchSNumDevPath(const std::uint8_t* serial);
  bool HasSerialNumber();
  bool SearchPIDDevPath();
  std::uint32_t ProductOfPath();
  bool SearchContainerIDDevPath();
  bool SearchParentIDPrefixDevPath();

  // gen_vl_mutex.cpp
  bool GetVelnoVendorStr(char* buffer, std::uint32_t capacity, std::uint32_t* length);
  bool SetGenVlMutexName();
  bool CreateGenVlMutex();

  // gen_vl_container.cpp
  bool IsSameContainerID();
  static std::uint32_t GetParentIDPrefix(const char* path, char* out);

  // gen_vl_fax.cpp
  std::int32_t FaxFailure();

  std::unique_ptr<CWinUSB_IO> m_pWinUSBIO;
  std::unique_ptr<CIOAccess> m_pIOAccess;
  std::unique_ptr<CD4CmdIO> m_pD4CmdIO;
  DbgLog* m_pLog;
  std::array<char, kTextLimit> m_szMutexName{};
  std::array<char, kTextLimit> m_szDevicePath{};
  std::uint32_t m_dwDevicePathLen = 0;  // with its terminator; 0: no path
  KernelHandle m_hWinUSBMutex;
  std::array<std::uint8_t, kSerialLength + 1> m_SerialNumber{};
  std::array<std::uint8_t, 512> m_StatusData{};
  std::uint32_t m_dwStatusLen = 0;  // 0: none is held
  std::uint32_t m_dwStatusTick = 0;
  std::uint32_t m_dwStatusLifeTime;  // ms
  std::uint32_t m_dwMutexWaitTime;   // ms
  GenVlChannelSlot m_StatusSlot{.dwChannel = GENVL_CHANNEL_STATUS};
  GenVlChannelSlot m_FaxSlot{.dwChannel = GENVL_CHANNEL_FAX};
  D4ChannelEntry* m_pFaxChannel = nullptr;  // null while closed
  std::uint32_t m_dwPID = 0;
  std::uint32_t m_dwPIDIndex = 0;  // matching devices to pass over
  std::uint32_t m_dwSearchMode = kSearchSerialNumber;
  std::atomic<std::uint32_t> m_nOpenCount{0};  // changed under m_csOpen
  CriticalSection m_csOpen;                    // held for the work of opening and closing
  std::atomic<std::uint32_t> m_dwFatalError{0};
  std::uint32_t m_bInitialized = 0;
  std::array<char, kTextLimit> m_szContainerID{};
};

// The open device for a scope; of use only if Result() is 0.
class GenVlAccess::OpenDevice {
 public:
  explicit OpenDevice(GenVlAccess& access) : access_(access), result_(access.OpenGenVlDevice()) {}
  ~OpenDevice() {
    if (result_ == 0) access_.CloseGenVlDevice();
  }
  OpenDevice(const OpenDevice&) = delete;
  OpenDevice& operator=(const OpenDevice&) = delete;

  std::int32_t Result() const { return result_; }
  // Leaves it open behind the scope.
  void Keep() { result_ = GENVL_E_FAILED; }

 private:
  GenVlAccess& access_;
  std::int32_t result_;
};

}  // namespace vlp
