// Ages to the millisecond, and over the counter's wrap.

#include <gtest/gtest.h>

#include <windows.h>

#include "support/tick_age.h"
#include "tests/support/virtual_time.h"

namespace {

TEST(TickAgeExact, TheWrapOfTheCounterDoesNoHarm) {
  test::run_virtual_parallel(
      [] {
        const DWORD stamp = GetTickCount();
        ASSERT_EQ(0xFFFFFFF0U, stamp);
        EXPECT_EQ(0U, vlp::TickAge(stamp));
        test::sleep_ms(15);
        EXPECT_EQ(15U, vlp::TickAge(stamp));
        test::sleep_ms(17);
        ASSERT_EQ(0x10U, GetTickCount());
        EXPECT_EQ(32U, vlp::TickAge(stamp));
      },
      {.tick_start_ms = 0xFFFFFFF0});
}

TEST(TickAgeExact, AnAgeRunsUpTo49Days) {
  test::run_virtual_parallel(
      [] {
        EXPECT_EQ(0xFFFFFFFFU, vlp::TickAge(0xFFFFFFFE + 2));
        EXPECT_EQ(0xFFFFFFFEU, vlp::TickAge(1));
      },
      {.tick_start_ms = 0xFFFFFFFF});
}

}  // namespace
