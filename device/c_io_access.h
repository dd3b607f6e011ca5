#pragma once

// The D4 engine's port over a WinUSB device: writes go straight to the bulk-out pipe,
// reads are served from a buffer that is filled from the bulk-in pipe.
//
// One read at a time; a write may be under way with it. Neither has a time limit of its
// own: a transfer ends when the device completes it or is gone.

#include <array>
#include <atomic>
#include <cstdint>

#include "d4/xdlt.h"
#include "device/c_winusb_io.h"
#include "diag/dbg_log.h"

namespace vlp {

class CIOAccess {
 public:
  // The log isn't owned and may be null.
  explicit CIOAccess(DbgLog* log);
  ~CIOAccess();
  CIOAccess(const CIOAccess&) = delete;
  CIOAccess& operator=(const CIOAccess&) = delete;

  // The log ends before this object: a read under way in the port writes no more lines.
  void ForgetLog() { m_pLog.store(nullptr); }

  // The device isn't owned. False for null.
  bool SetWinUSBIO(CWinUSB_IO* device);

  // What the engine needs of a port.
  XdltPortHandle Handle() const { return reinterpret_cast<std::uintptr_t>(this); }
  XdltPortOps* PortOps() { return &m_PortOps; }

  // The port's functions; `port` is Handle(). Non-zero for success. A short write is one,
  // so is a read that brings nothing and leaves `*got` alone.
  static std::uint32_t IOThroughWrite(XdltPortHandle port, const std::uint8_t* data,
                                      std::uint32_t size, std::uint32_t* written) noexcept;
  static std::uint32_t IOBufferingRead(XdltPortHandle port, std::uint8_t* data, std::uint32_t size,
                                       std::uint32_t* got) noexcept;

 private:
  static constexpr std::uint32_t kBufferSize = 2048;

  static CIOAccess* Self(XdltPortHandle port);
  std::uint32_t Write(const std::uint8_t* data, std::uint32_t size, std::uint32_t* written);
  std::uint32_t Read(std::uint8_t* data, std::uint32_t size, std::uint32_t* got);
  bool Refill();

  CWinUSB_IO* m_pWinUSBIO = nullptr;
  std::array<std::uint8_t, kBufferSize> m_pBuffer{};
  std::uint32_t m_dwBufferedLen = 0;  // bytes in the buffer; 0: empty
  std::uint32_t m_dwBufferedPos = 0;  // the next byte to hand out
  std::atomic<DbgLog*> m_pLog;
  XdltPortOps m_PortOps;
};

}  // namespace vlp
