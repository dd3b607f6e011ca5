#pragma once

// The engine's records: one table of links for the process, and what a link and a channel
// hold. Who may touch what stands with each member.

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "d4/wire.h"
#include "d4/xdlt.h"
#include "support/critical_section.h"
#include "support/handles.h"

namespace vlp {

// Link states. Only kLinkOpen lets port transfers pass.
inline constexpr std::uint32_t kLinkFree = 0;  // or opening, before the first byte
inline constexpr std::uint32_t kLinkOpen = 1;
inline constexpr std::uint32_t kLinkClosed = 2;  // closing, or closed by the device
inline constexpr std::uint32_t kLinkLost = 3;

inline constexpr std::uint8_t kChannelOpen = 0;
inline constexpr std::uint8_t kChannelClosedByPeer = 1;
inline constexpr std::uint8_t kChannelClosing = 2;

inline constexpr std::uint32_t kThreadNone = 0;
inline constexpr std::uint32_t kThreadRun = 1;
inline constexpr std::uint32_t kThreadStop = 2;

inline constexpr std::uint8_t kSocketCommand = 0x02;
inline constexpr std::uint8_t kSocketControl = 0x40;
inline constexpr std::uint8_t kSocketPrint = 0x50;
inline constexpr std::uint8_t kSocketEomA = 0x21;
inline constexpr std::uint8_t kSocketEomB = 0x22;

// On these the last byte of a write or read is the end-of-message flag.
constexpr bool IsFlagSocket(std::uint8_t socket) {
  return socket == kSocketEomA || socket == kSocketEomB;
}

struct XdltChannel {
  // Final after opening.
  std::uint8_t socket = 0;
  std::uint16_t writePacketSize = 0;  // towards the device, header included; 0: no writing
  std::uint16_t readPacketSize = 0;
  std::uint32_t maxWritePacket = 0;  // where a write is split
  std::uint32_t rxSize = 0;
  KernelHandle bufferEvent;  // lock of the receive buffer; signalled: free

  std::atomic<std::uint8_t> state{kChannelOpen};
  std::atomic<std::uint8_t> users{0};  // data calls now inside

  // Changed by callers and by the read thread.
  std::atomic<std::int32_t> sendCredit{0};     // packets that may still be sent
  std::atomic<std::int32_t> grantedCredit{0};  // packets that the device may still send

  VirtualMemory writeBuffer;  // one packet under construction; under the link's gate

  // Changed under bufferEvent. The two offsets are also read without it, by who only
  // wants to know whether there is something.
  VirtualMemory rxBuffer;
  std::atomic<std::uint32_t> rxHead{0};  // the first unread byte
  std::atomic<std::uint32_t> rxTail{0};  // behind the last byte
  std::uint32_t lastEom = 0;             // flag sockets: the newest packet ended a message
};

using ChannelPointer = std::shared_ptr<XdltChannel>;

struct XdltLink {
  // Live as long as the engine.
  KernelHandle gateEvent;        // signalled: nobody is inside the link
  CriticalSection insideLock;    // taken behind the gate, which a close opens more than once
  CriticalSection portLock;      // one transfer at a time; a header and its body together
  CriticalSection waitersLock;   // a leaf: a time-out and a delivery never both happen
  CriticalSection channelsLock;  // a leaf: guards the list, not the channels

  // Changed under the engine's tableLock, looked at also without it.
  std::atomic<XdltPortHandle> portHandle{0};  // 0: the record is free
  std::atomic<bool> barred{false};            // nobody may enter: not open yet, or closing
  bool ending = false;                        // somebody has claimed its end
  std::atomic<std::uint32_t> callers{0};      // counted down anywhere

