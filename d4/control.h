#pragma once

// The one door to the port's write, and control transactions: one command and its
// reply at a time. The caller of a transaction holds the link's gate.

#include <cstdint>

#include "d4/state.h"

namespace vlp {

// What a complete write brings with it, before the device's answer can be read.
struct OnWritten {
  std::uint8_t awaitedReply = 0;   // asked for by the packet; 0: none
  XdltChannel* channel = nullptr;  // whose credit changes, null for none
  std::uint32_t granted = 0;       // packets more that the device may send
  std::int32_t spent = 0;          // packets fewer that may be sent to it
  bool closesLink = false;         // nothing may be written behind it
};

// Whether a packet still may go when the port is free for it.
struct OnlyWhileOpen {
  const XdltChannel* channel = nullptr;  // null: in any case
};

// An open link becomes a closed one; a lost one stays lost.
void CloseByDevice(XdltLink& link);

// Writes one packet under the port's lock. Its size, or XDLT_ERR_LINK_DOWN,
// XDLT_ERR_PORT_WRITE or XDLT_ERR_SHORT_WRITE; XDLT_ERR_NOCHANNEL if the device closed
// the channel that it belongs to. Blocks as the port does, and while the read thread is in
// a read.
std::int32_t XdltPortWrite(XdltLink& link, Bytes packet, const OnWritten& then = {},
                           OnlyWhileOpen only = {});

// One transaction: waits for the control gate, writes, waits for the reply. 0 and the
// reply; XDLT_ERR_CTRL_BUSY; the write's result; XDLT_ERR_REPLY_TIMEOUT; or the result
// at which reading ended.
std::int32_t Transact(XdltLink& link, const ControlPacket& packet, ControlPacket* reply,
                      OnWritten then = {}, OnlyWhileOpen only = {});

// Each sends its packet and gives 0 or more, or a result: that of the transaction, the
// reply's own code negated, or XDLT_ERR_BAD_RESULT.
std::int32_t XdltSendInit(XdltLink& link);
// Lowers the sizes to what the device answers; gives the initial credit.
std::int32_t XdltSendOpenChannel(XdltLink& link, std::uint8_t socket, std::uint16_t* writeSize,
                                 std::uint16_t* readSize);
std::int32_t XdltSendCloseChannel(XdltLink& link, std::uint8_t socket);
// Grants one packet on the channel, as soon as the packet is written.
std::int32_t XdltSendCredit(XdltLink& link, XdltChannel& channel);
std::int32_t XdltSendCreditRequest(XdltLink& link, std::uint8_t socket);  // the credit given
std::int32_t XdltSendExit(XdltLink& link);                                // any reply will do
// A name of up to kMaxSocketName bytes, else XDLT_ERR_PARAM.
std::int32_t XdltSendGetSocketId(XdltLink& link, const char* name, std::uint32_t count,
                                 std::uint8_t* socketOut);
// The count copied, at most `capacity`.
std::int32_t XdltSendGetServiceName(XdltLink& link, std::uint8_t socket, std::uint8_t* buffer,
                                    std::uint32_t capacity);

// Waits for nothing.
std::int32_t XdltSendError(XdltLink& link, std::uint8_t code);

}  // namespace vlp
