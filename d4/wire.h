#pragma once

// The packets of the transport: built and taken apart here only. Numbers on the wire
// are big-endian. Every packet begins with the same six bytes.

#include <array>
#include <cstdint>
#include <string_view>

#include "support/bytes.h"

namespace vlp {

inline constexpr std::uint32_t kHeaderSize = 6;
inline constexpr std::uint32_t kMinControlSize = 7;   // header and command byte
inline constexpr std::uint32_t kMaxControlSize = 64;  // of all that is taken as a control packet
inline constexpr std::uint32_t kMaxPacketSize = 65535;
inline constexpr std::uint8_t kControlSocket = 0;
inline constexpr std::uint8_t kEndOfMessage = 0x01;  // bit of a data packet's control byte

struct PacketHeader {
  std::uint8_t primary = 0;
  std::uint8_t secondary = 0;  // always equal to the primary socket
  std::uint16_t length = 0;    // of the whole packet
  std::uint8_t credit = 0;     // on data: piggybacked for the channel
  std::uint8_t control = 0;
};

// Both need kHeaderSize bytes.
PacketHeader LoadHeader(const std::uint8_t* from);
void StoreHeader(std::uint8_t* to, const PacketHeader& header);

// Command bytes. A reply is its command with bit 7 set.
inline constexpr std::uint8_t kInit = 0x00;
inline constexpr std::uint8_t kOpenChannel = 0x01;
inline constexpr std::uint8_t kCloseChannel = 0x02;
inline constexpr std::uint8_t kCredit = 0x03;
inline constexpr std::uint8_t kCreditRequest = 0x04;
inline constexpr std::uint8_t kExit = 0x08;
inline constexpr std::uint8_t kGetSocketId = 0x09;
inline constexpr std::uint8_t kGetServiceName = 0x0A;
inline constexpr std::uint8_t kEnter = 0x45;  // the entry string, by its reply
inline constexpr std::uint8_t kError = 0x7F;
inline constexpr std::uint8_t kReplyBit = 0x80;

constexpr std::uint8_t ReplyTo(std::uint8_t command) {
  return static_cast<std::uint8_t>(command | kReplyBit);
}

// Switches the device to packet mode: five bytes and a job-language text. Read as a
// packet its command byte is kEntryCommand.
inline constexpr std::string_view kEntryString("\x00\x00\x00\x1B\x01@QPL 1284.4\n@QPL\n@QPL\n", 27);
static_assert(kEntryString.size() == 0x1B);
inline constexpr std::uint8_t kEntryCommand = static_cast<std::uint8_t>(kEntryString[kHeaderSize]);
Bytes EntryString();

// A control packet of either side, with room for the longest.
class ControlPacket {
 public:
  ControlPacket() = default;
  // Of a header and `size` bytes in all; bytes behind the command are 0.
  ControlPacket(std::uint8_t command, std::uint32_t size, std::uint8_t credit = 1);
  // Of received bytes, cut to kMaxControlSize.
  explicit ControlPacket(Bytes received);

  std::uint8_t Command() const { return bytes_[6]; }
  std::uint8_t Result() const { return bytes_[7]; }  // of a reply
  std::uint32_t Size() const { return size_; }
  Bytes View() const { return {bytes_.data(), size_}; }

  std::uint8_t At(std::uint32_t offset) const { return bytes_[offset]; }
  std::uint16_t Big16At(std::uint32_t offset) const { return LoadBig16(bytes_.data() + offset); }
  void SetAt(std::uint32_t offset, std::uint8_t value) { bytes_[offset] = value; }
  void SetBig16At(std::uint32_t offset, std::uint16_t value) {
    StoreBig16(bytes_.data() + offset, value);
  }

 private:
  std::array<std::uint8_t, kMaxControlSize> bytes_{};
  std::uint32_t size_ = 0;
};

// What the engine sends.
ControlPacket InitPacket();
ControlPacket OpenChannelPacket(std::uint8_t socket, std::uint16_t writeSize,
                                std::uint16_t readSize);
ControlPacket CloseChannelPacket(std::uint8_t socket);
ControlPacket CreditPacket(std::uint8_t socket);
ControlPacket CreditRequestPacket(std::uint8_t socket);
ControlPacket ExitPacket();
ControlPacket GetServiceNamePacket(std::uint8_t socket);
inline constexpr std::uint32_t kMaxSocketName = kMaxControlSize - kMinControlSize;
ControlPacket GetSocketIdPacket(Bytes name);  // of at most kMaxSocketName bytes
ControlPacket ErrorPacket(std::uint8_t code);

// Answers to the device's commands.
ControlPacket CloseChannelReply(std::uint8_t result, std::uint8_t socket);
ControlPacket CreditReply(std::uint8_t result, std::uint8_t socket);
ControlPacket CreditRequestReply(std::uint8_t result, std::uint8_t socket, std::uint16_t granted);
ControlPacket ExitReply();

// Fields of what the device sends, whose length was found right before.
struct OpenChannelAnswer {
  std::uint16_t writePacketSize = 0;
  std::uint16_t readPacketSize = 0;
  std::uint16_t credit = 0;
};
OpenChannelAnswer LoadOpenChannelAnswer(const ControlPacket& reply);
std::uint16_t LoadCreditGranted(const ControlPacket& reply);
std::uint8_t LoadSocketId(const ControlPacket& reply);
Bytes LoadServiceName(const ControlPacket& reply);

struct SocketPair {
  std::uint8_t primary = 0;
  std::uint8_t secondary = 0;
};
SocketPair LoadCommandSockets(const ControlPacket& command);
std::uint16_t LoadCommandCredit(const ControlPacket& command);

// Whether a control packet of this command may have this length.
bool IsLengthOf(std::uint8_t command, std::uint32_t length);

// Bytes to ask the port for at first when this reply is awaited, 0 for none: the whole
// reply, so that it costs one read.
std::uint32_t BytesToFetch(std::uint8_t awaitedReply);

}  // namespace vlp
