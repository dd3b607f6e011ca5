// Devices that break the rules of packets and credit, with whole packets.

#include <gmock/gmock.h>

#include <limits>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;

TEST(HostileDevice, ControlLengthsThatCannotBe) {
  for (const std::uint16_t length : std::vector<std::uint16_t>{3, 6, 65, 65535}) {
    SCOPED_TRACE(length);
    run_virtual_schedules(2, [&] {
      DataLink d;
      d.port.expect(open_channel(0x40, 4102, 512))
          .answer(joined({with_length(open_channel_reply(0x40, 512, 512, 1), length), Bytes(64)}));
      d.port.expect(error_packet(0x80));
      const Called opened = open_channel_on(d.link, 0x40);
      EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, opened.result);
      EXPECT_GE(100u, opened.ms);
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(d.link).result);
      EXPECT_FALSE(vlp::XdltPortIsInUse(d.port.handle()));
    });
  }
}

TEST(HostileDevice, LongestControlPacketIsReadWholeAndJudged) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(control_packet(0x8A, Bytes(57)));
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, d.write(text("x")).result);
    EXPECT_EQ(0u, d.port.unread());
    d.expect_lost(vlp::XDLT_ERR_UNEXPECTED_REPLY, std::uint8_t{0x82});
  });
}

TEST(HostileDevice, CreditBeyondAllNumbers) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit(0x02))
        .answer(credit(0x02, 0xFFFF))
        .answer(credit(0x02, 0xFFFF))
        .answer(credit(0x02, 1))
        .answer(credit(0x02, 0))
        .answer(credit(0x33, 1))
        .answer(credit_reply(0x02));
    d.port.expect(credit_reply(0x02));
    d.port.expect(credit_reply(0x02, 7));
    d.port.expect(credit_reply(0x02, 7));
    d.port.expect(credit_reply(0x02));
    d.port.expect(credit_reply(0x33, 8));
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(0xFFFF, d.held());
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);
    EXPECT_EQ(0xFFFE, d.held());
    d.close();
  });
}

TEST(HostileDevice, CreditAskedForBeyondAllNumbers) {
  run_virtual_parallel([] {
    DataLink d;
    d.let_device_send(1);
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    d.channel->grantedCredit.store(kMost - 0xFFFF);
    for (int i = 0; i < 3; ++i) {
      d.port.say(credit_request(0x02, 0xFFFF));
      d.port.expect(credit_request_reply(0x02, 0xFFFF));
      EXPECT_EQ(0, d.query().result);
      EXPECT_EQ(kMost, d.given());
    }
    EXPECT_EQ(1, d.query_that_brings(data(0x02, text("a"))).result);
    settle();
    EXPECT_EQ(kMost - 1, d.given());
    d.close();
  });
}

TEST(HostileDevice, DataForAnUnknownSocket) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.port.expect(open_channel(0x40, 4102, 512)).answer(data(0x33, filled(300)));
    d.port.expect(error_packet(0x84));
    EXPECT_EQ(vlp::XDLT_ERR_UNKNOWN_CHANNEL, open_channel_on(d.link, 0x40).result);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(d.link).result);
  });
}

TEST(HostileDevice, DataWithoutCredit) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(data(0x02, text("abc")));
    EXPECT_EQ(vlp::XDLT_ERR_NO_CREDIT, d.write(text("x")).result);
    EXPECT_EQ(0u, d.channel->rxTail.load());
    d.expect_lost(vlp::XDLT_ERR_NO_CREDIT, std::uint8_t{0x81});
  });
}

// --- More than the buffer holds ----------------------------------------------------------------

