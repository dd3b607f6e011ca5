// Exact moments, in virtual time: ages of what is cached, waits and their ends.

#include <gtest/gtest.h>

#include "platform/kernel/scenario.h"
#include "platform/machine.h"
#include "tests/support/virtual_time.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

using test::elapsed_ms;
using test::settle;
using test::sleep_ms;

constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;

class Ages : public SystemTest {
 protected:
  std::uint32_t Queries() { return far_side::counts(kLaser).device_id_queries; }

  std::uint32_t QueriesAfter(std::uint32_t age, bool by_connection) {
    sleep_ms(age);
    if (by_connection) {
      EXPECT_EQ(provider().Connect(kLaser).code, 1);
    } else {
      const std::int32_t code = provider().DeviceId(1, kLaser);
      EXPECT_EQ(code, 0);
      EXPECT_TRUE(code != 0 || provider().Take().data == bytes_of(kLaserId));
    }
    return Queries();
  }
};

TEST_F(Ages, OfADeviceIdEndAtThirtySeconds) {
  for (const bool by_connection : {false, true}) {
    AddLaser();
    Load();
    const std::uint32_t first = QueriesAfter(0, by_connection);
    EXPECT_EQ(QueriesAfter(29999, by_connection), first);
    EXPECT_EQ(QueriesAfter(1, by_connection), first + 1) << "30000 ms are too old";
    EXPECT_EQ(QueriesAfter(29999, by_connection), first + 1) << "the age counts from the reading";
    EXPECT_EQ(QueriesAfter(1, by_connection), first + 2);
    DropProvider();
  }
}

TEST_F(Ages, AreTheSameForEitherOperation) {
  AddLaser();
  Load();
  EXPECT_EQ(QueriesAfter(0, true), 1U);
  EXPECT_EQ(QueriesAfter(29999, false), 1U);
  EXPECT_EQ(QueriesAfter(1, false), 2U);
  EXPECT_EQ(QueriesAfter(29999, true), 2U);
  EXPECT_EQ(QueriesAfter(1, true), 3U);
}

TEST_F(Ages, FollowTheProfile) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=1234\n");
  Load();
  EXPECT_EQ(QueriesAfter(0, false), 1U);
  EXPECT_EQ(QueriesAfter(1233, false), 1U);
  EXPECT_EQ(QueriesAfter(1, false), 2U);
}

TEST_F(Ages, CountFromTheAnswerNotFromTheQuestion) {
  AddLaser();
  far_side::plug({.port = "USB001", .device_id = bytes_of(kLaserId), .latency_ms = 20000});
  Load();
  EXPECT_EQ(QueriesAfter(0, false), 1U);
  EXPECT_EQ(elapsed_ms(), 20000U);
  EXPECT_EQ(QueriesAfter(29999, false), 1U);
  EXPECT_EQ(QueriesAfter(1, false), 2U);
}

// A clock that wraps while the answer ages.
class Wraps : public SystemTest {
 protected:
  void SetUp() override {}
  void TearDown() override {}

  void AtTick(std::uint64_t start, const std::function<void()>& body) {
    platform::begin_scenario({.tick_start_ms = start});
    far_side::reset();
    AddLaser();
    Load();
    body();
    SystemTest::TearDown();
  }
};

TEST_F(Wraps, OfTheTickCountDoNotMatter) {
  for (const std::uint64_t before : {1U, 10000U, 29999U, 30000U}) {
    AtTick(kWrap - before, [&] {
      EXPECT_EQ(provider().Connect(kLaser).code, 1);
      sleep_ms(29999);
      EXPECT_EQ(provider().Connect(kLaser).code, 1);
      EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 1U) << before;
      sleep_ms(1);
      EXPECT_EQ(provider().Connect(kLaser).code, 1);
      EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 2U) << before;
    });
  }
}

TEST_F(Wraps, MakeAWholeRoundLookYoung) {
  AtTick(0, [&] {
    EXPECT_EQ(provider().Connect(kLaser).code, 1);
    sleep_ms(0xFFFFFFFE);
    sleep_ms(0x00000002);
    EXPECT_EQ(provider().Connect(kLaser).code, 1);
    EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 1U);
  });
}

