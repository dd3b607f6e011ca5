#pragma once

// The least that a device can be: it answers what the engine asks, from memory and at
// once, checks nothing, and counts the calls that reach it.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "d4/wire.h"
#include "d4/xdlt.h"
#include "support/critical_section.h"

namespace bench {

// One data packet as a device sends it: `size` bytes with its header.
inline std::vector<std::uint8_t> DataPacket(std::uint8_t socket, std::uint32_t size) {
  std::vector<std::uint8_t> packet(size, 0x55);
  vlp::StoreHeader(packet.data(), {socket, socket, static_cast<std::uint16_t>(size), 0, 1});
  return packet;
}

// What it answers to one packet of the engine; empty to data.
inline std::vector<std::uint8_t> AnswerTo(vlp::Bytes packet, std::uint16_t packet_size) {
  if (packet[0] != 0) return {};
  const std::uint8_t command = packet[6];
  const std::uint8_t socket = packet.size() > 7 ? packet[7] : std::uint8_t{0};
  const auto size_high = static_cast<std::uint8_t>(packet_size >> 8);
  const auto size_low = static_cast<std::uint8_t>(packet_size);
  switch (command) {
    case vlp::kInit:
      return {0, 0, 0, 9, 1, 0, 0x80, 0, 0x10};
    case vlp::kOpenChannel:
      return {0,      0,      0,         16,       1,         0,        0x81, 0,
              socket, socket, size_high, size_low, size_high, size_low, 0xFF, 0xFF};
    case vlp::kCloseChannel:
      return {0, 0, 0, 10, 1, 0, 0x82, 0, socket, socket};
    case vlp::kCredit:
      return {0, 0, 0, 10, 1, 0, 0x83, 0, socket, socket};
    case vlp::kCreditRequest:
      return {0, 0, 0, 12, 1, 0, 0x84, 0, socket, socket, 0x7F, 0xFF};
    case vlp::kExit:
      return {0, 0, 0, 8, 1, 0, 0x88, 0};
    default:
      return {0, 0, 0, 8, 1, 0, 0xC5, 0};
  }
}

class MemoryPort {
 public:
  explicit MemoryPort(std::uint16_t packet_size) : packet_size_(packet_size) {
    ops_.keepPriority = 1;
    ops_.write = [](vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                    std::uint32_t* written) {
      reinterpret_cast<MemoryPort*>(port)->Write({bytes, count});
      *written = count;
      return std::uint32_t{1};
    };
    ops_.read = [](vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                   std::uint32_t* got) {
      *got = reinterpret_cast<MemoryPort*>(port)->Read(buffer, capacity);
      return std::uint32_t{1};
    };
  }

  vlp::XdltPortHandle Handle() { return reinterpret_cast<std::uintptr_t>(this); }
  vlp::XdltPortOps* Ops() { return &ops_; }

  // Sends this packet behind the answer to each Credit command.
  void SendOnCredit(std::vector<std::uint8_t> packet) { on_credit_ = std::move(packet); }

  std::uint64_t writes = 0;
  std::uint64_t reads = 0;

 private:
  void Write(vlp::Bytes packet) {
    const vlp::LockGuard guard(lock_);
    ++writes;
    if (packet[0] != 0) std::memcpy(sink_, packet.data(), packet.size());
    Queue(AnswerTo(packet, packet_size_));
    if (packet[0] == 0 && packet[6] == vlp::kCredit) Queue(on_credit_);
  }

  void Queue(const std::vector<std::uint8_t>& bytes) {
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
  }

  std::uint32_t Read(std::uint8_t* buffer, std::uint32_t capacity) {
    const vlp::LockGuard guard(lock_);
    ++reads;
    const auto count =
        std::min<std::uint32_t>(capacity, static_cast<std::uint32_t>(waiting_.size() - position_));
    std::memcpy(buffer, waiting_.data() + position_, count);
    position_ += count;
    if (position_ == waiting_.size()) {
      waiting_.clear();
      position_ = 0;
    }
    return count;
  }

  vlp::CriticalSection lock_;
  vlp::XdltPortOps ops_;
  std::uint16_t packet_size_;
  std::vector<std::uint8_t> on_credit_;
  std::vector<std::uint8_t> waiting_;
  std::size_t position_ = 0;
  std::uint8_t sink_[0x10000] = {};
};

}  // namespace bench
