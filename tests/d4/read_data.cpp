// Data packets of the device, good and bad, one against each rule.

#include <gmock/gmock.h>

#include "platform/faults.h"
#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;

// Memory that the engine has from the system and not given back.
unsigned blocks() { return platform::calls_of("VirtualAlloc") - platform::calls_of("VirtualFree"); }

struct Broken {
  const char* name;
  Bytes bytes;
  std::int32_t result;
  std::optional<std::uint8_t> told;  // the device, when the link ends
  std::int32_t held = 65530;         // credits at the end
};

// What a channel with read packets of 512, credit for one, and 65530 credits held makes of it.
std::vector<Broken> broken_packets() {
  return {
      {"length of nothing", with_length(data(0x02, {}), 0), vlp::XDLT_ERR_MALFORMED, 0x80},
      {"length under a header's", with_length(data(0x02, {}), 5), vlp::XDLT_ERR_MALFORMED, 0x80},
      {"no payload", data(0x02, {}), vlp::XDLT_ERR_SHORT_READ, {}},
      {"no payload but credit", data(0x02, {}, {.credit = 1}), vlp::XDLT_ERR_SHORT_READ, {}},
      {"sockets differ", with_byte(data(0x02, text("a")), 1, 0x03), vlp::XDLT_ERR_MALFORMED, 0x80},
      {"unknown socket", data(0x03, text("a")), vlp::XDLT_ERR_UNKNOWN_CHANNEL, 0x84},
      {"one byte too long", data(0x02, filled(507)), vlp::XDLT_ERR_TOO_BIG, 0x83},
      {"as long as can be", data(0x02, filled(65529)), vlp::XDLT_ERR_TOO_BIG, 0x83},
      {"credit over all", data(0x02, text("a"), {.credit = 6}), vlp::XDLT_ERR_CREDIT_OVERFLOW, 0x86,
       65536},
  };
}

TEST(ReadData, BrokenPacketLosesTheLink) {
  for (const Broken& broken : broken_packets()) {
    SCOPED_TRACE(broken.name);
    run_virtual_schedules(2, [&] {
      platform::clear_faults();
      platform::watch_calls();
      {
        DataLink d(0x02, {.credit = 65530});
        d.let_device_send(1);
        const unsigned before = blocks();
        const Called asked = d.query_that_brings(broken.bytes);
        EXPECT_EQ(broken.result, asked.result);
        EXPECT_EQ(0u, asked.count);
        EXPECT_EQ(0u, asked.ms);
        settle();
        EXPECT_EQ(before, blocks());
        EXPECT_EQ(broken.held, d.held());
        EXPECT_EQ(1, d.given());
        EXPECT_EQ(0u, d.channel->rxTail.load());
        EXPECT_EQ(0u, d.users());
        d.expect_lost(broken.result, broken.told);
      }
      EXPECT_EQ(0u, blocks());
      platform::clear_faults();
    });
  }
}

TEST(ReadData, PacketAtTheLimitsIsTaken) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 65530});
    d.let_device_send(2);
    EXPECT_EQ(506, d.query_that_brings(data(0x02, filled(506), {.credit = 5})).result);
    EXPECT_EQ(65535, d.held());
    EXPECT_EQ(1, d.given());
    settle();
    d.receive(data(0x02, text("a")));
    EXPECT_EQ(65535, d.held());
    EXPECT_EQ(0, d.given());
    EXPECT_EQ(joined({filled(506), text("a")}), d.fetch(1000).bytes);
    d.close();
  });
}

TEST(ReadData, LongestPacketIsTaken) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.read_size = 65535});
    d.let_device_send(1);
    EXPECT_EQ(65529, d.query_that_brings(data(0x02, filled(65529))).result);
    EXPECT_EQ(filled(65529), d.fetch(0x20000).bytes);
    settle();
    d.close();
  });
}