// What a failed query has dropped doesn't come back with its tick.
TEST_F(Wraps, DoNotBringBackWhatAFailureDropped) {
  for (const bool by_connection : {true, false}) {
    AtTick(0, [&] {
      EXPECT_EQ(provider().Connect(kLaser).code, 1);
      sleep_ms(30000);
      far_side::set_trouble({.send = {.result = 0x80004005}});
      if (by_connection) {
        EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTSUPPORT);
      } else {
        EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_SEND);
      }
      far_side::set_trouble({});
      EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 2U);
      sleep_ms(static_cast<std::uint32_t>(kWrap - 30000));
      EXPECT_EQ(provider().Connect(kLaser).code, 1);
      EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 3U);
    });
  }
}

class Waits : public SystemTest {};

TEST_F(Waits, ForAResultLookAgainTwiceASecond) {
  AddLaser();
  Load();
  Result result;
  test::TestThread taker = test::spawn("taker", [&] { result = provider().Take(); });
  settle();
  const std::uint64_t before = test::wake_count(taker.id());
  sleep_ms(10001);
  settle();
  EXPECT_EQ(test::wake_count(taker.id()) - before, 20U);
  EXPECT_FALSE(taker.ended());
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  taker.join();
  EXPECT_EQ(elapsed_ms(), 10001U) << "a result that arrives ends the wait at once";
  EXPECT_EQ(result.request_id, 1U);
}

TEST_F(Waits, ForAResultEndWithTerminateAtOnce) {
  Load();
  Result result;
  test::TestThread taker = test::spawn("taker", [&] { result = provider().Take(); });
  sleep_ms(1250);
  EXPECT_EQ(provider().Terminate(), 0);
  taker.join();
  EXPECT_EQ(elapsed_ms(), 1250U);
  EXPECT_EQ(result.code, VLPER_TERMINATE);
}

TEST_F(Waits, ForAResultThatIsThereTakeNoTime) {
  AddLaser();
  Load();
  for (std::uint32_t id = 1; id <= 5; ++id) ASSERT_EQ(provider().DeviceId(id, kLaser), 0);
  for (std::uint32_t id = 1; id <= 5; ++id) EXPECT_EQ(provider().Take().request_id, id);
  EXPECT_EQ(elapsed_ms(), 0U);
}

TEST_F(Waits, OfTerminateLastAsLongAsTheCallsUnderWay) {
  AddLaser();
  far_side::plug({.port = "USB001", .device_id = bytes_of(kLaserId), .latency_ms = 90000});
  AddPrinter("Other", "USB002", kLaserId, {{ChnlKindBdc}});
  far_side::plug({.port = "USB002", .device_id = bytes_of(kLaserId), .latency_ms = 70000});
  Load();
  std::int32_t laser = -1;
  std::int32_t other = -1;
  test::TestThread first = test::spawn("first", [&] { laser = provider().DeviceId(1, kLaser); });
  test::TestThread second = test::spawn("second", [&] { other = provider().DeviceId(2, "Other"); });
  test::TestThread late = test::spawn("late", [&] {
    sleep_ms(20000);
    // Terminate holds every lookup up, even that of a printer that has nothing to do.
    EXPECT_EQ(provider().DeviceId(3, "Nobody"), VLPER_NOTSUPPORT);
    EXPECT_EQ(elapsed_ms(), 90000U);
  });
  sleep_ms(10000);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(elapsed_ms(), 90000U);
  first.join();
  second.join();
  late.join();
  EXPECT_EQ(laser, 0);
  EXPECT_EQ(other, 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
}

TEST_F(Waits, InOneSpoolerCallHoldUpThatPrintersOthers) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  far_side::plug({.port = "USB001", .device_id = bytes_of(kLaserId), .latency_ms = 3000});
  Load();
  std::vector<test::TestThread> threads;
  for (int n = 0; n < 3; ++n) {
    threads.push_back(test::spawn("asker", [&] { EXPECT_EQ(provider().Connect(kLaser).code, 1); }));
  }
  for (test::TestThread& thread : threads) thread.join();
  EXPECT_EQ(elapsed_ms(), 9000U);
  EXPECT_EQ(far_side::counts(kLaser).sends, 3U);
}

TEST_F(Waits, InASlowSpoolerAreNotCutOff) {
  AddLaser();
  far_side::plug({.port = "USB001", .device_id = bytes_of(kLaserId), .latency_ms = 86400000});
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(elapsed_ms(), 86400000U);
}

}  // namespace
}  // namespace system_test
