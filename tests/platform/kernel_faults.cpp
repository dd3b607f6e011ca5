// Faults: which call fails, how often, and who is spared.

#include <windows.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/faults.h"
#include "platform/kernel/object.h"
#include "tests/platform/call_helpers.h"
#include "tests/support/virtual_time.h"

namespace {

using test::Handle;
using test::new_event;

class FaultTest : public testing::Test {
 protected:
  void SetUp() override { platform::clear_faults(); }
  void TearDown() override { platform::clear_faults(); }
};

bool makes_event() {
  HANDLE event = new_event(false, false);
  if (event == nullptr) return false;
  CloseHandle(event);
  return true;
}

TEST_F(FaultTest, TheNthCallOfANameFailsOnceWithItsError) {
  platform::fail_call("CreateEventA", 2, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_TRUE(makes_event());
  EXPECT_FALSE(makes_event());
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
  EXPECT_TRUE(makes_event());
  EXPECT_EQ(platform::faults_met(), 1u);
}

TEST_F(FaultTest, FromThenOnMeansEveryLaterCall) {
  platform::fail_call_from("CreateEventA", 2, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(makes_event());
  EXPECT_FALSE(makes_event());
  EXPECT_FALSE(makes_event());
  EXPECT_NE(static_cast<HANDLE>(Handle(CreateMutexA(nullptr, FALSE, nullptr))), nullptr);
  platform::clear_faults();
  EXPECT_TRUE(makes_event());
}

TEST_F(FaultTest, AWaitFailsOnceAndNeverFromThenOn) {
  const Handle event(new_event(true, true));
  platform::fail_call_from("WaitForSingleObject", 1, ERROR_INVALID_HANDLE);
  EXPECT_EQ(test::look(event), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_EQ(test::look(event), WAIT_OBJECT_0);
}

TEST_F(FaultTest, ACloseFailsButStillCloses) {
  HANDLE event = new_event(false, false);
  platform::fail_call("CloseHandle", 1, ERROR_GEN_FAILURE);
  EXPECT_FALSE(CloseHandle(event));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
  EXPECT_FALSE(SetEvent(event));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(FaultTest, SectionsTicksSleepsAndLastErrorsNeverFail) {
  platform::fail_nth_system_call(1, ERROR_GEN_FAILURE);
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  EnterCriticalSection(&section);
  LeaveCriticalSection(&section);
  DeleteCriticalSection(&section);
  GetTickCount();
  Sleep(0);
  SetLastError(0);
  EXPECT_EQ(platform::faults_met(), 0u);
  EXPECT_FALSE(makes_event());
  EXPECT_EQ(platform::failed_calls(), std::vector<std::string>{"CreateEventA"});
}

TEST_F(FaultTest, CallsAreCountedByNameAndTraced) {
  platform::watch_calls();
  EXPECT_TRUE(makes_event());
  EXPECT_TRUE(makes_event());
  EXPECT_EQ(platform::calls_of("CreateEventA"), 2u);
  EXPECT_EQ(platform::calls_of("CloseHandle"), 2u);
  EXPECT_EQ(platform::calls_of("Sleep"), 0u);
  const std::vector<std::string> trace = platform::call_trace();
  ASSERT_EQ(trace.size(), 4u);
  EXPECT_NE(trace[0].find("CreateEventA"), std::string::npos);
  EXPECT_NE(trace[1].find("CloseHandle"), std::string::npos);
}

TEST_F(FaultTest, ArmingFromManyThreadsLosesNothing) {
  test::run_virtual_parallel([] {
    std::vector<test::TestThread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.push_back(
          test::spawn("armer", [] { platform::fail_call("ResetEvent", 1, ERROR_GEN_FAILURE); }));
    }
    for (test::TestThread& thread : threads) thread.join();
    const Handle event(new_event(false, false));
    EXPECT_FALSE(ResetEvent(event));
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(platform::faults_met(), 1u) << "eight faults strike at one call";
  });
}

}  // namespace
