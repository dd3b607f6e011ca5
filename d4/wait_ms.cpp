// Waits that the scheduler's own tick would make too long.

#include <windows.h>

#include <mmsystem.h>

#include <algorithm>

#include "d4/state.h"
#include "d4/xdlt.h"

namespace vlp {
namespace {

// From here on a plain sleep is fine enough.
constexpr std::uint32_t kSchedulerTickMs = 16;

// Asks for finer timers as long as it lives.
class FinePeriod {
 public:
  FinePeriod() noexcept
      : period_(TimerResolution()), begun_(timeBeginPeriod(period_) == TIMERR_NOERROR) {}
  ~FinePeriod() {
    if (begun_) timeEndPeriod(period_);
  }
  FinePeriod(const FinePeriod&) = delete;
  FinePeriod& operator=(const FinePeriod&) = delete;

 private:
  UINT period_;
  bool begun_;
};

}  // namespace

std::uint32_t XdltWaitMs(void* event, std::uint32_t ms) noexcept {
  if (event == nullptr || ms >= kSchedulerTickMs) {
    // Who polls must not spin: a wait of nothing lasts a millisecond on either way.
    Sleep(std::max<std::uint32_t>(ms, 1));
    return 0;
  }
  // An earlier timer may have come too late for its wait.
  ResetEvent(event);
  MMRESULT timer = 0;
  DWORD result = WAIT_FAILED;
  {
    const FinePeriod period;
    timer = timeSetEvent(ms, 0, reinterpret_cast<LPTIMECALLBACK>(event), 0,
                         TIME_ONESHOT | TIME_CALLBACK_EVENT_SET);
    // Without a timer this alone is the wait.
    result = WaitForSingleObject(event, ms + 1);
  }
  if (timer != 0) timeKillEvent(timer);
  return result;
}

}  // namespace vlp
