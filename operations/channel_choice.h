#pragma once

// Which of a profile's channels a printer really has.

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "profile/model_profile.h"
#include "support/connect_info.h"

namespace vlp {

// What is known of a printer when its channels are chosen.
struct PrinterFacts {
  std::span<const std::uint8_t> device_id;
  std::string_view port;  // may be empty
  bool shared = false;
};

// The channels of the profile that the device ID bears out, in the profile's order.
std::shared_ptr<const ConnectRecords> ChooseChannels(const ModelProfile& profile,
                                                     const PrinterFacts& facts);

}  // namespace vlp
