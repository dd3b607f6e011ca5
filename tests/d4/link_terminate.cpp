// How a link ends: by which results, what the device is told, and who ends it.

#include <gmock/gmock.h>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

std::int32_t terminate(vlp::XdltLink* link, std::int32_t result,
                       std::int32_t timeout = vlp::kWithoutLimit) {
  return vlp::XdltTerminate(the_engine(), *link, result, timeout);
}

TEST(LinkTerminate, OtherThanFatalResultsDoNothingToAnOpenLink) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    test::settle();
    const std::size_t calls = port.call_count();
    for (const std::int32_t result : {0, 1, 4096, -1, -13, -20, -33, -34, -49}) {
      EXPECT_EQ(0, terminate(link, result));
      EXPECT_EQ(vlp::kLinkOpen, link->state.load());
      EXPECT_TRUE(link->readThread);
    }
    EXPECT_EQ(calls, port.call_count());
    closed_link(port, link);
  });
}

TEST(LinkTerminate, AnyResultFreesALinkThatIsClosed) {
  for (const std::int32_t result : {0, 17, -1, -34, -49, -50, -80}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      const std::size_t writes = port.write_count();
      link->state.store(vlp::kLinkClosed);
      EXPECT_EQ(0, terminate(link, result));
      expect_free(*link);
      EXPECT_EQ(writes, port.write_count());
      EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    });
  }
}

TEST(LinkTerminate, BreachesAreToldToTheDeviceAndOtherLossesAreNot) {
  for (std::int32_t result = -90; result <= -50; ++result) {
    SCOPED_TRACE(result);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      const std::size_t writes = port.write_count();
      const bool told = result >= -87 && result <= -80;
      if (told) {
        port.expect(joined({hex("00 00 00 0A 00 00 7F 00 00"),
                            {static_cast<std::uint8_t>(0x80 + (-80 - result))}}));
      }
      EXPECT_EQ(0, terminate(link, result));
      EXPECT_EQ(writes + (told ? 1 : 0), port.write_count());
      expect_free(*link);
    });
  }
}

TEST(LinkTerminate, ErrorPacketThatFailsIsNoMatter) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.expect(error_packet(0x80)).fails();
    EXPECT_EQ(0, terminate(link, vlp::XDLT_ERR_MALFORMED));
    expect_free(*link);
  });
}

TEST(LinkTerminate, WhileSomebodyIsInsideNothingIsFreedAndTheDeviceIsToldOnce) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.expect(error_packet(0x87));
    ++link->callers;
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(0, terminate(link, vlp::XDLT_ERR_BAD_COMMAND));
      EXPECT_EQ(vlp::kLinkLost, link->state.load());
      EXPECT_TRUE(link->readThread);
      EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    }
    --link->callers;
    // A result that isn't fatal ends no lost link.
    EXPECT_EQ(0, terminate(link, -49));
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    EXPECT_EQ(0, terminate(link, -50));
    expect_free(*link);
  });
}

TEST(LinkTerminate, ClosedLinkWithSomebodyInsideIsNotFreed) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    link->state.store(vlp::kLinkClosed);
    ++link->callers;
    EXPECT_EQ(0, terminate(link, 0));
    EXPECT_EQ(vlp::kLinkClosed, link->state.load());
    EXPECT_TRUE(link->readThread);
    --link->callers;
    EXPECT_EQ(0, terminate(link, 0));
    expect_free(*link);
  });
}

TEST(LinkTerminate, ReadUnderWayIsWaitedForWithoutLimit) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    block_reads(port);
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    ASSERT_TRUE(port.read_is_inside());
    port.say(exit_reply(), at_ms(86'400'000));
    const Called ended = timed([&] { return terminate(link, vlp::XDLT_ERR_REPLY_TIMEOUT); });
    EXPECT_EQ(0, ended.result);
    EXPECT_EQ(86'400'000u, ended.ms);
    expect_free(*link);
  });
}

