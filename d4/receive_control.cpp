// Control packets from the device: its replies and its own commands.

#include "d4/control.h"
#include "d4/credit.h"
#include "d4/read_thread.h"
#include "d4/waiters.h"

namespace vlp {
namespace {

constexpr std::uint8_t kDone = 0;
constexpr std::uint8_t kControlSocketStays = 3;
constexpr std::uint8_t kCreditTooLarge = 7;
constexpr std::uint8_t kNoSuchChannel = 8;

std::int32_t AnswerCloseChannel(XdltLink& link, const ControlPacket& command) {
  const SocketPair sockets = LoadCommandSockets(command);
  if (sockets.primary != sockets.secondary) return XDLT_ERR_MALFORMED;
  std::uint8_t result = kControlSocketStays;
  if (sockets.primary != kControlSocket) {
    const ChannelPointer channel = FindChannel(link, sockets.primary);
    if (channel != nullptr) channel->state.store(kChannelClosedByPeer);
    result = channel != nullptr ? kDone : kNoSuchChannel;
  }
  return XdltPortWrite(link, CloseChannelReply(result, sockets.primary).View());
}

bool NameOneChannel(const SocketPair& sockets) {
  return sockets.primary == sockets.secondary && sockets.primary != kControlSocket;
}

std::int32_t AnswerCredit(XdltLink& link, const ControlPacket& command) {
  const SocketPair sockets = LoadCommandSockets(command);
  if (!NameOneChannel(sockets)) return XDLT_ERR_MALFORMED;
  const ChannelPointer channel = FindChannel(link, sockets.primary);
  std::uint8_t result = kNoSuchChannel;
  if (channel != nullptr) {
    result = AddSendCredit(*channel, LoadCommandCredit(command)) == 0 ? kDone : kCreditTooLarge;
  }
  return XdltPortWrite(link, CreditReply(result, sockets.primary).View());
}

// What is asked for is given, whatever room there is. It counts as soon as it is written.
std::int32_t AnswerCreditRequest(XdltLink& link, const ControlPacket& command) {
  const SocketPair sockets = LoadCommandSockets(command);
  if (!NameOneChannel(sockets)) return XDLT_ERR_MALFORMED;
  const ChannelPointer channel = FindChannel(link, sockets.primary);
  if (channel == nullptr) {
    return XdltPortWrite(link, CreditRequestReply(kNoSuchChannel, sockets.primary, 0).View());
  }
  const std::uint16_t asked = LoadCommandCredit(command);
  return XdltPortWrite(link, CreditRequestReply(kDone, sockets.primary, asked).View(),
                       {0, channel.get(), asked});
}

std::int32_t AnswerExit(XdltLink& link) {
  OnWritten then;
  then.closesLink = true;
  const std::int32_t written = XdltPortWrite(link, ExitReply().View(), then);
  CloseByDevice(link);
  return written;
}

bool IsKnownReply(std::uint8_t command) {
  switch (command) {
    case ReplyTo(kInit):
    case ReplyTo(kOpenChannel):
    case ReplyTo(kCloseChannel):
    case ReplyTo(kCredit):
    case ReplyTo(kCreditRequest):
    case ReplyTo(kExit):
    case ReplyTo(kGetSocketId):
    case ReplyTo(kGetServiceName):
    case ReplyTo(kEnter):
      return true;
    default:
      return false;
  }
}

std::int32_t HandleReply(XdltLink& link, const ControlPacket& reply) {
  if (link.awaitedReply.load() == 0) return XDLT_ERR_UNEXPECTED_REPLY;
  if (!IsKnownReply(reply.Command())) return XDLT_ERR_BAD_COMMAND;
  if (!DeliverReply(link, reply)) return XDLT_ERR_UNEXPECTED_REPLY;
  return static_cast<std::int32_t>(reply.Size());
}

}  // namespace

std::int32_t HandleControl(XdltLink& link, const ControlPacket& packet) {
  if (!IsLengthOf(packet.Command(), packet.Size())) return XDLT_ERR_MALFORMED;
  if ((packet.Command() & kReplyBit) != 0) return HandleReply(link, packet);
  switch (packet.Command()) {
    case kCloseChannel:
      return AnswerCloseChannel(link, packet);
    case kCredit:
      return AnswerCredit(link, packet);
    case kCreditRequest:
      return AnswerCreditRequest(link, packet);
    case kExit:
      return AnswerExit(link);
    case kError:
      return XDLT_ERR_PEER_ERROR;
    default:
      return XDLT_ERR_MALFORMED;
  }
}

}  // namespace vlp
