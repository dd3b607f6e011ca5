// Who is inside a link, who waits, and for how long.

#include <gmock/gmock.h>

#include "tests/d4/engine_calls_spy.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::Each;

TEST(EngineGate, ShutGateIsWaitedForAMinuteByEveryOperation) {
  for (const NamedCall& named : calls_on_a_link()) {
    SCOPED_TRACE(named.name);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      test::settle();
      ASSERT_TRUE(vlp::IsSignalled(link->gateEvent.Get(), 0));
      const std::size_t calls = port.call_count();
      const Called refused = timed([&] { return named.call(link); });
      EXPECT_EQ(vlp::XDLT_ERR_GATE_TIMEOUT, refused.result);
      EXPECT_EQ(60'000u, refused.ms);
      EXPECT_EQ(0u, link->callers.load());
      EXPECT_EQ(calls, port.call_count());
      EXPECT_FALSE(vlp::IsSignalled(link->gateEvent.Get(), 0));
      vlp::Signal(link->gateEvent.Get());
      closed_link(port, link);
    });
  }
}

TEST(EngineGate, GateThatOpensAMomentBeforeTheLimitIsInTime) {
  for (const NamedCall& named : calls_on_a_link()) {
    SCOPED_TRACE(named.name);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      test::settle();
      ASSERT_TRUE(vlp::IsSignalled(link->gateEvent.Get(), 0));
      auto giver = test::spawn("giver", [gate = link->gateEvent.Get()] {
        test::sleep_ms(59'999);
        SetEvent(gate);
      });
      if (named.name == "open channel") port.opens_channel(0x02);
      if (named.name == "close") port.exits();
      const Called called = timed([&] { return named.call(link); });
      EXPECT_NE(vlp::XDLT_ERR_GATE_TIMEOUT, called.result);
      EXPECT_EQ(59'999u, called.ms);
      EXPECT_EQ(0u, link->callers.load());
      EXPECT_TRUE(gate_is_open(*link));
      if (named.name == "open channel") closed_channel(port, link, 0x02);
      if (named.name != "close") closed_link(port, link);
    });
  }
}

