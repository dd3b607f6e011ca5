// Events, mutexes, waits, critical sections.

#include <windows.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

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

TEST(Events, AnAutoResetEventReleasesOneWaitAndClears) {
  const Handle event(new_event(false, false));
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(look(event), WAIT_OBJECT_0);
  EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, TwoSetsBeforeAWaitCountOnce) {
  const Handle event(new_event(false, false));
  SetEvent(event);
  SetEvent(event);
  EXPECT_EQ(look(event), WAIT_OBJECT_0);
  EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, AManualResetEventStaysSetUntilItIsReset) {
  const Handle event(new_event(true, false));
  SetEvent(event);
  EXPECT_EQ(look(event), WAIT_OBJECT_0);
  EXPECT_EQ(look(event), WAIT_OBJECT_0);
  EXPECT_TRUE(ResetEvent(event));
  EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, AnEventMayBeMadeSet) {
  const Handle event(new_event(false, true));
  EXPECT_EQ(look(event), WAIT_OBJECT_0);
  EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, ResetTakesAnAutoResetSignalBack) {
  const Handle event(new_event(false, false));
  SetEvent(event);
  ResetEvent(event);
  EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT});
}

TEST(Events, OneSetWakesExactlyOneOfThreeWaiters) {
  run_timed([] {
    const Handle event(new_event(false, false));
    LONG woken = 0;  // written in turn: each wake is followed by a look that orders them
    const Handle told(new_event(false, false));
    Work work = [&] {
      WaitForSingleObject(event, INFINITE);
      ++woken;
      SetEvent(told);
      return DWORD{0};
    };
    std::array<HANDLE, 3> threads;
    for (HANDLE& thread : threads) thread = start_thread(work);
    Sleep(50);
    for (LONG i = 1; i <= 3; ++i) {
      SetEvent(event);
      EXPECT_EQ(WaitForSingleObject(told, 5000), WAIT_OBJECT_0);
      EXPECT_EQ(woken, i);
      EXPECT_EQ(WaitForSingleObject(told, 50), DWORD{WAIT_TIMEOUT});
    }
    EXPECT_EQ(WaitForMultipleObjects(3, threads.data(), TRUE, 5000), WAIT_OBJECT_0);
    for (HANDLE thread : threads) CloseHandle(thread);
  });
}

TEST(Events, GoodAndTimedOutWaitsAndSetsLeaveTheLastErrorAlone) {
  const Handle event(new_event(false, false));
  SetLastError(kUntouched);
  SetEvent(event);
  EXPECT_EQ(GetLastError(), kUntouched);
  look(event);
  EXPECT_EQ(GetLastError(), kUntouched);
  look(event);
  EXPECT_EQ(GetLastError(), kUntouched);
  ResetEvent(event);
  EXPECT_EQ(GetLastError(), kUntouched);
}

TEST(Events, MakingAnEventClearsTheLastError) {
  SetLastError(kUntouched);
  const Handle event(new_event(false, false));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
}

TEST(Waits, AnyTakesTheLowestIndexAndOnlyThatOne) {
  const Handle first(new_event(false, true));
  const Handle second(new_event(false, true));
  const HANDLE both[] = {first, second};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), DWORD{WAIT_TIMEOUT});
}

TEST(Waits, AllTakesAllOrNone) {
  const Handle first(new_event(false, true));
  const Handle second(new_event(false, false));
  const HANDLE both[] = {first, second};
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 0), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(look(first), WAIT_OBJECT_0) << "a failed wait for all must leave the set event set";
  SetEvent(first);
  SetEvent(second);
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(look(first), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(look(second), DWORD{WAIT_TIMEOUT});
}

