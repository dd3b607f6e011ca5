#include "d4/link.h"

#include <utility>

#include "d4/control.h"
#include "d4/read_thread.h"
#include "d4/trace.h"
#include "support/module_reference.h"
#include "support/waits.h"

namespace vlp {
namespace {

constexpr DWORD kReadThreadStack = 16384;
constexpr DWORD kLeaveLookMs = 20;

// An Error packet's code is this minus the result.
constexpr std::int32_t kErrorPacketBase = 48;

constexpr bool IsBreachByDevice(std::int32_t result) {
  return result <= XDLT_ERR_MALFORMED && result >= XDLT_ERR_BAD_COMMAND;
}

// The check and the count are one, so that nobody is counted into a free record.
bool CountIn(Engine& engine, XdltLink& link) {
  const LockGuard table(engine.tableLock);
  if (engine.ending || link.barred.load() || link.portHandle.load() == 0) return false;
  ++link.callers;
  return true;
}

// Takes no lock: an opening call may hold the table's while it waits for this gate.
bool IsGone(const XdltLink& link) { return link.barred.load() || link.portHandle.load() == 0; }

// Nothing that needs a destructor may live here: the last call doesn't return.
DWORD WINAPI ReadThreadRoutine(void* argument) {
  XdltLink* const link = static_cast<XdltLink*>(argument);
  const HMODULE module = link->readModule;
  FreeLibraryAndExitThread(module, ReadThread(*link));
}

}  // namespace

LinkStay::LinkStay(Engine& engine, XdltLink& link) noexcept : engine_(engine), link_(link) {
  counted_ = CountIn(engine, link);
  gated_ = counted_ && IsSignalled(link.gateEvent.Get(), kGateLimitMs);
  if (gated_) inside_.emplace(link.insideLock);
  if (counted_ && !gated_) {
    result_ = XDLT_ERR_GATE_TIMEOUT;
  } else if (!counted_ || IsGone(link)) {
    result_ = XDLT_ERR_NOLINK;
  }
}

LinkStay::LinkStay(Engine& engine, XdltLink& link, Taken) noexcept : engine_(engine), link_(link) {
  inside_.emplace(link.insideLock);
  ResetEvent(link.gateEvent.Get());
}

LinkStay::~LinkStay() {
  if (counted_) --link_.callers;
  Leave();
}

void LinkStay::LeaveTerminating(std::int32_t result) {
  --link_.callers;
  counted_ = false;
  XdltTerminate(engine_, link_, result, kWithoutLimit);
  Leave();
}

// The gate first: whoever is let in by it has to wait for the lock, and what a close
// or an opening resets behind the lock can't be set once more from here.
void LinkStay::Leave() {
  if (gated_) Signal(link_.gateEvent.Get());
  gated_ = false;
  inside_.reset();
}

void LinkStay::LetOthersOut() {
  {
    const LockGuard table(engine_.tableLock);
    link_.barred.store(true);
  }
  Signal(link_.gateEvent.Get());
  inside_.reset();
  while (link_.callers.load() > 1) {
    Sleep(kLeaveLookMs);
    Signal(link_.gateEvent.Get());
  }
  inside_.emplace(link_.insideLock);
  ResetEvent(link_.gateEvent.Get());
}

std::int32_t CheckReady(const XdltLink& link) {
  if (link.state.load() != kLinkOpen) return XDLT_ERR_NOT_READY;
  return link.gateEvent ? 0 : XDLT_ERR_NOLINK;
}

std::int32_t XdltTerminate(Engine& engine, XdltLink& link, std::int32_t result,
                           std::int32_t timeout) noexcept {
  if (!IsLinkLost(result)) {
    if (link.state.load() != kLinkClosed) return 0;
  } else if (link.state.load() != kLinkLost) {
    if (IsBreachByDevice(result)) {
      XdltSendError(link, static_cast<std::uint8_t>(kErrorPacketBase - result));
    }
    link.state.store(kLinkLost);
  }
  if (!ClaimEnd(engine, link)) return 0;
  StopReadThread(engine, link, timeout == kWithoutLimit ? INFINITE : static_cast<DWORD>(timeout));
  if (link.readThread) return 0;
  FreeLinkRecord(engine, link);
  XdltTrace(0, " >>>>>>   The End of Termination (Terminate)");
  return 0;
}

std::int32_t StartReadThread(XdltLink& link) {
  link.readModule = AddModuleReference();
  if (link.readModule == nullptr) return XDLT_ERR_RESOURCE;
  KernelHandle thread(CreateThread(nullptr, kReadThreadStack, &ReadThreadRoutine, &link,
                                   CREATE_SUSPENDED, nullptr));
  if (!thread) {
    FreeLibrary(link.readModule);
    return XDLT_ERR_RESOURCE;
  }
  SetThreadPriority(thread.Get(), THREAD_PRIORITY_ABOVE_NORMAL);
  link.threadCommand.store(kThreadRun);
  Signal(link.wakeEvent.Get());
  if (ResumeThread(thread.Get()) == static_cast<DWORD>(-1)) {
    // It never ran, so it holds nothing.
    TerminateThread(thread.Get(), 0);
    FreeLibrary(link.readModule);
    return XDLT_ERR_RESOURCE;
  }
  link.readThread = std::move(thread);
  return 0;
}

void StopReadThread(Engine& engine, XdltLink& link, DWORD limit_ms) {
  if (!link.readThread) return;
  XdltTrace(0, " >>>>>>   STOP Read Thread (Terminate)");
  link.threadCommand.store(kThreadStop);
  Signal(link.wakeEvent.Get());
  if (limit_ms == INFINITE) {
    WaitToTheEnd(link.readThread.Get());
  } else if (!IsSignalled(link.readThread.Get(), limit_ms)) {
    // Whatever it held stays held, so its link and the engine stay as they are.
    TerminateThread(link.readThread.Get(), 0);
    SilenceTracing();
    engine.killed = true;
    engine.abandoned = true;
    return;
  }
  XdltTrace(0, " >>>>>>   After Read Thread END (Terminate)");
  link.readThread.Reset();
  link.threadCommand.store(kThreadNone);
  link.readStatus.store(0);
}

}  // namespace vlp
