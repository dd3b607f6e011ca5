// Takes packets off the port.

#include <algorithm>

#include "d4/port_read.h"
#include "d4/read_thread.h"

namespace vlp {

std::int32_t PacketReader::Fill(std::uint32_t wanted) {
  if (carried_ >= wanted) return static_cast<std::int32_t>(carried_);
  std::uint32_t got = 0;
  const std::int32_t read = XdltReadHead(link_, carry_.data() + carried_, wanted - carried_, &got);
  const bool first = carried_ == 0;
  carried_ += got;
  return first ? read : static_cast<std::int32_t>(carried_);
}

std::int32_t PacketReader::Take(std::uint32_t wanted, ReceivedPacket* packet) {
  const std::int32_t filled = Fill(std::min(wanted, kMaxCarry));
  if (filled <= 0) return filled;
  if (carried_ < kHeaderSize) return XDLT_ERR_SHORT_READ;
  packet->header = LoadHeader(carry_.data());
  if (packet->header.primary != packet->header.secondary) return XDLT_ERR_MALFORMED;
  return packet->header.primary == kControlSocket ? TakeControl(packet) : TakeData(packet);
}

std::int32_t PacketReader::TakeControl(ReceivedPacket* packet) {
  const std::uint32_t length = packet->header.length;
  if (length < kMinControlSize || length > kMaxControlSize) return XDLT_ERR_MALFORMED;
  std::array<std::uint8_t, kMaxControlSize> bytes{};
  if (!Collect(bytes.data(), length)) return XDLT_ERR_MALFORMED;
  packet->control = ControlPacket(Bytes(bytes.data(), length));
  return static_cast<std::int32_t>(length);
}

std::int32_t PacketReader::TakeData(ReceivedPacket* packet) {
  if (packet->header.length < kHeaderSize) return XDLT_ERR_MALFORMED;
  const std::uint32_t payload = packet->header.length - kHeaderSize;
  if (payload == 0) return XDLT_ERR_SHORT_READ;
  packet->payload = AllocateVirtual(payload);
  if (!packet->payload) return XDLT_ERR_NO_MEMORY;
  std::array<std::uint8_t, kHeaderSize> header{};
  Collect(header.data(), kHeaderSize);
  if (!Collect(packet->payload.Get(), payload)) return XDLT_ERR_MALFORMED;
  return packet->header.length;
}

bool PacketReader::Collect(std::uint8_t* to, std::uint32_t count) {
  const std::uint32_t held = std::min(count, carried_);
  std::copy_n(carry_.begin(), held, to);
  std::copy(carry_.begin() + held, carry_.begin() + carried_, carry_.begin());
  carried_ -= held;
  if (held == count) return true;
  std::uint32_t got = 0;
  const std::uint32_t missing = count - held;
  return XdltReadBody(link_, to + held, missing, &got) >= 0 && got == missing;
}

}  // namespace vlp
