// Closing a link.

#include <gmock/gmock.h>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::AnyOf;

TEST(LinkClose, TellsTheDeviceAndGivesEverythingBack) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.expect(hex("00 00 00 07 01 00 08")).answer(hex("00 00 00 08 01 00 88 00"));
    EXPECT_EQ(0, vlp::XDLT_Close(link));
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    expect_free(*link);
  });
}

TEST(LinkClose, WhateverTheDeviceAnswersIsNoMatter) {
  const Bytes answers[] = {exit_reply(1), exit_reply(255),        error_packet(0x80),
                           init_reply(),  cut(exit_reply(), 3),   with_length(exit_reply(), 9),
                           exit_link(),   data(0x02, text("abc"))};
  for (const Bytes& answer : answers) {
    SCOPED_TRACE(::testing::PrintToString(answer));
    run_virtual_schedules(4, [&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      port.expect(exit_link()).answer(answer);
      if (answer == exit_link()) port.expect(exit_reply());
      EXPECT_EQ(0, vlp::XDLT_Close(link));
      expect_free(*link);
      closed_link(port, opened_link(port));
    });
  }
}

TEST(LinkClose, ReplyIsWaitedForElevenSecondsAndNoLonger) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* link = opened_link(port);
    block_reads(port);
    port.exits(after_ms(10'999));
    Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(10'999u, closed.ms);

    free_reads(port);
    link = opened_link(port);
    block_reads(port);
    port.exits(after_ms(11'001));
    closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    // The read under way is waited for.
    EXPECT_EQ(11'001u, closed.ms);
    expect_free(*link);
  });
}

TEST(LinkClose, FailedExitWriteIsNoMatterEither) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* link = opened_link(port);
    port.expect(exit_link()).fails();
    Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(0u, closed.ms);
    link = opened_link(port);
    port.expect(exit_link()).is_short_by(1);
    closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(0u, closed.ms);
    expect_free(*link);
  });
}

TEST(LinkClose, RemovedDeviceIsNoMatterEither) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.ignores_the_rest();
    port.remove();
    const Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(0u, closed.ms);
    expect_free(*link);
  });
}

TEST(LinkClose, BusyControlGateCostsElevenSecondsAndTheExit) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    ASSERT_TRUE(vlp::IsSignalled(link->controlEvent.Get(), 0));
    const std::size_t writes = port.write_count();
    const Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(11'000u, closed.ms);
    EXPECT_EQ(writes, port.write_count());
    expect_free(*link);
  });
}

TEST(LinkClose, BadLinkIsRefused) {
  run_virtual_parallel([] {
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Close(nullptr));
    ScriptedPort port;
    Engine engine;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Close(nullptr));
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XDLT_Close(&record(3)));
    vlp::XdltLink* const link = opened_link(port);
    closed_link(port, link);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XDLT_Close(link));
    EXPECT_EQ(0u, link->callers.load());
  });
}

TEST(LinkClose, GateThatStaysShutIsWaitedForAMinute) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    ASSERT_TRUE(vlp::IsSignalled(link->gateEvent.Get(), 0));
    const std::size_t writes = port.write_count();
    const Called closed = close_link(link);
    EXPECT_EQ(vlp::XDLT_ERR_GATE_TIMEOUT, closed.result);
    EXPECT_EQ(60'000u, closed.ms);
    EXPECT_EQ(0u, link->callers.load());
    EXPECT_EQ(writes, port.write_count());
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    vlp::Signal(link->gateEvent.Get());
    closed_link(port, link);
  });
}

TEST(LinkClose, EachChannelLeftOpenCostsAMinute) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* link = opened_link(port);
    opened_channel(port, link, 0x02);
    port.exits();
    Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(60'000u, closed.ms);
    expect_free(*link);

    link = opened_link(port);
    for (const std::uint8_t socket : Bytes{0x02, 0x40, 0x21}) opened_channel(port, link, socket);
    const std::size_t writes = port.write_count();
    port.exits();
    closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(180'000u, closed.ms);
    // No CloseChannel went out, one Exit did.
    EXPECT_EQ(writes + 1, port.write_count());
    expect_free(*link);
  });
}

TEST(LinkClose, ChannelThatTheDeviceClosedCostsAMinuteToo) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    port.say(close_channel(0x02));
    port.expect(close_channel_reply(0x02));
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, close_channel_on(link, 0x02).result);
    port.exits();
    const Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(60'000u, closed.ms);
    expect_free(*link);
  });
}

TEST(LinkClose, LinkWhoseReadingHasEndedIsStillToldExitAndWaitedFor) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.say(error_packet(0x80));
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    ASSERT_EQ(vlp::XDLT_ERR_PEER_ERROR, link->readStatus.load());
    ASSERT_EQ(vlp::kLinkOpen, link->state.load());
    test::sleep_ms(50);  // half-way through a pause of the thread
    port.expect(exit_link()).answer(exit_reply());
    const std::size_t reads = port.read_count();
    const Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(11'050u, closed.ms);
    EXPECT_EQ(reads, port.read_count());
    expect_free(*link);
  });
}

TEST(LinkClose, LinkThatTheDeviceLeftIsNotToldAnything) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.say(exit_link());
    port.expect(exit_reply());
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    ASSERT_EQ(vlp::kLinkClosed, link->state.load());
    const std::size_t writes = port.write_count();
    const Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(0u, closed.ms);
    EXPECT_EQ(writes, port.write_count());
    expect_free(*link);
  });
}

TEST(LinkClose, LinkThatTheDeviceLeftOpensNoChannelAndIsFreedByClosingOne) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.say(exit_link());
    port.expect(exit_reply());
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    const Called opened = open_channel_on(link, 0x02);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, opened.result);
    EXPECT_EQ(0u, opened.ms);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, write(link, 0x02, {1}).result);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, size_query(link, 0x02).result);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, fetch(link, 0x02, 4).result);
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    const Called closed = close_channel_on(link, 0x02);
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, closed.result);
    EXPECT_EQ(0u, closed.ms);
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    expect_free(*link);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(link).result);
    closed_link(port, opened_link(port));
  });
}

TEST(LinkClose, LostLinkIsNotToldAnything) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    ++link->callers;  // so that the link outlives its loss
    vlp::XdltTerminate(the_engine(), *link, vlp::XDLT_ERR_REPLY_TIMEOUT, vlp::kWithoutLimit);
    --link->callers;
    ASSERT_EQ(vlp::kLinkLost, link->state.load());
    const std::size_t writes = port.write_count();
    EXPECT_EQ(0, close_channel_on(link, 0x02).result);
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    const Called closed = close_link(link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(0u, closed.ms);
    EXPECT_EQ(writes, port.write_count());
    expect_free(*link);
  });
}

}  // namespace
}  // namespace d4_test