TEST(Waits, AllIsReleasedWhenTheLastConditionComes) {
  run_timed([] {
    const Handle first(new_event(false, false));
    const Handle second(new_event(false, false));
    const HANDLE both[] = {first, second};
    Work work = [&] { return WaitForMultipleObjects(2, both, TRUE, 10000); };
    const Handle thread(start_thread(work));
    Sleep(20);
    SetEvent(second);
    EXPECT_EQ(WaitForSingleObject(thread, 20), DWORD{WAIT_TIMEOUT});
    SetEvent(first);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    DWORD code = 1;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, WAIT_OBJECT_0);
    EXPECT_EQ(look(first), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(look(second), DWORD{WAIT_TIMEOUT});
  });
}

TEST(Waits, AnEndedThreadStaysSignalledBehindALowerEvent) {
  const Handle event(new_event(false, false));
  Work nothing = [] { return DWORD{42}; };
  const Handle thread(start_thread(nothing));
  WaitForSingleObject(thread, INFINITE);
  const HANDLE both[] = {event, thread};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  SetEvent(event);
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0 + 1);
}

TEST(Waits, TheSameHandleTwiceIsRefusedWhenAllAreWanted) {
  const Handle event(new_event(false, true));
  const HANDLE twice[] = {event, event};
  if (test::is_wine()) {
    // The documentation forbids multiple copies of a handle; Wine lets them pass.
    EXPECT_EQ(WaitForMultipleObjects(2, twice, TRUE, 0), WAIT_OBJECT_0);
    return;
  }
  SetLastError(kUntouched);
  EXPECT_EQ(WaitForMultipleObjects(2, twice, TRUE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Waits, NoHandleOrTooManyAreRefused) {
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS + 1> handles;
  const Handle event(new_event(true, true));
  handles.fill(event);
  SetLastError(kUntouched);
  EXPECT_EQ(WaitForMultipleObjects(0, handles.data(), FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  SetLastError(kUntouched);
  EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, handles.data(), FALSE, 0),
            WAIT_FAILED);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, handles.data(), FALSE, 0), WAIT_OBJECT_0);
}

TEST(Waits, NullAndClosedHandlesFailWithInvalidHandle) {
  HANDLE closed = new_event(false, false);
  CloseHandle(closed);
  for (HANDLE handle : {HANDLE{nullptr}, closed}) {
    SetLastError(kUntouched);
    EXPECT_EQ(look(handle), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    SetLastError(kUntouched);
    EXPECT_FALSE(SetEvent(handle));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    SetLastError(kUntouched);
    EXPECT_FALSE(ResetEvent(handle));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    SetLastError(kUntouched);
    EXPECT_FALSE(ReleaseMutex(handle));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    SetLastError(kUntouched);
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  }
}

TEST(Waits, AHandleOfAnotherKindIsRefused) {
  const Handle event(new_event(false, false));
  const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  SetLastError(kUntouched);
  EXPECT_FALSE(SetEvent(mutex));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SetLastError(kUntouched);
  EXPECT_FALSE(ReleaseMutex(event));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Mutexes, AreRecursiveWithOneReleaseForEachWait) {
  const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
  EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(on_other_thread([&] { return look(mutex); }), DWORD{WAIT_TIMEOUT});
  EXPECT_TRUE(ReleaseMutex(mutex));
  SetLastError(kUntouched);
  EXPECT_FALSE(ReleaseMutex(mutex));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_OWNER});
}