TEST(ReadData, PacketWithoutCreditLosesTheLink) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.port.expect(credit(0x02))
        .answer(data(0x02, text("a")))
        .answer(data(0x02, text("b")))
        .answer(credit_reply(0x02));
    const Called asked = d.query();
    EXPECT_EQ(vlp::XDLT_ERR_NO_CREDIT, asked.result);
    EXPECT_EQ(1u, asked.count);
    EXPECT_EQ(text("a"), d.fetch(10).bytes);
    d.expect_lost(vlp::XDLT_ERR_NO_CREDIT, std::uint8_t{0x81});
  });
}

TEST(ReadData, CreditOfTheHeaderMayBeSpent) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 0});
    d.let_device_send(1);
    EXPECT_EQ(1, d.query_that_brings(data(0x02, text("a"), {.credit = 2})).result);
    EXPECT_EQ(2, d.held());
    d.port.expect(data(0x02, text("abc"), {.control = 0}));
    d.port.expect(data(0x02, text("def")));
    EXPECT_EQ(6, d.write(text("abcdef")).result);
    settle();
    d.close();
  });
}

TEST(ReadData, NoMemoryForThePayloadLosesTheLinkWithoutAWord) {
  run_virtual_schedules(3, [] {
    DataLink d;
    d.let_device_send(1);
    platform::fail_call("VirtualAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(vlp::XDLT_ERR_NO_MEMORY, d.query_that_brings(data(0x02, text("abc"))).result);
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    d.expect_lost(vlp::XDLT_ERR_NO_MEMORY);
  });
}

TEST(ReadData, PayloadThatDoesNotComeWholeLosesTheLink) {
  run_virtual_schedules(3, [] {
    platform::clear_faults();
    platform::watch_calls();
    DataLink d;
    d.let_device_send(1);
    const unsigned before = blocks();
    d.port.reads_wait(2000);
    d.port.say(cut(data(0x02, text("abcdef")), 11), after_ms(1000));
    EXPECT_EQ(0, d.query().result);  // the body is still waited for
    // Reads of 2000 ms, a pause of 1 ms after each: the one that is over behind the limit,
    // which counts from 1000 on, ends at 13005.
    test::sleep_ms(2004);
    EXPECT_EQ(0, d.link->readStatus.load());
    EXPECT_EQ(before + 1, blocks());
    test::sleep_ms(1);
    settle();
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, d.link->readStatus.load());
    EXPECT_EQ(before, blocks());
    d.expect_lost(vlp::XDLT_ERR_MALFORMED, std::uint8_t{0x80});
    platform::clear_faults();
  });
}

TEST(ReadData, BufferThatStaysHeldLosesTheLink) {
  for (const std::uint32_t held_ms : {10'999u, 11'001u}) {
    run_virtual_schedules(3, [&] {
      platform::clear_faults();
      platform::watch_calls();
      DataLink d;
      d.let_device_send(1);
      const unsigned before = blocks();
      ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(d.channel->bufferEvent.Get(), 0));
      d.port.reads_block();
      d.port.say(data(0x02, text("abc")), after_ms(100));
      EXPECT_EQ(0, d.query().result);  // its time is over first
      test::sleep_ms(100 + held_ms - 11'000);
      SetEvent(d.channel->bufferEvent.Get());
      settle();
      EXPECT_EQ(before, blocks());
      if (held_ms < 11'000) {
        EXPECT_EQ(0, d.link->readStatus.load());
        EXPECT_EQ(text("abc"), d.fetch(10).bytes);
        d.close();
      } else {
        EXPECT_EQ(vlp::XDLT_ERR_BUFFER_TIMEOUT, d.link->readStatus.load());
        EXPECT_EQ(0u, d.fetch(10).count);
        d.expect_lost(vlp::XDLT_ERR_BUFFER_TIMEOUT);
      }
      platform::clear_faults();
    });
  }
}

