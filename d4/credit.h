#pragma once

// The packets that each side of a channel may still send.

#include <cstdint>

#include "d4/state.h"

namespace vlp {

inline constexpr std::int32_t kMaxSendCredit = 0xFFFF;

// Adds to what may be sent. XDLT_ERR_CREDIT_RANGE, and nothing is added, if the sum
// would pass kMaxSendCredit.
std::int32_t AddSendCredit(XdltChannel& channel, std::uint32_t credit);

// Adds to what the device may send, up to the largest number.
void AddGrantedCredit(XdltChannel& channel, std::uint32_t credit);

// Whole payloads that the receive buffer has room for; the low 16 bits of their
// number, so that a buffer of 65536 payloads counts as full.
std::uint16_t RoomInPackets(const XdltChannel& channel);

// The credit byte of the next data packet.
std::uint8_t PiggybackedCredit(const XdltChannel& channel);

}  // namespace vlp
