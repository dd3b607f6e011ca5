// Waiting for results: when the taker looks, what wakes it, and several threads at once.

#include "platform/faults.h"
#include "provider/result_queue.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

#include "include/vlpbidi.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace vlp {
namespace {

using test::elapsed_ms;

const ResultRecord* Add(ResultList& list, std::uint32_t id, const std::string& text = "data") {
  return list.Add(id, reinterpret_cast<const std::uint8_t*>(text.data()),
                  static_cast<std::uint32_t>(text.size()));
}

struct Taken {
  std::int32_t rc = 0;
  std::uint32_t id = 0;
  std::uint64_t at = 0;
};

Taken Take(ResultQueue& queue) {
  Taken taken;
  std::uint8_t buffer[16] = {};
  std::uint32_t size = sizeof(buffer);
  taken.rc = queue.Take(&taken.id, buffer, &size);
  taken.at = elapsed_ms();
  return taken;
}

class QueueTime : public ::testing::Test {
 protected:
  void TearDown() override { platform::clear_faults(); }
};

TEST_F(QueueTime, SignalledRecordIsTakenAtOnce) {
  test::run_virtual_schedules(20, [] {
    ResultList list;
    ResultQueue queue(&list);
    auto taker = test::spawn("taker", [&] {
      const Taken taken = Take(queue);
      EXPECT_EQ(4, taken.rc);
      EXPECT_EQ(7u, taken.id);
      EXPECT_EQ(1234u, taken.at);
    });
    test::sleep_ms(1234);
    ASSERT_NE(nullptr, Add(list, 7));
    queue.Signal();
    taker.join();
  });
}

TEST_F(QueueTime, UnsignalledRecordIsTakenAtTheNextLook) {
  test::run_virtual_schedules(20, [] {
    ResultList list;
    ResultQueue queue(&list);
    auto taker = test::spawn("taker", [&] { EXPECT_EQ(1500u, Take(queue).at); });
    test::sleep_ms(1001);
    ASSERT_NE(nullptr, Add(list, 7));
    taker.join();
  });
}

TEST_F(QueueTime, EmptyQueueIsLookedAtEachHalfSecond) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    auto taker = test::spawn("taker", [&] { EXPECT_EQ(VLPER_TERMINATE, Take(queue).rc); });
    test::settle();
    const auto wakes = [&](std::uint32_t milliseconds) {
      const auto before = test::wake_count(taker.id());
      test::sleep_ms(milliseconds);
      test::settle();
      return test::wake_count(taker.id()) - before;
    };
    EXPECT_EQ(0u, wakes(499));
    EXPECT_EQ(1u, wakes(1));
    EXPECT_EQ(0u, wakes(499));
    EXPECT_EQ(1u, wakes(1));
    EXPECT_EQ(7200u, wakes(3'600'001));
    EXPECT_FALSE(taker.ended());
    queue.Stop();
    taker.join();
  });
}

TEST_F(QueueTime, NothingIsSignalledAtTheStart) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    platform::watch_calls();
    auto taker = test::spawn("taker", [&] { Take(queue); });
    test::settle();
    EXPECT_EQ(1u, platform::calls_of("WaitForSingleObject"));
    queue.Stop();
    taker.join();
    platform::clear_faults();
  });
}

TEST_F(QueueTime, OneSignalForSeveralRecordsLosesNone) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    auto taker = test::spawn("taker", [&] {
      for (std::uint32_t id = 1; id <= 3; ++id) {
        const Taken taken = Take(queue);
        EXPECT_EQ(id, taken.id);
        EXPECT_EQ(100u, taken.at);
      }
    });
    test::sleep_ms(100);
    for (std::uint32_t id = 1; id <= 3; ++id) Add(list, id);
    queue.Signal();
    taker.join();
  });
}

// The signal of a record that was found without a wait wakes the next wait in vain.
TEST_F(QueueTime, LeftOverSignalEndsNoWait) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    Add(list, 1);
    queue.Signal();
    EXPECT_EQ(0u, Take(queue).at);
    auto taker = test::spawn("taker", [&] { EXPECT_EQ(300u, Take(queue).at); });
    test::sleep_ms(300);
    EXPECT_FALSE(taker.ended());
    Add(list, 2);
    queue.Signal();
    taker.join();
  });
}

