// Opening a channel: who is refused when, and what a new channel begins with.

#include <gmock/gmock.h>

#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

vlp::XdltLink* no_link() {
  static vlp::XdltLink stray;
  return &stray;
}

TEST(ChannelOpen, LooksAtTheLinkFirst) {
  run_virtual_parallel([] {
    OpenLink up;
    EXPECT_EQ(-20, open_channel_on(nullptr, 0x00).result);
    EXPECT_EQ(-22, open_channel_on(no_link(), 0x00).result);
    closed_link(up.port, up.link);
    EXPECT_EQ(-22, open_channel_on(up.link, 0x00).result);
  });
}

TEST(ChannelOpen, RefusesALinkThatIsNotOpenThenABadSocketThenOneWithoutAGate) {
  run_virtual_parallel([] {
    OpenLink up;
    const std::size_t before = up.port.call_count();
    vlp::KernelHandle gate = std::move(up.link->gateEvent);
    for (const std::uint32_t state : {0u, 2u, 3u}) {
      up.link->state.store(state);
      EXPECT_EQ(-33, open_channel_on(up.link, 0x00).result) << state;
      EXPECT_EQ(-33, open_channel_on(up.link, 0x02).result) << state;
    }
    up.link->state.store(1);
    EXPECT_EQ(-20, open_channel_on(up.link, 0x00).result);
    EXPECT_EQ(-20, open_channel_on(up.link, 0xFF).result);
    EXPECT_EQ(-22, open_channel_on(up.link, 0x02).result);
    up.link->gateEvent = std::move(gate);
    EXPECT_EQ(before, up.port.call_count());
    EXPECT_EQ(0u, elapsed_ms());
    EXPECT_EQ(0u, up.link->callers.load());
    up.channel(0x01).channel(0xFE);
  });
}

TEST(ChannelOpen, WaitsForTheGateUpToAMinute) {
  struct Case {
    std::uint32_t held_ms;
    std::int32_t result;
  };
  for (const Case& one : {Case{59'999, 0}, Case{60'001, -34}}) {
    run_virtual_parallel([&one] {
      OpenLink up;
      up.port.expect(open_channel(0x50, 65535, 65535))
          .takes_ms(one.held_ms)
          .answer(open_channel_reply(0x50, 512, 512, 1));
      if (one.result == 0) up.port.opens_channel(0x02);
      auto first = transact("first", [&] { return open_channel_on(up.link, 0x50); });
      test::settle();
      const Called second = open_channel_on(up.link, 0x02);
      EXPECT_EQ(one.result, second.result);
      EXPECT_EQ(std::min(one.held_ms, 60'000u), second.ms);
      EXPECT_EQ(0, first.get().result);
      EXPECT_EQ(0u, up.link->callers.load());
      EXPECT_EQ(one.result == 0, up.record(0x02) != nullptr);
    });
  }
}

TEST(ChannelOpen, QueuedBehindTheLinksEndFindsNoLink) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.exits(after_ms(500));
    auto closing = transact("closing", [&] { return close_link(up.link); });
    test::settle();
    const Called opened = open_channel_on(up.link, 0x02);
    EXPECT_EQ(-22, opened.result);
    EXPECT_GE(opened.ms, 500u);
    EXPECT_EQ(0, closing.get().result);
  });
}

TEST(ChannelOpen, OfAnOpenSocketLeavesTheFirstAlone) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.write_size = 100, .read_size = 200, .credit = 7}).credit_given(0x02);
    const vlp::ChannelPointer first = up.record(0x02);
    const std::size_t before = up.port.call_count();
    const Called second = open_channel_on(up.link, 0x02);
    EXPECT_EQ(-25, second.result);
    EXPECT_EQ(before, up.port.call_count());
    EXPECT_EQ(first, up.record(0x02));
    EXPECT_EQ(100, packet_sizes(up.link, 0x02).writePacketSize);
    EXPECT_EQ(200, packet_sizes(up.link, 0x02).readPacketSize);
    EXPECT_EQ(7, up.held(0x02));
    EXPECT_EQ(1, up.given(0x02));
    up.port.expect(data(0x02, text("abc")));
    EXPECT_EQ(3, write(up.link, 0x02, text("abc")).result);
  });
}

