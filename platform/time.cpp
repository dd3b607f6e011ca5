// Clocks. All of them read the kernel's one.

#include <profileapi.h>
#include <sysinfoapi.h>
#include <time.h>

#include "platform/kernel/state.h"

namespace platform {
namespace {

// Virtual scenarios begin on Friday, 15 March 2024, 10:00:00, and know no time zone.
constexpr time_t kVirtualStart = 1'710'496'800;

uint64_t ticks() {
  Thread& thread = self();
  const StateGuard guard;
  note_clock_read(thread);
  return tick_offset_ms() + now_ms();
}

struct WallClock {
  time_t seconds;
  long milliseconds;
  bool is_virtual;
};

WallClock wall_clock() {
  Thread& thread = self();
  const StateGuard guard;
  note_clock_read(thread);
  if (state().mode != Mode::real) {
    const uint64_t elapsed = now_ms();
    return {kVirtualStart + static_cast<time_t>(elapsed / 1000), static_cast<long>(elapsed % 1000),
            true};
  }
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return {time.tv_sec, time.tv_nsec / 1'000'000, false};
}

WORD word(int value) { return static_cast<WORD>(value); }

SYSTEMTIME system_time(const tm& parts, long milliseconds) {
  SYSTEMTIME time;
  time.wYear = word(parts.tm_year + 1900);
  time.wMonth = word(parts.tm_mon + 1);
  time.wDayOfWeek = word(parts.tm_wday);
  time.wDay = word(parts.tm_mday);
  time.wHour = word(parts.tm_hour);
  time.wMinute = word(parts.tm_min);
  time.wSecond = word(parts.tm_sec);
  time.wMilliseconds = static_cast<WORD>(milliseconds);
  return time;
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::Fails;

DWORD WINAPI GetTickCount(VOID) {
  const Call call("GetTickCount", Fails::never);
  return static_cast<DWORD>(platform::ticks());
}

ULONGLONG WINAPI GetTickCount64(VOID) {
  const Call call("GetTickCount64", Fails::never);
  return platform::ticks();
}

VOID WINAPI GetLocalTime(LPSYSTEMTIME time) {
  const Call call("GetLocalTime", Fails::never);
  const platform::WallClock clock = platform::wall_clock();
  tm parts{};
  if (clock.is_virtual) {
    gmtime_r(&clock.seconds, &parts);
  } else {
    localtime_r(&clock.seconds, &parts);
  }
  *time = platform::system_time(parts, clock.milliseconds);
}

BOOL WINAPI QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  const Call call("QueryPerformanceFrequency", Fails::never);
  frequency->QuadPart = 10'000'000;
  return TRUE;
}

BOOL WINAPI QueryPerformanceCounter(LARGE_INTEGER* count) {
  const Call call("QueryPerformanceCounter", Fails::never);
  platform::Thread& thread = platform::self();
  const platform::StateGuard guard;
  platform::note_clock_read(thread);
  count->QuadPart = static_cast<LONGLONG>(platform::now() / 100);
  return TRUE;
}
