#pragma once

// A printer with a profile and a device ID, and what its operations give.

#include "tests/printer/printer_fixture.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace operations_test {

inline constexpr const char* kDeviceId = "MFG:X;CMD:QPL,BDC,D4;";

// A channel as the profile lists it and as a slot of the answer says it.
using Channel = std::pair<std::uint32_t, std::uint32_t>;  // kind, mode
using Channels = std::vector<Channel>;

inline std::string ProfileOf(const Channels& channels) {
  std::string lines;
  for (std::size_t n = 0; n < channels.size(); ++n) {
    const std::string number = {static_cast<char>('0' + n / 10), static_cast<char>('0' + n % 10)};
    lines += "LPT_Channel" + number + "=" + std::to_string(channels[n].first) + "\n";
    lines += "LPT_ChnlMode" + number + "=" + std::to_string(channels[n].second) + "\n";
  }
  return lines;
}

inline const Channels kThreeChannels = {
    {ChnlKindQpl, 0x0007}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}};

class OperationsTest : public printer_test::PrinterTest {
 protected:
  // Everything as a good printer needs it; the printer object comes with Make().
  void Describe(const std::string& profile, const std::string& device_id = kDeviceId,
                const std::string& port = "USB001", std::uint32_t attributes = 0) {
    far_side::add_model("Model", profile);
    far_side::add_printer(
        {.name = "Printer", .port = port, .driver = "Model", .attributes = attributes});
    far_side::set_device_id(port, far_side::bytes_of(device_id));
  }

  // As many slots must be written as the result says, from the first on.
  std::int32_t GetConnectInf() {
    std::array<std::uint64_t, vlp::kMaxConnectEntries> entries;
    entries.fill(kUntouchedEntry);
    const std::int32_t rc = printer_->GetConnectInf(entries.data());
    channels_.clear();
    for (std::int32_t index = 0; index < std::ssize(entries); ++index) {
      const std::uint64_t entry = entries[static_cast<std::size_t>(index)];
      EXPECT_EQ(index < rc, entry != kUntouchedEntry) << "slot " << index << " with result " << rc;
      if (entry == kUntouchedEntry) continue;
      channels_.emplace_back(static_cast<std::uint32_t>(entry & 0xFFFFFFFF),
                             static_cast<std::uint32_t>(entry >> 32));
    }
    return rc;
  }

  // Both calls of the length protocol.
  std::int32_t GetDeviceID() {
    std::uint32_t length = 0;
    std::int32_t rc = printer_->GetDeviceID(nullptr, &length);
    if (rc != VLPER_BUFFERSIZE) return rc;
    std::vector<std::uint8_t> buffer(length);
    rc = printer_->GetDeviceID(buffer.data(), &length);
    device_id_.assign(buffer.begin(),
                      buffer.begin() + std::min<std::ptrdiff_t>(length, std::ssize(buffer)));
    return rc;
  }

  static std::uint32_t Queries() { return far_side::counts("Printer").device_id_queries; }

  static constexpr std::uint64_t kUntouchedEntry = 0xA5A5A5A5A5A5A5A5;

  Channels channels_;  // as the last GetConnectInf wrote them
  std::string device_id_;
};

}  // namespace operations_test
