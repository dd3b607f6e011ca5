#pragma once

// Printers with all sorts of channels, chosen by one byte of the input.

#include <cstdint>
#include <memory>

#include "support/connect_info.h"

namespace fuzz {

// The kinds that a target goes through.
inline constexpr ChannelKind kKinds[] = {ChnlKindQpl,      ChnlKindBdc, ChnlKindZrdPage,
                                         ChnlKindZrdPages, ChnlKindD4,  ChnlKindEnd4,
                                         ChnlKindLabel,    0x12345678U, 0U};

// Each bit of `choice` decides something: which channels there are, their modes, the
// status form, the vendor class.
std::shared_ptr<const vlp::ConnectRecords> MakeChannels(std::uint8_t choice);

}  // namespace fuzz
