// The fine wait.

#include "d4/xdlt.h"
#include "tests/d4/cmd_fixture.h"
#include "tests/platform/call_helpers.h"

#include <mmsystem.h>

namespace {

using cmd_test::CmdTest;
using cmd_test::Lines;
using test::elapsed_ms;
using test::Handle;
using test::look;
using test::new_event;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using vlp::XdltWaitMs;

// How long the wait took, in ms.
std::uint64_t passed(HANDLE event, std::uint32_t ms, std::uint32_t expected_result) {
  const std::uint64_t start = elapsed_ms();
  EXPECT_EQ(XdltWaitMs(event, ms), expected_result) << ms;
  return elapsed_ms() - start;
}

// Which calls the work made, by name.
Lines called(const std::function<void()>& work) {
  platform::clear_faults();
  platform::watch_calls();
  work();
  Lines names;
  for (const std::string& line : platform::call_trace()) {
    names.push_back(line.substr(line.find(' ') + 1));
  }
  platform::clear_faults();
  return names;
}

class CmdWait : public CmdTest {};

TEST_F(CmdWait, BelowSixteenTheEventEndsTheWaitAtItsTime) {
  run_virtual_schedules(4, [] {
    const Handle event(new_event(false, false));
    for (const std::uint32_t ms : {1u, 4u, 8u, 15u}) {
      EXPECT_EQ(passed(event, ms, WAIT_OBJECT_0), ms);
      EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT}) << "the wait took the signal";
    }
  });
}

TEST_F(CmdWait, BelowSixteenATimerIsUsedAndEndedInOrder) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    EXPECT_EQ(called([&] { XdltWaitMs(event, 15); }),
              (Lines{"ResetEvent", "timeBeginPeriod", "timeSetEvent", "WaitForSingleObject",
                     "timeEndPeriod", "timeKillEvent"}));
  });
}

TEST_F(CmdWait, FromSixteenOnItIsASleep) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, true));
    EXPECT_EQ(called([&] { EXPECT_EQ(passed(event, 16, 0), 16u); }), Lines{"Sleep"});
    EXPECT_EQ(passed(event, 5000, 0), 5000u);
    EXPECT_EQ(look(event), WAIT_OBJECT_0) << "the event was left alone";
  });
}

TEST_F(CmdWait, WithoutAnEventItIsASleep) {
  run_virtual_parallel([] {
    EXPECT_EQ(called([] { EXPECT_EQ(passed(nullptr, 4, 0), 4u); }), Lines{"Sleep"});
    EXPECT_EQ(passed(nullptr, 20, 0), 20u);
  });
}

TEST_F(CmdWait, AWaitOfNothingLastsAMillisecond) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    EXPECT_EQ(passed(event, 0, WAIT_TIMEOUT), 1u);
    EXPECT_EQ(passed(nullptr, 0, 0), 1u);
  });
}

TEST_F(CmdWait, ASignalOfBeforeDoesNotShortenIt) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, true));
    EXPECT_EQ(passed(event, 10, WAIT_OBJECT_0), 10u);
  });
}

TEST_F(CmdWait, WithoutATimerItLastsAMillisecondLonger) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    platform::fail_call("timeSetEvent", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(passed(event, 10, WAIT_TIMEOUT), 11u);
    EXPECT_EQ(platform::faults_met(), 1u);
  });
}

TEST_F(CmdWait, ATimerCoarserThanTheWaitIsLeftOut) {
  platform::set_timer_period_min(10);
  fake_engine::set_timer_resolution(10);
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    EXPECT_EQ(passed(event, 9, WAIT_TIMEOUT), 10u);
    EXPECT_EQ(passed(event, 10, WAIT_OBJECT_0), 10u);
  });
  EXPECT_EQ(platform::timer_periods_begun(), 0u);
}

TEST_F(CmdWait, ItAsksForTheEnginesResolution) {
  platform::set_timer_period_min(5);
  fake_engine::set_timer_resolution(4);
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    const Lines calls = called([&] { XdltWaitMs(event, 10); });
    EXPECT_EQ(calls, (Lines{"ResetEvent", "timeBeginPeriod", "timeSetEvent", "WaitForSingleObject",
                            "timeKillEvent"}))
        << "4 is too fine here: what wasn't begun isn't ended";
    fake_engine::set_timer_resolution(5);
    EXPECT_EQ(called([&] { XdltWaitMs(event, 10); }).size(), 6u);
  });
}

TEST_F(CmdWait, AWaitThatFailsTakesItsTimerAlong) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    platform::fail_call("WaitForSingleObject", 1, ERROR_INVALID_HANDLE);
    EXPECT_EQ(XdltWaitMs(event, 10), WAIT_FAILED);
    platform::clear_faults();
    EXPECT_EQ(WaitForSingleObject(event, 100), DWORD{WAIT_TIMEOUT}) << "the timer was killed";
  });
  EXPECT_EQ(platform::timer_periods_begun(), 0u);
}

TEST_F(CmdWait, NoFailureOfACallLeavesAPeriodOrATimer) {
  for (unsigned nth = 1; nth <= 6; ++nth) {
    platform::clear_faults();
    run_virtual_parallel([nth] {
      const Handle event(new_event(false, false));
      platform::fail_nth_system_call(nth, ERROR_GEN_FAILURE);
      XdltWaitMs(event, 10);
      EXPECT_EQ(platform::faults_met(), 1u) << nth;
      EXPECT_LE(elapsed_ms(), 11u) << nth;
      platform::clear_faults();
    });
    EXPECT_EQ(platform::timer_periods_begun(), 0u) << nth;
  }
}

}  // namespace
