// Waiting for another process that rotates: to the millisecond, and what an abandoned
// mutex does. The other process is played by a thread.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "platform/kernel/scenario.h"
#include "tests/diag/log_fixture.h"
#include "tests/support/virtual_time.h"

namespace {

using diag_test::LogTest;
using vlp::DbgLog;

class LogMutexTest : public LogTest {
 protected:
  bool has_rotated() const { return far_side::read_file(rotated_path()).has_value(); }

  // Stamps while another thread holds the mutex for so long.
  void stamp_while_held(uint32_t held_ms, uint64_t expected_ms, bool expect_rotated) {
    test::run_virtual_parallel([&] {
      DbgLog log = open_log(1, 1);
      test::TestThread other = test::spawn("other", [&] {
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(log.mutex.Get(), INFINITE));
        test::sleep_ms(held_ms);
        EXPECT_NE(FALSE, ReleaseMutex(log.mutex.Get()));
      });
      test::settle();
      SetLastError(diag_test::kUntouched);
      const uint64_t before = test::elapsed_ms();
      vlp::DbgStampLimit(&log);
      EXPECT_EQ(expected_ms, test::elapsed_ms() - before);
      EXPECT_EQ(diag_test::kUntouched, GetLastError());
      EXPECT_EQ(expect_rotated, has_rotated());
      EXPECT_TRUE(platform::locks_held_by(GetCurrentThreadId()).empty());
      other.join();
    });
  }
};

TEST_F(LogMutexTest, AHolderIsWaitedForUpToASecond) { stamp_while_held(999, 999, true); }

TEST_F(LogMutexTest, AfterASecondThePassIsSkipped) { stamp_while_held(1001, 1000, false); }

TEST_F(LogMutexTest, ASkippedPassIsMadeUpAtTheNextStamp) {
  stamp_while_held(5000, 1000, false);
  DbgLog log = open_log(1, 1);
  vlp::DbgStampLimit(&log);
  EXPECT_TRUE(has_rotated());
}

TEST_F(LogMutexTest, AtAnAbandonedMutexThePassIsSkippedAndTheMutexGivenBack) {
  test::run_virtual_parallel([&] {
    DbgLog log = open_log(1, 1);
    test::spawn("dying", [&] {
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(log.mutex.Get(), 0));
    }).join();
    SetLastError(diag_test::kUntouched);
    vlp::DbgStampLimit(&log);
    EXPECT_EQ(0U, test::elapsed_ms());
    EXPECT_EQ(diag_test::kUntouched, GetLastError());
    EXPECT_FALSE(has_rotated());
    EXPECT_TRUE(platform::locks_held_by(GetCurrentThreadId()).empty());
    DWORD wait = WAIT_FAILED;
    test::spawn("next", [&] {
      wait = WaitForSingleObject(log.mutex.Get(), 0);
      ReleaseMutex(log.mutex.Get());
    }).join();
    EXPECT_EQ(WAIT_OBJECT_0, wait);
    vlp::DbgStampLimit(&log);
    EXPECT_TRUE(has_rotated());
  });
}

TEST_F(LogMutexTest, TheWaitHoldsUpNoLineOfAnotherThread) {
  test::run_virtual_parallel([&] {
    DbgLog log = open_log(1, 1);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(log.mutex.Get(), 0));
    test::TestThread stamper = test::spawn("stamper", [&] { vlp::DbgStampLimit(&log); });
    test::settle();
    EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "meanwhile"));
    EXPECT_EQ(0U, test::elapsed_ms());
    stamper.join();
    EXPECT_EQ(1000U, test::elapsed_ms());
    EXPECT_NE(FALSE, ReleaseMutex(log.mutex.Get()));
  });
}

}  // namespace
