#pragma once

// The multimedia timer: one-shot timers that set an event. It stands behind <windows.h>.

#include <windef.h>

typedef UINT MMRESULT;

#define MMSYSERR_NOERROR 0
#define TIMERR_BASE 96
#define TIMERR_NOERROR (0)
#define TIMERR_NOCANDO (TIMERR_BASE + 1)

#define TIME_ONESHOT 0x0000
#define TIME_CALLBACK_EVENT_SET 0x0010

typedef void(CALLBACK TIMECALLBACK)(UINT uTimerID, UINT uMsg, DWORD_PTR dwUser, DWORD_PTR dw1,
                                    DWORD_PTR dw2);
typedef TIMECALLBACK* LPTIMECALLBACK;

typedef struct timecaps_tag {
  UINT wPeriodMin;
  UINT wPeriodMax;
} TIMECAPS, *PTIMECAPS, *LPTIMECAPS;

WINBASEAPI MMRESULT WINAPI timeGetDevCaps(LPTIMECAPS ptc, UINT cbtc);
WINBASEAPI MMRESULT WINAPI timeBeginPeriod(UINT uPeriod);
WINBASEAPI MMRESULT WINAPI timeEndPeriod(UINT uPeriod);
WINBASEAPI MMRESULT WINAPI timeSetEvent(UINT uDelay, UINT uResolution, LPTIMECALLBACK fptc,
                                        DWORD_PTR dwUser, UINT fuEvent);
WINBASEAPI MMRESULT WINAPI timeKillEvent(UINT uTimerID);