TEST(LinkTerminate, ReadThatEndsWithinTheLimitIsWaitedFor) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    block_reads(port);
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    port.say(exit_reply(), at_ms(2'499));
    const Called ended = timed([&] { return terminate(link, vlp::XDLT_ERR_REPLY_TIMEOUT, 2'500); });
    EXPECT_EQ(0, ended.result);
    EXPECT_EQ(2'499u, ended.ms);
    expect_free(*link);
  });
}

TEST(LinkTerminate, BreachInsideACallEndsTheLinkWithTheCall) {
  struct Breach {
    Bytes answer;
    std::int32_t result;
    std::uint8_t code;
  };
  const Breach breaches[] = {
      {with_length(open_channel_reply(0x02, 512, 512, 1), 15), -80, 0x80},
      {close_channel_reply(0x02), -82, 0x82},
      {data(0x03, text("abc")), -84, 0x84},
      {open_channel_reply(0x02, 512, 512, 1, 7), -85, 0x85},
      {control_packet(0x86, {0, 0}), -87, 0x87},
  };
  for (const Breach& breach : breaches) {
    SCOPED_TRACE(breach.result);
    run_virtual_schedules(6, [&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      port.expect(open_channel(0x02, 65535, 65535)).answer(breach.answer);
      port.expect(error_packet(breach.code));
      EXPECT_EQ(breach.result, open_channel_on(link, 0x02).result);
      EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
      expect_free(*link);
      expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
      closed_link(port, opened_link(port));
    });
  }
}

TEST(LinkTerminate, ErrorPacketOfTheDeviceIsNotAnswered) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    port.expect(open_channel(0x02, 65535, 65535)).answer(error_packet(0x83));
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, open_channel_on(link, 0x02).result);
    expect_free(*link);
  });
}

TEST(LinkTerminate, CallsBehindTheGateComeThroughALostLink) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02, {.credit = 9});
    port.expect(open_channel(0x40, 4102, 512))
        .answer(with_byte(open_channel_reply(0x40, 4102, 512, 0), 2, 1), after_ms(200));
    port.expect(error_packet(0x80));
    auto losing = transact("losing", [&] { return open_channel_on(link, 0x40); });
    test::sleep_ms(50);
    auto writing = transact("writing", [&] { return write(link, 0x02, {1, 2, 3}); });
    test::sleep_ms(50);
    auto fetching = transact("fetching", [&] { return fetch(link, 0x02, 8); });
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, losing.get().result);
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, writing.get().result);
    EXPECT_EQ(0u, writing.get().count);
    EXPECT_EQ(0, fetching.get().result);
    // Neither of them ends the link; the close does, without a word to the device.
    EXPECT_EQ(vlp::kLinkLost, link->state.load());
    EXPECT_EQ(0u, link->callers.load());
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, open_channel_on(link, 0x40).result);
    EXPECT_EQ(0, close_channel_on(link, 0x02).result);
    EXPECT_EQ(1u, channel_count(*link));
    EXPECT_EQ(0, close_link(link).result);
    expect_free(*link);
  });
}

TEST(LinkTerminate, LastOneOutEndsTheLink) {
  run_virtual_schedules(20, [] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    port.expect(open_channel(0x40, 4102, 512)).answer(error_packet(0x80), after_ms(200));
    auto losing = transact("losing", [&] { return open_channel_on(link, 0x40); });
    test::sleep_ms(50);
    auto closing = transact("closing", [&] { return close_channel_on(link, 0x02); });
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, losing.get().result);
    // Its packet isn't let through any more, which is fatal too.
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, closing.get().result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    expect_free(*link);
  });
}

TEST(LinkTerminate, WriteThatLosesTheLinkLeavesItUpForTheNextCall) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02, {.credit = 9});
    port.expect(data(0x02, text("abc"))).is_short_by(1);
    EXPECT_EQ(vlp::XDLT_ERR_SHORT_WRITE, write(link, 0x02, text("abc")).result);
    EXPECT_EQ(vlp::kLinkOpen, link->state.load());
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    EXPECT_TRUE(link->readThread);
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

TEST(LinkTerminate, ReadThatLosesTheLinkLeavesItUpForTheNextCall) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    port.takes_credit(0x02);
    port.say(with_byte(data(0x02, text("abc")), 1, 0x03), after_ms(1));
    std::int32_t result = 0;
    while (result == 0) {
      result = size_query(link, 0x02).result;
      test::sleep_ms(1);
    }
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, result);
    EXPECT_EQ(vlp::kLinkOpen, link->state.load());
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    // Each later query finds that out anew, when it has waited.
    const Called again = size_query(link, 0x02);
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, again.result);
    EXPECT_EQ(11'000u, again.ms);
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    port.expect(open_channel(0x40, 4102, 512));
    port.expect(error_packet(0x80));
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, open_channel_on(link, 0x40).result);
    expect_free(*link);
  });
}

}  // namespace
}  // namespace d4_test