TEST(Mutexes, ReleaseByAnotherThreadIsRefused) {
  const Handle mutex(CreateMutexA(nullptr, TRUE, nullptr));
  const DWORD error = on_other_thread([&] {
    SetLastError(kUntouched);
    return ReleaseMutex(mutex) ? DWORD{0} : GetLastError();
  });
  EXPECT_EQ(error, DWORD{ERROR_NOT_OWNER});
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Mutexes, AnEndedOwnerLeavesItAbandonedAndTheNextWaitOwnsIt) {
  const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  on_other_thread([&] { return look(mutex); });
  EXPECT_EQ(look(mutex), WAIT_ABANDONED);
  EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Mutexes, AbandonedShowsWithTheIndexWhenAnyIsWanted) {
  const Handle event(new_event(false, false));
  const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
  on_other_thread([&] { return look(mutex); });
  const HANDLE both[] = {event, mutex};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_ABANDONED_0 + 1);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Mutexes, AWaiterGetsTheMutexWhenItsOwnerEnds) {
  run_timed([] {
    const Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    const Handle taken(new_event(false, false));
    Work work = [&] {
      look(mutex);
      SetEvent(taken);
      Sleep(50);
      return DWORD{0};
    };
    const Handle owner(start_thread(work));
    WaitForSingleObject(taken, INFINITE);
    EXPECT_EQ(WaitForSingleObject(mutex, 5000), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex));
    WaitForSingleObject(owner, INFINITE);
  });
}

// Names carry the test's own word: all processes of one Wine prefix share them.
TEST(NamedMutexes, ASecondCreationOpensTheFirstAndIgnoresTheInitialOwner) {
  const char* name = "Global\\VlpTest_second";
  SetLastError(kUntouched);
  const Handle first(CreateMutexA(nullptr, FALSE, name));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
  SetLastError(kUntouched);
  const Handle second(CreateMutexA(nullptr, TRUE, name));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  ASSERT_NE(static_cast<HANDLE>(second), nullptr);
  EXPECT_EQ(on_other_thread([&] {
              const DWORD result = look(first);
              ReleaseMutex(first);
              return result;
            }),
            WAIT_OBJECT_0);
}

TEST(NamedMutexes, TwoHandlesOfANameAreOneMutex) {
  const Handle first(CreateMutexA(nullptr, TRUE, "Global\\VlpTest_one"));
  const Handle second(CreateMutexA(nullptr, FALSE, "Global\\VlpTest_one"));
  EXPECT_EQ(on_other_thread([&] { return look(second); }), DWORD{WAIT_TIMEOUT});
  EXPECT_TRUE(ReleaseMutex(second));
  EXPECT_EQ(on_other_thread([&] {
              const DWORD result = look(second);
              ReleaseMutex(second);
              return result;
            }),
            WAIT_OBJECT_0);
}

