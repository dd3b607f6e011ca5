// Closing a channel, from either side.

#include <gmock/gmock.h>

#include "support/waits.h"
#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;

TEST(ChannelClose, LooksAtTheLinkThenTheSocketThenTheGate) {
  run_virtual_parallel([] {
    OpenLink up;
    const std::size_t before = up.port.call_count();
    EXPECT_EQ(-20, close_channel_on(nullptr, 0x02).result);
    vlp::KernelHandle gate = std::move(up.link->gateEvent);
    EXPECT_EQ(-20, close_channel_on(up.link, 0x00).result);
    EXPECT_EQ(-20, close_channel_on(up.link, 0xFF).result);
    EXPECT_EQ(-22, close_channel_on(up.link, 0x02).result);
    up.link->gateEvent = std::move(gate);
    EXPECT_EQ(-24, close_channel_on(up.link, 0x02).result);
    EXPECT_EQ(before, up.port.call_count());
    EXPECT_EQ(0u, elapsed_ms());
    closed_link(up.port, up.link);
    EXPECT_EQ(-22, close_channel_on(up.link, 0x02).result);
  });
}

TEST(ChannelClose, OnALostLinkSucceedsAndChangesNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    const std::size_t before = up.port.call_count();
    up.link->state.store(3);
    for (const std::uint8_t socket : Bytes{0x00, 0x02, 0x50, 0xFF}) {
      EXPECT_EQ(0, close_channel_on(up.link, socket).result) << int{socket};
    }
    EXPECT_EQ(3u, up.link->state.load());
    EXPECT_EQ(before, up.port.call_count());
    ASSERT_NE(nullptr, up.record(0x02));
    EXPECT_EQ(0, up.record(0x02)->state.load());
  });
}

TEST(ChannelClose, TellsTheDeviceAndForgetsTheChannel) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50);
    const std::weak_ptr<vlp::XdltChannel> record = up.record(0x02);
    up.port.expect(hex("00 00 00 0A 01 00 02 02 02 00")).answer(close_channel_reply(0x02));
    EXPECT_EQ(0, close_channel_on(up.link, 0x02).result);
    EXPECT_TRUE(record.expired());
    EXPECT_EQ(0, packet_sizes(up.link, 0x02).writePacketSize);
    EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(-24, size_query(up.link, 0x02).result);
    EXPECT_EQ(-24, close_channel_on(up.link, 0x02).result);
    EXPECT_EQ(512, packet_sizes(up.link, 0x50).writePacketSize);
  });
}

TEST(ChannelClose, ThatTheDeviceRefusesIsDoneHereAllTheSame) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t result : Bytes{3, 8}) {
      up.channel(0x02);
      up.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02, result));
      EXPECT_EQ(-result, close_channel_on(up.link, 0x02).result);
      EXPECT_EQ(nullptr, up.record(0x02));
    }
    up.channel(0x02);
    up.port.expect(close_channel(0x02)).fails();
    EXPECT_EQ(-31, close_channel_on(up.link, 0x02).result);
    EXPECT_EQ(nullptr, up.record(0x02));
    EXPECT_EQ(1u, up.link->state.load());
  });
}

TEST(ChannelClose, WithoutAControlGateIsDoneHereAllTheSame) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    ASSERT_TRUE(vlp::IsSignalled(up.link->controlEvent.Get(), 0));
    const Called closed = close_channel_on(up.link, 0x02);
    EXPECT_EQ(-30, closed.result);
    EXPECT_EQ(11'000u, closed.ms);
    EXPECT_EQ(nullptr, up.record(0x02));
    vlp::Signal(up.link->controlEvent.Get());
    up.channel(0x02);
  });
}

