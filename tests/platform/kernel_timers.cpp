// The multimedia timer as only the layer has it: exact moments, faults, what is left behind.

#include <windows.h>

#include <mmsystem.h>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/multimedia.h"
#include "tests/platform/call_helpers.h"
#include "tests/support/virtual_time.h"

namespace {

using test::elapsed_ms;
using test::Handle;
using test::look;
using test::new_event;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::sleep_ms;
using test::spawn;
using test::TestThread;

MMRESULT start_shot(UINT delay, HANDLE event) {
  return timeSetEvent(delay, 0, reinterpret_cast<LPTIMECALLBACK>(event), 0,
                      TIME_ONESHOT | TIME_CALLBACK_EVENT_SET);
}

class KernelTimers : public ::testing::Test {
 protected:
  void TearDown() override {
    platform::clear_faults();
    platform::set_timer_period_min(1);
  }
};

TEST_F(KernelTimers, AShotFiresAtItsMomentWithNoThreadBehindIt) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(false, false));
    for (const UINT delay : {1u, 15u, 65535u}) {
      const uint64_t start = elapsed_ms();
      ASSERT_NE(start_shot(delay, event), 0u);
      EXPECT_EQ(WaitForSingleObject(event, delay + 1), WAIT_OBJECT_0);
      EXPECT_EQ(elapsed_ms() - start, delay);
    }
  });
}

TEST_F(KernelTimers, AShotFiresInRealTimeToo) {
  const Handle event(new_event(false, false));
  const MMRESULT killed = start_shot(60'000, event);
  ASSERT_NE(start_shot(2, event), 0u);
  EXPECT_EQ(WaitForSingleObject(event, 20'000), WAIT_OBJECT_0);
  EXPECT_EQ(timeKillEvent(killed), MMRESULT{TIMERR_NOERROR});
}

TEST_F(KernelTimers, TheClockStopsAtAShotThatNobodyAwaits) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(true, false));
    ASSERT_NE(start_shot(10, event), 0u);
    sleep_ms(9);
    EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT});
    sleep_ms(1);
    EXPECT_EQ(look(event), WAIT_OBJECT_0) << "the shot was registered before the sleep";
  });
}

TEST_F(KernelTimers, AShotRegisteredBeforeATimeOutOfTheSameInstantBeatsIt) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(false, false));
    ASSERT_NE(start_shot(7, event), 0u);
    EXPECT_EQ(WaitForSingleObject(event, 7), WAIT_OBJECT_0);
    EXPECT_EQ(elapsed_ms(), 7u);
  });
}

TEST_F(KernelTimers, ATimeOutRegisteredBeforeAShotOfTheSameInstantBeatsIt) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(false, false));
    DWORD result = WAIT_FAILED;
    TestThread waiter = spawn("waiter", [&] { result = WaitForSingleObject(event, 7); });
    test::settle();
    ASSERT_NE(start_shot(7, event), 0u);
    waiter.join();
    EXPECT_EQ(result, DWORD{WAIT_TIMEOUT});
    sleep_ms(1);
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
  });
}

TEST_F(KernelTimers, TheEventLivesUntilTheShotThoughItsHandleIsClosed) {
  run_virtual_schedules(8, [] {
    HANDLE event = new_event(false, false);
    ASSERT_NE(start_shot(10, event), 0u);
    CloseHandle(event);
    sleep_ms(20);
    event = new_event(false, false);
    const MMRESULT timer = start_shot(10, event);
    CloseHandle(event);
    EXPECT_EQ(timeKillEvent(timer), MMRESULT{TIMERR_NOERROR});
  });
}

TEST_F(KernelTimers, WhatIsNoEventIsRefused) {
  run_virtual_parallel([] {
    const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    EXPECT_EQ(start_shot(10, mutex), 0u);
    EXPECT_EQ(start_shot(10, nullptr), 0u);
  });
}

