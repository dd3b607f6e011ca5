// The size query: it lets the device send, and tells what waits.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;

TEST(ReadQuery, NothingWaitingIsZeroAfterOneEmptyRead) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.let_device_send(1);
    const std::size_t reads = d.port.read_count();
    const Called asked = d.query();
    settle();
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(0u, asked.count);
    EXPECT_EQ(0u, asked.ms);
    ASSERT_EQ(reads + 1, d.port.read_count());
    EXPECT_EQ(6u, d.port.reads().back().asked);
    EXPECT_EQ(0u, d.port.reads().back().moved);
    d.close();
  });
}

TEST(ReadQuery, DeviceWithoutCreditIsGivenOneFirst) {
  run_virtual_schedules(10, [] {
    DataLink d;
    const std::size_t reads = d.port.read_count();
    d.port.expect(hex("00 00 00 0B 01 00 03 02 02 00 01")).answer(credit_reply(0x02), after_ms(5));
    d.port.reads_wait(7);
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(1, d.given());
    EXPECT_EQ(0u, d.users());
    settle();
    // Its reply was read for before any data.
    ASSERT_LT(reads + 1, d.port.read_count());
    EXPECT_EQ(10u, d.port.reads()[reads].asked);
    EXPECT_EQ(6u, d.port.reads()[reads + 1].asked);
    d.close();
  });
}

TEST(ReadQuery, DeviceWithCreditIsGivenNoMore) {
  run_virtual_parallel([] {
    DataLink d;
    d.let_device_send(1);
    const std::size_t writes = d.port.write_count();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(writes, d.port.write_count());
    EXPECT_EQ(1, d.given());
    // It used its one up, so the next query gives another.
    EXPECT_EQ(3, d.query_that_brings(data(0x02, text("abc"))).result);
    EXPECT_EQ(0, d.given());
    d.port.takes_credit(0x02);
    EXPECT_EQ(3, d.query().result);
    EXPECT_EQ(1, d.given());
    d.close();
  });
}

TEST(ReadQuery, CountMayBeLeftOut) {
  run_virtual_parallel([] {
    DataLink d;
    d.let_device_send(2);
    d.port.say(data(0x02, text("abcde")));
    EXPECT_EQ(5, vlp::XDLT_Read(d.link, 0x02, nullptr, nullptr));
    EXPECT_EQ(5, vlp::XDLT_Read(d.link, 0x02, nullptr, nullptr));
    d.close();
  });
}

TEST(ReadQuery, CreditIsGivenForOneWholePayloadOfRoomAndNotForLess) {
  run_virtual_parallel([] {
    DataLink d(0x40);  // 4048 bytes: 8 payloads of 506
    d.let_device_send(8);
    for (int i = 0; i < 8; ++i) d.receive(data(0x40, filled(506)));
    EXPECT_EQ(0, d.given());
    EXPECT_EQ(4048, d.query().result);  // full: no Credit, which would be a breach
    EXPECT_EQ(505, d.fetch(505).result);
    EXPECT_EQ(3543, d.query().result);
    EXPECT_EQ(0, d.given());
    EXPECT_EQ(1, d.fetch(1).result);
    d.port.takes_credit(0x40);
    EXPECT_EQ(3542, d.query().result);
    EXPECT_EQ(1, d.given());
    d.close();
  });
}

// Sizes whose payloads fit 65536 times into the buffer count as no room, as does one
// without any payload.
TEST(ReadQuery, PacketsTooSmallToCountGetNoCredit) {
  run_virtual_parallel([] {
    for (const std::uint16_t size : {std::uint16_t{6}, std::uint16_t{7}, std::uint16_t{8}}) {
      DataLink d(0x02, {.read_size = size});
      EXPECT_EQ(0, d.query().result);
      EXPECT_EQ(0, d.given());
      d.close();
    }
    DataLink d(0x02, {.read_size = 9});
    d.port.takes_credit(0x02);
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(1, d.given());
    d.close();
  });
}

TEST(ReadQuery, WhatBecomesOfTheCreditIsNotLookedAt) {
  for (const std::uint8_t refusal : Bytes{7, 8, 99}) {
    run_virtual_schedules(3, [&] {
      DataLink d;
      d.port.expect(credit(0x02))
          .answer(credit_reply(0x02, refusal))
          .answer(data(0x02, text("abc")));
      const Called asked = d.query();
      EXPECT_EQ(3, asked.result);
      EXPECT_EQ(3u, asked.count);
      EXPECT_EQ(0, d.given());
    });
  }
}

