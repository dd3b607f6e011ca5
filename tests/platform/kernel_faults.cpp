// Faults: which call fails, how often, and who is spared.

#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <new>
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

// A small subject: makes an event and a string on the heap, and copes with failure.
int subject() {
  const platform::UnderTest tested;
  HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  if (event == nullptr) return 1;
  int result = 0;
  try {
    const std::string text(200, 'x');
    if (!SetEvent(event)) result = 2;
  } catch (const std::bad_alloc&) {
    result = 3;
  }
  CloseHandle(event);
  return result;
}

TEST_F(FaultTest, ASweepMeetsEveryFallibleCallInTurnAndThenNone) {
  std::vector<int> results;
  std::vector<std::string> names;
  for (unsigned nth = 1;; ++nth) {
    platform::clear_faults();
    platform::fail_nth_call(nth, ERROR_NOT_ENOUGH_MEMORY);
    const int result = subject();
    if (platform::faults_met() == 0) {
      EXPECT_EQ(result, 0);
      break;
    }
    results.push_back(result);
    names.push_back(platform::failed_calls().at(0));
    ASSERT_LT(nth, 100u);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"CreateEventA", "operator new", "SetEvent",
                                             "CloseHandle"}));
  EXPECT_EQ(results, (std::vector<int>{1, 3, 2, 0}));
}

TEST_F(FaultTest, AllFormsOfNewAreFaultPointsUnderTest) {
  struct alignas(64) Wide {
    char bytes[64];
  };
  platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  unsigned refused = 0;
  const auto count = [&refused](auto make) {
    try {
      make();
    } catch (const std::bad_alloc&) {
      ++refused;
    }
  };
  bool null_given = false;
  {
    const platform::UnderTest tested;
    count([] { std::make_unique<std::string>(); });
    count([] { std::make_unique<int[]>(5); });
    count([] { std::make_unique<Wide>(); });
    count([] { std::make_unique<Wide[]>(2); });
    const std::unique_ptr<int> nothing(new (std::nothrow) int);
    null_given = nothing == nullptr;
  }
  EXPECT_EQ(refused, 4u);
  EXPECT_TRUE(null_given);
}

TEST_F(FaultTest, AllocationsOfTheTestAreSpared) {
  platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_NO_THROW(std::make_unique<std::string>(100, 'x'));
  const platform::UnderTest tested;
  {
    const platform::Exempt exempt;
    EXPECT_NO_THROW(std::make_unique<std::string>(100, 'x'));
  }
  bool thrown = false;
  try {
    std::make_unique<std::string>();
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  const platform::Exempt exempt;
  EXPECT_TRUE(thrown);
}

DWORD WINAPI allocate(LPVOID) {
  try {
    const std::unique_ptr<std::string> text = std::make_unique<std::string>("x");
  } catch (const std::bad_alloc&) {
    return 1;
  }
  return 0;
}

DWORD run_allocator() {
  HANDLE thread = CreateThread(nullptr, 0, allocate, nullptr, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  DWORD code = 9;
  GetExitCodeThread(thread, &code);
  CloseHandle(thread);
  return code;
}

TEST_F(FaultTest, ThreadsInheritWhetherTheyAreUnderTest) {
  platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(run_allocator(), 0u);
  DWORD code = 9;
  {
    const platform::UnderTest tested;
    code = run_allocator();
  }
  EXPECT_EQ(code, 1u);
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
      threads.push_back(test::spawn("armer", [] {
        platform::fail_call("ResetEvent", 1, ERROR_GEN_FAILURE);
      }));
    }
    for (test::TestThread& thread : threads) thread.join();
    const Handle event(new_event(false, false));
    EXPECT_FALSE(ResetEvent(event));
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(platform::faults_met(), 1u) << "eight faults strike at one call";
  });
}

}  // namespace
