// A close that meets other calls.

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::AnyOf;

TEST(LinkCloseTogether, QueuedCallsLeaveWithoutHavingBeenInside) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    block_reads(port);
    port.exits(after_ms(500));
    auto closing = transact("closing", [&] { return close_link(link); });
    test::sleep_ms(100);
    std::vector<Transaction> queued;
    for (const NamedCall& named : calls_on_a_link()) {
      queued.push_back(transact(named.name, [link, named] { return named.call(link); }));
    }
    test::settle();
    EXPECT_EQ(1 + queued.size(), link->callers.load());
    EXPECT_EQ(0, closing.get().result);
    // One look at those who leave, if they were still there at the first.
    EXPECT_THAT(closing.get().ms, AnyOf(500u, 520u));
    for (Transaction& one : queued) {
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, one.get().result);
      EXPECT_EQ(400u, one.get().ms);
    }
    expect_free(*link);
    EXPECT_EQ(exit_link(), port.last_write());
  });
}

TEST(LinkCloseTogether, CallInsideIsLetFinishFirst) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.opens_channel(0x02, {}, after_ms(700));
    auto opening = transact("opening", [&] { return open_channel_on(link, 0x02); });
    test::sleep_ms(100);
    port.closes_channel(0x02);
    auto emptying = transact("emptying", [&] { return close_channel_on(link, 0x02); });
    test::settle();
    port.exits();
    auto closing = transact("closing", [&] { return close_link(link); });
    EXPECT_EQ(0, opening.get().result);
    EXPECT_EQ(0, emptying.get().result);
    EXPECT_EQ(0, closing.get().result);
    expect_free(*link);
  });
}

TEST(LinkCloseTogether, CloserLooksEveryTwentyMillisecondsForTheLastOneOut) {
  for (const std::uint32_t leaves_ms : {1u, 19u, 21u, 39u, 41u, 70u, 59'999u}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      test::settle();
      ++link->callers;  // one that is counted, and hasn't come to the gate yet
      port.exits();
      auto closing = transact("closing", [&] { return close_link(link); });
      test::sleep_ms(leaves_ms);
      EXPECT_FALSE(closing.ended());
      EXPECT_EQ(2u, link->callers.load());
      --link->callers;
      EXPECT_EQ(0, closing.get().result);
      EXPECT_EQ((leaves_ms + 19) / 20 * 20, closing.get().ms);
      expect_free(*link);
    });
  }
}

TEST(LinkCloseTogether, GateIsOpenedAgainAtEachLook) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    block_reads(port);
    port.exits(after_ms(500));
    auto closing = transact("closing", [&] { return close_link(link); });
    test::sleep_ms(100);
    // Stands before the queued call, and keeps what it gets.
    auto thief = test::spawn(
        "thief", [gate = link->gateEvent.Get()] { WaitForSingleObject(gate, INFINITE); });
    test::settle();
    auto queued = transact("queued", [&] { return fetch(link, 0x02, 4); });
    EXPECT_EQ(0, closing.get().result);
    // One more look, if the one who was let out at 520 was still there.
    EXPECT_THAT(closing.get().ms, AnyOf(520u, 540u));
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, queued.get().result);
    EXPECT_EQ(420u, queued.get().ms);
    expect_free(*link);
  });
}

TEST(LinkCloseTogether, NewcomersAreRefusedAtOnceAndDoNotHoldItUp) {
  run_virtual_schedules(10, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    test::settle();
    ++link->callers;
    port.exits();
    auto closing = transact("closing", [&] { return close_link(link); });
    test::sleep_ms(10);
    const std::size_t calls = port.call_count();
    for (int round = 0; round < 3; ++round) {
      for (const NamedCall& named : calls_on_a_link()) {
        const Called called = timed([&] { return named.call(link); });
        EXPECT_EQ(vlp::XDLT_ERR_NOLINK, called.result) << named.name;
        EXPECT_EQ(0u, called.ms) << named.name;
        EXPECT_EQ(2u, link->callers.load());
      }
      test::sleep_ms(20);
    }
    EXPECT_EQ(calls, port.call_count());
    --link->callers;
    EXPECT_EQ(0, closing.get().result);
    EXPECT_EQ(80u, closing.get().ms);
    expect_free(*link);
  });
}

