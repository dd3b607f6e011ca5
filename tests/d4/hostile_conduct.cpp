// Devices that agree to senseless sizes, flood the host with commands, and send into
// channels that are closing.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;
using ::testing::IsEmpty;

// --- Packet sizes ------------------------------------------------------------------------------

void use_channel(ScriptedPort& port, vlp::XdltLink* link, std::uint8_t socket,
                 const Agreed& agreed) {
  if (agreed.write_size == 7) {
    port.expect(data(socket, text("a"), {.control = 0}));
    port.expect(data(socket, text("b")));
  }
  const Called written = write(link, socket, text("ab"));
  EXPECT_EQ(agreed.write_size == 7 ? 2 : vlp::XDLT_ERR_NOT_READY, written.result);
  EXPECT_EQ(agreed.write_size == 7 ? 2u : 0u, written.count);
  // Only the smaller buffer has a number of payloads of one byte that counts.
  const bool credited = agreed.read_size == 7 && socket == 0x33;
  if (credited)
    port.expect(credit(socket)).answer(credit_reply(socket)).answer(data(socket, text("z")));
  const std::int32_t none = agreed.read_size == 0 ? vlp::XDLT_ERR_NOT_READY : 0;
  EXPECT_EQ(credited ? 1 : none, size_query(link, socket).result);
  const Called fetched = fetch(link, socket, 10);
  EXPECT_EQ(credited ? 1 : none, fetched.result);
  EXPECT_EQ(credited ? text("z") : Bytes{}, fetched.bytes);
}

TEST(HostileDevice, SizesThatHardlyCarryAnything) {
  const std::vector<std::uint16_t> sizes = {0, 5, 6, 7};
  for (const std::uint8_t socket : Bytes{0x02, 0x33}) {
    for (const std::uint16_t write_size : sizes) {
      for (const std::uint16_t read_size : sizes) {
        SCOPED_TRACE(std::to_string(write_size) + " and " + std::to_string(read_size));
        run_virtual_schedules(1, [&] {
          ScriptedPort port;
          Engine engine;
          vlp::XdltLink* const link = opened_link(port);
          const Agreed agreed{write_size, read_size, 2};
          const bool refused = write_size == 5 || read_size == 5 || write_size + read_size == 0;
          port.opens_channel(socket, agreed);
          EXPECT_EQ(refused ? vlp::XDLT_ERR_BAD_SIZE : 0, open_channel_on(link, socket).result);
          if (refused) {
            // Nothing tells the device, and nothing is left of the channel.
            EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, size_query(link, socket).result);
            opened_channel(port, link, socket);
          } else {
            use_channel(port, link, socket, agreed);
          }
          settle();
          closed_channel(port, link, socket);
          closed_link(port, link);
        });
      }
    }
  }
}

// --- Floods ------------------------------------------------------------------------------------

TEST(HostileDevice, ReplyBehindThousandsOfCommands) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    constexpr unsigned kCommands = 5'000;
    ScriptedPort::Step request = d.port.expect(credit_request(0x02));
    for (unsigned i = 0; i < kCommands; ++i) request.answer(credit_request(0x02, 2));
    request.answer(credit_request_reply(0x02, 1));
    d.port.expect(credit_request_reply(0x02, 2)).times(kCommands);
    d.port.expect(data(0x02, text("x")));
    const Called written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(0u, written.ms);
    EXPECT_EQ(2 * static_cast<int>(kCommands), d.given());
    d.close();
  });
}

// Commands without end, `apart_ms` from each other, for longer than every wait here.
void flood(DataLink& d, std::uint32_t apart_ms) {
  constexpr std::uint32_t kLasts = 40'000;
  for (std::uint32_t at = 0; at < kLasts; at += apart_ms) {
    d.port.say(credit_request(d.socket, 1), after_ms(at));
  }
  d.port.expect(credit_request_reply(d.socket, 1)).times(kLasts).at_any_time();
}

