#include "d4/data_call.h"

namespace vlp {

ChannelUse::ChannelUse(XdltLink& link, std::uint8_t socket) : channel_(FindChannel(link, socket)) {
  if (channel_ == nullptr) return;
  const std::uint8_t state = channel_->state.load();
  if (state == kChannelOpen) {
    ++channel_->users;
    return;
  }
  if (state == kChannelClosedByPeer && channel_->users.load() == 0) RemoveChannel(link, channel_);
  channel_.reset();
}

ChannelUse::~ChannelUse() {
  if (channel_ != nullptr) --channel_->users;
}

}  // namespace vlp