TEST(NamedMutexes, NamesCompareWithCase) {
  const Handle first(CreateMutexA(nullptr, FALSE, "Global\\VlpTest_case"));
  const Handle other(CreateMutexA(nullptr, FALSE, "Global\\VLPTEST_CASE"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
}

TEST(NamedMutexes, WithoutPrefixANameIsTheSessionsOwn) {
  const Handle bare(CreateMutexA(nullptr, FALSE, "VlpTest_space"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
  const Handle local(CreateMutexA(nullptr, FALSE, "Local\\VlpTest_space"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  const Handle global(CreateMutexA(nullptr, FALSE, "Global\\VlpTest_space"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
}

TEST(NamedMutexes, AnEventsNameIsRefusedToAMutex) {
  const Handle event(CreateEventA(nullptr, FALSE, FALSE, "Global\\VlpTest_kind"));
  SetLastError(kUntouched);
  EXPECT_EQ(CreateMutexA(nullptr, FALSE, "Global\\VlpTest_kind"), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

struct NameCase {
  std::string name;
  DWORD error;  // 0: it makes a mutex
};

class MutexNames : public testing::TestWithParam<NameCase> {};

TEST_P(MutexNames, AreJudgedAsTheSystemDoes) {
  SetLastError(kUntouched);
  const Handle mutex(CreateMutexA(nullptr, FALSE, GetParam().name.c_str()));
  EXPECT_EQ(GetLastError(), GetParam().error);
  EXPECT_EQ(static_cast<HANDLE>(mutex) == nullptr, GetParam().error != ERROR_SUCCESS);
}

std::string long_name(size_t length) { return "Global\\" + std::string(length - 7, 'x'); }

INSTANTIATE_TEST_SUITE_P(
    Table, MutexNames,
    testing::Values(NameCase{"", ERROR_SUCCESS}, NameCase{"Global\\", ERROR_INVALID_NAME},
                    NameCase{"Global\\a\\b", ERROR_PATH_NOT_FOUND},
                    NameCase{"a\\b", ERROR_PATH_NOT_FOUND},
                    NameCase{"global\\VlpTest_x", ERROR_PATH_NOT_FOUND},
                    NameCase{"Global\\VID_0FF7&PID_1234#SER#{B1CEB704}", ERROR_SUCCESS},
                    NameCase{"Global\\\xE9\x82", ERROR_SUCCESS},
                    NameCase{long_name(259), ERROR_SUCCESS},
                    NameCase{long_name(260), ERROR_SUCCESS},
                    NameCase{long_name(261), ERROR_FILENAME_EXCED_RANGE}));

TEST(NamedMutexes, ClosingTheLastHandleForgetsTheName) {
  CloseHandle(CreateMutexA(nullptr, TRUE, "Global\\VlpTest_gone"));
  const Handle again(CreateMutexA(nullptr, FALSE, "Global\\VlpTest_gone"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(look(again), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(again));
}

TEST(NamedMutexes, ADescriptorWithoutAListGrantsEverything) {
  SECURITY_DESCRIPTOR descriptor;
  ASSERT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
  ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE));
  SECURITY_ATTRIBUTES attributes{sizeof attributes, &descriptor, TRUE};
  const Handle mutex(CreateMutexA(&attributes, FALSE, "Global\\VlpTest_descriptor"));
  EXPECT_NE(static_cast<HANDLE>(mutex), nullptr);
}

TEST(CriticalSections, AreRecursive) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  EnterCriticalSection(&section);
  EnterCriticalSection(&section);
  EXPECT_TRUE(TryEnterCriticalSection(&section));
  const auto others_try = [&] {
    return on_other_thread([&] {
      if (!TryEnterCriticalSection(&section)) return DWORD{0};
      LeaveCriticalSection(&section);
      return DWORD{1};
    });
  };
  LeaveCriticalSection(&section);
  LeaveCriticalSection(&section);
  EXPECT_EQ(others_try(), 0u);
  LeaveCriticalSection(&section);
  EXPECT_EQ(others_try(), 1u);
  DeleteCriticalSection(&section);
}

TEST(CriticalSections, WithASpinCountCanBeMadeAndKeepTheLastError) {
  CRITICAL_SECTION section;
  SetLastError(kUntouched);
  EXPECT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 4000));
  EnterCriticalSection(&section);
  LeaveCriticalSection(&section);
  DeleteCriticalSection(&section);
  EXPECT_EQ(GetLastError(), kUntouched);
}

TEST(CriticalSections, KeepOthersOutUntilTheyAreLeft) {
  run_timed([] {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    int inside = 0;
    int met = 0;
    Work work = [&] {
      for (int i = 0; i < 20; ++i) {
        EnterCriticalSection(&section);
        if (++inside != 1) ++met;
        Sleep(1);
        --inside;
        LeaveCriticalSection(&section);
      }
      return DWORD{0};
    };
    const Handle first(start_thread(work));
    const Handle second(start_thread(work));
    WaitForSingleObject(first, INFINITE);
    WaitForSingleObject(second, INFINITE);
    EXPECT_EQ(met, 0);
    DeleteCriticalSection(&section);
  });
}

TEST(Handles, ClosingAnEventUnderAWaitIsSafe) {
  run_timed([] {
    HANDLE event = new_event(true, false);
    const Handle second(new_event(false, false));
    Work work = [&] {
      const HANDLE both[] = {event, second};
      return WaitForMultipleObjects(2, both, FALSE, INFINITE);
    };
    const Handle thread(start_thread(work));
    Sleep(50);
    CloseHandle(event);
    SetEvent(second);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, WAIT_OBJECT_0 + 1);
  });
}

}  // namespace
