// Virtual time: limits to the millisecond, ties, wraps, timers.

#include <windows.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/kernel/call.h"
#include "platform/kernel/clock.h"
#include "platform/waiting.h"
#include "tests/platform/call_helpers.h"
#include "tests/support/virtual_time.h"

namespace {

using test::elapsed_ms;
using test::Handle;
using test::look;
using test::new_event;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;
using test::sleep_ms;
using test::spawn;
using test::TestThread;

TEST(VirtualClock, AReplyOneMillisecondBeforeTheLimitIsInTime) {
  run_virtual_schedules(8, [] {
    const Handle reply(new_event(false, false));
    TestThread device = spawn("device", [&] {
      sleep_ms(10'999);
      SetEvent(reply);
    });
    EXPECT_EQ(WaitForSingleObject(reply, 11'000), WAIT_OBJECT_0);
    EXPECT_EQ(elapsed_ms(), 10'999u);
  });
}

TEST(VirtualClock, AReplyOneMillisecondBehindTheLimitIsTooLate) {
  run_virtual_schedules(8, [] {
    const Handle reply(new_event(false, false));
    TestThread device = spawn("device", [&] {
      sleep_ms(11'001);
      SetEvent(reply);
    });
    EXPECT_EQ(WaitForSingleObject(reply, 11'000), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(elapsed_ms(), 11'000u);
    device.join();
    EXPECT_EQ(elapsed_ms(), 11'001u);
    EXPECT_EQ(look(reply), WAIT_OBJECT_0) << "nobody waited, so the signal is kept";
  });
}

TEST(VirtualClock, ContendedCallersOfAHeldSectionQueueInVirtualTime) {
  run_virtual_schedules(16, [] {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    const Handle never(new_event(false, false));
    const auto transaction = [&] {
      EnterCriticalSection(&section);
      EXPECT_EQ(WaitForSingleObject(never, 5000), DWORD{WAIT_TIMEOUT});
      LeaveCriticalSection(&section);
    };
    TestThread first = spawn("first", transaction);
    TestThread second = spawn("second", transaction);
    TestThread third = spawn("third", transaction);
    first.join();
    second.join();
    third.join();
    EXPECT_EQ(elapsed_ms(), 15'000u);
    DeleteCriticalSection(&section);
  });
}

TEST(VirtualClock, AnIdleLimitIsMetExactly) {
  run_virtual_schedules(8, [] {
    const Handle quit(new_event(false, false));
    TestThread idle = spawn("idle", [&] { WaitForSingleObject(quit, 60'000); });
    sleep_ms(59'999);
    settle();
    EXPECT_FALSE(idle.ended());
    sleep_ms(1);
    settle();
    EXPECT_TRUE(idle.ended());
    EXPECT_EQ(elapsed_ms(), 60'000u);
  });
}

TEST(VirtualClock, SettlingMovesNoTimeAndLetsOthersComeToRest) {
  run_virtual_schedules(16, [] {
    int steps = 0;
    const Handle quit(new_event(false, false));
    TestThread worker = spawn("worker", [&] {
      for (int i = 0; i < 10; ++i) {
        ++steps;
        Sleep(0);
      }
      WaitForSingleObject(quit, INFINITE);
    });
    settle();
    {
      // Settling is no ordering edge of the SDK; a wait that both pass is.
      const platform::Unseen unseen;
      EXPECT_EQ(steps, 10);
    }
    EXPECT_EQ(elapsed_ms(), 0u);
    SetEvent(quit);
  });
}

TEST(VirtualClock, EqualDeadlinesFireInTheOrderOfTheirRegistration) {
  run_virtual_schedules(16, [] {
    std::vector<int> order;
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    const auto sleeper = [&](int number) {
      return [&order, &section, number] {
        sleep_ms(100);
        EnterCriticalSection(&section);
        order.push_back(number);
        LeaveCriticalSection(&section);
      };
    };
    TestThread first = spawn("first", sleeper(1));
    settle();
    TestThread second = spawn("second", sleeper(2));
    settle();
    TestThread third = spawn("third", sleeper(3));
    first.join();
    second.join();
    third.join();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    DeleteCriticalSection(&section);
  });
}

TEST(VirtualClock, ASetEventBeatsATimeOutOfTheSameInstant) {
  run_virtual_schedules(8, [] {
    const Handle event(new_event(false, false));
    // Registered first, so it fires first; the waiter's own deadline is the same instant.
    TestThread setter = spawn("setter", [&] {
      sleep_ms(500);
      SetEvent(event);
    });
    settle();
    EXPECT_EQ(WaitForSingleObject(event, 500), WAIT_OBJECT_0);
    EXPECT_EQ(elapsed_ms(), 500u);
    EXPECT_EQ(look(event), DWORD{WAIT_TIMEOUT}) << "the waiter consumed the signal";
  });
}

TEST(VirtualClock, TicksWrapAt32Bits) {
  test::VirtualOptions options;
  options.tick_start_ms = 0x1'0000'0000 - 100;
  run_virtual_parallel(
      [] {
        const DWORD start = GetTickCount();
        EXPECT_EQ(start, 0xffffffff - 99);
        sleep_ms(250);
        EXPECT_EQ(GetTickCount(), 150u);
        EXPECT_EQ(GetTickCount() - start, 250u);
        EXPECT_EQ(GetTickCount64(), 0x1'0000'0000u + 150);
      },
      options);
}

TEST(VirtualClock, AllClocksReadOneTime) {
  run_virtual_parallel([] {
    SYSTEMTIME before;
    GetLocalTime(&before);
    EXPECT_EQ(before.wYear, 2024);
    EXPECT_EQ(before.wHour, 10);
    LARGE_INTEGER count_before;
    QueryPerformanceCounter(&count_before);
    const DWORD ticks_before = GetTickCount();
    sleep_ms(61'234);
    SYSTEMTIME after;
    GetLocalTime(&after);
    EXPECT_EQ(after.wMinute, 1);
    EXPECT_EQ(after.wSecond, 1);
    EXPECT_EQ(after.wMilliseconds, 234);
    LARGE_INTEGER count_after;
    QueryPerformanceCounter(&count_after);
    EXPECT_EQ((count_after.QuadPart - count_before.QuadPart) / 10'000, 61'234);
    EXPECT_EQ(GetTickCount() - ticks_before, 61'234u);
  });
}

TEST(VirtualClock, ALongDayPassesInNoTime) {
  run_virtual_parallel([] {
    const Handle wake(new_event(false, false));
    EXPECT_EQ(WaitForSingleObject(wake, 86'400'000), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(elapsed_ms(), 86'400'000u);
  });
}

TEST(VirtualClock, AThreadThatOnlyLooksAtTheClockMakesItSlip) {
  run_virtual_schedules(4, [] {
    const ULONGLONG start = GetTickCount64();
    unsigned looks = 0;
    while (GetTickCount64() - start < 3) ++looks;
    EXPECT_GE(looks, 200'000u);
    EXPECT_EQ(elapsed_ms(), 3u);
  });
}

TEST(VirtualClock, ATimerWithoutAThreadFiresAtItsMoment) {
  run_virtual_schedules(4, [] {
    const Handle event(new_event(false, false));
    {
      const platform::StateGuard guard;
      platform::Object* object = platform::lookup(event);
      platform::add_timer(platform::now() + 15 * platform::kMillisecond,
                          [object] { platform::set_event(*object); });
    }
    EXPECT_EQ(WaitForSingleObject(event, 16), WAIT_OBJECT_0);
    EXPECT_EQ(elapsed_ms(), 15u);
  });
}

TEST(VirtualClock, ACancelledTimerNeverFires) {
  run_virtual_parallel([] {
    const Handle event(new_event(false, false));
    {
      const platform::StateGuard guard;
      platform::Object* object = platform::lookup(event);
      const platform::TimerId timer =
          platform::add_timer(platform::now() + 15 * platform::kMillisecond,
                              [object] { platform::set_event(*object); });
      EXPECT_TRUE(platform::cancel_timer(timer));
      EXPECT_FALSE(platform::cancel_timer(timer));
    }
    EXPECT_EQ(WaitForSingleObject(event, 16), DWORD{WAIT_TIMEOUT});
  });
}

TEST(RealClock, ATimerWithoutAThreadFiresToo) {
  const Handle event(new_event(false, false));
  {
    const platform::StateGuard guard;
    platform::Object* object = platform::lookup(event);
    platform::add_timer(platform::now() + 2 * platform::kMillisecond,
                        [object] { platform::set_event(*object); });
  }
  EXPECT_EQ(WaitForSingleObject(event, 20'000), WAIT_OBJECT_0);
}

TEST(VirtualClock, NamedMutexesOfAScenarioStayInIt) {
  run_virtual_parallel([] {
    const Handle mutex(CreateMutexA(nullptr, TRUE, "Global\\VlpKernel_inside"));
    TestThread other = spawn("other", [] {
      const Handle same(CreateMutexA(nullptr, FALSE, "Global\\VlpKernel_inside"));
      EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
      EXPECT_EQ(WaitForSingleObject(same, 20'000), DWORD{WAIT_TIMEOUT});
    });
    other.join();
    EXPECT_EQ(elapsed_ms(), 20'000u);
    ReleaseMutex(mutex);
  });
}

}  // namespace
