#include "d4/state.h"

#include <mmsystem.h>

#include <algorithm>
#include <new>

#include "d4/link.h"
#include "d4/trace.h"
#include "diag/dbg_log.h"
#include "support/waits.h"

namespace vlp {
namespace {

std::atomic<Engine*> g_engine{nullptr};
std::atomic<std::int32_t> g_engineUsers{0};
std::atomic<std::uint32_t> g_inside{0};
std::atomic<std::uint32_t> g_timerResolution{1};
std::atomic<bool> g_building{false};
// Engines that ended with somebody inside, for good. Their ports stay in use.
std::atomic<Engine*> g_abandoned{nullptr};

constexpr std::uint32_t kEndWaitMs = 5000;

// One thread at a time builds or tears down. No critical section can serve: this one
// would have to exist before the engine and after it.
class BuildTurn {
 public:
  BuildTurn() noexcept {
    while (g_building.exchange(true)) Sleep(1);
  }
  ~BuildTurn() { g_building.store(false); }
  BuildTurn(const BuildTurn&) = delete;
  BuildTurn& operator=(const BuildTurn&) = delete;
};

// One that somebody is inside is left as it is, with its read thread.
void EndLink(Engine& engine, XdltLink& link) {
  if (link.portHandle.load() == 0) return;
  link.state.store(kLinkClosed);
  if (!ClaimEnd(engine, link)) {
    engine.abandoned = true;
    return;
  }
  StopReadThread(engine, link, kEndWaitMs);
  if (!link.readThread) FreeLinkRecord(engine, link);
}

void Abandon(Engine* engine) {
  engine->nextAbandoned = g_abandoned.load();
  g_abandoned.store(engine);
}

bool NamesPort(const Engine& engine, XdltPortHandle port) {
  return std::ranges::any_of(
      engine.links, [port](const XdltLink& link) { return link.portHandle.load() == port; });
}

void EndEngine(std::unique_ptr<Engine> engine) {
  {
    const LockGuard table(engine->tableLock);
    engine->ending = true;
  }
  for (XdltLink& link : engine->links) EndLink(*engine, link);
  // A killed thread may hold the lock that this takes.
  if (!engine->killed) StopTracing(*engine);
  g_engine.store(nullptr);
  // Whoever is still inside, or was killed inside, goes on with what it knows.
  if (engine->abandoned || g_inside.load() != 0) Abandon(engine.release());
}

}  // namespace

Engine::Engine() {
  for (XdltLink& link : links) link.gateEvent = CreateAutoResetEvent(true);
  LARGE_INTEGER frequency{};
  if (QueryPerformanceFrequency(&frequency) != FALSE) perfFrequency = frequency.QuadPart;
  TIMECAPS caps{};
  std::uint32_t resolution = 1;
  if (timeGetDevCaps(&caps, sizeof(caps)) == TIMERR_NOERROR) {
    wPeriodMin = caps.wPeriodMin;
    wPeriodMax = caps.wPeriodMax;
    resolution = std::max<std::uint32_t>(resolution, caps.wPeriodMin);
  }
  g_timerResolution.store(resolution);
}

EngineUse::EngineUse() noexcept {
  ++g_inside;
  engine_ = g_engine.load();
}

EngineUse::~EngineUse() { --g_inside; }

std::int32_t XdltInitialize(DbgLog* log) noexcept {
  const BuildTurn turn;
  ++g_engineUsers;
  if (g_engine.load() == nullptr) g_engine.store(new (std::nothrow) Engine);
  Engine* const engine = g_engine.load();
  if (engine != nullptr) StartTracing(*engine, log);
  return 1;
}

void XdltUninitialize() noexcept {
  const BuildTurn turn;
  if (--g_engineUsers > 0) return;
  g_engineUsers.store(0);
  std::unique_ptr<Engine> engine(g_engine.load());
  if (engine != nullptr) EndEngine(std::move(engine));
}

std::int32_t XdltCheckLink(const XdltLink* link) noexcept {
  const EngineUse use;
  return XdltCheckLink(use.Get(), link);
}

std::int32_t XdltCheckLink(Engine* engine, const XdltLink* link) noexcept {
  if (link == nullptr) return XDLT_ERR_PARAM;
  if (engine == nullptr) return XDLT_ERR_NOLINK;
  const LockGuard table(engine->tableLock);
  const auto& links = engine->links;
  for (std::size_t i = 0; i < links.size(); ++i) {
    if (&links[i] != link) continue;
    return links[i].portHandle.load() != 0 ? static_cast<std::int32_t>(i) : XDLT_ERR_NOLINK;
  }
  return XDLT_ERR_NOLINK;
}

bool XdltPortIsInUse(XdltPortHandle port) noexcept {
  if (port == 0) return false;
  const EngineUse use;
  if (use.Get() != nullptr && NamesPort(*use.Get(), port)) return true;
  const Engine* engine = g_abandoned.load();
  while (engine != nullptr && !NamesPort(*engine, port)) engine = engine->nextAbandoned;
  return engine != nullptr;
}

bool ClaimEnd(Engine& engine, XdltLink& link) {
  const LockGuard table(engine.tableLock);
  if (link.portHandle.load() == 0 || link.callers.load() != 0 || link.ending) return false;
  link.ending = true;
  link.barred.store(true);
  return true;
}

std::uint32_t TimerResolution() noexcept { return g_timerResolution.load(); }

ChannelPointer FindChannel(XdltLink& link, std::uint8_t socket) {
  const LockGuard list(link.channelsLock);
  for (const ChannelPointer& channel : link.channels) {
    if (channel->socket == socket) return channel;
  }
  return nullptr;
}

void RemoveChannel(XdltLink& link, const ChannelPointer& channel) {
  const LockGuard list(link.channelsLock);
  std::erase(link.channels, channel);
}

void FreeLinkRecord(Engine& engine, XdltLink& link) {
  for (KernelHandle* const event : EventsOf(link)) event->Reset();
  {
    const LockGuard list(link.channelsLock);
    link.channels.clear();
  }
  if (link.portOps != nullptr && link.portOps->keepPriority == 0) {
    SetThreadPriority(GetCurrentThread(), engine.savedPriority.load());
  }
  const LockGuard table(engine.tableLock);
  link.portOps = nullptr;
  link.state.store(kLinkFree);
  link.awaitedReply.store(0);
  link.waitSocket.store(0);
  link.portHandle.store(0);
}

}  // namespace vlp