TEST(ReadQuery, CreditCountsOnceItIsWrittenThoughNoReplyComes) {
  run_virtual_parallel([] {
    DataLink d;
    d.port.expect(credit(0x02));
    const Called asked = d.query();
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(11'100u, asked.ms);  // the thread's pause after many empty reads comes on top
    EXPECT_EQ(1, d.given());
    EXPECT_EQ(0, d.link->awaitedReply.load());
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

TEST(ReadQuery, CreditThatWasNotWrittenDoesNotCount) {
  run_virtual_parallel([] {
    DataLink d;
    d.port.expect(credit(0x02)).fails();
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(0, d.given());
    d.port.expect(credit(0x02)).is_short_by(1);
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(0, d.given());
    d.port.takes_credit(0x02);
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(1, d.given());
    d.close();
  });
}

TEST(ReadQuery, BusyControlGateCostsElevenSecondsAndNoMore) {
  run_virtual_parallel([] {
    DataLink d;
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(d.link->controlEvent.Get(), 0));
    const Called asked = d.query();
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(11'000u, asked.ms);
    EXPECT_EQ(0, d.given());
    SetEvent(d.link->controlEvent.Get());
    d.close();
  });
}

// --- Waiting for data ------------------------------------------------------------------------

TEST(ReadQuery, EndsWithTheDataThatComes) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_block();
    d.port.say(data(0x02, text("abc")), after_ms(1234));
    const Called asked = d.query();
    EXPECT_EQ(3, asked.result);
    EXPECT_EQ(1234u, asked.ms);
  });
}

TEST(ReadQuery, LastsElevenSecondsAtMost) {
  for (const std::uint64_t late : {10'999u, 11'001u}) {
    run_virtual_schedules(3, [&] {
      DataLink d;
      d.let_device_send(1);
      d.port.reads_block();
      d.port.say(data(0x02, text("abc")), after_ms(late));
      const Called asked = d.query();
      EXPECT_EQ(late < 11'000 ? 3 : 0, asked.result);
      EXPECT_EQ(late < 11'000 ? late : 11'000, asked.ms);
      EXPECT_EQ(0, d.link->waitSocket.load());
      test::sleep_ms(10);
      // What came behind the limit waits for the next one.
      EXPECT_EQ(3, d.fetch(10).result);
    });
  }
}

TEST(ReadQuery, WhatWaitsAlreadyNeedsNoRead) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.let_device_send(2);
    EXPECT_EQ(3, d.query_that_brings(data(0x02, text("abc"))).result);
    settle();
    d.port.reads_block();
    const Called asked = d.query();
    EXPECT_EQ(3, asked.result);
    EXPECT_EQ(0u, asked.ms);
    d.port.say(data(0x02, text("d")));  // ends the read that is inside
  });
}

TEST(ReadQuery, DataOfAnotherSocketIsStoredAndDoesNotEndIt) {
  run_virtual_schedules(10, [] {
    DataLink d;
    opened_channel(d.port, d.link, 0x40);
    settle();
    d.let_device_send(1);
    d.port.takes_credit(0x40);
    EXPECT_EQ(0, size_query(d.link, 0x40).result);
    settle();
    d.port.reads_block();
    d.port.say(data(0x40, text("other")), after_ms(10));
    d.port.say(data(0x02, text("mine")), after_ms(50));
    const Called asked = d.query();
    EXPECT_EQ(4, asked.result);
    EXPECT_EQ(50u, asked.ms);
    EXPECT_EQ(text("other"), fetch(d.link, 0x40, 100).bytes);
    EXPECT_EQ(text("mine"), d.fetch(100).bytes);
  });
}

TEST(ReadQuery, DataOfAnotherSocketAndThenAnEmptyReadEndIt) {
  run_virtual_schedules(10, [] {
    DataLink d;
    opened_channel(d.port, d.link, 0x40);
    d.let_device_send(1);
    d.port.takes_credit(0x40);
    EXPECT_EQ(0, size_query(d.link, 0x40).result);
    settle();
    d.port.say(data(0x40, text("other")));
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(text("other"), fetch(d.link, 0x40, 100).bytes);
    closed_channel(d.port, d.link, 0x40);
    d.close();
  });
}

TEST(ReadQuery, PacketsAddUpInOrder) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(4);
    d.receive(data(0x02, text("abc")));
    d.receive(data(0x02, text("de"), {.control = 0}));
    d.receive(data(0x02, text("f")));
    EXPECT_EQ(6, d.query().result);
    EXPECT_EQ(text("abcdef"), d.fetch(100).bytes);
    EXPECT_EQ(1, d.given());
  });
}

TEST(ReadQuery, OnFlagSocketsTheFlagsByteCountsIfThereIsData) {
  run_virtual_parallel([] {
    for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
      DataLink d(socket);
      d.let_device_send(1);
      EXPECT_EQ(0, d.query().result);
      const Called asked = d.query_that_brings(data(socket, text("a")));
      EXPECT_EQ(2, asked.result);
      EXPECT_EQ(2u, asked.count);
      settle();
      d.close();
    }
  });
}

TEST(ReadQuery, LostLinkIsTheResultAndTheCountIsGivenAllTheSame) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(2);
    d.receive(data(0x02, text("abc")));
    d.port.say(data(0x33, text("x")));
    d.query();  // finds what waits, and lets the thread read on
    settle();
    const Called asked = d.query();
    EXPECT_EQ(vlp::XDLT_ERR_UNKNOWN_CHANNEL, asked.result);
    EXPECT_EQ(3u, asked.count);
    EXPECT_EQ(11'000u, asked.ms);
    EXPECT_EQ(0u, d.users());
    // The bytes are still to be had, and the link is still there.
    EXPECT_EQ(text("abc"), d.fetch(10).bytes);
    EXPECT_TRUE(vlp::XdltPortIsInUse(d.port.handle()));
    d.expect_lost(vlp::XDLT_ERR_UNKNOWN_CHANNEL, std::uint8_t{0x84});
  });
}

}  // namespace
}  // namespace d4_test