  // Set before portHandle, cleared after the read thread's end.
  XdltPortOps* portOps = nullptr;
  KernelHandle readThread;
  HMODULE readModule = nullptr;  // the reference that the thread gives back
  KernelHandle wakeEvent;        // wakes the read thread
  KernelHandle controlEvent;     // signalled: no control transaction is under way
  KernelHandle replyEvent;       // the awaited reply stands in `reply`, or won't come
  KernelHandle dataEvent;        // the awaited channel has news
  KernelHandle spareEvent;       // made with the others; of no use

  std::atomic<std::uint32_t> state{kLinkFree};
  std::atomic<std::uint32_t> threadCommand{kThreadNone};
  std::atomic<std::int32_t> readStatus{0};  // the result at which reading ended, or 0

  // Changed under waitersLock, but for the setting of awaitedReply, which is under
  // portLock with the write that asks for it. 0: nobody waits.
  std::atomic<std::uint8_t> awaitedReply{0};
  std::atomic<std::uint8_t> waitSocket{0};
  ControlPacket reply;

  std::vector<ChannelPointer> channels VLP_GUARDED_BY(channelsLock);  // oldest first

  std::uint32_t controlWriteSize = 0;  // for kSocketControl: 0 default, 1 to 5 none

  // Set without a gate at any time.
  std::atomic<std::uint32_t> creditWait{0};      // ms, after the next refused credit
  std::atomic<std::uint32_t> creditWaitBase{0};  // ms, where it begins again
  std::atomic<std::uint32_t> creditBackoff{0};   // 1: it doubles at each refusal
  std::atomic<std::uint32_t> creditWaitMax{0};   // ms
};

// What is made and closed with each link.
inline std::array<KernelHandle*, 5> EventsOf(XdltLink& link) {
  return {&link.wakeEvent, &link.controlEvent, &link.replyEvent, &link.dataEvent, &link.spareEvent};
}

struct Engine {
  Engine();

  CriticalSection tableLock;  // which records are free, and who may enter them
  bool ending = false;        // under tableLock: no link is opened or entered any more
  bool abandoned = false;     // somebody may still be inside: nothing of it may be freed
  bool killed = false;        // a read thread was: its locks may never come free
  Engine* nextAbandoned = nullptr;
  std::array<XdltLink, kMaxLinks> links;

  CriticalSection traceLock;  // held through a line, so that a log can be taken away
  DbgLog* traceLog VLP_GUARDED_BY(traceLock) = nullptr;

  std::int64_t perfFrequency = 0;  // final; counts a second, 0: no counter
  std::uint32_t wPeriodMin = 0;    // final; ms, as the system's timers tell it
  std::uint32_t wPeriodMax = 0;
  std::atomic<std::int32_t> savedPriority{0};  // of the thread that opened last
  std::atomic<std::int32_t> raisedPriority{0};
};

// Keeps the engine in being for one operation, whoever uninitialises it meanwhile.
class EngineUse {
 public:
  EngineUse() noexcept;
  ~EngineUse();
  EngineUse(const EngineUse&) = delete;
  EngineUse& operator=(const EngineUse&) = delete;

  Engine* Get() const { return engine_; }  // null: not initialised

 private:
  Engine* engine_;
};

// The record's index, XDLT_ERR_PARAM for null, XDLT_ERR_NOLINK for what is no link.
std::int32_t XdltCheckLink(const XdltLink* link) noexcept;
std::int32_t XdltCheckLink(Engine* engine, const XdltLink* link) noexcept;

// Claims the end of a link that nobody is inside. True for one caller only.
bool ClaimEnd(Engine& engine, XdltLink& link);

// Milliseconds that the system's timers are asked for; 1 until initialised.
std::uint32_t TimerResolution() noexcept;

// The channel of this socket, or null. Stays alive for as long as it is held.
ChannelPointer FindChannel(XdltLink& link, std::uint8_t socket);
void RemoveChannel(XdltLink& link, const ChannelPointer& channel);

// What a thread leaves of a link's own things: events, channels and the words that
// name it. The record is free then.
void FreeLinkRecord(Engine& engine, XdltLink& link);

}  // namespace vlp
