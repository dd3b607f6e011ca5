#pragma once

// The D4 engine: the IEEE 1284.4 packet transport over a port that its owner supplies.
//
// A link runs over one port; on it stand channels, each named by its socket number. Up
// to kMaxLinks links exist at once in a process. Any thread may call; one public
// operation at a time is inside a link, the others wait for it up to kGateLimitMs. An
// open link has a thread of its own, which reads the port only while somebody awaits a
// reply or data. Results are those of xdlt_codes.h. Nothing throws.
//
// A link pointer is never dereferenced before it was found in the engine's table, so a
// stale one is answered with XDLT_ERR_NOLINK. It isn't told from a later link in the
// same record: who closes a link must forget its pointer.

#include <cstdint>

#include "d4/xdlt_codes.h"

namespace vlp {

struct DbgLog;
struct XdltLink;

// Names a port to the engine and is handed to the port's functions; 0 is none.
using XdltPortHandle = std::uint64_t;

// Longest waits, in ms.
inline constexpr std::uint32_t kGateLimitMs = 60000;     // to get into a link
inline constexpr std::uint32_t kControlLimitMs = 11000;  // for another control transaction
inline constexpr std::uint32_t kReplyLimitMs = 11000;    // for the device's reply
inline constexpr std::uint32_t kDataLimitMs = 11000;     // for the read thread in a size query
inline constexpr std::uint32_t kBufferLimitMs = 11000;   // for a channel's receive buffer
inline constexpr std::uint32_t kBodyLimitMs = 11000;     // for the rest of a packet

inline constexpr std::uint32_t kMaxLinks = 16;

// How the engine reaches a port. The caller owns it; it must outlive the link.
struct XdltPortOps {
  std::uint32_t keepPriority = 0;   // 0: the opening thread runs at highest priority until the
                                    // link's end; else priorities stay
  std::uint32_t skipDummyRead = 0;  // else old input of the port is thrown away at open
  void* reserved[2] = {};

  // Both return non-zero for success and block for as long as the port does. `written`
  // receives the bytes taken; `got` the bytes delivered, at most `capacity`, maybe 0.
  std::uint32_t (*write)(XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                         std::uint32_t* written) = nullptr;
  std::uint32_t (*read)(XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                        std::uint32_t* got) = nullptr;
};

inline constexpr std::uint32_t kSetPlainWait = 1;
inline constexpr std::uint32_t kSetRetryTiming = 2;
inline constexpr std::uint32_t kAskPacketSizes = 3;

struct XdltParameters {
  std::uint32_t kind = 0;             // one of the three above
  std::uint32_t timing = 0;           // ms; kSetPlainWait, kSetRetryTiming
  std::uint32_t mode = 0;             // kSetRetryTiming: else than 0 makes the wait double
  std::uint32_t maximum = 0;          // ms; kSetRetryTiming: ceiling of the doubling
  std::uint8_t socket = 0;            // kAskPacketSizes: the channel
  std::uint16_t writePacketSize = 0;  // kAskPacketSizes, out: header included, 0 for no channel
  std::uint16_t readPacketSize = 0;   // the same, towards the host
};

// Counts one user of the engine; the first builds the link table. The first log that
// isn't null is where all links trace; it must live until XdltForgetLog names it or
// until the last user is gone. Always 1: an engine that found no memory refuses to open.
std::int32_t XdltInitialize(DbgLog* log) noexcept;

// Counts one user down. The last one's going stops every read thread, waiting up to
// five seconds for each, and gives the table back, unless a call is still inside.
void XdltUninitialize() noexcept;

// Ends tracing into this log; no trace is under way in it when the call returns.
void XdltForgetLog(const DbgLog* log) noexcept;

// True while a link names this port: its functions may still be called.
bool XdltPortIsInUse(XdltPortHandle port) noexcept;

// Switches the device to packet mode and opens a link. The link is stored on success
// only. One attempt; each of its two replies is waited for up to kReplyLimitMs.
std::int32_t XDLT_Open(XdltPortHandle portHandle, XdltPortOps* portOps,
                       XdltLink** linkOut) noexcept;

// Tells the device, ends the read thread, waiting for the port's read under way, and frees
// the link. Channels should be closed before: each one left costs kGateLimitMs.
std::int32_t XDLT_Close(XdltLink* link) noexcept;

// Takes effect at once, without waiting for the link. A bad link or kind does nothing.
void XDLT_SetParameters(XdltLink* link, XdltParameters* parameters) noexcept;

// Sockets 1 to 254. The sizes agreed on are had by kAskPacketSizes.
std::int32_t XDLT_OpenChannel(XdltLink* link, std::uint8_t socket) noexcept;

// The channel is gone whatever the device answered, and what it held is lost.
std::int32_t XDLT_CloseChannel(XdltLink* link, std::uint8_t socket) noexcept;

// Sends `*countInOut` bytes as one message; on return it is the count sent, also on
// failure, and the result is that count or negative. XDLT_ERR_NOT_READY: the device
// gave no credit; one back-off was slept. On sockets 0x21 and 0x22 the last byte is no
// data: its bit 0 is the end-of-message flag, and it counts as sent.
std::int32_t XDLT_Write(XdltLink* link, std::uint8_t socket, const std::uint8_t* bytes,
                        std::uint32_t* countInOut) noexcept;

// Without a buffer: lets the device send and returns how many bytes wait, which may be
// 0. With one: copies what waits, at most `*countInOut` bytes, and never blocks for the
// device. The result is the count or negative. On sockets 0x21 and 0x22 one byte more
// comes last: 1 if the message is complete, 0 if more follows.
std::int32_t XDLT_Read(XdltLink* link, std::uint8_t socket, std::uint8_t* buffer,
                       std::uint32_t* countInOut) noexcept;

// Waits `ms` more finely than the scheduler does if below 16 and an event is given. The
// result is 0 after a sleep, else that of the wait on the event; the time is over in either
// case. At least 1 ms passes.
std::uint32_t XdltWaitMs(void* event, std::uint32_t ms) noexcept;

}  // namespace vlp