TEST_F(QueueTime, StopEndsTheWaitAtOnce) {
  test::run_virtual_schedules(20, [] {
    ResultList list;
    ResultQueue queue(&list);
    auto taker = test::spawn("taker", [&] {
      const Taken taken = Take(queue);
      EXPECT_EQ(VLPER_TERMINATE, taken.rc);
      EXPECT_EQ(777u, taken.at);
    });
    test::sleep_ms(777);
    queue.Stop();
    taker.join();
  });
}

TEST_F(QueueTime, StopBeforeTheWaitMakesNone) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    queue.Stop();
    EXPECT_EQ(VLPER_TERMINATE, Take(queue).rc);
    EXPECT_EQ(0u, elapsed_ms());
  });
}

TEST_F(QueueTime, WithoutAnEventLooksAtTheSamePace) {
  test::run_virtual_parallel([] {
    ResultList list;
    platform::fail_call("CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY);
    ResultQueue queue(&list);
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    auto taker = test::spawn("taker", [&] {
      EXPECT_EQ(500u, Take(queue).at);
      EXPECT_EQ(VLPER_TERMINATE, Take(queue).rc);
      EXPECT_EQ(1000u, elapsed_ms());
    });
    test::sleep_ms(100);
    Add(list, 1);
    queue.Signal();
    test::sleep_ms(500);
    queue.Stop();
    taker.join();
  });
}

TEST_F(QueueTime, FailedWaitLooksAgainAtTheSamePace) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    platform::fail_call("WaitForSingleObject", 1, ERROR_INVALID_HANDLE);
    auto taker = test::spawn("taker", [&] { EXPECT_EQ(500u, Take(queue).at); });
    test::settle();
    EXPECT_EQ(1u, platform::faults_met());
    Add(list, 1);
    queue.Signal();
    taker.join();
    platform::clear_faults();
  });
}

// A record that is copied out while the stop comes has left the queue all the same, and a
// size that was told is told; the result is the stop's. Some of the schedules meet that
// moment.
TEST_F(QueueTime, StopOverridesWhatWasHandedOut) {
  unsigned lost = 0;
  unsigned told = 0;
  for (std::uint64_t seed = 0; seed < 400; ++seed) {
    test::run_virtual_serial(seed, [&] {
      ResultList list;
      ResultQueue queue(&list);
      Add(list, 1);
      const bool fits = seed / 8 % 2 == 0;
      std::int32_t rc = 0;
      std::uint32_t size = fits ? 16 : 0;
      auto taker = test::spawn("taker", [&] {
        std::uint8_t buffer[16] = {};
        std::uint32_t id = 0;
        rc = queue.Take(&id, buffer, &size);
      });
      for (std::uint64_t n = 0; n < seed % 8; ++n) GetTickCount();  // the taker may go first
      queue.Stop();
      taker.join();
      if (rc == VLPER_TERMINATE) {
        lost += list.Count() == 0 ? 1u : 0u;
        told += !fits && size == 4 ? 1u : 0u;
      } else {
        EXPECT_EQ(fits ? 4 : VLPER_BUFFERSIZE, rc);
        EXPECT_EQ(fits ? 0u : 1u, list.Count());
      }
    });
  }
  EXPECT_GT(lost, 0u);
  EXPECT_GT(told, 0u);
}

TEST_F(QueueTime, TwoTakersShareTheRecords) {
  test::run_virtual_schedules(30, [] {
    constexpr std::uint32_t kRecords = 40;
    ResultList list;
    ResultQueue queue(&list);
    std::vector<std::uint32_t> ids[2];
    std::vector<test::TestThread> takers;
    for (auto& mine : ids) {
      takers.push_back(test::spawn("taker", [&queue, &mine] {
        for (Taken taken = Take(queue); taken.rc == 4; taken = Take(queue)) {
          mine.push_back(taken.id);
        }
      }));
    }
    for (std::uint32_t id = 1; id <= kRecords; ++id) {
      Add(list, id);
      queue.Signal();
    }
    test::sleep_ms(1001);
    EXPECT_EQ(0u, list.Count());
    queue.Stop();
    for (auto& taker : takers) taker.join();

    std::map<std::uint32_t, int> seen;
    for (const auto& mine : ids) {
      EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end()));
      for (const std::uint32_t id : mine) ++seen[id];
    }
    EXPECT_EQ(kRecords, seen.size());
    for (const auto& [id, times] : seen) EXPECT_EQ(1, times) << id;
  });
}

