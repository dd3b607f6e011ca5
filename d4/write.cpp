// XDLT_Write: a message cut into packets, as far as the device's credit goes.

#include <cstring>
#include <utility>

#include "d4/control.h"
#include "d4/credit.h"
#include "d4/data_call.h"
#include "d4/link.h"
#include "d4/trace.h"

namespace vlp {
namespace {

// What the result can tell.
constexpr std::uint32_t kLongestWrite = 0x7FFFFFFF;

std::uint8_t LastControlByte(const XdltChannel& channel, std::uint8_t eomByte) {
  if (!IsFlagSocket(channel.socket)) return kEndOfMessage;
  return eomByte & kEndOfMessage;
}

// One sleep, with the gate held: what else is asked of the link waits too.
void BackOff(XdltLink& link) {
  const std::uint32_t wait = link.creditWait.load();
  const std::uint32_t maximum = link.creditWaitMax.load();
  if (link.creditBackoff.load() != 1) {
    Sleep(wait);
  } else if (wait < maximum) {
    Sleep(wait);
    link.creditWait.store(wait * 2);
  } else {
    Sleep(maximum);
  }
}

// 0 with credit in hand, else why there is none.
std::int32_t HaveCredit(XdltLink& link, XdltChannel& channel) {
  if (channel.sendCredit.load() > 0) return 0;
  const std::int32_t granted = XdltSendCreditRequest(link, channel.socket);
  if (granted < 0) return granted;
  if (granted == 0) {
    BackOff(link);
    return XDLT_ERR_NOT_READY;
  }
  channel.sendCredit += granted;
  link.creditWait.store(link.creditWaitBase.load());
  return 0;
}

struct Message {
  const std::uint8_t* bytes;
  std::uint32_t remaining;
  std::uint8_t eomByte;
};

// 0 when all is sent, else what stopped it; `*sent` counts in both cases.
std::int32_t SendMessage(XdltLink& link, XdltChannel& channel, Message message,
                         std::uint32_t* sent) {
  while (message.remaining != 0) {
    if (link.portHandle.load() == 0) return XDLT_ERR_LINK_LOST;
    const std::int32_t ready = HaveCredit(link, channel);
    if (ready != 0) return ready;
    const std::int32_t moved =
        XdltSendPacket(link, channel, message.bytes, message.remaining, message.eomByte);
    if (moved < 0) return moved;
    const auto count = static_cast<std::uint32_t>(moved);
    message.bytes += count;
    message.remaining -= count;
    *sent += count;
  }
  return 0;
}

std::int32_t WriteInside(XdltLink& link, std::uint8_t socket, const std::uint8_t* bytes,
                         std::uint32_t count, std::uint32_t* sent) {
  const ChannelUse use(link, socket);
  if (use.Get() == nullptr) return XDLT_ERR_NOCHANNEL;
  XdltChannel& channel = *use.Get();
  // A packet that holds no more than its header would never get anything across.
  if (channel.writePacketSize == 0 || !channel.writeBuffer ||
      channel.maxWritePacket <= kHeaderSize) {
    return XDLT_ERR_NOT_READY;
  }
  if (count == 0) return 0;
  Message message{bytes, count, 0};
  const bool flagged = IsFlagSocket(socket);
  if (flagged) message.eomByte = bytes[--message.remaining];
  const std::int32_t result = SendMessage(link, channel, message, sent);
  if (result != 0) return result;
  if (flagged) ++*sent;
  return static_cast<std::int32_t>(*sent);
}

}  // namespace

std::int32_t XdltSendPacket(XdltLink& link, XdltChannel& channel, const std::uint8_t* bytes,
                            std::uint32_t remaining, std::uint8_t eomByte) {
  if (link.state.load() != kLinkOpen) return XDLT_ERR_LINK_DOWN;
  if (!channel.writeBuffer) return XDLT_ERR_NOT_READY;
  const std::uint8_t credit = PiggybackedCredit(channel);
  const bool last = std::uint64_t{remaining} + kHeaderSize <= channel.maxWritePacket;
  const std::uint32_t payload = last ? remaining : channel.maxWritePacket - kHeaderSize;
  const std::uint32_t length = payload + kHeaderSize;
  std::uint8_t* const packet = channel.writeBuffer.Get();
  StoreHeader(packet, {channel.socket, channel.socket, static_cast<std::uint16_t>(length), credit,
                       last ? LastControlByte(channel, eomByte) : std::uint8_t{0}});
  std::memcpy(packet + kHeaderSize, bytes, payload);
  const std::int32_t written =
      XdltPortWrite(link, Bytes(packet, length), {0, &channel, credit, 1}, {&channel});
  return written < 0 ? written : static_cast<std::int32_t>(payload);
}

std::int32_t XDLT_Write(XdltLink* link, std::uint8_t socket, const std::uint8_t* bytes,
                        std::uint32_t* countInOut) noexcept {
  if (countInOut == nullptr) return XDLT_ERR_PARAM;
  const std::uint32_t count = std::exchange(*countInOut, 0);
  if ((bytes == nullptr && count != 0) || count > kLongestWrite) return XDLT_ERR_PARAM;
  const EngineUse use;
  const std::int32_t found = XdltCheckLink(use.Get(), link);
  if (found < 0) return found;
  TraceSocketCount("XDLT_Write(S)  ", socket, static_cast<std::int32_t>(*countInOut));
  std::int32_t result = CheckReady(*link);
  if (result != 0) return result;
  {
    const LinkStay stay(*use.Get(), *link);
    if (stay.Result() != 0) return stay.Result();
    result = WriteInside(*link, socket, bytes, count, countInOut);
  }
  TraceSocket("XDLT_Write(E)  ", socket);
  return result;
}

}  // namespace vlp
