#include "d4/credit.h"

#include <limits>

namespace vlp {

std::int32_t AddSendCredit(XdltChannel& channel, std::uint32_t credit) {
  if (credit == 0) return 0;
  std::int32_t held = channel.sendCredit.load();
  std::int64_t sum = 0;
  do {
    sum = std::int64_t{held} + credit;
    if (sum > kMaxSendCredit) return XDLT_ERR_CREDIT_RANGE;
  } while (!channel.sendCredit.compare_exchange_weak(held, static_cast<std::int32_t>(sum)));
  return 0;
}

void AddGrantedCredit(XdltChannel& channel, std::uint32_t credit) {
  std::int32_t given = channel.grantedCredit.load();
  std::int32_t next = 0;
  do {
    const std::int64_t sum = std::int64_t{given} + credit;
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    next = sum > kMost ? kMost : static_cast<std::int32_t>(sum);
  } while (!channel.grantedCredit.compare_exchange_weak(given, next));
}

std::uint16_t RoomInPackets(const XdltChannel& channel) {
  if (channel.readPacketSize <= kHeaderSize) return 0;
  const std::uint32_t payload = channel.readPacketSize - kHeaderSize;
  const std::uint32_t room = channel.rxHead.load() - channel.rxTail.load() + channel.rxSize;
  return static_cast<std::uint16_t>(room / payload);
}

std::uint8_t PiggybackedCredit(const XdltChannel& channel) {
  if (channel.socket != kSocketPrint) return 0;
  const std::int32_t room = RoomInPackets(channel);
  const std::int32_t given = channel.grantedCredit.load();
  if (room > 0xFF || room <= given) return 0;
  return static_cast<std::uint8_t>(room - given);
}

}  // namespace vlp