TEST_F(QueueTime, RecordsOfSeveralThreadsAllArriveInTheirOrder) {
  test::run_virtual_schedules(30, [] {
    constexpr std::uint32_t kThreads = 4;
    constexpr std::uint32_t kEach = 25;
    ResultList list;
    ResultQueue queue(&list);
    std::vector<test::TestThread> threads;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
      threads.push_back(test::spawn("adder", [&, number] {
        for (std::uint32_t n = 1; n <= kEach; ++n) {
          Add(list, number * 1000 + n);
          queue.Signal();
        }
      }));
    }
    std::uint32_t next[kThreads] = {1, 1, 1, 1};
    for (std::uint32_t n = 0; n < kThreads * kEach; ++n) {
      const Taken taken = Take(queue);
      ASSERT_EQ(4, taken.rc);
      EXPECT_EQ(next[taken.id / 1000]++, taken.id % 1000);
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(0u, list.Count());
  });
}

TEST_F(QueueTime, EndOfARunningQueueSignalsAndAStoppedOneDoesnt) {
  test::run_virtual_parallel([] {
    ResultList list;
    platform::watch_calls();
    { const ResultQueue queue(&list); }
    EXPECT_EQ(1u, platform::calls_of("SetEvent"));
    EXPECT_EQ(1u, platform::calls_of("CloseHandle"));
    platform::clear_faults();
    platform::watch_calls();
    {
      ResultQueue queue(&list);
      queue.Stop();
    }
    EXPECT_EQ(1u, platform::calls_of("SetEvent"));
    EXPECT_EQ(1u, platform::calls_of("CloseHandle"));
    platform::clear_faults();
  });
}

TEST_F(QueueTime, AddingSignalsNobodyAndStoppingWaitsForNobody) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    platform::watch_calls();
    Add(list, 1);
    EXPECT_EQ(0u, platform::calls_of("SetEvent"));
    queue.Stop();
    EXPECT_EQ(1u, platform::calls_of("SetEvent"));
    EXPECT_EQ(0u, platform::calls_of("WaitForSingleObject"));
    platform::clear_faults();
  });
}

TEST_F(QueueTime, OutOfMemoryAddsNothing) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  ResultList list;
  Add(list, 1);
  unsigned failures = 0;
  for (unsigned nth = 1;; ++nth) {
    platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
    const ResultRecord* record = nullptr;
    {
      const platform::UnderTest tested;
      record = list.Add(2, reinterpret_cast<const std::uint8_t*>("data"), 4);
    }
    const bool met = platform::faults_met() != 0;
    platform::clear_faults();
    if (!met) {
      EXPECT_NE(nullptr, record);
      EXPECT_EQ(2u, list.Count());
      break;
    }
    ++failures;
    EXPECT_EQ(nullptr, record);
    EXPECT_EQ(1u, list.Count());
  }
  EXPECT_EQ(3u, failures);  // node, record, data
}

// Only the joining of what is made already needs the lock.
TEST_F(QueueTime, RecordIsMadeOutsideOfTheLock) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  ResultList list;
  constexpr unsigned kNever = 1000;  // armed only so that allocations are traced
  platform::fail_call("operator new", kNever, ERROR_NOT_ENOUGH_MEMORY);
  platform::watch_calls();
  {
    const platform::UnderTest tested;
    list.Add(1, reinterpret_cast<const std::uint8_t*>("data"), 4);
  }
  std::vector<std::string> calls;
  for (const std::string& line : platform::call_trace()) {
    calls.push_back(line.substr(line.find(' ') + 1));
  }
  platform::clear_faults();
  EXPECT_EQ((std::vector<std::string>{"operator new", "operator new", "operator new",
                                      "EnterCriticalSection", "LeaveCriticalSection"}),
            calls);
}

// Adders are never kept waiting by a taker that finds nothing.
TEST_F(QueueTime, TakerHoldsNoLockWhileItWaits) {
  test::run_virtual_parallel([] {
    ResultList list;
    ResultQueue queue(&list);
    auto taker = test::spawn("taker", [&] { Take(queue); });
    test::settle();
    EXPECT_FALSE(platform::any_lock_held());
    queue.Stop();
    taker.join();
  });
}

}  // namespace
}  // namespace vlp
