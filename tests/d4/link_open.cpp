// Opening a link: what goes out, what comes back, what the caller gets.

#include <gmock/gmock.h>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

vlp::XdltLink* no_link() { return reinterpret_cast<vlp::XdltLink*>(0x1234); }

TEST(LinkOpen, EntryStringIsOneWriteOfTwentySevenBytes) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    const std::vector<Transfer> writes = port.writes();
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(27u, writes[0].asked);
    EXPECT_EQ(joined({hex("00 00 00 1B 01"), text("@QPL 1284.4\n@QPL\n@QPL\n")}), writes[0].bytes);
    EXPECT_EQ(hex("00 00 00 08 01 00 00 10"), writes[1].bytes);
    closed_link(port, link);
  });
}

TEST(LinkOpen, GivesTheLinkAndLeavesItOpenForCallers) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    vlp::XdltLink* const link = opened_link(port);
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    EXPECT_EQ(&record(0), link);
    EXPECT_EQ(port.handle(), link->portHandle.load());
    EXPECT_EQ(port.ops(), link->portOps);
    EXPECT_EQ(vlp::kLinkOpen, link->state.load());
    EXPECT_EQ(0u, link->callers.load());
    EXPECT_EQ(0, link->awaitedReply.load());
    EXPECT_EQ(0, link->readStatus.load());
    EXPECT_TRUE(gate_is_open(*link));
    // The control gate is free, the other events are not set.
    EXPECT_TRUE(vlp::IsSignalled(link->controlEvent.Get(), 0));
    vlp::Signal(link->controlEvent.Get());
    for (const HANDLE event :
         {link->replyEvent.Get(), link->dataEvent.Get(), link->spareEvent.Get()}) {
      EXPECT_FALSE(vlp::IsSignalled(event, 0));
    }
    closed_link(port, link);
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    expect_free(*link);
  });
}

TEST(LinkOpen, OneEntryStringAndOneInitAndNothingElse) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.expect(entry_string()).answer(entry_reply(), after_ms(10'000));
    port.expect(init()).answer(init_reply(), after_ms(10'000));
    const Opened opened = open_link(port);
    EXPECT_EQ(0, opened.result);
    EXPECT_GE(opened.ms, 20'000u);
    EXPECT_EQ(joined({entry_string(), init()}), port.written());
    closed_link(port, opened.link);
  });
}

TEST(LinkOpen, BadArgumentsAreRefusedWithoutTouchingThePort) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* link = no_link();
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Open(0, port.ops(), &link));
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Open(port.handle(), port.ops(), nullptr));
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Open(port.handle(), nullptr, &link));
    vlp::XdltPortOps mute = *port.ops();
    mute.write = nullptr;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Open(port.handle(), &mute, &link));
    vlp::XdltPortOps deaf = *port.ops();
    deaf.read = nullptr;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Open(port.handle(), &deaf, &link));
    EXPECT_EQ(no_link(), link);
    EXPECT_EQ(0u, port.call_count());
    EXPECT_FALSE(vlp::XdltPortIsInUse(0));
    expect_free(record(0));
  });
}

TEST(LinkOpen, EngineThatIsNotInitialisedRefuses) {
  run_virtual_parallel([] {
    ScriptedPort port;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, open_link(port).result);
    { const Engine engine; }
    const Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, opened.result);
    EXPECT_EQ(nullptr, opened.link);
    EXPECT_EQ(0u, port.call_count());
  });
}

TEST(LinkOpen, PortWithALinkIsRefusedWhileTheLinkLives) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    test::settle();
    const std::size_t calls = port.call_count();
    const Opened again = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_IN_USE, again.result);
    EXPECT_EQ(nullptr, again.link);
    EXPECT_EQ(calls, port.call_count());
    EXPECT_EQ(0u, link->callers.load());
    closed_link(port, link);
    closed_link(port, opened_link(port));
  });
}

TEST(LinkOpen, PortThatIsBeingOpenedIsRefusedToAnother) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.opens(after_ms(100));
    auto first = transact("first", [&] { return static_cast<Called>(open_link(port)); });
    test::sleep_ms(50);
    const Opened second = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_IN_USE, second.result);
    EXPECT_EQ(0u, second.ms);
    EXPECT_EQ(0, first.get().result);
    EXPECT_GE(first.get().ms, 200u);
    closed_link(port, &record(0));
  });
}

TEST(LinkOpen, GateThatStaysShutIsWaitedForAMinute) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    ASSERT_TRUE(vlp::IsSignalled(record(0).gateEvent.Get(), 0));
    Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_GATE_TIMEOUT, opened.result);
    EXPECT_EQ(60'000u, opened.ms);
    EXPECT_EQ(nullptr, opened.link);
    EXPECT_EQ(0u, record(0).callers.load());
    EXPECT_EQ(0u, port.call_count());
    // A moment less is enough.
    auto giver = test::spawn("giver", [gate = record(0).gateEvent.Get()] {
      test::sleep_ms(59'999);
      SetEvent(gate);
    });
    port.opens();
    opened = open_link(port);
    EXPECT_EQ(0, opened.result);
    EXPECT_EQ(59'999u, opened.ms);
    closed_link(port, opened.link);
  });
}

TEST(LinkOpen, RecordOfAnOpeningLinkLetsNobodyIn) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const stale = opened_link(port);
    closed_link(port, stale);
    // The same record again; whoever kept the pointer must not get between entry and Init.
    port.opens(after_ms(100));
    auto opening = transact("opening", [&] { return static_cast<Called>(open_link(port)); });
    for (int moment = 0; moment < 3; ++moment) {
      test::sleep_ms(50);
      for (const NamedCall& named : calls_on_a_link()) {
        EXPECT_EQ(vlp::XDLT_ERR_NOLINK, named.call(stale)) << named.name;
      }
      EXPECT_EQ(1u, stale->callers.load());
    }
    EXPECT_EQ(0, opening.get().result);
    EXPECT_GE(opening.get().ms, 200u);
    closed_link(port, stale);
  });
}

TEST(LinkOpen, WordsOfAFormerLinkAreForgotten) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* link = opened_link(port);
    set_retry_timing(link, 1, 7, 99);
    link->controlWriteSize = 300;
    link->awaitedReply.store(0x80);
    link->waitSocket.store(0x02);
    closed_link(port, link);
    link = opened_link(port);
    EXPECT_EQ(0, link->awaitedReply.load());
    EXPECT_EQ(0, link->waitSocket.load());
    EXPECT_EQ(0u, link->controlWriteSize);
    EXPECT_EQ(50u, link->creditWait.load());
    EXPECT_EQ(50u, link->creditWaitBase.load());
    EXPECT_EQ(0u, link->creditBackoff.load());
    EXPECT_EQ(50u, link->creditWaitMax.load());
    closed_link(port, link);
  });
}

}  // namespace
}  // namespace d4_test