TEST(ChannelOpen, OfASocketThatTheDeviceClosedIsRefusedToo) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50).credit_given(0x50);
    up.port.expect(close_channel_reply(0x02));
    up.port.say(close_channel(0x02));
    EXPECT_EQ(0, size_query(up.link, 0x50).result);
    EXPECT_EQ(-25, open_channel_on(up.link, 0x02).result);
    EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result);
    up.channel(0x02);
  });
}

TEST(ChannelOpen, BeginsWithTheRepliesCreditAndNoneGiven) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const unsigned credit : {0u, 1u, 0x00FFu, 0x0100u, 0xFFFFu}) {
      up.channel(0x02, {.credit = static_cast<std::uint16_t>(credit)});
      EXPECT_EQ(static_cast<std::int32_t>(credit), up.held(0x02));
      const vlp::ChannelPointer record = up.record(0x02);
      EXPECT_EQ(0, record->grantedCredit.load());
      EXPECT_EQ(0, record->state.load());
      EXPECT_EQ(0, record->users.load());
      EXPECT_EQ(0u, record->rxHead.load());
      EXPECT_EQ(0u, record->rxTail.load());
      EXPECT_EQ(0u, record->lastEom);
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(record->bufferEvent.Get(), 0)) << "it is free";
      SetEvent(record->bufferEvent.Get());
      closed_channel(up.port, up.link, 0x02);
    }
  });
}

TEST(ChannelOpen, PutsTheNewestLast) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50).channel(0x02).channel(0x21).channel(0x40);
    closed_channel(up.port, up.link, 0x02);
    up.channel(0x02);
    std::vector<int> sockets;
    const vlp::LockGuard list(up.link->channelsLock);
    for (const vlp::ChannelPointer& channel : up.link->channels) sockets.push_back(channel->socket);
    EXPECT_THAT(sockets, ElementsAre(0x50, 0x21, 0x40, 0x02));
  });
}

TEST(ChannelOpen, GivesTheDeviceNoCredit) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50).channel(0x40);
    test::sleep_ms(100'000);
    const std::size_t before = up.port.write_count();
    EXPECT_EQ(5u, before) << "entry string, Init and three openings";
    up.port.takes_credit(0x02);
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
    EXPECT_EQ(before + 1, up.port.write_count());
  });
}

TEST(ChannelOpen, ThatIsRefusedLeavesNoChannel) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t result : Bytes{4, 5, 9, 12, 13}) {
      up.port.expect(open_channel(0x02, 65535, 65535))
          .answer(open_channel_reply(0x02, 512, 512, 1, result));
      EXPECT_EQ(-result, open_channel_on(up.link, 0x02).result);
      EXPECT_EQ(nullptr, up.record(0x02));
      EXPECT_EQ(-24, write(up.link, 0x02, text("abc")).result);
      EXPECT_EQ(-24, close_channel_on(up.link, 0x02).result);
    }
    up.port.expect(open_channel(0x02, 65535, 65535)).fails();
    EXPECT_EQ(-31, open_channel_on(up.link, 0x02).result);
    EXPECT_EQ(nullptr, up.record(0x02));
    up.channel(0x02);
  });
}

