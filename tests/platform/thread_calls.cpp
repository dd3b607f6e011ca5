// Threads: start, end, suspension, priority.

#include <windows.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/platform/call_helpers.h"
#include "tests/support/system_time.h"

namespace {

using test::Handle;
using test::kUntouched;
using test::look;
using test::new_event;
using test::on_other_thread;
using test::run_timed;
using test::start_thread;
using test::Work;

TEST(Threads, TheExitCodeIsWhatTheRoutineReturns) {
  EXPECT_EQ(on_other_thread([] { return DWORD{42}; }), 42u);
}

TEST(Threads, ARunningThreadIsStillActive) {
  run_timed([] {
    const Handle end(new_event(false, false));
    Work work = [&] { return WaitForSingleObject(end, INFINITE); };
    const Handle thread(start_thread(work));
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, DWORD{STILL_ACTIVE});
    EXPECT_EQ(look(thread), DWORD{WAIT_TIMEOUT});
    SetEvent(end);
    WaitForSingleObject(thread, INFINITE);
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, 0u);
  });
}

TEST(Threads, ASuspendedThreadDoesNotRunBeforeItIsResumed) {
  run_timed([] {
    Work work = [] { return DWORD{7}; };
    const Handle thread(start_thread(work, CREATE_SUSPENDED));
    EXPECT_EQ(WaitForSingleObject(thread, 50), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(ResumeThread(thread), 1u);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, 7u);
  });
}

TEST(Threads, ARunningThreadsResumeFindsACountOfZero) {
  run_timed([] {
    const Handle end(new_event(false, false));
    Work work = [&] { return WaitForSingleObject(end, INFINITE); };
    const Handle thread(start_thread(work));
    EXPECT_EQ(ResumeThread(thread), 0u);
    SetEvent(end);
    WaitForSingleObject(thread, INFINITE);
  });
}

TEST(Threads, ThePriorityIsKeptAndReadableAfterTheEnd) {
  Work work = [] { return static_cast<DWORD>(GetThreadPriority(GetCurrentThread())); };
  const Handle thread(start_thread(work, CREATE_SUSPENDED));
  EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_ABOVE_NORMAL));
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_ABOVE_NORMAL);
  ResumeThread(thread);
  WaitForSingleObject(thread, INFINITE);
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  EXPECT_EQ(code, DWORD{THREAD_PRIORITY_ABOVE_NORMAL});
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_ABOVE_NORMAL);
}

TEST(Threads, AnUnknownPriorityIsRefusedAndChangesNothing) {
  Work work = [] { return DWORD{0}; };
  const Handle thread(start_thread(work, CREATE_SUSPENDED));
  EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_HIGHEST));
  for (const int priority : {3, -3, 14, -14, 16}) {
    SetLastError(kUntouched);
    EXPECT_FALSE(SetThreadPriority(thread, priority)) << priority;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER}) << priority;
  }
  EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_HIGHEST);
  for (const int priority : {-15, -2, -1, 0, 1, 2}) {
    EXPECT_TRUE(SetThreadPriority(thread, priority)) << priority;
    EXPECT_EQ(GetThreadPriority(thread), priority);
  }
  ResumeThread(thread);
  WaitForSingleObject(thread, INFINITE);
}

TEST(Threads, ANullHandleHasNoPriorityAndNoExitCode) {
  SetLastError(kUntouched);
  EXPECT_EQ(GetThreadPriority(nullptr), THREAD_PRIORITY_ERROR_RETURN);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  DWORD code = 0;
  SetLastError(kUntouched);
  EXPECT_FALSE(GetExitCodeThread(nullptr, &code));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(kUntouched);
  EXPECT_EQ(ResumeThread(nullptr), DWORD{0xffffffff});
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(kUntouched);
  EXPECT_FALSE(SetThreadPriority(nullptr, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(kUntouched);
  EXPECT_FALSE(TerminateThread(nullptr, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

DWORD WINAPI use_much_stack(LPVOID) {
  volatile char room[200 * 1024];
  for (size_t i = 0; i < sizeof room; i += 1024) room[i] = static_cast<char>(i);
  return static_cast<DWORD>(room[1024]) + 1;
}

TEST(Threads, ASmallStackSizeIsTheCommitSizeOnly) {
  const Handle thread(CreateThread(nullptr, 16384, use_much_stack, nullptr, 0, nullptr));
  EXPECT_EQ(WaitForSingleObject(thread, 30000), WAIT_OBJECT_0);
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  EXPECT_EQ(code, 1u);
}

TEST(Threads, EachHasANumberOfItsOwnThatItsCreatorIsTold) {
  DWORD told = 0;
  DWORD seen = 0;
  Work work = [&] {
    seen = GetCurrentThreadId();
    return DWORD{0};
  };
  const Handle thread(CreateThread(nullptr, 0, test::run_work, &work, 0, &told));
  WaitForSingleObject(thread, INFINITE);
  EXPECT_EQ(told, seen);
  EXPECT_NE(told, GetCurrentThreadId());
  EXPECT_NE(told, 0u);
}

TEST(Threads, TheLastErrorIsEachThreadsOwn) {
  SetLastError(kUntouched);
  EXPECT_EQ(on_other_thread([] {
              const DWORD first = GetLastError();
              SetLastError(5);
              return first;
            }),
            0u);
  EXPECT_EQ(GetLastError(), kUntouched);
}

TEST(Threads, ATerminatedThreadShowsItsEndAndItsCode) {
  run_timed([] {
    const Handle never(new_event(false, false));
    Work work = [&] { return WaitForSingleObject(never, INFINITE); };
    const Handle thread(start_thread(work));
    Sleep(50);
    EXPECT_TRUE(TerminateThread(thread, 99));
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, 99u);
  });
}

TEST(Threads, ATerminatedThreadThatNeverBlocksStopsAtItsNextCall) {
  run_timed([] {
    Work work = []() -> DWORD {
      for (;;) Sleep(1000);
    };
    const Handle thread(start_thread(work));
    Sleep(20);
    EXPECT_TRUE(TerminateThread(thread, 5));
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  });
}

TEST(Threads, AThreadTerminatedWhileItWaitsForASectionNeverGetsIt) {
  run_timed([] {
    auto* section = new CRITICAL_SECTION;
    InitializeCriticalSection(section);
    EnterCriticalSection(section);
    Work work = [&] {
      EnterCriticalSection(section);
      return DWORD{0};
    };
    const Handle thread(start_thread(work));
    Sleep(50);
    EXPECT_TRUE(TerminateThread(thread, 4));
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    LeaveCriticalSection(section);
    DeleteCriticalSection(section);
    delete section;
    DWORD code = 0;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, 4u);
  });
}

TEST(Threads, ManyCanBeWaitedForTogether) {
  run_timed([] {
    Work work = [] { return DWORD{1}; };
    std::vector<HANDLE> threads;
    for (int i = 0; i < 30; ++i) threads.push_back(start_thread(work));
    EXPECT_EQ(WaitForMultipleObjects(30, threads.data(), TRUE, 10000), WAIT_OBJECT_0);
    for (HANDLE thread : threads) CloseHandle(thread);
  });
}

}  // namespace
