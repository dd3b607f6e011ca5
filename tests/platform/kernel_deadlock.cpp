// What stops the program: deadlocks, livelocks, strangers, misuse of sections.

#include <windows.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/kernel/scenario.h"
#include "tests/platform/call_helpers.h"
#include "tests/support/virtual_time.h"

namespace {

using test::Handle;
using test::new_event;
using test::run_virtual_parallel;
using test::run_virtual_serial;
using test::spawn;
using test::TestThread;

class StopTest : public testing::Test {
 protected:
  // Each statement runs in a process of its own, begun anew.
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

void wait_for_each_other() {
  CRITICAL_SECTION first;
  CRITICAL_SECTION second;
  InitializeCriticalSection(&first);
  InitializeCriticalSection(&second);
  EnterCriticalSection(&first);
  TestThread other = spawn("other", [&] {
    EnterCriticalSection(&second);
    EnterCriticalSection(&first);
  });
  test::settle();
  EnterCriticalSection(&second);
}

TEST_F(StopTest, TwoThreadsInEachOthersSectionsAreReportedAtOnce) {
  EXPECT_DEATH(run_virtual_parallel(wait_for_each_other),
               "deadlock.*\n.*body.*EnterCriticalSection.*that other is in"
               "\n.*other.*EnterCriticalSection.*that body is in");
  EXPECT_DEATH(run_virtual_serial(3, wait_for_each_other), "deadlock");
}

TEST_F(StopTest, AWaitForWhatNobodySetsIsReportedWithItsCallAndObject) {
  EXPECT_DEATH(run_virtual_parallel([] { WaitForSingleObject(new_event(false, false), INFINITE); }),
               "body \\(id 4096\\) is blocked in WaitForSingleObject, waits for event of "
               "CreateEventA");
}

TEST_F(StopTest, AThreadThatIsNeverResumedIsReported) {
  EXPECT_DEATH(run_virtual_parallel([] {
                 test::Work nothing = [] { return DWORD{0}; };
                 WaitForSingleObject(test::start_thread(nothing, CREATE_SUSPENDED), INFINITE);
               }),
               "is suspended");
}

TEST_F(StopTest, YieldingForEverIsReported) {
  const auto spin = [] {
    for (;;) Sleep(0);
  };
  EXPECT_DEATH(run_virtual_parallel(spin), "no progress");
  EXPECT_DEATH(run_virtual_serial(1, spin), "no progress");
}

TEST_F(StopTest, TwoThreadsThatPollForEverAreReported) {
  const auto poll = [] {
    HANDLE event = new_event(false, false);
    TestThread other = spawn("other", [event] {
      while (WaitForSingleObject(event, 0) != WAIT_OBJECT_0) {
      }
    });
    while (WaitForSingleObject(event, 0) != WAIT_OBJECT_0) {
    }
  };
  EXPECT_DEATH(run_virtual_parallel(poll), "no progress");
  EXPECT_DEATH(run_virtual_serial(0, poll), "no progress");
}

TEST_F(StopTest, AThreadOfTheLanguageLibraryIsAStranger) {
  EXPECT_DEATH(run_virtual_parallel([] {
                 std::thread stranger([] { Sleep(1); });
                 stranger.join();
               }),
               "Sleep is called by a thread that the running scenario didn't create");
}

TEST_F(StopTest, AForkInAScenarioIsRefused) {
  EXPECT_DEATH(run_virtual_parallel([] {
                 if (fork() == 0) _exit(0);
               }),
               "fork in a virtual scenario");
}

TEST_F(StopTest, AChildProcessInAScenarioIsRefused) {
  EXPECT_DEATH(run_virtual_parallel([] {
                 char line[] = "/bin/true";
                 STARTUPINFOA startup{};
                 PROCESS_INFORMATION information;
                 CreateProcessA(nullptr, line, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                &startup, &information);
               }),
               "CreateProcessA in a virtual scenario");
}

TEST_F(StopTest, ASectionThatIsNotInitialisedIsFoundOut) {
  EXPECT_DEATH(
      {
        CRITICAL_SECTION section{};
        EnterCriticalSection(&section);
      },
      "not initialised");
  EXPECT_DEATH(
      {
        CRITICAL_SECTION section;
        InitializeCriticalSection(&section);
        DeleteCriticalSection(&section);
        EnterCriticalSection(&section);
      },
      "deleted");
}

TEST_F(StopTest, LeavingASectionThatIsNotOnesOwnIsFoundOut) {
  EXPECT_DEATH(
      {
        CRITICAL_SECTION section;
        InitializeCriticalSection(&section);
        LeaveCriticalSection(&section);
      },
      "isn't in the section");
}

TEST_F(StopTest, WaitingForAThreadUnderTheLoadersLockIsADeadlockAsOnWindows) {
  // A detach that waits for its worker's end can't be left: threads end under that lock too.
  EXPECT_DEATH(run_virtual_parallel([] {
                 SetEnvironmentVariableA("VLP_SAMPLE_WAITS_AT_DETACH", "1");
                 HMODULE module = LoadLibraryA("platform_sample_module.so");
                 FreeLibrary(module);
               }),
               "deadlock.*\n(.*\n)*.*its (start|end), waits for a critical section");
}

}  // namespace