TEST(ChannelClose, WaitsForTheReceiveBufferUpToElevenSeconds) {
  for (const std::uint32_t held_ms : {10'999u, 11'001u}) {
    run_virtual_parallel([held_ms] {
      OpenLink up;
      up.channel(0x02);
      const vlp::ChannelPointer record = up.record(0x02);
      ASSERT_TRUE(vlp::IsSignalled(record->bufferEvent.Get(), 0));
      auto holder = test::spawn("holder", [&] {
        test::sleep_ms(held_ms);
        vlp::Signal(record->bufferEvent.Get());
      });
      up.port.closes_channel(0x02);
      const Called closed = close_channel_on(up.link, 0x02);
      EXPECT_EQ(held_ms < 11'000 ? 0 : -34, closed.result);
      EXPECT_EQ(std::min(held_ms, 11'000u), closed.ms);
      EXPECT_EQ(nullptr, up.record(0x02));
    });
  }
}

TEST(ChannelClose, ABusyBufferCountsMoreThanARefusal) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    const vlp::ChannelPointer record = up.record(0x02);
    ASSERT_TRUE(vlp::IsSignalled(record->bufferEvent.Get(), 0));
    up.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02, 8));
    EXPECT_EQ(-34, close_channel_on(up.link, 0x02).result);
    EXPECT_EQ(nullptr, up.record(0x02));
    EXPECT_EQ(1u, up.link->state.load());
  });
}

TEST(ChannelClose, DropsWhatTheDeviceStillSends) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50).credit_given(0x50);
    // Without credit for it: while a channel closes that isn't looked at.
    up.port.expect(close_channel(0x02))
        .answer(data(0x02, text("late")))
        .answer(close_channel_reply(0x02), after_ms(100));
    auto closing = transact("closing", [&] { return close_channel_on(up.link, 0x02); });
    test::settle();
    ASSERT_NE(nullptr, up.record(0x02));
    EXPECT_EQ(2, up.record(0x02)->state.load());
    EXPECT_EQ(0, closing.get().result);
    EXPECT_EQ(nullptr, up.record(0x02));
    EXPECT_EQ(0, up.status());
    up.port.say(data(0x50, text("abc")));
    EXPECT_EQ(3, size_query(up.link, 0x50).result) << "the next packet is read from its start";
  });
}

TEST(ChannelClose, ThatIsFatalFreesTheLink) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02, 1));
    up.port.expect(error_packet(0x85));
    EXPECT_EQ(-85, close_channel_on(up.link, 0x02).result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(up.port.handle()));
    EXPECT_EQ(-22, close_channel_on(up.link, 0x02).result);
  });
}

TEST(ChannelClose, WithoutAReplyFreesTheLinkToo) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.expect(close_channel(0x02));
    const Called closed = close_channel_on(up.link, 0x02);
    EXPECT_EQ(-55, closed.result);
    EXPECT_GE(closed.ms, 11'000u);
    EXPECT_LE(closed.ms, 11'300u);
    EXPECT_EQ(-22, close_channel_on(up.link, 0x02).result);
  });
}

TEST(ChannelClose, WaitsForTheGateUpToAMinute) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.expect(open_channel(0x50, 65535, 65535))
        .takes_ms(60'001)
        .answer(open_channel_reply(0x50, 512, 512, 1));
    auto first = transact("first", [&] { return open_channel_on(up.link, 0x50); });
    test::settle();
    const Called closed = close_channel_on(up.link, 0x02);
    EXPECT_EQ(-34, closed.result);
    EXPECT_EQ(60'000u, closed.ms);
    EXPECT_NE(nullptr, up.record(0x02));
    EXPECT_EQ(0, up.record(0x02)->state.load());
    EXPECT_EQ(0, first.get().result);
    closed_channel(up.port, up.link, 0x02);
  });
}

TEST(ChannelClose, ByTwoAtOnceIsToldToTheDeviceOnce) {
  run_virtual_schedules(64, [] {
    OpenLink up;
    up.channel(0x02);
    up.port.closes_channel(0x02, after_ms(20));
    auto other = transact("other", [&] { return close_channel_on(up.link, 0x02); });
    const Called mine = close_channel_on(up.link, 0x02);
    EXPECT_THAT((std::vector{mine.result, other.get().result}),
                ::testing::UnorderedElementsAre(0, -24));
  });
}

// --- Closed by the device ---

