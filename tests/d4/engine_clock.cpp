// Times: the counter behind the trace, and how fine the system's timers are.

#include <gmock/gmock.h>
#include <mmsystem.h>

#include <limits>

#include "d4/trace.h"
#include "platform/faults.h"
#include "platform/multimedia.h"
#include "tests/d4/engine_calls_spy.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;

class EngineClock : public ::testing::Test {
 protected:
  void TearDown() override {
    set_counter({});
    platform::set_timer_period_min(1);
    platform::clear_faults();
  }
};

TEST_F(EngineClock, StampIsMicrosecondsOfTheMinute) {
  run_virtual_parallel([] {
    Engine engine;
    EXPECT_EQ(0u, vlp::XdltTimestamp());
    test::sleep_ms(1);
    EXPECT_EQ(1'000u, vlp::XdltTimestamp());
    test::sleep_ms(59'998);
    EXPECT_EQ(59'999'000u, vlp::XdltTimestamp());
    test::sleep_ms(1);
    EXPECT_EQ(0u, vlp::XdltTimestamp());
    test::sleep_ms(61'234);
    EXPECT_EQ(1'234'000u, vlp::XdltTimestamp());
  });
}

TEST_F(EngineClock, StampIsRightAfterManyDaysAndForAnyFrequency) {
  struct Case {
    std::int64_t frequency, count;
    std::uint32_t stamp;
  };
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const Case cases[] = {
      {10'000'000, 0, 0},
      {10'000'000, 9, 0},
      {10'000'000, 10, 1},
      {10'000'000, 599'999'999, 59'999'999},
      {10'000'000, 600'000'000, 0},
      // Where the count times a million passes what 64 bits hold.
      {10'000'000, 9'223'372'036'854, 17'203'685},
      {10'000'000, 9'223'372'036'855, 17'203'685},
      {10'000'000, 9'223'372'037'000, 17'203'700},
      // A year: 31536000 seconds are whole minutes.
      {10'000'000, 315'360'000'000'000 + 123'456'780, 12'345'678},
      {10'000'000, kMost, 5'477'580},
      {1, 119, 59'000'000},
      {3, 1, 333'333},
      {3, 181, 333'333},
      {3'579'545, 3'579'544, 999'999},
      {1'000'000'000, 60'000'000'999, 0},
      {1'000'000'000, 60'000'001'000, 1},
      {1'000'000'000, kMost, 16'854'775},
  };
  for (const Case& one : cases) {
    run_virtual_parallel([&] {
      set_counter({.frequency = one.frequency});
      Engine engine;
      set_counter({.count = one.count});
      EXPECT_EQ(one.stamp, vlp::XdltTimestamp()) << one.frequency << " " << one.count;
      set_counter({});
    });
  }
}

TEST_F(EngineClock, WithoutAFrequencyTheStampIsZero) {
  for (const CounterAnswers& answers :
       {CounterAnswers{.frequency_fails = true}, CounterAnswers{.frequency = 0}}) {
    run_virtual_parallel([&] {
      set_counter(answers);
      Engine engine;
      set_counter({});
      EXPECT_EQ(0, the_engine().perfFrequency);
      test::sleep_ms(1'234);
      EXPECT_EQ(0u, vlp::XdltTimestamp());
    });
  }
}

TEST_F(EngineClock, WithoutAnEngineTheStampIsZero) {
  run_virtual_parallel([] {
    test::sleep_ms(1'234);
    EXPECT_EQ(0u, vlp::XdltTimestamp());
    {
      const Engine engine;
      EXPECT_EQ(1'234'000u, vlp::XdltTimestamp());
    }
    EXPECT_EQ(0u, vlp::XdltTimestamp());
  });
}

TEST_F(EngineClock, TimersAreAskedForAtTheSystemsFinestPeriodButNeverBelowOne) {
  struct Case {
    std::uint32_t period, resolution;
  };
  for (const Case& one : {Case{0, 1}, Case{1, 1}, Case{2, 2}, Case{15, 15}, Case{1'000, 1'000}}) {
    run_virtual_parallel([&] {
      platform::set_timer_period_min(one.period);
      Engine engine;
      EXPECT_EQ(one.resolution, vlp::TimerResolution());
      EXPECT_EQ(one.period, the_engine().wPeriodMin);
      EXPECT_EQ(65535u, the_engine().wPeriodMax);
    });
  }
}

TEST_F(EngineClock, UnknownPeriodIsTakenAsOne) {
  run_virtual_parallel([] {
    platform::set_timer_period_min(8);
    {
      const Engine engine;
      EXPECT_EQ(8u, vlp::TimerResolution());
    }
    platform::fail_call("timeGetDevCaps", 1, TIMERR_NOCANDO);
    Engine engine;
    EXPECT_EQ(1u, platform::faults_met());
    EXPECT_EQ(1u, vlp::TimerResolution());
    EXPECT_EQ(0u, the_engine().wPeriodMin);
    EXPECT_EQ(0u, the_engine().wPeriodMax);
  });
}

TEST_F(EngineClock, PeriodIsAskedForOncePerTable) {
  run_virtual_parallel([] {
    platform::watch_calls();
    Engine engine;
    const Engine second;
    EXPECT_EQ(1u, platform::calls_of("timeGetDevCaps"));
  });
}

}  // namespace
}  // namespace d4_test
