// Clocks, Sleep, and how long waits last.

#include <windows.h>
#include <gtest/gtest.h>

#include "tests/platform/call_helpers.h"
#include "tests/support/system_time.h"

namespace {

using test::Handle;
using test::new_event;
using test::run_timed;
using test::time_is_exact;

// Exactly, where time is the test's own; at least about that, where it is the world's.
void expect_passed(ULONGLONG since, ULONGLONG milliseconds) {
  const ULONGLONG passed = GetTickCount64() - since;
  if (time_is_exact()) {
    EXPECT_EQ(passed, milliseconds);
  } else {
    constexpr ULONGLONG kTick = 17;
    EXPECT_GE(passed + kTick, milliseconds);
    EXPECT_LT(passed, milliseconds + 5000);
  }
}

TEST(Clocks, SleepLastsAsLongAsItSays) {
  run_timed([] {
    const ULONGLONG start = GetTickCount64();
    Sleep(60);
    expect_passed(start, 60);
  });
}

TEST(Clocks, AWaitTimesOutAfterItsTime) {
  run_timed([] {
    const Handle event(new_event(false, false));
    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(WaitForSingleObject(event, 60), DWORD{WAIT_TIMEOUT});
    expect_passed(start, 60);
  });
}

TEST(Clocks, SleepOfNothingGivesUpNoTime) {
  run_timed([] {
    const ULONGLONG start = GetTickCount64();
    for (int i = 0; i < 100; ++i) Sleep(0);
    expect_passed(start, 0);
  });
}

TEST(Clocks, TheShortTickCountIsTheLowHalfOfTheLong) {
  run_timed([] {
    const DWORD low = GetTickCount();
    const ULONGLONG whole = GetTickCount64();
    const DWORD difference = static_cast<DWORD>(whole) - low;
    EXPECT_LT(difference, 1000u);
  });
}

TEST(Clocks, ThePerformanceCounterGoesOnAsTheTicksDo) {
  run_timed([] {
    LARGE_INTEGER frequency;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_GT(frequency.QuadPart, 0);
    LARGE_INTEGER before;
    LARGE_INTEGER after;
    ASSERT_TRUE(QueryPerformanceCounter(&before));
    Sleep(50);
    ASSERT_TRUE(QueryPerformanceCounter(&after));
    const LONGLONG passed = (after.QuadPart - before.QuadPart) * 1000 / frequency.QuadPart;
    if (time_is_exact()) {
      EXPECT_EQ(passed, 50);
    } else {
      EXPECT_GE(passed, 45);
    }
  });
}

TEST(Clocks, LocalTimeIsADateOfTheCalendar) {
  SYSTEMTIME time;
  GetLocalTime(&time);
  EXPECT_GE(time.wYear, 2020);
  EXPECT_GE(time.wMonth, 1);
  EXPECT_LE(time.wMonth, 12);
  EXPECT_GE(time.wDay, 1);
  EXPECT_LE(time.wDay, 31);
  EXPECT_LE(time.wDayOfWeek, 6);
  EXPECT_LE(time.wHour, 23);
  EXPECT_LE(time.wMinute, 59);
  EXPECT_LE(time.wMilliseconds, 999);
}

TEST(Version, BothRecordsAreFilledAndOtherSizesRefused) {
  OSVERSIONINFOEXA extended{};
  extended.dwOSVersionInfoSize = sizeof extended;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  ASSERT_TRUE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&extended)));
  EXPECT_GE(extended.dwMajorVersion, 6u);
  EXPECT_EQ(extended.dwPlatformId, DWORD{VER_PLATFORM_WIN32_NT});
  OSVERSIONINFOA basic{};
  basic.dwOSVersionInfoSize = sizeof basic;
  ASSERT_TRUE(GetVersionExA(&basic));
  EXPECT_EQ(basic.dwMajorVersion, extended.dwMajorVersion);
  EXPECT_EQ(basic.dwMinorVersion, extended.dwMinorVersion);
  basic.dwOSVersionInfoSize = 100;
  EXPECT_FALSE(GetVersionExA(&basic));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
#pragma GCC diagnostic pop
}

}  // namespace