// Credit that the device asked for is given whatever room there is. What doesn't fit ends the
// link; the host gave the credit, so the device isn't told of any fault.
void overfill(std::uint8_t socket, std::uint16_t read_size, const std::vector<Bytes>& payloads,
              const Bytes& excess) {
  run_virtual_parallel([&] {
    DataLink d(socket, {.read_size = read_size});
    d.port.expect(credit(socket))
        .answer(credit_request(socket, 0xFFFF))
        .answer(credit_reply(socket));
    d.port.expect(credit_request_reply(socket, 0xFFFF));
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(0x10000, d.given());
    settle();
    Bytes expected;
    for (const Bytes& payload : payloads) {
      d.receive(data(socket, payload));
      expected.insert(expected.end(), payload.begin(), payload.end());
    }
    const auto full = static_cast<std::uint32_t>(expected.size());
    EXPECT_EQ(full, d.channel->rxTail.load());
    d.query_that_brings(data(socket, excess));
    settle();
    EXPECT_EQ(vlp::XDLT_ERR_NO_MEMORY, d.link->readStatus.load());
    EXPECT_EQ(full, d.channel->rxTail.load());
    EXPECT_EQ(0x10000 - static_cast<std::int32_t>(payloads.size()), d.given());
    EXPECT_EQ(expected, d.fetch(0x30000).bytes);
    d.expect_lost(vlp::XDLT_ERR_NO_MEMORY);
  });
}

TEST(HostileDevice, OneByteMoreThanTheBufferHolds) {
  overfill(0x40, 512, std::vector<Bytes>(8, filled(506)), text("x"));
}

TEST(HostileDevice, PacketMoreThanTheBufferHolds) {
  overfill(0x40, 512, std::vector<Bytes>(8, filled(506)), filled(506));
  overfill(0x02, 65535, {filled(65529), filled(65529)}, filled(15));
  overfill(0x33, 65535, {filled(65529)}, filled(7));
}

TEST(HostileDevice, BufferFilledToTheLastByteIsWell) {
  run_virtual_parallel([] {
    DataLink d(0x33, {.read_size = 65535});
    d.let_device_send(3);
    d.receive(data(0x33, filled(65529)));
    d.receive(data(0x33, filled(6)));
    EXPECT_EQ(65535u, d.channel->rxTail.load());
    EXPECT_EQ(100, d.fetch(100).result);
    d.receive(data(0x33, filled(100)));
    EXPECT_EQ(0, d.link->readStatus.load());
    EXPECT_EQ(65535, d.fetch(0x20000).result);
    d.close();
  });
}

// --- Replies at the wrong time -----------------------------------------------------------------

TEST(HostileDevice, StrayReply) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(1);
    const Called asked = d.query_that_brings(credit_request_reply(0x02, 1));
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, asked.result);
    d.expect_lost(vlp::XDLT_ERR_UNEXPECTED_REPLY, std::uint8_t{0x82});
  });
}

TEST(HostileDevice, ReplyThatComesTwice) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02))
        .answer(credit_request_reply(0x02, 1))
        .answer(credit_request_reply(0x02, 1), after_ms(1));
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);
    test::sleep_ms(5);
    d.port.expect(credit(0x02)).answer(credit_reply(0x02));
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, d.query().result);
  });
}

TEST(HostileDevice, ReplyThatComesBehindTheLimit) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.let_device_send(1);
    d.port.expect(credit_request(0x02)).answer(credit_request_reply(0x02, 1), after_ms(11'500));
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
    test::sleep_ms(1'000);
    EXPECT_EQ(0, d.link->readStatus.load());  // nobody has looked
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, d.query().result);
    d.expect_lost(vlp::XDLT_ERR_UNEXPECTED_REPLY, std::uint8_t{0x82});
  });
}

// Replies are told apart by their command only: a late one serves the next request of its kind,
// and that one's own is the one too many.
TEST(HostileDevice, LateReplyServesTheNextRequestOfItsKind) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.let_device_send(1);
    d.port.expect(credit_request(0x02)).answer(credit_request_reply(0x02, 3), after_ms(11'500));
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
    test::sleep_ms(1'000);
    d.port.expect(credit_request(0x02)).answer(credit_request_reply(0x02, 5));
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);
    EXPECT_EQ(2, d.held());
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, d.query().result);
  });
}

TEST(HostileDevice, ReplyToWhatWasNeverAsked) {
  run_virtual_schedules(3, [] {
    DataLink d;
    d.port.expect(close_channel(0x02)).answer(open_channel_reply(0x02, 512, 512, 1));
    d.port.expect(error_packet(0x82));
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, d.close_channel().result);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(d.link).result);
  });
}

}  // namespace
}  // namespace d4_test