TEST(ChannelOpen, ThatIsFatalFreesTheLink) {
  struct Case {
    Bytes reply;
    std::int32_t result;
    std::uint64_t ms;
    Bytes error;  // empty: the device is told nothing
  };
  const Case cases[] = {
      {{}, -55, 11'000, {}},
      {error_packet(1), -51, 0, {}},
      {cut(open_channel_reply(0x02, 512, 512, 1), 5), -62, 0, {}},
      {open_channel_reply(0x02, 512, 512, 1, 1), -85, 0, error_packet(0x85)},
      {close_channel_reply(0x02), -82, 0, error_packet(0x82)},
  };
  run_virtual_parallel([&] {
    for (const Case& one : cases) {
      OpenLink up;
      up.channel(0x50);
      auto request = up.port.expect(open_channel(0x02, 65535, 65535));
      if (!one.reply.empty()) request.answer(one.reply);
      if (!one.error.empty()) up.port.expect(one.error);
      const Called opened = open_channel_on(up.link, 0x02);
      EXPECT_EQ(one.result, opened.result);
      EXPECT_GE(opened.ms, one.ms);
      EXPECT_LT(opened.ms, one.ms + 301) << "no more than a pause of the read thread longer";
      EXPECT_FALSE(vlp::XdltPortIsInUse(up.port.handle()));
      EXPECT_EQ(-22, open_channel_on(up.link, 0x02).result);
      EXPECT_EQ(-22, close_channel_on(up.link, 0x50).result);
      // The port serves for another link at once.
      EXPECT_NE(nullptr, opened_link(up.port));
    }
  });
}

TEST(ChannelOpen, AShortWriteIsFatalToo) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(open_channel(0x02, 65535, 65535)).is_short_by(1);
    EXPECT_EQ(-61, open_channel_on(up.link, 0x02).result);
    EXPECT_EQ(-22, open_channel_on(up.link, 0x02).result);
  });
}

TEST(ChannelOpen, OfOneSocketByTwoAtOnceSucceedsOnce) {
  run_virtual_schedules(64, [] {
    OpenLink up;
    up.port.opens_channel(0x02, {}, after_ms(20));
    auto other = transact("other", [&] { return open_channel_on(up.link, 0x02); });
    const Called mine = open_channel_on(up.link, 0x02);
    EXPECT_THAT((std::vector{mine.result, other.get().result}), UnorderedElementsAre(0, -25));
  });
}

TEST(ChannelOpen, OfTwoSocketsAtOnceGoesOneAfterTheOther) {
  run_virtual_schedules(64, [] {
    OpenLink up;
    for (const std::uint8_t socket : Bytes{0x02, 0x50}) {
      up.port.expect(open_channel(socket, 65535, 65535))
          .answer(open_channel_reply(socket, 512, 512, socket))
          .at_any_time();
    }
    auto other = transact("other", [&] { return open_channel_on(up.link, 0x02); });
    EXPECT_EQ(0, open_channel_on(up.link, 0x50).result);
    EXPECT_EQ(0, other.get().result);
    EXPECT_EQ(0x02, up.held(0x02));
    EXPECT_EQ(0x50, up.held(0x50));
  });
}

class ChannelTrace : public EngineTest {};

TEST_F(ChannelTrace, ShowsWhereEachCallBeginsAndEnds) {
  vlp::DbgLog& to = log();
  run_virtual_parallel([&] {
    OpenLink up(&to);
    up.channel(0x0A);
    open_channel_on(up.link, 0x0A);
    closed_channel(up.port, up.link, 0x0A);
    close_channel_on(up.link, 0x0A);
  });
  std::vector<std::string> lines;
  for (const std::string& line : trace()) {
    if (line.find("Channel(") != std::string::npos) lines.push_back(line);
  }
  const std::string open_begins = stamped("XDLT_OpenChannel(S)  0x0A");
  const std::string open_ends = stamped("XDLT_OpenChannel(E)  0x0A");
  const std::string close_begins = stamped("XDLT_CloseChannel(S) 0x0A");
  const std::string close_ends = stamped("XDLT_CloseChannel(E) 0x0A");
  EXPECT_THAT(lines, ElementsAre(open_begins, open_ends, open_begins, open_ends, close_begins,
                                 close_ends, close_begins, close_ends));
}

TEST_F(ChannelTrace, ShowsTheBeginAloneOfACallThatIsRefusedAtTheDoor) {
  vlp::DbgLog& to = log();
  run_virtual_parallel([&] {
    OpenLink up(&to);
    open_channel_on(nullptr, 0x02);
    open_channel_on(up.link, 0xFF);
    close_channel_on(nullptr, 0x02);
    close_channel_on(up.link, 0x00);
  });
  EXPECT_THAT(trace_of("XDLT_OpenChannel"), ElementsAre(stamped("XDLT_OpenChannel(S)  0xFF")));
  EXPECT_THAT(trace_of("XDLT_CloseChannel"), ElementsAre(stamped("XDLT_CloseChannel(S) 0x00")));
}

}  // namespace
}  // namespace d4_test
