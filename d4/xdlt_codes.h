#pragma once

// Results of the D4 engine. 0 and above is success. A result of kXdltLinkLost or lower
// means that the link is of no use any more. -1 to -13 repeat, negated, the result byte
// of a reply of the device.

#include <cstdint>

namespace vlp {

inline constexpr std::int32_t XDLT_ERR_PARAM = -20;        // a bad argument
inline constexpr std::int32_t XDLT_ERR_RESOURCE = -21;     // no memory, event or thread
inline constexpr std::int32_t XDLT_ERR_NOLINK = -22;       // no link of the table, or a free one
inline constexpr std::int32_t XDLT_ERR_PORT_IN_USE = -23;  // this port has a link already
inline constexpr std::int32_t XDLT_ERR_NOCHANNEL = -24;    // no such channel, or closed by the peer
inline constexpr std::int32_t XDLT_ERR_CHANNEL_OPEN = -25;  // the channel is open already
inline constexpr std::int32_t XDLT_ERR_LINK_LOST = -26;     // the link was freed under a write
inline constexpr std::int32_t XDLT_ERR_TABLE_FULL = -27;    // all links of the table are in use
inline constexpr std::int32_t XDLT_ERR_BAD_SIZE = -28;      // packet sizes that carry no data
inline constexpr std::int32_t XDLT_ERR_CREDIT_RANGE = -29;  // credit given would pass 65535
inline constexpr std::int32_t XDLT_ERR_CTRL_BUSY = -30;     // no control gate within its limit
inline constexpr std::int32_t XDLT_ERR_PORT_WRITE = -31;    // the port's write failed
inline constexpr std::int32_t XDLT_ERR_PORT_READ = -32;     // the port's read failed
inline constexpr std::int32_t XDLT_ERR_NOT_READY = -33;     // not open, no buffer, or no credit yet
inline constexpr std::int32_t XDLT_ERR_GATE_TIMEOUT = -34;  // no link gate within its limit

inline constexpr std::int32_t kXdltLinkLost = -50;
inline constexpr std::int32_t XDLT_ERR_ENTRY_WRITE = -50;     // entry string not written whole
inline constexpr std::int32_t XDLT_ERR_PEER_ERROR = -51;      // the device sent an Error packet
inline constexpr std::int32_t XDLT_ERR_ENTRY_REFUSED = -52;   // the device refused packet mode
inline constexpr std::int32_t XDLT_ERR_LINK_DOWN = -53;       // transfers are over on this link
inline constexpr std::int32_t XDLT_ERR_NO_MEMORY = -54;       // no room for a packet's payload
inline constexpr std::int32_t XDLT_ERR_REPLY_TIMEOUT = -55;   // no reply within its limit
inline constexpr std::int32_t XDLT_ERR_BUFFER_TIMEOUT = -56;  // receive buffer held for too long
inline constexpr std::int32_t XDLT_ERR_SHORT_WRITE = -61;     // the port took fewer bytes
inline constexpr std::int32_t XDLT_ERR_SHORT_READ = -62;      // half a header, or data of no bytes

// Breaches of the protocol by the device, which is told of them by an Error packet.
inline constexpr std::int32_t XDLT_ERR_MALFORMED = -80;
inline constexpr std::int32_t XDLT_ERR_NO_CREDIT = -81;         // data without credit
inline constexpr std::int32_t XDLT_ERR_UNEXPECTED_REPLY = -82;  // a reply that nobody awaits
inline constexpr std::int32_t XDLT_ERR_TOO_BIG = -83;           // longer than the channel's packets
inline constexpr std::int32_t XDLT_ERR_UNKNOWN_CHANNEL = -84;   // data for a socket not open
inline constexpr std::int32_t XDLT_ERR_BAD_RESULT = -85;        // a result byte that isn't known
inline constexpr std::int32_t XDLT_ERR_CREDIT_OVERFLOW = -86;   // piggybacked credit passes 65535
inline constexpr std::int32_t XDLT_ERR_BAD_COMMAND = -87;       // an unknown reply

// Whether the result ends the link.
constexpr bool IsLinkLost(std::int32_t result) { return result <= kXdltLinkLost; }

}  // namespace vlp
