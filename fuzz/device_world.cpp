#include "fuzz/device_world.h"

#include <algorithm>
#include <array>

#include "fuzz/d4_calls.h"
#include "platform/bidi_monitor.h"
#include "platform/kernel/scenario.h"
#include "platform/machine.h"

namespace fuzz {
namespace {

constexpr std::uint8_t kUntouched = 0xA5;
constexpr std::array<std::uint8_t, 3> kCommand{'c', 'm', 'd'};

// One block of exactly the capacity; what lies behind the reply stays as it was.
void FetchReply(vlp::GenVlAccess& access, std::uint32_t capacity) {
  const auto block = std::make_unique<std::uint8_t[]>(capacity);
  std::fill_n(block.get(), capacity, kUntouched);
  std::uint32_t length = 0;
  const std::int32_t got =
      access.GenVlGetReply(vlp::GENVL_CHANNEL_STATUS, block.get(), capacity, &length);
  claim(got <= static_cast<std::int64_t>(capacity), "a reply beyond the buffer");
  claim(got < 1 || static_cast<std::uint32_t>(got) == length, "a reply of two lengths");
  claim(got != vlp::GENVL_E_BUFFER || length > capacity, "a buffer that isn't too small");
  const std::size_t stored = got < 1 ? 0 : length;
  claim(std::all_of(block.get() + stored, block.get() + capacity,
                    [](std::uint8_t byte) { return byte == kUntouched; }),
        "bytes behind the reply");
}

}  // namespace

void RunOnComputer(std::uint8_t seed, const std::function<void()>& body) {
  platform::reset_machine();
  RunScenario(seed, body);
}

std::unique_ptr<vlp::DbgLog> MakeDeviceLog(bool wanted) {
  if (!wanted) return nullptr;
  return std::make_unique<vlp::DbgLog>("printer", "C:\\", 0xFFFFFFFF, 0);
}

void UseDevice(vlp::GenVlAccess& access) {
  std::array<std::uint8_t, 512> status{};
  std::uint32_t length = 0;
  const std::int32_t read = access.GenVlGetStatus(
      vlp::GENVL_CHANNEL_STATUS, status.data(), static_cast<std::uint32_t>(status.size()), &length);
  claim(read != 0 || (length != 0 && length <= status.size()), "a status of no length");
  const std::int32_t sent =
      access.GenVlSendRecv(vlp::GENVL_CHANNEL_STATUS, kCommand.data(), kCommand.size());
  claim(sent == 3 || (sent < 0 && sent >= vlp::GENVL_E_FATAL), "a send of no known result");
  claim(access.IsInitialized() || (read == vlp::GENVL_E_FAILED && sent == vlp::GENVL_E_FAILED),
        "an object without a device that works");
  for (const std::uint32_t capacity : {1u, 65535u, 65535u}) FetchReply(access, capacity);
  claim(!platform::any_lock_held(), "a lock that is still held");
}

std::vector<std::string> TakeBreaches() {
  std::vector<std::string> breaches;
  platform::control_port_monitor(
      [&](simulator::PortMonitor& monitor) { breaches = monitor.breaches(); });
  return breaches;
}

}  // namespace fuzz
