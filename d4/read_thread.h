#pragma once

// The thread of a link that alone reads its port, while somebody awaits a reply or data.

#include <array>
#include <cstdint>

#include "d4/state.h"

namespace vlp {

// The thread's body: runs until it is told to stop. After a result that ends the link
// it reads no more and stays, so that every later call learns of it. Always 0.
DWORD ReadThread(XdltLink& link) noexcept;

// A packet as it was taken off the port, whole.
struct ReceivedPacket {
  PacketHeader header;
  ControlPacket control;  // on kControlSocket, header included
  VirtualMemory payload;  // on every other: length - kHeaderSize bytes
};

class PacketReader {
 public:
  explicit PacketReader(XdltLink& link) : link_(link) {}

  // Under the port's lock: reads what is there, at first `wanted` bytes of at most
  // kMaxCarry, and takes one packet. Above 0: there is one; 0 to -49: nothing came.
  std::int32_t Take(std::uint32_t wanted, ReceivedPacket* packet);

 private:
  std::int32_t Fill(std::uint32_t wanted);
  std::int32_t TakeControl(ReceivedPacket* packet);
  std::int32_t TakeData(ReceivedPacket* packet);
  // Moves the first bytes of the next packet out of what was read already, then reads
  // the rest of them. False if not all came.
  bool Collect(std::uint8_t* to, std::uint32_t count);

  static constexpr std::uint32_t kMaxCarry = 16;

  XdltLink& link_;
  // Read already and not yet taken: a fetch may reach into the packet behind.
  std::array<std::uint8_t, kMaxCarry> carry_{};
  std::uint32_t carried_ = 0;
};

// Answers a command, or hands a reply to its waiter. Above 0, or a result.
std::int32_t HandleControl(XdltLink& link, const ControlPacket& packet);

// Stores a data packet's payload. 0 for a packet of a channel that is closing, which is
// dropped.
std::int32_t HandleData(XdltLink& link, const ReceivedPacket& packet);

}  // namespace vlp
