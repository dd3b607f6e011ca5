// Schedules: replay, fairness, hand-over, counts.

#include <windows.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <vector>

#include "platform/kernel/call.h"
#include "platform/kernel/scenario.h"
#include "tests/platform/call_helpers.h"
#include "tests/support/virtual_time.h"

namespace {

using test::elapsed_ms;
using test::Handle;
using test::new_event;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::run_virtual_serial;
using test::settle;
using test::sleep_ms;
using test::spawn;
using test::TestThread;

// Some threads that meet at a section, an event and the clock.
std::vector<std::string> busy_scenario(uint64_t seed) {
  std::vector<std::string> trace;
  run_virtual_serial(seed, [&] {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    const Handle event(new_event(false, false));
    const auto work = [&](uint32_t step) {
      return [&section, &event, step] {
        for (int i = 0; i < 5; ++i) {
          EnterCriticalSection(&section);
          SetEvent(event);
          LeaveCriticalSection(&section);
          WaitForSingleObject(event, step);
          sleep_ms(step);
        }
      };
    };
    TestThread first = spawn("first", work(3));
    TestThread second = spawn("second", work(5));
    TestThread third = spawn("third", work(7));
    first.join();
    second.join();
    third.join();
    DeleteCriticalSection(&section);
    trace = platform::schedule_trace();
  });
  return trace;
}

TEST(SerialSchedules, ASeedReplaysItsScheduleExactly) {
  for (uint64_t seed = 0; seed < 50; ++seed) {
    const auto once = busy_scenario(seed);
    EXPECT_FALSE(once.empty());
    EXPECT_EQ(once, busy_scenario(seed)) << "seed " << seed;
  }
}

TEST(SerialSchedules, SeedsDiffer) {
  std::set<std::vector<std::string>> schedules;
  for (uint64_t seed = 0; seed < 50; ++seed) schedules.insert(busy_scenario(seed));
  EXPECT_GT(schedules.size(), 30u);
}

TEST(SerialSchedules, OnlyOneThreadRunsAtATime) {
  for (uint64_t seed = 0; seed < 20; ++seed) {
    run_virtual_serial(seed, [] {
      int unguarded = 0;
      const auto work = [&unguarded] {
        for (int i = 0; i < 100; ++i) {
          {
            // The baton is no ordering edge of the SDK, so ThreadSanitizer isn't asked.
            const platform::Unseen unseen;
            const int seen = unguarded;
            unguarded = seen + 1;
          }
          Sleep(0);
        }
      };
      TestThread first = spawn("first", work);
      TestThread second = spawn("second", work);
      first.join();
      second.join();
      EXPECT_EQ(unguarded, 200);
    });
  }
}

TEST(SerialSchedules, WhatACallSetsOffMayBeOverBeforeItsCallerGoesOn) {
  std::set<bool> seen;
  for (uint64_t seed = 0; seed < 50; ++seed) {
    run_virtual_serial(seed, [&seen] {
      const Handle asked(new_event(false, false));
      std::atomic<bool> answered = false;
      TestThread other = spawn("other", [&] {
        WaitForSingleObject(asked, INFINITE);
        answered.store(true);
      });
      settle();
      SetEvent(asked);
      seen.insert(answered.load());
      other.join();
    });
  }
  EXPECT_EQ((std::set<bool>{false, true}), seen);
}

TEST(Fairness, ASectionIsHandedOverFirstComeFirstServed) {
  run_virtual_schedules(16, [] {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    std::vector<int> order;
    EnterCriticalSection(&section);
    std::vector<TestThread> threads;
    for (int i = 0; i < 5; ++i) {
      threads.push_back(spawn("thread " + std::to_string(i), [&, i] {
        EnterCriticalSection(&section);
        order.push_back(i);
        LeaveCriticalSection(&section);
      }));
      settle();
    }
    LeaveCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4})) << "the leaver comes last";
    LeaveCriticalSection(&section);
    for (TestThread& thread : threads) thread.join();
    DeleteCriticalSection(&section);
  });
}

