// The multimedia timer.

#include "platform/multimedia.h"

#include <mmsystem.h>

#include <map>
#include <memory>

#include "platform/kernel/call.h"
#include "platform/kernel/clock.h"
#include "platform/kernel/object.h"
#include "platform/waiting.h"

namespace platform {
namespace {

constexpr UINT kPeriodMax = 65535;

// Guarded by the state lock.
struct Multimedia {
  UINT period_min = 1;
  uint32_t periods = 0;
  UINT last_id = 0;
  std::map<UINT, TimerId> timers;  // those that have neither fired nor been killed
};

// As immortal as the kernel's state.
Multimedia& multimedia() {
  static auto* const made = new Multimedia;
  return *made;
}

bool within_caps(UINT milliseconds) {
  return milliseconds >= multimedia().period_min && milliseconds <= kPeriodMax;
}

// Goes with the timer, always under the state lock. The event stays alive until then, even
// when its handle is closed.
class Shot {
 public:
  Shot(UINT id, Object& event) : id_(id), event_(event) { ++event_.references; }
  ~Shot() {
    multimedia().timers.erase(id_);
    if (--event_.references > 0) return;
    event_.last_reference_gone();
    delete &event_;  // an event has no descriptor, so it may go under the lock
  }
  Shot(const Shot&) = delete;
  Shot& operator=(const Shot&) = delete;

  void fire() const { set_event_by_clock(event_); }

 private:
  UINT id_;
  Object& event_;
};

UINT unused_id() {
  Multimedia& all = multimedia();
  do {
    ++all.last_id;
  } while (all.last_id == 0 || all.timers.contains(all.last_id));
  return all.last_id;
}

MMRESULT start_timer(UINT delay, HANDLE handle) {
  const StateGuard guard;
  Object* event = lookup_event(handle);
  if (event == nullptr || !within_caps(delay)) return 0;
  // What came before the start is seen by whom the timer wakes.
  happens_before(event);
  const UINT id = unused_id();
  const auto shot = std::make_shared<Shot>(id, *event);
  multimedia().timers[id] = add_timer(
      now() + delay * kMillisecond, [shot] { shot->fire(); }, "timer of timeSetEvent");
  return id;
}

MMRESULT kill_timer(UINT id) {
  const StateGuard guard;
  const auto found = multimedia().timers.find(id);
  if (found == multimedia().timers.end()) return TIMERR_NOCANDO;
  return cancel_timer(found->second) ? TIMERR_NOERROR : TIMERR_NOCANDO;
}

MMRESULT begin_period(UINT period) {
  const StateGuard guard;
  if (!within_caps(period)) return TIMERR_NOCANDO;
  ++multimedia().periods;
  return TIMERR_NOERROR;
}

MMRESULT end_period(UINT period) {
  const StateGuard guard;
  if (!within_caps(period)) return TIMERR_NOCANDO;
  if (multimedia().periods > 0) --multimedia().periods;
  return TIMERR_NOERROR;
}

MMRESULT tell_caps(LPTIMECAPS caps, UINT size) {
  if (caps == nullptr || size != sizeof *caps) return TIMERR_NOCANDO;
  const StateGuard guard;
  caps->wPeriodMin = multimedia().period_min;
  caps->wPeriodMax = kPeriodMax;
  return TIMERR_NOERROR;
}

}  // namespace

void set_timer_period_min(uint32_t milliseconds) {
  const StateGuard guard;
  multimedia().period_min = milliseconds;
}

uint32_t timer_periods_begun() {
  const StateGuard guard;
  return multimedia().periods;
}

}  // namespace platform

using platform::Call;

MMRESULT WINAPI timeGetDevCaps(LPTIMECAPS caps, UINT size) {
  const Call call("timeGetDevCaps");
  if (call.fault()) return *call.fault();
  return platform::tell_caps(caps, size);
}

MMRESULT WINAPI timeBeginPeriod(UINT period) {
  const Call call("timeBeginPeriod");
  if (call.fault()) return *call.fault();
  return platform::begin_period(period);
}

MMRESULT WINAPI timeEndPeriod(UINT period) {
  const Call call("timeEndPeriod");
  const MMRESULT result = platform::end_period(period);
  return call.fault().value_or(result);
}

MMRESULT WINAPI timeSetEvent(UINT delay, UINT, LPTIMECALLBACK event, DWORD_PTR, UINT flags) {
  const Call call("timeSetEvent");
  if (call.fault() || flags != (TIME_ONESHOT | TIME_CALLBACK_EVENT_SET)) return 0;
  return platform::start_timer(delay, reinterpret_cast<HANDLE>(event));
}

MMRESULT WINAPI timeKillEvent(UINT id) {
  const Call call("timeKillEvent");
  const MMRESULT result = platform::kill_timer(id);
  return call.fault().value_or(result);
}
