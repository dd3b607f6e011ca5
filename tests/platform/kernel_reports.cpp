// Reports: what is left behind, handles, locks.

#include <windows.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/kernel/object.h"
#include "platform/kernel/scenario.h"
#include "tests/platform/call_helpers.h"
#include "tests/support/virtual_time.h"

namespace {

using test::Handle;
using test::new_event;
using test::run_virtual_parallel;
using test::settle;
using test::spawn;
using test::TestThread;

TEST(Reports, AnOpenHandleFailsTheScenarioWithItsCreator) {
  HANDLE left = nullptr;
  EXPECT_NONFATAL_FAILURE(run_virtual_parallel([&] { left = new_event(false, false); }),
                          "event of CreateEventA");
  CloseHandle(left);
}

TEST(Reports, ANamedHandleIsReportedWithItsName) {
  HANDLE left = nullptr;
  EXPECT_NONFATAL_FAILURE(
      run_virtual_parallel([&] { left = CreateMutexA(nullptr, FALSE, "VlpKernel_left"); }),
      "mutex \"Local\\VlpKernel_left\" of CreateMutexA");
  CloseHandle(left);
}

DWORD WINAPI wait_for_ever(LPVOID event) { return WaitForSingleObject(event, INFINITE); }

TEST(Reports, ALeftThreadFailsTheScenarioWithItsCall) {
  test::VirtualOptions options;
  options.may_leave_handles = true;
  EXPECT_NONFATAL_FAILURE(
      run_virtual_parallel(
          [] {
            HANDLE event = new_event(false, false);
            CloseHandle(CreateThread(nullptr, 0, wait_for_ever, event, 0, nullptr));
          },
          options),
      "is blocked in WaitForSingleObject");
}

TEST(Reports, AHeldLockFailsTheScenario) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  EXPECT_NONFATAL_FAILURE(run_virtual_parallel([&] { EnterCriticalSection(&section); }),
                          "critical section held by body");
  LeaveCriticalSection(&section);
  DeleteCriticalSection(&section);
}

TEST(Reports, ASectionOfAnEndedThreadIsAHeldLock) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  EXPECT_NONFATAL_FAILURE(run_virtual_parallel([&] {
                            TestThread thread =
                                spawn("worker", [&] { EnterCriticalSection(&section); });
                            thread.join();
                            EXPECT_TRUE(platform::any_lock_held());
                          }),
                          "critical section of the ended worker");
  DeleteCriticalSection(&section);
}

TEST(Reports, LocksAreToldByThread) {
  run_virtual_parallel([] {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    EXPECT_FALSE(platform::any_lock_held());
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    WaitForSingleObject(mutex, INFINITE);
    EXPECT_EQ(platform::locks_held_by(GetCurrentThreadId()).size(), 2u);
    ReleaseMutex(mutex);
    LeaveCriticalSection(&section);
    EXPECT_TRUE(platform::any_lock_held());
    LeaveCriticalSection(&section);
    EXPECT_FALSE(platform::any_lock_held());
    DeleteCriticalSection(&section);
  });
}

TEST(Reports, HandlesOfBeforeAreNotTheScenariosFault) {
  const Handle before(new_event(false, false));
  run_virtual_parallel([] { EXPECT_EQ(platform::handle_report(), ""); });
}

}  // namespace
