// What stops a read before it looks for data, and what the trace tells of reads.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A size query and a fetch, refused alike; the capacity stays as it was.
void expect_refused(std::int32_t result, vlp::XdltLink* link, std::uint8_t socket) {
  const Called asked = size_query(link, socket);
  EXPECT_EQ(result, asked.result);
  EXPECT_EQ(0u, asked.ms);
  std::uint8_t untouched = 0xA5;
  std::uint32_t count = 1;
  EXPECT_EQ(result, vlp::XDLT_Read(link, socket, &untouched, &count));
  EXPECT_EQ(1u, count);
  EXPECT_EQ(0xA5, untouched);
}

TEST(ReadEntry, BufferNeedsACount) {
  run_virtual_parallel([] {
    DataLink d;
    std::uint8_t buffer = 0;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Read(d.link, 0x02, &buffer, nullptr));
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Read(nullptr, 0x02, &buffer, nullptr));
    d.close();
  });
}

TEST(ReadEntry, LinkThatIsNone) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    expect_refused(vlp::XDLT_ERR_PARAM, nullptr, 0x02);
    vlp::XdltLink* const link = opened_link(port);
    closed_link(port, link);
    expect_refused(vlp::XDLT_ERR_NOLINK, link, 0x02);
  });
}

TEST(ReadEntry, LinkThatTheDeviceLeftIsNotReady) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.port.expect(credit(0x02)).answer(exit_link());
    d.port.expect(exit_reply());
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, d.query().result);
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.link, 0x02);
  });
}

TEST(ReadEntry, LinkWithoutAGateIsNone) {
  run_virtual_parallel([] {
    DataLink d;
    d.link->gateEvent.Reset();
    expect_refused(vlp::XDLT_ERR_NOLINK, d.link, 0x02);
    EXPECT_EQ(0u, d.link->callers.load());
  });
}

TEST(ReadEntry, GateIsWaitedForForAMinute) {
  for (const std::uint32_t busy_ms : {59'999u, 60'001u}) {
    run_virtual_schedules(3, [&] {
      DataLink d(0x02, {.credit = 1});
      d.port.expect(data(0x02, text("slow"))).takes_ms(busy_ms);
      auto slow = transact("slow", [&] { return d.write(text("slow")); });
      test::settle();
      const Called fetched = d.fetch(10);
      EXPECT_EQ(busy_ms < 60'000 ? 0 : vlp::XDLT_ERR_GATE_TIMEOUT, fetched.result);
      EXPECT_EQ(std::min(busy_ms, 60'000u), fetched.ms);
      EXPECT_EQ(4, slow.get().result);
      EXPECT_EQ(0u, d.link->callers.load());
      d.close();
    });
  }
}

TEST(ReadEntry, SocketWithoutAChannelHasNone) {
  run_virtual_parallel([] {
    DataLink d;
    for (const std::uint8_t socket : Bytes{0x00, 0x01, 0x03, 0x40, 0xFF}) {
      expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.link, socket);
    }
    d.channel->state.store(vlp::kChannelClosing);
    expect_refused(vlp::XDLT_ERR_NOCHANNEL, d.link, 0x02);
    EXPECT_TRUE(d.has_channel());
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

TEST(ReadEntry, ChannelThatTheDeviceClosedIsFreedByTheNextReadOfEitherKind) {
  for (const bool by_query : {true, false}) {
    run_virtual_schedules(5, [&] {
      DataLink d;
      d.port.expect(credit(0x02)).answer(close_channel(0x02)).answer(credit_reply(0x02, 8));
      d.port.expect(close_channel_reply(0x02));
      EXPECT_EQ(0, d.query().result);
      EXPECT_TRUE(d.has_channel());
      d.channel->users.store(1);
      EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, by_query ? d.query().result : d.fetch(1).result);
      EXPECT_TRUE(d.has_channel());  // somebody is inside
      d.channel->users.store(0);
      EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, by_query ? d.query().result : d.fetch(1).result);
      EXPECT_FALSE(d.has_channel());
      EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, by_query ? d.query().result : d.fetch(1).result);
      closed_link(d.port, d.link);
    });
  }
}

TEST(ReadEntry, ChannelThatBringsNothingIsNotReady) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.read_size = 0});
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.link, 0x02);
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

TEST(ReadEntry, ChannelWithoutABufferIsNotReady) {
  run_virtual_parallel([] {
    DataLink d;
    const std::uint32_t size = std::exchange(d.channel->rxSize, 0);
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.link, 0x02);
    d.channel->rxSize = size;
    d.channel->rxBuffer.Reset();
    expect_refused(vlp::XDLT_ERR_NOT_READY, d.link, 0x02);
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

class ReadTrace : public EngineTest {};

TEST_F(ReadTrace, EndTellsTheCount) {
  run_virtual_parallel([&] {
    DataLink d(0x21, {}, &log());
    d.let_device_send(1);
    d.query_that_brings(data(0x21, text("abcde")));
    d.fetch(100);
    size_query(d.link, 0x33);
    test::settle();
    d.close();
  });
  EXPECT_THAT(trace_of("XDLT_Read"),
              ElementsAre(stamped("XDLT_Read(S)   0x21"), stamped("XDLT_Read(E)   0x21(0000)"),
                          stamped("XDLT_Read(S)   0x21"), stamped("XDLT_Read(E)   0x21(0006)"),
                          stamped("XDLT_Read(S)   0x21"), stamped("XDLT_Read(E)   0x21(0006)"),
                          stamped("XDLT_Read(S)   0x33"), stamped("XDLT_Read(E)   0x33(0000)")));
}

TEST_F(ReadTrace, NoneForALinkThatIsNone) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    size_query(nullptr, 0x02);
  });
  EXPECT_THAT(trace(), IsEmpty());
}

}  // namespace
}  // namespace d4_test