TEST_F(KernelTimers, OtherFlagsAreNotSupplied) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    for (const UINT flags : {0x00u, 0x01u, 0x11u, 0x20u, 0x110u}) {
      EXPECT_EQ(timeSetEvent(10, 0, reinterpret_cast<LPTIMECALLBACK>(HANDLE{event}), 0, flags), 0u)
          << flags;
    }
  });
}

TEST_F(KernelTimers, ACoarserPeriodIsReportedAndHeldTo) {
  platform::set_timer_period_min(10);
  TIMECAPS caps{};
  ASSERT_EQ(timeGetDevCaps(&caps, sizeof caps), MMRESULT{TIMERR_NOERROR});
  EXPECT_EQ(caps.wPeriodMin, 10u);
  EXPECT_EQ(caps.wPeriodMax, 65535u);
  EXPECT_EQ(timeBeginPeriod(9), MMRESULT{TIMERR_NOCANDO});
  EXPECT_EQ(timeBeginPeriod(10), MMRESULT{TIMERR_NOERROR});
  EXPECT_EQ(timeEndPeriod(10), MMRESULT{TIMERR_NOERROR});
  const Handle event(new_event(false, false));
  EXPECT_EQ(start_shot(9, event), 0u);
  const MMRESULT timer = start_shot(10, event);
  EXPECT_NE(timer, 0u);
  timeKillEvent(timer);
}

TEST_F(KernelTimers, BegunPeriodsAreCounted) {
  const uint32_t before = platform::timer_periods_begun();
  timeBeginPeriod(1);
  timeBeginPeriod(5);
  timeBeginPeriod(0);
  timeBeginPeriod(65536);
  EXPECT_EQ(platform::timer_periods_begun(), before + 2);
  timeEndPeriod(65536);
  EXPECT_EQ(platform::timer_periods_begun(), before + 2);
  timeEndPeriod(1);
  timeEndPeriod(5);
  EXPECT_EQ(platform::timer_periods_begun(), before);
}

TEST_F(KernelTimers, ABeginningFailsWithAnArmedFault) {
  const uint32_t before = platform::timer_periods_begun();
  const Handle event(new_event(false, false));
  TIMECAPS caps{7, 8};
  for (const char* name : {"timeGetDevCaps", "timeBeginPeriod", "timeSetEvent"}) {
    platform::fail_call(name, 1, TIMERR_NOCANDO);
  }
  EXPECT_EQ(timeGetDevCaps(&caps, sizeof caps), MMRESULT{TIMERR_NOCANDO});
  EXPECT_EQ(caps.wPeriodMin, 7u);
  EXPECT_EQ(timeBeginPeriod(1), MMRESULT{TIMERR_NOCANDO});
  EXPECT_EQ(platform::timer_periods_begun(), before);
  EXPECT_EQ(start_shot(10, event), 0u);
  EXPECT_EQ(platform::faults_met(), 3u);
}

TEST_F(KernelTimers, AnEndReportsAnArmedFaultButIsOne) {
  const uint32_t before = platform::timer_periods_begun();
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    timeBeginPeriod(1);
    const MMRESULT timer = start_shot(10, event);
    platform::fail_call("timeEndPeriod", 1, TIMERR_NOCANDO);
    platform::fail_call("timeKillEvent", 1, TIMERR_NOCANDO);
    EXPECT_EQ(timeEndPeriod(1), MMRESULT{TIMERR_NOCANDO});
    EXPECT_EQ(timeKillEvent(timer), MMRESULT{TIMERR_NOCANDO});
    EXPECT_EQ(WaitForSingleObject(event, 20), DWORD{WAIT_TIMEOUT}) << "the shot is gone";
  });
  EXPECT_EQ(platform::timer_periods_begun(), before);
}

TEST_F(KernelTimers, APendingShotFailsTheScenario) {
  EXPECT_NONFATAL_FAILURE(run_virtual_parallel([] {
                            const Handle event(new_event(false, false));
                            start_shot(25, event);
                            sleep_ms(24);
                          }),
                          "timer left: timer of timeSetEvent due at 25 ms");
  // It went with its scenario.
  run_virtual_parallel([] { sleep_ms(100); });
}

}  // namespace