TEST(Fairness, AnAutoResetEventWakesWaitersInTheOrderOfTheirArrival) {
  run_virtual_schedules(16, [] {
    const Handle event(new_event(false, false));
    std::vector<HANDLE> done;
    std::vector<TestThread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.push_back(spawn("waiter", [&] { WaitForSingleObject(event, INFINITE); }));
      settle();
    }
    for (size_t i = 0; i < threads.size(); ++i) {
      SetEvent(event);
      settle();
      for (size_t j = 0; j < threads.size(); ++j) EXPECT_EQ(threads[j].ended(), j <= i);
    }
  });
}

TEST(Fairness, AMutexIsHandedOverFirstComeFirstServed) {
  run_virtual_schedules(8, [] {
    const Handle mutex(CreateMutexA(nullptr, TRUE, nullptr));
    std::vector<int> order;
    std::vector<TestThread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.push_back(spawn("thread", [&, i] {
        WaitForSingleObject(mutex, INFINITE);
        order.push_back(i);
        ReleaseMutex(mutex);
      }));
      settle();
    }
    ReleaseMutex(mutex);
    for (TestThread& thread : threads) thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
  });
}

TEST(Signals, AManualResetEventWakesEveryWaiter) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(true, false));
    std::vector<TestThread> threads;
    for (int i = 0; i < 6; ++i) {
      threads.push_back(spawn("waiter", [&] { WaitForSingleObject(event, INFINITE); }));
    }
    settle();
    const uint64_t before = platform::wake_count();
    SetEvent(event);
    settle();
    for (TestThread& thread : threads) EXPECT_TRUE(thread.ended());
    EXPECT_GE(platform::wake_count() - before, 6u);
  });
}

TEST(Signals, AWaiterForAllTakesNothingUntilAllAreThere) {
  run_virtual_schedules(8, [] {
    const Handle first(new_event(false, false));
    const Handle second(new_event(false, false));
    DWORD result = WAIT_FAILED;
    TestThread both = spawn("both", [&] {
      const HANDLE handles[] = {first, second};
      result = WaitForMultipleObjects(2, handles, TRUE, INFINITE);
    });
    settle();
    SetEvent(first);
    settle();
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_OBJECT_0) << "not taken, so ours";
    SetEvent(second);
    settle();
    EXPECT_FALSE(both.ended());
    SetEvent(first);
    both.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
  });
}

TEST(Signals, ATimedOutWaiterLeavesTheQueue) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(false, false));
    TestThread early =
        spawn("early", [&] { EXPECT_EQ(WaitForSingleObject(event, 10), DWORD{WAIT_TIMEOUT}); });
    settle();
    TestThread late =
        spawn("late", [&] { EXPECT_EQ(WaitForSingleObject(event, 1000), WAIT_OBJECT_0); });
    early.join();
    SetEvent(event);
    late.join();
    EXPECT_EQ(elapsed_ms(), 10u);
  });
}

TEST(Wakes, AreCountedByThread) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    TestThread worker = spawn("worker", [&] {
      for (int i = 0; i < 3; ++i) WaitForSingleObject(event, INFINITE);
      sleep_ms(50);
    });
    settle();
    const uint64_t before = platform::wake_count(worker.id());
    for (int i = 0; i < 3; ++i) {
      SetEvent(event);
      settle();
    }
    EXPECT_EQ(platform::wake_count(worker.id()) - before, 3u);
  });
}

TEST(Suspension, ASuspendedThreadDoesNotHoldTheClock) {
  run_virtual_schedules(8, [] {
    test::Work work = [] { return DWORD{3}; };
    const Handle thread(test::start_thread(work, CREATE_SUSPENDED));
    EXPECT_EQ(WaitForSingleObject(thread, 5000), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(elapsed_ms(), 5000u);
    ResumeThread(thread);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(elapsed_ms(), 5000u);
  });
}

TEST(Starts, TheClockWaitsForAThreadThatHasNotRunYet) {
  run_virtual_schedules(16, [] {
    const Handle reply(new_event(false, false));
    TestThread replier = spawn("replier", [&] { SetEvent(reply); });
    EXPECT_EQ(WaitForSingleObject(reply, 11'000), WAIT_OBJECT_0);
    EXPECT_EQ(elapsed_ms(), 0u);
  });
}

}  // namespace
