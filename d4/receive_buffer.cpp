#include "d4/receive_buffer.h"

#include <algorithm>
#include <cstring>

#include "support/waits.h"

namespace vlp {
namespace {

// Moves what waits to the start of the buffer.
void Compact(XdltChannel& channel) {
  const std::uint32_t waiting = WaitingBytes(channel);
  std::memmove(channel.rxBuffer.Get(), channel.rxBuffer.Get() + channel.rxHead.load(), waiting);
  channel.rxHead.store(0);
  channel.rxTail.store(waiting);
}

}  // namespace

BufferHold::BufferHold(const XdltChannel& channel)
    : event_(channel.bufferEvent.Get()), held_(IsSignalled(event_, kBufferLimitMs)) {}

BufferHold::~BufferHold() {
  if (held_) Signal(event_);
}

std::uint32_t WaitingBytes(const XdltChannel& channel) {
  return channel.rxTail.load() - channel.rxHead.load();
}

bool StorePayload(XdltChannel& channel, Bytes payload) {
  const std::uint32_t tail = channel.rxTail.load();
  if (payload.size() > channel.rxSize - tail) return false;
  std::copy(payload.begin(), payload.end(), channel.rxBuffer.Get() + tail);
  channel.rxTail.store(tail + static_cast<std::uint32_t>(payload.size()));
  return true;
}

std::uint32_t FetchBytes(XdltChannel& channel, std::uint8_t* to, std::uint32_t capacity) {
  const bool flagged = IsFlagSocket(channel.socket);
  const std::uint32_t room = flagged ? capacity - 1 : capacity;
  const std::uint32_t taken = std::min(WaitingBytes(channel), room);
  std::copy_n(channel.rxBuffer.Get() + channel.rxHead.load(), taken, to);
  channel.rxHead += taken;
  Compact(channel);
  if (!flagged) return taken;
  const bool complete = WaitingBytes(channel) == 0 && channel.lastEom != 0;
  to[taken] = complete ? std::uint8_t{1} : std::uint8_t{0};
  return taken + 1;
}

}  // namespace vlp
