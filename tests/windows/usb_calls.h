#pragma once

// The way to a device of another process. The process that plugged it in serves its devices:
// each call is one message through a pipe and its reply is another one, each connection has a
// thread there. The connection that opened an interface lasts as long as that is open; when it
// breaks, the other process has died. A transfer has a connection of its own, so that a read
// may wait while there is a write.

#include "simulator/bytes.h"

#include <windows.h>

#include <cstdint>
#include <memory>

namespace doubles {

// Of a device, or a process with devices, that is no longer there.
inline constexpr DWORD usb_removal_error = ERROR_GEN_FAILURE;

// Lets other processes call from now on. False if they can't.
bool serve_usb_calls();

// An interface of a device in another process; the calls are those of usb_bus.h.
class FarUsb {
 public:
  explicit FarUsb(DWORD process) : process_(process) {}
  ~FarUsb();
  FarUsb(const FarUsb&) = delete;
  FarUsb& operator=(const FarUsb&) = delete;

  DWORD open(uint32_t device_number);
  DWORD state();
  DWORD read(size_t most, simulator::Bytes& bytes);
  DWORD write(const simulator::Bytes& bytes, size_t& count);
  // The object stays for the transfers inside, which end now.
  DWORD close();

 private:
  DWORD process_;
  HANDLE session_ = nullptr;
  uint64_t number_ = 0;
};

}  // namespace doubles
