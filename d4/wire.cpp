#include "d4/wire.h"

#include <algorithm>
#include <cstring>

namespace vlp {
namespace {

constexpr std::uint8_t kRevision = 0x10;
constexpr std::uint16_t kCreditGiven = 1;
constexpr std::uint16_t kCreditAsked = 0x0080;
constexpr std::uint16_t kCreditMaximum = 0xFFFF;

struct PacketLength {
  std::uint8_t command;
  std::uint8_t length;
  bool orMore;
};

// The one table of packet lengths, of both sides.
constexpr PacketLength kLengths[] = {
    {kInit, 8, false},
    {kOpenChannel, 17, false},
    {kCloseChannel, 10, false},
    {kCredit, 11, false},
    {kCreditRequest, 13, false},
    {kExit, 7, false},
    {kGetSocketId, 7, true},
    {kGetServiceName, 8, false},
    {kEntryCommand, 27, false},
    {kError, 10, false},
    {ReplyTo(kInit), 9, false},
    {ReplyTo(kOpenChannel), 16, false},
    {ReplyTo(kCloseChannel), 10, false},
    {ReplyTo(kCredit), 10, false},
    {ReplyTo(kCreditRequest), 12, false},
    {ReplyTo(kExit), 8, false},
    {ReplyTo(kGetSocketId), 9, true},
    {ReplyTo(kGetServiceName), 9, true},
    {ReplyTo(kEnter), 8, false},
};

constexpr const PacketLength* FindLength(std::uint8_t command) {
  for (const PacketLength& entry : kLengths) {
    if (entry.command == command) return &entry;
  }
  return nullptr;
}

constexpr std::uint32_t LengthOf(std::uint8_t command) { return FindLength(command)->length; }

static_assert(LengthOf(kInit) == 8 && LengthOf(ReplyTo(kInit)) == 9);
static_assert(LengthOf(kOpenChannel) == 17 && LengthOf(ReplyTo(kOpenChannel)) == 16);
static_assert(LengthOf(kCloseChannel) == 10 && LengthOf(ReplyTo(kCloseChannel)) == 10);
static_assert(LengthOf(kCredit) == 11 && LengthOf(ReplyTo(kCredit)) == 10);
static_assert(LengthOf(kCreditRequest) == 13 && LengthOf(ReplyTo(kCreditRequest)) == 12);
static_assert(LengthOf(kExit) == 7 && LengthOf(ReplyTo(kExit)) == 8);
static_assert(LengthOf(kGetServiceName) == 8 && LengthOf(ReplyTo(kGetServiceName)) == 9);
static_assert(LengthOf(kGetSocketId) == 7 && LengthOf(ReplyTo(kGetSocketId)) == 9);
static_assert(LengthOf(kError) == 10);
static_assert(LengthOf(kEntryCommand) == kEntryString.size());
static_assert(kEntryCommand == 0x51);
static_assert(ReplyTo(kEnter) == 0xC5);

ControlPacket PacketOf(std::uint8_t command) { return {command, LengthOf(command)}; }

ControlPacket SocketPacket(std::uint8_t command, std::uint8_t socket) {
  ControlPacket packet = PacketOf(command);
  packet.SetAt(7, socket);
  packet.SetAt(8, socket);
  return packet;
}

ControlPacket SocketReply(std::uint8_t command, std::uint8_t result, std::uint8_t socket) {
  ControlPacket packet = PacketOf(ReplyTo(command));
  packet.SetAt(7, result);
  packet.SetAt(8, socket);
  packet.SetAt(9, socket);
  return packet;
}

}  // namespace

PacketHeader LoadHeader(const std::uint8_t* from) {
  return {from[0], from[1], LoadBig16(from + 2), from[4], from[5]};
}

void StoreHeader(std::uint8_t* to, const PacketHeader& header) {
  to[0] = header.primary;
  to[1] = header.secondary;
  StoreBig16(to + 2, header.length);
  to[4] = header.credit;
  to[5] = header.control;
}

Bytes EntryString() {
  return {reinterpret_cast<const std::uint8_t*>(kEntryString.data()), kEntryString.size()};
}

ControlPacket::ControlPacket(std::uint8_t command, std::uint32_t size, std::uint8_t credit)
    : size_(size) {
  StoreHeader(bytes_.data(),
              {kControlSocket, kControlSocket, static_cast<std::uint16_t>(size), credit, 0});
  bytes_[6] = command;
}

ControlPacket::ControlPacket(Bytes received)
    : size_(static_cast<std::uint32_t>(std::min<std::size_t>(received.size(), kMaxControlSize))) {
  std::copy_n(received.begin(), size_, bytes_.begin());
}

ControlPacket InitPacket() {
  ControlPacket packet = PacketOf(kInit);
  packet.SetAt(7, kRevision);
  return packet;
}

ControlPacket OpenChannelPacket(std::uint8_t socket, std::uint16_t writeSize,
                                std::uint16_t readSize) {
  ControlPacket packet = SocketPacket(kOpenChannel, socket);
  packet.SetBig16At(9, writeSize);
  packet.SetBig16At(11, readSize);
  return packet;
}

ControlPacket CloseChannelPacket(std::uint8_t socket) {
  return SocketPacket(kCloseChannel, socket);
}

ControlPacket CreditPacket(std::uint8_t socket) {
  ControlPacket packet = SocketPacket(kCredit, socket);
  packet.SetBig16At(9, kCreditGiven);
  return packet;
}

ControlPacket CreditRequestPacket(std::uint8_t socket) {
  ControlPacket packet = SocketPacket(kCreditRequest, socket);
  packet.SetBig16At(9, kCreditAsked);
  packet.SetBig16At(11, kCreditMaximum);
  return packet;
}

ControlPacket ExitPacket() { return PacketOf(kExit); }

ControlPacket GetServiceNamePacket(std::uint8_t socket) {
  ControlPacket packet = PacketOf(kGetServiceName);
  packet.SetAt(7, socket);
  return packet;
}

ControlPacket GetSocketIdPacket(Bytes name) {
  const Bytes sent = name.first(std::min<std::size_t>(name.size(), kMaxSocketName));
  ControlPacket packet(kGetSocketId,
                       static_cast<std::uint32_t>(LengthOf(kGetSocketId) + sent.size()));
  for (std::size_t i = 0; i < sent.size(); ++i) {
    packet.SetAt(static_cast<std::uint32_t>(LengthOf(kGetSocketId) + i), sent[i]);
  }
  return packet;
}

ControlPacket ErrorPacket(std::uint8_t code) {
  ControlPacket packet(kError, LengthOf(kError), 0);
  packet.SetAt(9, code);
  return packet;
}

ControlPacket CloseChannelReply(std::uint8_t result, std::uint8_t socket) {
  return SocketReply(kCloseChannel, result, socket);
}

ControlPacket CreditReply(std::uint8_t result, std::uint8_t socket) {
  return SocketReply(kCredit, result, socket);
}

ControlPacket CreditRequestReply(std::uint8_t result, std::uint8_t socket, std::uint16_t granted) {
  ControlPacket packet = SocketReply(kCreditRequest, result, socket);
  packet.SetBig16At(10, granted);
  return packet;
}

ControlPacket ExitReply() { return PacketOf(ReplyTo(kExit)); }

OpenChannelAnswer LoadOpenChannelAnswer(const ControlPacket& reply) {
  return {reply.Big16At(10), reply.Big16At(12), reply.Big16At(14)};
}

std::uint16_t LoadCreditGranted(const ControlPacket& reply) { return reply.Big16At(10); }

std::uint8_t LoadSocketId(const ControlPacket& reply) { return reply.At(8); }

Bytes LoadServiceName(const ControlPacket& reply) { return reply.View().subspan(9); }

SocketPair LoadCommandSockets(const ControlPacket& command) {
  return {command.At(7), command.At(8)};
}

std::uint16_t LoadCommandCredit(const ControlPacket& command) { return command.Big16At(9); }

bool IsLengthOf(std::uint8_t command, std::uint32_t length) {
  const PacketLength* const entry = FindLength(command);
  if (entry == nullptr) return length >= kHeaderSize;
  return entry->orMore ? length >= entry->length : length == entry->length;
}

std::uint32_t BytesToFetch(std::uint8_t awaitedReply) {
  switch (awaitedReply) {
    case ReplyTo(kInit):
    case ReplyTo(kOpenChannel):
    case ReplyTo(kCloseChannel):
    case ReplyTo(kCredit):
    case ReplyTo(kCreditRequest):
    case ReplyTo(kExit):
    case ReplyTo(kEnter):
      return LengthOf(awaitedReply);
    default:
      return kHeaderSize;
  }
}

}  // namespace vlp
