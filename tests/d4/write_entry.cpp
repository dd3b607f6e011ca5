// What stops a write before it sends anything, and what the trace tells of writes.

#include <gmock/gmock.h>

#include "d4/data_call.h"
#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

void expect_refused(std::int32_t result, const Called& written) {
  EXPECT_EQ(result, written.result);
  EXPECT_EQ(0u, written.count);
  EXPECT_EQ(0u, written.ms);
}

TEST(WriteEntry, CountIsZeroForALinkThatIsNone) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    expect_refused(vlp::XDLT_ERR_PARAM, write(nullptr, 0x02, text("abc")));
    vlp::XdltLink* const link = opened_link(port);
    closed_link(port, link);
    expect_refused(vlp::XDLT_ERR_NOLINK, write(link, 0x02, text("abc")));
  });
}

TEST(WriteEntry, NullCountOrBytesAreRefused) {
  run_virtual_parallel([] {
    DataLink d;
    const Bytes bytes = text("abc");
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Write(d.link, 0x02, bytes.data(), nullptr));
    std::uint32_t count = 3;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Write(d.link, 0x02, nullptr, &count));
    EXPECT_EQ(0u, count);
    d.close();
  });
}

TEST(WriteEntry, LinkThatTheDeviceLeftIsNotReady) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.port.expect(credit(0x02)).answer(exit_link());
    d.port.expect(exit_reply());
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, d.query().result);
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.write(text("abc")));
  });
}

TEST(WriteEntry, LinkWithoutAGateIsNone) {
  run_virtual_parallel([] {
    DataLink d;
    d.link->gateEvent.Reset();
    expect_refused(vlp::XDLT_ERR_NOLINK, d.write(text("abc")));
    EXPECT_EQ(0u, d.link->callers.load());
  });
}

TEST(WriteEntry, GateIsWaitedForForAMinute) {
  for (const std::uint32_t busy_ms : {59'999u, 60'001u}) {
    run_virtual_schedules(5, [&] {
      DataLink d(0x02, {.credit = 2});
      d.port.expect(data(0x02, text("slow"))).takes_ms(busy_ms);
      auto slow = transact("slow", [&] { return d.write(text("slow")); });
      test::settle();
      const bool in_time = busy_ms < 60'000;
      if (in_time) d.port.expect(data(0x02, text("abc")));
      const Called written = d.write(text("abc"));
      EXPECT_EQ(in_time ? 3 : vlp::XDLT_ERR_GATE_TIMEOUT, written.result);
      EXPECT_EQ(in_time ? 3u : 0u, written.count);
      EXPECT_EQ(in_time ? busy_ms : 60'000u, written.ms);
      EXPECT_EQ(4, slow.get().result);
      test::settle();
      EXPECT_EQ(0u, d.link->callers.load());
      d.close();  // would wait for callers that were left counted
    });
  }
}

TEST(WriteEntry, SocketWithoutAChannelHasNone) {
  run_virtual_parallel([] {
    DataLink d;
    for (const int socket : {0x00, 0x01, 0x03, 0x40, 0x50, 0xFF}) {
      expect_refused(vlp::XDLT_ERR_NOCHANNEL,
                     write(d.link, static_cast<std::uint8_t>(socket), text("abc")));
    }
    d.close();
  });
}

TEST(WriteEntry, ClosingChannelIsNoneAndStays) {
  run_virtual_parallel([] {
    DataLink d;
    d.channel->state.store(vlp::kChannelClosing);
    expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.write(text("abc")));
    EXPECT_TRUE(d.has_channel());
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

// The device closes the channel; it learns of it in the size query's Credit.
void closed_by_device(DataLink& d) {
  d.port.expect(credit(d.socket)).answer(close_channel(d.socket)).answer(credit_reply(d.socket, 8));
  d.port.expect(close_channel_reply(d.socket));
  EXPECT_EQ(0, d.query().result);
  EXPECT_EQ(vlp::kChannelClosedByPeer, d.channel->state.load());
}

TEST(WriteEntry, ChannelThatTheDeviceClosedIsFreedByTheNextWrite) {
  run_virtual_schedules(10, [] {
    DataLink d;
    closed_by_device(d);
    EXPECT_TRUE(d.has_channel());
    expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.write(text("abc")));
    EXPECT_FALSE(d.has_channel());
    expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.write(text("abc")));
    // Its socket is free again.
    opened_channel(d.port, d.link, 0x02, {.credit = 1});
    d.port.expect(data(0x02, text("abc")));
    EXPECT_EQ(3, d.write(text("abc")).result);
  });
}

TEST(WriteEntry, ChannelThatTheDeviceClosedStaysWhileSomebodyIsInside) {
  run_virtual_parallel([] {
    DataLink d;
    closed_by_device(d);
    d.channel->users.store(1);
    expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.write(text("abc")));
    EXPECT_TRUE(d.has_channel());
    EXPECT_EQ(1u, d.users());
    d.channel->users.store(0);
    expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.write(text("abc")));
    EXPECT_FALSE(d.has_channel());
  });
}

