// XDLT_Open: a record of the table, packet mode, the read thread, Init.

#include <algorithm>
#include <cstdio>

#include "d4/control.h"
#include "d4/link.h"
#include "d4/trace.h"
#include "d4/waiters.h"
#include "support/waits.h"

namespace vlp {
namespace {

constexpr std::uint32_t kDummyReadSize = 1024;
constexpr std::uint32_t kDefaultCreditWaitMs = 50;

bool MakeEvents(XdltLink& link) {
  return std::ranges::all_of(EventsOf(link), [](KernelHandle* event) {
    *event = CreateAutoResetEvent();
    return static_cast<bool>(*event);
  });
}

void RaisePriority(Engine& engine, const XdltPortOps& ops) {
  if (ops.keepPriority != 0) return;
  engine.savedPriority.store(GetThreadPriority(GetCurrentThread()));
  engine.raisedPriority.store(THREAD_PRIORITY_HIGHEST);
  SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
}

// The record's words as a link begins with them; naming the port is what makes it one.
void FillRecord(XdltLink& link, XdltPortHandle portHandle, XdltPortOps* portOps) {
  link.portOps = portOps;
  link.barred.store(true);
  link.ending = false;
  link.state.store(kLinkFree);
  link.awaitedReply.store(0);
  link.waitSocket.store(0);
  link.threadCommand.store(kThreadNone);
  link.readStatus.store(0);
  link.controlWriteSize = 0;
  link.creditWait.store(kDefaultCreditWaitMs);
  link.creditWaitBase.store(kDefaultCreditWaitMs);
  link.creditBackoff.store(0);
  link.creditWaitMax.store(kDefaultCreditWaitMs);
  link.portHandle.store(portHandle);
}

// A free record, filled, with its gate taken and this caller counted.
std::int32_t TakeRecord(Engine& engine, XdltPortHandle portHandle, XdltPortOps* portOps,
                        XdltLink** taken) {
  const LockGuard table(engine.tableLock);
  if (engine.ending) return XDLT_ERR_PARAM;
  XdltLink* free = nullptr;
  for (XdltLink& link : engine.links) {
    const XdltPortHandle used = link.portHandle.load();
    if (used == portHandle) return XDLT_ERR_PORT_IN_USE;
    if (used == 0 && free == nullptr) free = &link;
  }
  if (free == nullptr) return XDLT_ERR_TABLE_FULL;
  if (!free->gateEvent) return XDLT_ERR_RESOURCE;
  ++free->callers;
  if (!IsSignalled(free->gateEvent.Get(), kGateLimitMs)) {
    --free->callers;
    return XDLT_ERR_GATE_TIMEOUT;
  }
  if (!MakeEvents(*free)) {
    for (KernelHandle* const event : EventsOf(*free)) event->Reset();
    --free->callers;
    Signal(free->gateEvent.Get());
    return XDLT_ERR_RESOURCE;
  }
  RaisePriority(engine, *portOps);
  FillRecord(*free, portHandle, portOps);
  *taken = free;
  return 0;
}

void TracePeriods(const Engine& engine) {
  if (!TraceIsOn()) return;
  char text[48];
  std::snprintf(text, sizeof(text), "MMTimerRes: Min=%d", static_cast<int>(engine.wPeriodMin));
  XdltTrace(1, text);
  std::snprintf(text, sizeof(text), "MMTimerRes: Max=%d", static_cast<int>(engine.wPeriodMax));
  XdltTrace(1, text);
}

void TraceDummyRead(Bytes got, std::uint32_t count) {
  if (!TraceIsOn()) return;
  char heading[48];
  std::snprintf(heading, sizeof(heading), "  *Dummy Read*  Size=%04d(%04d) ",
                static_cast<int>(kDummyReadSize), static_cast<int>(count));
  XdltTrace(0, heading, TracedBytes(got, " ").data());
}

// Throws away what an earlier conversation left in the port.
void DummyRead(XdltLink& link) {
  const LockGuard port(link.portLock);
  std::uint8_t buffer[kDummyReadSize];
  bool more = true;
  while (more) {
    std::uint32_t got = 0;
    const bool done = link.portOps->read(link.portHandle.load(), buffer, kDummyReadSize, &got) != 0;
    TraceDummyRead(Bytes(buffer, std::min(got, kDummyReadSize)), got);
    more = done && got >= kDummyReadSize;
  }
}

std::int32_t EnterPacketMode(XdltLink& link) {
  link.state.store(kLinkOpen);
  ExpectReply(link);
  const std::int32_t written = XdltPortWrite(link, EntryString(), {ReplyTo(kEnter)});
  if (written < 0) return XDLT_ERR_ENTRY_WRITE;
  std::int32_t status = StartReadThread(link);
  if (status != 0) return status;
  ControlPacket reply;
  status = AwaitReply(link, ReplyTo(kEnter), &reply);
  if (status == 0 && reply.Result() != 0) status = XDLT_ERR_ENTRY_REFUSED;
  Signal(link.controlEvent.Get());
  return status;
}

std::int32_t BringUp(XdltLink& link) {
  if (link.portOps->skipDummyRead == 0) DummyRead(link);
  const std::int32_t status = EnterPacketMode(link);
  return status == 0 ? XdltSendInit(link) : status;
}

// Others may enter from now on, unless the engine has ended under the opening.
bool LetIn(Engine& engine, XdltLink& link) {
  const LockGuard table(engine.tableLock);
  if (!engine.ending) link.barred.store(false);
  return !engine.ending;
}

}  // namespace

std::int32_t XDLT_Open(XdltPortHandle portHandle, XdltPortOps* portOps,
                       XdltLink** linkOut) noexcept {
  XdltTrace(1, "XDLT_Open(S)");
  const EngineUse use;
  if (portHandle == 0 || linkOut == nullptr || use.Get() == nullptr) return XDLT_ERR_PARAM;
  if (portOps == nullptr || portOps->write == nullptr || portOps->read == nullptr) {
    return XDLT_ERR_PARAM;
  }
  XdltLink* link = nullptr;
  std::int32_t result = TakeRecord(*use.Get(), portHandle, portOps, &link);
  if (result != 0) return result;
  LinkStay stay(*use.Get(), *link, LinkStay::Taken{});
  TracePeriods(*use.Get());
  result = BringUp(*link);
  if (result == 0 && !LetIn(*use.Get(), *link)) result = XDLT_ERR_LINK_DOWN;
  link->state.store(result == 0 ? kLinkOpen : kLinkClosed);
  if (result == 0) *linkOut = link;
  stay.LeaveTerminating(result);
  XdltTrace(1, "XDLT_Open(E)");
  return result;
}

}  // namespace vlp