// Channels 0x02 and 0x50; the device has closed 0x02.
struct PeerClosed : OpenLink {
  PeerClosed() {
    channel(0x02).channel(0x50).credit_given(0x50);
    port.expect(close_channel_reply(0x02));
    port.say(close_channel(0x02));
    EXPECT_EQ(0, size_query(link, 0x50).result);
    EXPECT_EQ(1, record(0x02)->state.load());
  }
};

TEST(ChannelClosedByPeer, IsNotClosedAgainAndKeepsItsRecord) {
  run_virtual_parallel([] {
    PeerClosed up;
    const std::size_t before = up.port.call_count();
    for (int i = 0; i < 3; ++i) {
      const Called closed = close_channel_on(up.link, 0x02);
      EXPECT_EQ(-24, closed.result);
      EXPECT_EQ(0u, closed.ms);
      ASSERT_NE(nullptr, up.record(0x02));
      EXPECT_EQ(1, up.record(0x02)->state.load());
      EXPECT_EQ(512, packet_sizes(up.link, 0x02).writePacketSize);
    }
    EXPECT_EQ(before, up.port.call_count());
  });
}

TEST(ChannelClosedByPeer, IsFreedByTheNextDataCallThatFailsWithIt) {
  run_virtual_parallel([] {
    for (const int call : {0, 1, 2}) {
      PeerClosed up;
      const std::weak_ptr<vlp::XdltChannel> record = up.record(0x02);
      const std::size_t before = up.port.call_count();
      const auto data_call = [&] {
        if (call == 0) return write(up.link, 0x02, text("abc"));
        return call == 1 ? size_query(up.link, 0x02) : fetch(up.link, 0x02, 10);
      };
      EXPECT_EQ(-24, data_call().result) << call;
      EXPECT_TRUE(record.expired());
      EXPECT_EQ(-24, data_call().result) << "none is found now";
      EXPECT_EQ(-24, close_channel_on(up.link, 0x02).result);
      EXPECT_EQ(before, up.port.call_count());
      up.channel(0x02);
    }
  });
}

TEST(ChannelClosedByPeer, IsNotFreedWhileSomebodyUsesIt) {
  run_virtual_parallel([] {
    PeerClosed up;
    up.record(0x02)->users.store(1);
    EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result);
    ASSERT_NE(nullptr, up.record(0x02));
    EXPECT_EQ(1, up.record(0x02)->users.load());
    up.record(0x02)->users.store(0);
    EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(nullptr, up.record(0x02));
  });
}

TEST(ChannelClosedByPeer, DuringAWriteStaysUntilTheNextCall) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 0});
    up.port.expect(credit_request(0x02))
        .answer(close_channel(0x02))
        .answer(credit_request_reply(0x02, 1));
    up.port.expect(close_channel_reply(0x02));
    EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result) << "nothing goes out behind it";
    ASSERT_NE(nullptr, up.record(0x02));
    EXPECT_EQ(0, up.record(0x02)->users.load());
    EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(nullptr, up.record(0x02));
  });
}

TEST(ChannelClosedByPeer, DropsItsDataAndStillTakesCredit) {
  run_virtual_parallel([] {
    PeerClosed up;
    up.port.say(data(0x02, text("late")));
    up.port.expect(credit_reply(0x02));
    up.port.say(credit(0x02, 5));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(0, size_query(up.link, 0x50).result);
    EXPECT_EQ(0, up.status());
    EXPECT_EQ(0u, up.record(0x02)->rxTail.load());
    EXPECT_EQ(6, up.held(0x02));
    EXPECT_EQ(0, up.port.unread());
  });
}

TEST(ChannelClosedByPeer, CostsTheLinksCloseItsWholeGate) {
  run_virtual_parallel([] {
    PeerClosed up;
    closed_channel(up.port, up.link, 0x50);
    up.port.exits();
    const Called closed = close_link(up.link);
    EXPECT_EQ(0, closed.result);
    EXPECT_EQ(60'000u, closed.ms);
    EXPECT_EQ(-22, close_link(up.link).result);
  });
}

}  // namespace
}  // namespace d4_test