TEST(HostileDevice, FloodOfCommandsKeepsNobodyBehindTheLimits) {
  for (const bool reads_block : {false, true}) {
    run_virtual_schedules(1, [&] {
      DataLink d(0x02, {.credit = 0});
      if (reads_block) d.port.reads_block();
      flood(d, 3);
      d.port.expect(credit_request(0x02));
      const Called written = d.write(text("x"));
      EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, written.result);
      EXPECT_LE(11'000u, written.ms);
      EXPECT_GE(11'003u, written.ms);
      EXPECT_LT(3'000, d.given());
      // The link can be ended in the midst of it.
      d.port.expect(close_channel(0x02));
      const Called closed = d.close_channel();
      EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, closed.result);
      EXPECT_LE(11'000u, closed.ms);
      EXPECT_GE(11'110u, closed.ms);
      EXPECT_FALSE(vlp::XdltPortIsInUse(d.port.handle()));
      EXPECT_LT(10'000u, d.port.unread());
      EXPECT_THAT(d.port.breaches(), IsEmpty());
      d.port.forgive();
    });
  }
}

TEST(HostileDevice, FloodOfCommandsKeepsNoSizeQueryBehindItsLimit) {
  run_virtual_schedules(1, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_block();  // no read is ever empty
    flood(d, 2);
    const Called asked = d.query();
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(11'000u, asked.ms);
    // Its own calls get through in between.
    d.port.closes_channel(0x02);
    // Few commands come behind the end of the channel and before that of the link.
    d.port.expect(credit_request_reply(0x02, 0, 8)).times(5).at_any_time();
    const Called closed = d.close_channel();
    EXPECT_EQ(0, closed.result);
    EXPECT_GE(4u, closed.ms);
    d.port.exits();
    EXPECT_EQ(0, close_link(d.link).result);
    EXPECT_LT(10'000u, d.port.unread());
    EXPECT_THAT(d.port.breaches(), IsEmpty());
    d.port.forgive();
  });
}

TEST(HostileDevice, EngineEndsInTheMidstOfAFlood) {
  run_virtual_schedules(1, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_block();
    flood(d, 2);
    d.query();
    EXPECT_GE(10u, timed([&] { d.engine.end(); }).ms);
    EXPECT_THAT(d.port.breaches(), IsEmpty());
    d.port.forgive();
  });
}

TEST(HostileDevice, ErrorPacketsAndExitsInARow) {
  run_virtual_schedules(3, [] {
    DataLink d(0x02, {.credit = 0});
    ScriptedPort::Step request = d.port.expect(credit_request(0x02));
    for (int i = 0; i < 100; ++i) request.answer(exit_link()).answer(error_packet(0x80));
    d.port.expect(exit_reply());
    const Called written = d.write(text("x"));
    EXPECT_EQ(0u, written.ms);
    EXPECT_TRUE(vlp::IsLinkLost(written.result)) << written.result;
    EXPECT_GT(0, d.close_channel().result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(d.port.handle()));
  });
}

// --- Channels that are closing -----------------------------------------------------------------

// However its bytes fall on the reads, what is behind the dropped packet is found.
TEST(HostileDevice, DataIntoAClosingChannel) {
  for (const std::size_t payload : {1u, 3u, 4u, 5u, 10u, 11u, 34u, 506u, 65529u}) {
    for (const bool together : {false, true}) {
      SCOPED_TRACE(payload);
      run_virtual_schedules(2, [&] {
        DataLink d;
        d.let_device_send(1);
        d.port.reads_span_answers(together);
        d.port.expect(close_channel(0x02))
            .answer(data(0x02, filled(payload)))
            .answer(data(0x02, filled(payload, 9)))
            .answer(close_channel_reply(0x02));
        const Called closed = d.close_channel();
        EXPECT_EQ(0, closed.result);
        EXPECT_EQ(0u, closed.ms);
        EXPECT_EQ(0u, d.channel->rxTail.load());
        EXPECT_FALSE(d.has_channel());
        closed_link(d.port, d.link);
      });
    }
  }
}

TEST(HostileDevice, DataBehindTheEndOfAChannel) {
  run_virtual_schedules(3, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.expect(close_channel(0x02))
        .answer(close_channel_reply(0x02))
        .answer(data(0x02, text("late")), after_ms(1));
    EXPECT_EQ(0, d.close_channel().result);
    test::sleep_ms(5);
    // Nobody knows the channel any more; the link's end goes on all the same.
    d.port.exits();
    EXPECT_EQ(0, close_link(d.link).result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(d.port.handle()));
  });
}

TEST(HostileDevice, ClosesEveryChannelItHas) {
  run_virtual_schedules(3, [] {
    DataLink d;
    opened_channel(d.port, d.link, 0x40);
    d.port.expect(credit(0x02))
        .answer(close_channel(0x40))
        .answer(close_channel(0x02))
        .answer(close_channel(0x02))
        .answer(close_channel(0x33))
        .answer(close_channel(0x00))
        .answer(credit_reply(0x02, 8));
    d.port.expect(close_channel_reply(0x40));
    d.port.expect(close_channel_reply(0x02)).times(2);
    d.port.expect(close_channel_reply(0x33, 8));
    d.port.expect(close_channel_reply(0x00, 3));
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, d.write(text("x")).result);
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, fetch(d.link, 0x40, 10).result);
    EXPECT_FALSE(d.has_channel());
    closed_link(d.port, d.link);
  });
}

}  // namespace
}  // namespace d4_test