TEST(EngineGate, LimitsOfAllWaits) {
  EXPECT_EQ(60'000u, vlp::kGateLimitMs);
  EXPECT_EQ(11'000u, vlp::kControlLimitMs);
  EXPECT_EQ(11'000u, vlp::kReplyLimitMs);
  EXPECT_EQ(11'000u, vlp::kBufferLimitMs);
  EXPECT_EQ(11'000u, vlp::kDataLimitMs);
  EXPECT_EQ(11'000u, vlp::kBodyLimitMs);
}

// Each of the other limits where a call runs into it.
TEST(EngineGate, WaitsBehindTheGateRunOutAfterElevenSeconds) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    const vlp::ChannelPointer channel = vlp::FindChannel(*link, 0x02);

    ASSERT_TRUE(vlp::IsSignalled(link->controlEvent.Get(), 0));
    Called called = open_channel_on(link, 0x40);
    EXPECT_EQ(vlp::XDLT_ERR_CTRL_BUSY, called.result);
    EXPECT_EQ(11'000u, called.ms);
    vlp::Signal(link->controlEvent.Get());

    ASSERT_TRUE(vlp::IsSignalled(channel->bufferEvent.Get(), 0));
    called = fetch(link, 0x02, 8);
    EXPECT_EQ(vlp::XDLT_ERR_BUFFER_TIMEOUT, called.result);
    EXPECT_EQ(11'000u, called.ms);
    vlp::Signal(channel->bufferEvent.Get());

    port.takes_credit(0x02);
    EXPECT_EQ(0, size_query(link, 0x02).result);
    test::settle();
    port.reads_wait(20'000);
    called = size_query(link, 0x02);
    EXPECT_EQ(0, called.result);
    EXPECT_EQ(11'000u, called.ms);
    test::sleep_ms(9'500);
    free_reads(port);

    port.expect(open_channel(0x40, 4102, 512));
    called = open_channel_on(link, 0x40);
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, called.result);
    EXPECT_GE(called.ms, 11'000u);
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
  });
}

TEST(EngineGate, CallersAreCountedFromBeforeTheWaitUntilTheyLeave) {
  run_virtual_schedules(10, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.opens_channel(0x02, {}, after_ms(200));
    EXPECT_EQ(0u, link->callers.load());
    auto first = transact("first", [&] { return open_channel_on(link, 0x02); });
    test::sleep_ms(50);
    EXPECT_EQ(1u, link->callers.load());
    auto second = transact("second", [&] { return fetch(link, 0x02, 8); });
    test::settle();
    EXPECT_EQ(2u, link->callers.load());
    auto third = transact("third", [&] { return open_channel_on(link, 0x40); });
    port.opens_channel(0x40, {.write_size = 512}, after_ms(200));
    test::settle();
    EXPECT_EQ(3u, link->callers.load());
    EXPECT_EQ(0, first.get().result);
    EXPECT_EQ(0, second.get().result);
    EXPECT_EQ(second.get().ms + 50, first.get().ms);
    EXPECT_EQ(0, third.get().result);
    EXPECT_EQ(0u, link->callers.load());
    closed_channel(port, link, 0x02);
    closed_channel(port, link, 0x40);
    closed_link(port, link);
  });
}

// Writes and reads of one link by the order of their calls; the port complains of two at once.
TEST(EngineGate, OneOperationAtATimeIsInside) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02, {.write_size = 7, .credit = 100});
    // Three packets of a message, one byte each, stay together.
    for (const char* const message : {"abc", "def", "ghi"}) {
      for (int at = 0; at < 3; ++at) {
        const std::uint8_t last = at == 2 ? 1 : 0;
        port.expect(data(0x02, {static_cast<std::uint8_t>(message[at])}, {.control = last}))
            .takes_ms(10)
            .at_any_time();
      }
    }
    {
      std::vector<Transaction> writers;
      for (const char* const message : {"abc", "def", "ghi"}) {
        writers.push_back(
            transact(message, [link, message] { return write(link, 0x02, text(message)); }));
      }
      for (Transaction& writer : writers) EXPECT_EQ(3, writer.get().result);
    }
    std::string order;
    for (const Transfer& transfer : port.writes()) {
      if (transfer.bytes[0] == 0x02) order += static_cast<char>(transfer.bytes[6]);
    }
    ASSERT_EQ(9u, order.size());
    for (std::size_t at = 0; at < 9; at += 3) {
      EXPECT_EQ(order[at] + 1, order[at + 1]) << order;
      EXPECT_EQ(order[at] + 2, order[at + 2]) << order;
    }
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

TEST(EngineGate, LinksDoNotWaitForEachOther) {
  run_virtual_parallel([] {
    ScriptedPort slow("slow");
    ScriptedPort fast("fast");
    Engine engine;
    vlp::XdltLink* const held = opened_link(slow);
    slow.opens_channel(0x02, {}, after_ms(5'000));
    auto opening = transact("opening", [&] { return open_channel_on(held, 0x02); });
    test::sleep_ms(10);
    const Called other = timed([&] {
      vlp::XdltLink* const link = opened_link(fast);
      opened_channel(fast, link, 0x02, {.credit = 1});
      fast.expect(data(0x02, {1}));
      EXPECT_EQ(1, write(link, 0x02, {1}).result);
      closed_channel(fast, link, 0x02);
      closed_link(fast, link);
    });
    EXPECT_EQ(0u, other.ms);
    EXPECT_EQ(0, opening.get().result);
    closed_channel(slow, held, 0x02);
    closed_link(slow, held);
  });
}

TEST(EngineGate, TableIsFreeWhileCallsWaitInsideALink) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    const auto expect_table_free = [&] {
      const Called looked = timed([&] { return vlp::XdltCheckLink(link); });
      EXPECT_EQ(0, looked.result);
      EXPECT_EQ(0u, looked.ms);
    };
    // Inside for a reply, at the gate, in the port.
    port.expect(open_channel(0x02, 65535, 65535))
        .takes_ms(100)
        .answer(open_channel_reply(0x02, 512, 512, 1), after_ms(200));
    auto inside = transact("inside", [&] { return open_channel_on(link, 0x02); });
    auto waiting = transact("waiting", [&] { return fetch(link, 0x02, 4); });
    for (int i = 0; i < 3; ++i) {
      test::settle();
      expect_table_free();
      test::sleep_ms(75);
    }
    inside.get();
    waiting.get();
    // At the control gate, and for the buffer.
    ASSERT_TRUE(vlp::IsSignalled(link->controlEvent.Get(), 0));
    const vlp::ChannelPointer channel = vlp::FindChannel(*link, 0x02);
    ASSERT_TRUE(vlp::IsSignalled(channel->bufferEvent.Get(), 0));
    for (const auto& call :
         {NamedCall{"control", [](vlp::XdltLink* on) { return open_channel_on(on, 0x40).result; }},
          NamedCall{"buffer", [](vlp::XdltLink* on) { return fetch(on, 0x02, 4).result; }}}) {
      auto stuck = transact(call.name, [link, call] { return call.call(link); });
      test::sleep_ms(5'000);
      expect_table_free();
    }
    vlp::Signal(link->controlEvent.Get());
    vlp::Signal(channel->bufferEvent.Get());
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

// An opening call holds the table while it waits for the gate of its record; whoever is inside
// another link gets out all the same.
TEST(EngineGate, OpeningThatWaitsForItsGateHoldsTheTableButNobodyInside) {
  run_virtual_parallel([] {
    ScriptedPort port("port");
    ScriptedPort late("late");
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    ASSERT_TRUE(vlp::IsSignalled(record(1).gateEvent.Get(), 0));
    const HANDLE gate = record(1).gateEvent.Get();
    port.opens_channel(0x02, {}, after_ms(200));
    auto inside = transact("inside", [&] { return open_channel_on(link, 0x02); });
    auto waiting = transact("waiting", [&] { return fetch(link, 0x02, 4); });
    test::sleep_ms(50);
    auto opening = transact("opening", [&] { return static_cast<Called>(open_link(late)); });
    test::sleep_ms(50);
    auto looking = transact("looking", [&] { return vlp::XdltCheckLink(link); });
    test::sleep_ms(900);
    EXPECT_TRUE(inside.ended());
    EXPECT_TRUE(waiting.ended());
    EXPECT_FALSE(looking.ended());
    late.opens();
    SetEvent(gate);
    EXPECT_EQ(0, opening.get().result);
    EXPECT_EQ(0, looking.get().result);
    EXPECT_EQ(900u, looking.get().ms);
    closed_link(late, &record(1));
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

}  // namespace
}  // namespace d4_test
