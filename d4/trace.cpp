#include "d4/trace.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "diag/dbg_log.h"
#include "support/last_error.h"

namespace vlp {
namespace {

constexpr std::size_t kTextLimit = 128;
constexpr std::int64_t kMicroseconds = 1'000'000;
constexpr std::int64_t kMinute = 60 * kMicroseconds;

std::atomic<bool> g_traceEnabled{false};

struct ClockParts {
  unsigned seconds;
  unsigned milliseconds;
  unsigned microseconds;
};

ClockParts Split(std::uint32_t stamp) {
  return {stamp / 1'000'000, stamp / 1'000 % 1'000, stamp % 1'000};
}

void WriteLine(const char* text, const char* more, const char* evenMore) {
  const EngineUse use;
  if (use.Get() == nullptr) return;
  const LockGuard guard(use.Get()->traceLock);
  DbgLog* const log = use.Get()->traceLog;
  if (log == nullptr) return;
  if (more == nullptr) {
    DbgLogPrintf(log, log->mask, "  [D4] %s", text);
  } else if (evenMore == nullptr) {
    DbgLogPrintf(log, log->mask, "  [D4] %s%s", text, more);
  } else {
    DbgLogPrintf(log, log->mask, "  [D4] %s%s%s", text, more, evenMore);
  }
}

}  // namespace

void StartTracing(Engine& engine, DbgLog* log) {
  const LockGuard guard(engine.traceLock);
  if (engine.traceLog != nullptr || log == nullptr) return;
  engine.traceLog = log;
  g_traceEnabled.store(log->mask != 0);
}

void StopTracing(Engine& engine) {
  const LockGuard guard(engine.traceLock);
  engine.traceLog = nullptr;
  g_traceEnabled.store(false);
}

void SilenceTracing() { g_traceEnabled.store(false); }

void XdltForgetLog(const DbgLog* log) noexcept {
  const EngineUse use;
  if (use.Get() == nullptr) return;
  const LockGuard guard(use.Get()->traceLock);
  if (log == nullptr || use.Get()->traceLog != log) return;
  use.Get()->traceLog = nullptr;
  g_traceEnabled.store(false);
}

bool TraceIsOn() noexcept { return g_traceEnabled.load(); }

std::uint32_t XdltTimestamp() noexcept {
  const EngineUse use;
  const std::int64_t frequency = use.Get() != nullptr ? use.Get()->perfFrequency : 0;
  LARGE_INTEGER counter{};
  if (frequency <= 0 || QueryPerformanceCounter(&counter) == FALSE) return 0;
  // Divided first: the whole counter times a million overflows after some days.
  const std::int64_t count = counter.QuadPart;
  const std::int64_t micro =
      count / frequency % 60 * kMicroseconds + count % frequency * kMicroseconds / frequency;
  return static_cast<std::uint32_t>(micro % kMinute);
}

void XdltTrace(std::uint32_t withTime, const char* text, const char* more,
               const char* evenMore) noexcept {
  if (!TraceIsOn()) return;
  const LastErrorKeeper keeper;
  char line[kTextLimit + 1];
  if (withTime != 0) {
    const ClockParts now = Split(XdltTimestamp());
    std::snprintf(line, sizeof(line), "%-26.26s %02u.%03u.%03u", text, now.seconds,
                  now.milliseconds, now.microseconds);
  } else {
    const std::size_t length = std::strlen(text);
    if (length > kTextLimit) return;
    std::copy_n(text, length + 1, line);
  }
  WriteLine(line, more, evenMore);
}

void TraceSocket(const char* text, std::uint8_t socket) noexcept {
  if (!TraceIsOn()) return;
  char line[64];
  std::snprintf(line, sizeof(line), "%s0x%02X", text, unsigned{socket});
  XdltTrace(1, line);
}

void TraceSocketCount(const char* text, std::uint8_t socket, std::int32_t count) noexcept {
  if (!TraceIsOn()) return;
  char line[64];
  std::snprintf(line, sizeof(line), "%s0x%02X(%04d)", text, unsigned{socket}, int{count});
  XdltTrace(1, line);
}

void TraceThenTime(const char* text) noexcept {
  if (!TraceIsOn()) return;
  const ClockParts now = Split(XdltTimestamp());
  char time[16];
  std::snprintf(time, sizeof(time), "%02u.%03u.%03u", now.seconds, now.milliseconds,
                now.microseconds);
  XdltTrace(0, text, time);
}

std::array<char, kTracedBytes * 3 + 1> TracedBytes(Bytes bytes, const char* none) noexcept {
  std::array<char, kTracedBytes * 3 + 1> text{};
  if (bytes.empty()) std::snprintf(text.data(), text.size(), "%s", none);
  const std::size_t shown = std::min(bytes.size(), kTracedBytes);
  for (std::size_t i = 0; i < shown; ++i) {
    std::snprintf(text.data() + i * 3, 4, "%02X ", unsigned{bytes[i]});
  }
  return text;
}

void TransferTrace::End(const char* heading, std::uint32_t asked, std::uint32_t done, Bytes bytes,
                        const char* before) const noexcept {
  if (!on_) return;
  const ClockParts start = Split(start_);
  const ClockParts end = Split(XdltTimestamp());
  char head[64];
  char times[64];
  std::snprintf(head, sizeof(head), "%s Size=%04d(%04d) ", heading, static_cast<int>(asked),
                static_cast<int>(done));
  std::snprintf(times, sizeof(times), "%s: Start=%02u.%03u.%03u / End=%02u.%03u.%03u", before,
                start.seconds, start.milliseconds, start.microseconds, end.seconds,
                end.milliseconds, end.microseconds);
  XdltTrace(0, head, TracedBytes(bytes, "   ").data(), times);
}

}  // namespace vlp
