// XDLT_Read: a size query, which makes the read thread read, and a fetch, which doesn't.

#include "d4/control.h"
#include "d4/credit.h"
#include "d4/data_call.h"
#include "d4/link.h"
#include "d4/receive_buffer.h"
#include "d4/trace.h"
#include "d4/waiters.h"

namespace vlp {
namespace {

// The device may send one packet more, if it may send none and one has room. Whatever
// comes of it shows in what arrives.
void GrantIfSilent(XdltLink& link, XdltChannel& channel) {
  if (channel.grantedCredit.load() != 0 || RoomInPackets(channel) == 0) return;
  static_cast<void>(XdltSendCredit(link, channel));
}

std::uint32_t QuerySize(XdltLink& link, XdltChannel& channel) {
  GrantIfSilent(link, channel);
  AwaitData(link, channel.socket);
  const std::uint32_t waiting = WaitingBytes(channel);
  return waiting != 0 && IsFlagSocket(channel.socket) ? waiting + 1 : waiting;
}

// 0 or why the read failed, and the count, which a query tells all the same.
struct ReadEnd {
  std::int32_t status = 0;
  std::uint32_t count = 0;

  std::int32_t Result() const { return status < 0 ? status : static_cast<std::int32_t>(count); }
};

ReadEnd Fetch(XdltChannel& channel, std::uint8_t* buffer, std::uint32_t capacity) {
  const BufferHold hold(channel);
  if (!hold) return {XDLT_ERR_BUFFER_TIMEOUT, 0};
  return {0, FetchBytes(channel, buffer, capacity)};
}

ReadEnd ReadInside(XdltLink& link, std::uint8_t socket, std::uint8_t* buffer,
                   std::uint32_t* countInOut) {
  const ChannelUse use(link, socket);
  if (use.Get() == nullptr) return {XDLT_ERR_NOCHANNEL};
  XdltChannel& channel = *use.Get();
  if (channel.readPacketSize == 0 || !channel.rxBuffer || channel.rxSize == 0) {
    return {XDLT_ERR_NOT_READY};
  }
  if (buffer == nullptr) {
    const std::uint32_t size = QuerySize(link, channel);
    if (countInOut != nullptr) *countInOut = size;
    return {link.readStatus.load(), size};
  }
  // The flag needs its byte.
  if (*countInOut == 0 && IsFlagSocket(socket)) return {XDLT_ERR_PARAM};
  const ReadEnd end = Fetch(channel, buffer, *countInOut);
  if (end.status == 0) *countInOut = end.count;
  return end;
}

}  // namespace

std::int32_t XDLT_Read(XdltLink* link, std::uint8_t socket, std::uint8_t* buffer,
                       std::uint32_t* countInOut) noexcept {
  if (buffer != nullptr && countInOut == nullptr) return XDLT_ERR_PARAM;
  const EngineUse use;
  const std::int32_t found = XdltCheckLink(use.Get(), link);
  if (found < 0) return found;
  TraceSocket("XDLT_Read(S)   ", socket);
  const std::int32_t ready = CheckReady(*link);
  if (ready != 0) return ready;
  ReadEnd end;
  {
    const LinkStay stay(*use.Get(), *link);
    if (stay.Result() != 0) return stay.Result();
    end = ReadInside(*link, socket, buffer, countInOut);
  }
  TraceSocketCount("XDLT_Read(E)   ", socket, static_cast<std::int32_t>(end.count));
  return end.Result();
}

}  // namespace vlp
