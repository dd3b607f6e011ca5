#pragma once

#include <cstdint>

namespace vlp {

// What the vendor-class access of a printer needs of its profile. All zero while the
// printer isn't a vendor-class one; handed on as one block.
struct GenVlSettings {
  std::uint32_t d4RetryMode = 0;
  std::uint32_t d4RetryTiming = 0;
  std::uint32_t d4RetryMax = 0;
  std::uint32_t packetRcvMaxTime = 0;  // ms
  std::uint32_t statusNoChkTime = 0;   // ms
};

static_assert(sizeof(GenVlSettings) == 20);

}  // namespace vlp
