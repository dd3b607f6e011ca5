#include "d4/control.h"

#include <algorithm>
#include <initializer_list>

#include "d4/credit.h"
#include "d4/trace.h"
#include "d4/waiters.h"
#include "support/waits.h"

namespace vlp {
namespace {

// 0 for a result byte of 0, the negated byte for one that the command knows.
std::int32_t ResultOf(const ControlPacket& reply, std::initializer_list<std::uint8_t> known) {
  const std::uint8_t result = reply.Result();
  if (result == 0) return 0;
  if (std::ranges::find(known, result) == known.end()) return XDLT_ERR_BAD_RESULT;
  return -static_cast<std::int32_t>(result);
}

// A transaction of which only the result byte matters.
std::int32_t TransactFor(XdltLink& link, const ControlPacket& packet,
                         std::initializer_list<std::uint8_t> known, ControlPacket* reply,
                         const OnWritten& then = {}, OnlyWhileOpen only = {}) {
  const std::int32_t status = Transact(link, packet, reply, then, only);
  return status == 0 ? ResultOf(*reply, known) : status;
}

constexpr std::uint8_t kOpenedSmaller = 6;  // opened, with other sizes than asked

}  // namespace

void CloseByDevice(XdltLink& link) {
  std::uint32_t open = kLinkOpen;
  link.state.compare_exchange_strong(open, kLinkClosed);
}

std::int32_t XdltPortWrite(XdltLink& link, Bytes packet, const OnWritten& then,
                           OnlyWhileOpen only) {
  if (link.state.load() != kLinkOpen) return XDLT_ERR_LINK_DOWN;
  const LockGuard port(link.portLock);
  // The device's Exit or CloseChannel may have been answered while the lock was waited for.
  if (link.state.load() != kLinkOpen) return XDLT_ERR_LINK_DOWN;
  if (only.channel != nullptr && only.channel->state.load() == kChannelClosedByPeer) {
    return XDLT_ERR_NOCHANNEL;
  }
  const TransferTrace trace;
  const auto size = static_cast<std::uint32_t>(packet.size());
  std::uint32_t written = 0;
  const bool done = link.portOps->write(link.portHandle.load(), packet.data(), size, &written) != 0;
  trace.End("  *WRITE*", size, written, packet.first(std::min(written, size)));
  if (!done) return XDLT_ERR_PORT_WRITE;
  if (written != size) return XDLT_ERR_SHORT_WRITE;
  if (then.awaitedReply != 0) link.awaitedReply.store(then.awaitedReply);
  if (then.channel != nullptr) {
    AddGrantedCredit(*then.channel, then.granted);
    then.channel->sendCredit -= then.spent;
  }
  if (then.closesLink) CloseByDevice(link);
  return static_cast<std::int32_t>(size);
}

std::int32_t Transact(XdltLink& link, const ControlPacket& packet, ControlPacket* reply,
                      OnWritten then, OnlyWhileOpen only) {
  if (!IsSignalled(link.controlEvent.Get(), kControlLimitMs)) return XDLT_ERR_CTRL_BUSY;
  ExpectReply(link);
  then.awaitedReply = ReplyTo(packet.Command());
  std::int32_t status = XdltPortWrite(link, packet.View(), then, only);
  if (status >= 0) status = AwaitReply(link, then.awaitedReply, reply);
  Signal(link.controlEvent.Get());
  return status;
}

std::int32_t XdltSendInit(XdltLink& link) {
  ControlPacket reply;
  return TransactFor(link, InitPacket(), {1, 2, 11}, &reply);
}

std::int32_t XdltSendOpenChannel(XdltLink& link, std::uint8_t socket, std::uint16_t* writeSize,
                                 std::uint16_t* readSize) {
  ControlPacket reply;
  const std::int32_t status =
      Transact(link, OpenChannelPacket(socket, *writeSize, *readSize), &reply);
  if (status != 0) return status;
  if (reply.Result() != kOpenedSmaller) {
    const std::int32_t result = ResultOf(reply, {4, 5, 9, 12, 13});
    if (result != 0) return result;
  }
  const OpenChannelAnswer answer = LoadOpenChannelAnswer(reply);
  *writeSize = std::min(*writeSize, answer.writePacketSize);
  *readSize = std::min(*readSize, answer.readPacketSize);
  return answer.credit;
}

std::int32_t XdltSendCloseChannel(XdltLink& link, std::uint8_t socket) {
  ControlPacket reply;
  return TransactFor(link, CloseChannelPacket(socket), {3, 8}, &reply);
}

std::int32_t XdltSendCredit(XdltLink& link, XdltChannel& channel) {
  OnWritten then;
  then.channel = &channel;
  then.granted = 1;
  ControlPacket reply;
  return TransactFor(link, CreditPacket(channel.socket), {7, 8}, &reply, then, {&channel});
}

std::int32_t XdltSendCreditRequest(XdltLink& link, std::uint8_t socket) {
  const ChannelPointer channel = FindChannel(link, socket);
  ControlPacket reply;
  const std::int32_t result =
      TransactFor(link, CreditRequestPacket(socket), {8}, &reply, {}, {channel.get()});
  return result == 0 ? LoadCreditGranted(reply) : result;
}

std::int32_t XdltSendExit(XdltLink& link) {
  ControlPacket reply;
  return Transact(link, ExitPacket(), &reply);
}

std::int32_t XdltSendGetSocketId(XdltLink& link, const char* name, std::uint32_t count,
                                 std::uint8_t* socketOut) {
  if (name == nullptr || socketOut == nullptr || count > kMaxSocketName) return XDLT_ERR_PARAM;
  const Bytes bytes(reinterpret_cast<const std::uint8_t*>(name), count);
  ControlPacket reply;
  const std::int32_t result = TransactFor(link, GetSocketIdPacket(bytes), {10}, &reply);
  if (result == 0) *socketOut = LoadSocketId(reply);
  return result;
}

std::int32_t XdltSendGetServiceName(XdltLink& link, std::uint8_t socket, std::uint8_t* buffer,
                                    std::uint32_t capacity) {
  if (buffer == nullptr) return XDLT_ERR_PARAM;
  ControlPacket reply;
  const std::int32_t result = TransactFor(link, GetServiceNamePacket(socket), {9}, &reply);
  if (result != 0) return result;
  const Bytes name = LoadServiceName(reply);
  const std::size_t copied = std::min<std::size_t>(capacity, name.size());
  std::copy_n(name.begin(), copied, buffer);
  return static_cast<std::int32_t>(copied);
}

std::int32_t XdltSendError(XdltLink& link, std::uint8_t code) {
  return XdltPortWrite(link, ErrorPacket(code).View());
}

}  // namespace vlp