TEST(WriteEntry, ChannelThatCarriesNothingToTheDeviceIsNotReady) {
  run_virtual_parallel([] {
    for (const std::uint16_t size : std::vector<std::uint16_t>{0, 6}) {
      DataLink d(0x02, {.write_size = size, .credit = 3});
      expect_refused(vlp::XDLT_ERR_NOT_READY, d.write(text("abc")));
      EXPECT_EQ(0u, d.users());
      EXPECT_EQ(3, d.held());
      d.close();
    }
    DataLink d(0x02, {.write_size = 7, .credit = 1});
    d.port.expect(data(0x02, text("a")));
    EXPECT_EQ(1, d.write(text("a")).result);
    d.close();
  });
}

TEST(WriteEntry, ChannelWithoutABufferOrASplitIsNotReady) {
  run_virtual_parallel([] {
    DataLink d;
    const std::uint32_t split = std::exchange(d.channel->maxWritePacket, 0);
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.write(text("abc")));
    d.channel->maxWritePacket = split;
    d.channel->writeBuffer.Reset();
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.write(text("abc")));
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

TEST(WriteEntry, PacketNeedsAnOpenLinkAndABuffer) {
  run_virtual_parallel([] {
    DataLink d;
    const Bytes bytes = text("abc");
    d.link->state.store(vlp::kLinkClosed);
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN,
              vlp::XdltSendPacket(*d.link, *d.channel, bytes.data(), 3, 0));
    d.link->state.store(vlp::kLinkOpen);
    d.channel->writeBuffer.Reset();
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY,
              vlp::XdltSendPacket(*d.link, *d.channel, bytes.data(), 3, 0));
    d.close();
  });
}

class WriteTrace : public EngineTest {};

TEST_F(WriteTrace, BeginningAlwaysTellsACountOfZero) {
  run_virtual_parallel([&] {
    DataLink d(0x02, {.credit = 1}, &log());
    d.port.expect(data(0x02, text("abc")));
    EXPECT_EQ(3, d.write(text("abc")).result);
    write(d.link, 0x33, text("abcd"));
    d.close();
  });
  EXPECT_THAT(trace_of("XDLT_Write"),
              ElementsAre(stamped("XDLT_Write(S)  0x02(0000)"), stamped("XDLT_Write(E)  0x02"),
                          stamped("XDLT_Write(S)  0x33(0000)"), stamped("XDLT_Write(E)  0x33")));
  EXPECT_THAT(trace_of("  *WRITE* Size=0009(0009)"),
              ElementsAre("  *WRITE* Size=0009(0009) 02 02 00 09 00 01 61 62 63 "
                          ": Start=<time> / End=<time>"));
}

TEST_F(WriteTrace, NoneForALinkThatIsNone) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    write(nullptr, 0x02, text("abc"));
  });
  EXPECT_THAT(trace(), IsEmpty());
}

}  // namespace
}  // namespace d4_test