// Somebody closes the channel while the packet waits for its buffer.
TEST(ReadData, DataForAChannelThatClosesMeanwhileIsDropped) {
  run_virtual_schedules(3, [] {
    platform::clear_faults();
    platform::watch_calls();
    DataLink d;
    d.let_device_send(1);
    const unsigned before = blocks();
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(d.channel->bufferEvent.Get(), 0));
    d.port.reads_block();
    d.port.say(data(0x02, text("abc")), after_ms(100));
    EXPECT_EQ(0, d.query().result);  // its time is over first
    d.channel->state.store(vlp::kChannelClosing);
    SetEvent(d.channel->bufferEvent.Get());
    settle();
    EXPECT_EQ(before, blocks());
    EXPECT_EQ(0u, d.channel->rxTail.load());
    EXPECT_EQ(0, d.link->readStatus.load());
    d.channel->state.store(vlp::kChannelOpen);
    d.close();
    platform::clear_faults();
  });
}

// --- Which rule comes first ------------------------------------------------------------------

// Breaks every rule but that of a socket: too long, and more credit than can be held.
Bytes all_wrong(std::uint8_t socket) { return data(socket, filled(600), {.credit = 255}); }

TEST(ReadData, UnknownSocketComesBeforeAllElse) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 65535});
    d.let_device_send(1);
    EXPECT_EQ(vlp::XDLT_ERR_UNKNOWN_CHANNEL, d.query_that_brings(all_wrong(0x03)).result);
  });
}

TEST(ReadData, MissingCreditComesBeforeSizeAndSum) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 65535});
    opened_channel(d.port, d.link, 0x40, {.credit = 65535});
    d.let_device_send(1);
    EXPECT_EQ(vlp::XDLT_ERR_NO_CREDIT, d.query_that_brings(all_wrong(0x40)).result);
  });
}

TEST(ReadData, SizeComesBeforeTheSum) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 65535});
    d.let_device_send(1);
    EXPECT_EQ(vlp::XDLT_ERR_TOO_BIG, d.query_that_brings(all_wrong(0x02)).result);
  });
}

// --- Channels that are closed ----------------------------------------------------------------

// The packets behind it are found, so nothing of a dropped one is left over.
TEST(ReadData, DataOfAChannelThatTheDeviceClosedIsDropped) {
  run_virtual_schedules(10, [] {
    platform::clear_faults();
    platform::watch_calls();
    DataLink d;
    opened_channel(d.port, d.link, 0x40, {.credit = 65535});
    d.let_device_send(1);
    const unsigned before = blocks();
    d.port.reads_block();
    d.port.expect(close_channel_reply(0x40));
    d.port.say(close_channel(0x40), after_ms(1));
    d.port.say(all_wrong(0x40), after_ms(2));
    d.port.say(data(0x40, text("abcdefghijklmnopq")), after_ms(3));
    d.port.say(data(0x02, text("mine")), after_ms(4));
    const Called asked = d.query();
    EXPECT_EQ(4, asked.result);
    EXPECT_EQ(4u, asked.ms);
    settle();
    EXPECT_EQ(before, blocks());
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, fetch(d.link, 0x40, 100).result);
    EXPECT_EQ(text("mine"), d.fetch(100).bytes);
    platform::clear_faults();
  });
}

TEST(ReadData, DroppedDataReleasesWhoWaitsForIt) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_block();
    d.port.expect(close_channel_reply(0x02));
    d.port.say(close_channel(0x02), after_ms(5));
    d.port.say(data(0x02, text("abc")), after_ms(7));
    const Called asked = d.query();
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(7u, asked.ms);
    EXPECT_EQ(1, d.given());
    EXPECT_EQ(0u, d.channel->rxTail.load());
  });
}

TEST(ReadData, DataOfAChannelThatIsClosingIsDropped) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.credit = 65535});
    d.port.expect(close_channel(0x02))
        .answer(all_wrong(0x02))
        .answer(data(0x02, text("abc")))
        .answer(close_channel_reply(0x02));
    EXPECT_EQ(0, d.close_channel().result);
    EXPECT_EQ(0u, d.channel->rxTail.load());
    EXPECT_EQ(65535, d.held());
    closed_link(d.port, d.link);
  });
}

}  // namespace
}  // namespace d4_test
