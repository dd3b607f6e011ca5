#pragma once

// What writing and reading on a channel have in common.

#include <cstdint>

#include "d4/state.h"

namespace vlp {

// The channel of a data call for as long as the call is inside it.
class ChannelUse {
 public:
  // A channel that the device closed is freed here, by the first data call that finds it
  // unused.
  ChannelUse(XdltLink& link, std::uint8_t socket);
  ~ChannelUse();
  ChannelUse(const ChannelUse&) = delete;
  ChannelUse& operator=(const ChannelUse&) = delete;

  XdltChannel* Get() const { return channel_.get(); }  // null: none is open

 private:
  ChannelPointer channel_;
};

// Sends one packet of the channel: as much of `remaining` bytes as goes into it, the
// last one with the flag of `eomByte`. The count of them, or a result.
std::int32_t XdltSendPacket(XdltLink& link, XdltChannel& channel, const std::uint8_t* bytes,
                            std::uint32_t remaining, std::uint8_t eomByte);

}  // namespace vlp