TEST(LinkCloseTogether, OfTwoClosersOneClosesAndOneFindsNoLink) {
  run_virtual_schedules(60, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.exits();
    auto one = transact("one", [&] { return close_link(link); });
    auto other = transact("other", [&] { return close_link(link); });
    const std::int32_t results[] = {one.get().result, other.get().result};
    EXPECT_EQ(0, std::max(results[0], results[1]));
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, std::min(results[0], results[1]));
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    expect_free(*link);
  });
}

TEST(LinkCloseTogether, CallsFromAllSidesNeverSpoilTheCount) {
  run_virtual_schedules(40, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02, {.credit = 100});
    closed_channel(port, link, 0x02);
    port.exits();
    std::vector<test::TestThread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.push_back(test::spawn("caller", [&] {
        for (int round = 0; round < 6; ++round) {
          const std::int32_t fetched = fetch(link, 0x02, 4).result;
          EXPECT_THAT(fetched, AnyOf(vlp::XDLT_ERR_NOCHANNEL, vlp::XDLT_ERR_NOLINK,
                                     vlp::XDLT_ERR_NOT_READY));
          const std::int32_t closed = close_channel_on(link, 0x02).result;
          EXPECT_THAT(closed, AnyOf(vlp::XDLT_ERR_NOCHANNEL, vlp::XDLT_ERR_NOLINK));
          EXPECT_LE(link->callers.load(), 6u);
        }
      }));
    }
    auto closing = transact("closing", [&] { return close_link(link); });
    EXPECT_EQ(0, closing.get().result);
    threads.clear();
    expect_free(*link);
    // The next link in the record begins with a clean count.
    closed_link(port, opened_link(port));
    expect_free(*link);
  });
}

// Whoever leaves a link sets its gate; behind the last one it must be open once, not twice.
TEST(LinkCloseTogether, RecordThatWasCloseFoughtOverLetsInOneAtATime) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* link = opened_link(port);
    port.exits();
    {
      std::vector<Transaction> calls;
      for (int i = 0; i < 3; ++i) {
        calls.push_back(transact("caller", [&] { return close_channel_on(link, 0x02); }));
        calls.push_back(transact("closer", [&] { return close_link(link); }));
      }
      for (Transaction& call : calls) call.get();
    }
    link = opened_link(port);
    port.opens_channel(0x02, {}, after_ms(300));
    auto inside = transact("inside", [&] { return open_channel_on(link, 0x02); });
    test::sleep_ms(50);
    auto waiting = transact("waiting", [&] { return fetch(link, 0x02, 4); });
    test::sleep_ms(100);
    EXPECT_FALSE(waiting.ended());
    EXPECT_EQ(2u, link->callers.load());
    EXPECT_EQ(0, inside.get().result);
    EXPECT_EQ(0, waiting.get().result);
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

TEST(LinkCloseTogether, CloseDuringASizeQueryWaitsForIt) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    port.takes_credit(0x02);
    EXPECT_EQ(0, size_query(link, 0x02).result);
    block_reads(port);
    auto asking = transact("asking", [&] { return size_query(link, 0x02); });
    test::sleep_ms(100);
    auto closing = transact("closing", [&] { return close_channel_on(link, 0x02); });
    port.closes_channel(0x02);
    port.say(data(0x02, text("abc")), after_ms(400));
    EXPECT_EQ(3, asking.get().result);
    EXPECT_EQ(500u, asking.get().ms);
    EXPECT_EQ(0, closing.get().result);
    EXPECT_EQ(400u, closing.get().ms);
    free_reads(port);
    closed_link(port, link);
  });
}

}  // namespace
}  // namespace d4_test
