#pragma once

// The simulated D4 device as a port of the engine, in a scenario.

#include <cstddef>
#include <cstdint>
#include <string>

#include "d4/xdlt.h"
#include "simulator/d4_device.h"

namespace fuzz {

// Behaviour of the port itself.
struct DevicePortPlan {
  bool keepPriority = true;
  bool skipsDummyRead = false;
  bool storesZero = false;          // a read without bytes stores its count
  std::uint32_t patienceMs = 1000;  // of a transfer that the device doesn't complete
};

class DevicePort {
 public:
  DevicePort(simulator::D4Options options, const DevicePortPlan& plan);
  DevicePort(const DevicePort&) = delete;
  DevicePort& operator=(const DevicePort&) = delete;

  vlp::XdltPortHandle Handle() const { return reinterpret_cast<std::uintptr_t>(this); }
  vlp::XdltPortOps& Ops() { return ops_; }

  // When all is over. What the host does wrong stops the program, with the conversation;
  // most of it is seen at once, the rest here.
  void ClaimNothingOwed();

 private:
  class Transfer;

  static DevicePort& Of(vlp::XdltPortHandle port) {
    return *reinterpret_cast<DevicePort*>(static_cast<std::uintptr_t>(port));
  }
  std::uint32_t Write(const std::uint8_t* bytes, std::uint32_t count, std::uint32_t* written);
  std::uint32_t Read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got);
  bool WaitForDevice(std::uint64_t began_ms) const;
  std::uint32_t Fail() const;
  void NoteDelivered(simulator::View bytes, bool gaveUp);
  bool IsExcused(const std::string& breach) const;
  void Judge();
  void JudgeWrite(simulator::View bytes, std::size_t taken);

  vlp::XdltPortOps ops_;
  DevicePortPlan plan_;
  simulator::D4Device device_;
  simulator::D4Cutter delivered_;
  std::uint64_t deliveredMs_ = 0;  // when the last bytes were
  bool tookPart_ = false;          // of a packet; the host's next ones can't be told apart
  bool badStream_ = false;         // of the device: what can no longer become a packet
  std::size_t judged_ = 0;         // breaches
  bool inside_ = false;
  unsigned calls_ = 0;
};

}  // namespace fuzz
