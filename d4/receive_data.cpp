// Data packets from the device.

#include "d4/credit.h"
#include "d4/read_thread.h"
#include "d4/receive_buffer.h"

namespace vlp {
namespace {

std::int32_t Store(XdltChannel& channel, const ReceivedPacket& packet) {
  const std::uint32_t size = packet.header.length - kHeaderSize;
  const BufferHold hold(channel);
  if (!hold) return XDLT_ERR_BUFFER_TIMEOUT;
  // A close may have begun while the buffer was waited for.
  if (channel.state.load() != kChannelOpen) return 0;
  if (!StorePayload(channel, Bytes(packet.payload.Get(), size))) return XDLT_ERR_NO_MEMORY;
  // With the bytes, or a fetch in between would tell of the wrong end.
  if (IsFlagSocket(channel.socket)) channel.lastEom = packet.header.control & kEndOfMessage;
  --channel.grantedCredit;
  return static_cast<std::int32_t>(size);
}

}  // namespace

std::int32_t HandleData(XdltLink& link, const ReceivedPacket& packet) {
  const ChannelPointer channel = FindChannel(link, packet.header.primary);
  if (channel == nullptr) return XDLT_ERR_UNKNOWN_CHANNEL;
  if (channel->state.load() != kChannelOpen) return 0;
  if (channel->grantedCredit.load() == 0) return XDLT_ERR_NO_CREDIT;
  if (packet.header.length > channel->readPacketSize) return XDLT_ERR_TOO_BIG;
  // What is too much stays counted: reading is over with it.
  const std::int32_t held = channel->sendCredit += packet.header.credit;
  if (held > kMaxSendCredit) return XDLT_ERR_CREDIT_OVERFLOW;
  return Store(*channel, packet);
}

}  // namespace vlp
