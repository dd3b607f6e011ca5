// How long a transaction waits, to the millisecond, and what a late reply does.

#include <gmock/gmock.h>

#include "support/waits.h"
#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::AnyOf;

Called request_credit(OpenLink& up) {
  return timed([&] { return XdltSendCreditRequest(*up.link, 0x02); });
}

// --- The control gate ---

TEST(ControlGate, IsWaitedForElevenSeconds) {
  run_virtual_parallel([] {
    OpenLink up;
    ASSERT_TRUE(vlp::IsSignalled(up.link->controlEvent.Get(), 0));
    up.link->awaitedReply.store(0x77);
    const std::size_t before = up.port.write_count();
    const Called called = request_credit(up);
    EXPECT_EQ(-30, called.result);
    EXPECT_EQ(11'000u, called.ms);
    EXPECT_EQ(before, up.port.write_count());
    EXPECT_EQ(0x77, up.awaited()) << "somebody else's";
    EXPECT_FALSE(vlp::IsSignalled(up.link->controlEvent.Get(), 0));
    up.link->awaitedReply.store(0);
  });
}

TEST(ControlGate, ThatOpensJustInTimeLetsTheTransactionThrough) {
  for (const std::uint32_t opens : {0u, 1u, 10'999u, 11'001u}) {
    run_virtual_parallel([opens] {
      OpenLink up;
      ASSERT_TRUE(vlp::IsSignalled(up.link->controlEvent.Get(), 0));
      auto holder = test::spawn("holder", [&] {
        test::sleep_ms(opens);
        vlp::Signal(up.link->controlEvent.Get());
      });
      if (opens < 11'000) up.port.grants(0x02, 4);
      const Called called = request_credit(up);
      EXPECT_EQ(opens < 11'000 ? 4 : -30, called.result) << opens;
      EXPECT_EQ(std::min(opens, 11'000u), called.ms);
    });
  }
}

TEST(ControlGate, LetsOneTransactionThroughAtATime) {
  run_virtual_parallel([] {
    OpenLink up;
    up.reads_block_from_now();
    up.port.grants(0x02, 1, after_ms(6'000));
    up.port.grants(0x02, 2, after_ms(4'000));
    auto first = transact("first", [&] { return request_credit(up); });
    test::settle();
    const Called second = request_credit(up);
    EXPECT_EQ(1, first.get().result);
    EXPECT_EQ(6'000u, first.get().ms);
    EXPECT_EQ(2, second.result);
    EXPECT_EQ(10'000u, second.ms);
    EXPECT_EQ(0u, up.port.writes_between(1, 6'000));
    up.port.reads_return_at_once();
  });
}

TEST(ControlGate, IsOpenAgainAfterEveryEnd) {
  run_virtual_parallel([] {
    OpenLink up;
    const auto gate_is_open = [&] {
      const bool open = vlp::IsSignalled(up.link->controlEvent.Get(), 0);
      if (open) vlp::Signal(up.link->controlEvent.Get());
      return open;
    };
    up.port.grants(0x02, 3);
    EXPECT_EQ(3, request_credit(up).result);
    EXPECT_TRUE(gate_is_open());
    up.port.expect(credit_request(0x02)).fails();
    EXPECT_EQ(-31, request_credit(up).result);
    EXPECT_TRUE(gate_is_open());
    EXPECT_EQ(0, up.awaited());
    up.port.expect(credit_request(0x02)).is_short_by(1);
    EXPECT_EQ(-61, request_credit(up).result);
    EXPECT_TRUE(gate_is_open());
    EXPECT_EQ(0, up.awaited());
    up.link->state.store(2);
    EXPECT_EQ(-53, request_credit(up).result);
    up.link->state.store(1);
    EXPECT_TRUE(gate_is_open());
    up.port.expect(credit_request(0x02));
    EXPECT_EQ(-55, request_credit(up).result);
    EXPECT_TRUE(gate_is_open());
    up.port.expect(credit_request(0x02)).answer(error_packet(0));
    EXPECT_EQ(-51, request_credit(up).result);
    EXPECT_TRUE(gate_is_open());
    EXPECT_EQ(11'100u, elapsed_ms()) << "the read thread still paused";
  });
}

// --- The reply ---

TEST(ControlReply, ThatNeverComesIsGivenUpAtElevenSeconds) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(credit_request(0x02));
    const Called called = request_credit(up);
    EXPECT_EQ(-55, called.result);
    EXPECT_EQ(11'000u, called.ms);
    EXPECT_EQ(0, up.awaited());
    EXPECT_EQ(0, up.status());
    EXPECT_EQ(1u, up.link->state.load());
  });
}

TEST(ControlReply, OneMillisecondBeforeTheLimitIsTaken) {
  run_virtual_parallel([] {
    OpenLink up;
    up.reads_block_from_now();
    up.port.grants(0x02, 7, after_ms(10'999));
    const Called called = request_credit(up);
    EXPECT_EQ(7, called.result);
    EXPECT_EQ(10'999u, called.ms);
    up.port.reads_return_at_once();
    up.port.grants(0x02, 8);
    EXPECT_EQ(8, request_credit(up).result);
  });
}

TEST(ControlReply, OneMillisecondAfterTheLimitLosesTheLink) {
  run_virtual_parallel([] {
    OpenLink up;
    up.reads_block_from_now();
    up.port.grants(0x02, 7, after_ms(11'001));
    const Called called = request_credit(up);
    EXPECT_EQ(-55, called.result);
    EXPECT_EQ(11'000u, called.ms);
    EXPECT_EQ(0, up.status());
    test::sleep_ms(1);
    test::settle();
    EXPECT_EQ(-82, up.status());
    up.port.reads_return_at_once();
    // It still looks open. Whoever asks next learns of it when its own wait is over.
    up.port.expect(open_channel(0x50, 65535, 65535));
    up.port.expect(error_packet(0x82));
    const Called next = open_channel_on(up.link, 0x50);
    EXPECT_EQ(-82, next.result);
    EXPECT_GE(next.ms, 11'000u);
    EXPECT_LE(next.ms, 11'100u) << "the read thread may sleep once more before it ends";
    EXPECT_EQ(-22, open_channel_on(up.link, 0x50).result);
  });
}

// Both happen at the same moment. Taken or given up, it is one of them for everybody.
TEST(ControlReply, AtTheVeryLimitIsTakenOrLate) {
  run_virtual_schedules(200, [] {
    OpenLink up;
    up.reads_block_from_now();
    up.port.grants(0x02, 7, after_ms(11'000));
    const Called called = request_credit(up);
    EXPECT_EQ(11'000u, called.ms);
    EXPECT_THAT(called.result, AnyOf(7, -55));
    test::sleep_ms(1);
    test::settle();
    up.port.reads_return_at_once();
    EXPECT_EQ(called.result == 7 ? 0 : -82, up.status());
    up.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02, 8));
    const Called next = timed([&] { return XdltSendCloseChannel(*up.link, 0x02); });
    EXPECT_EQ(called.result == 7 ? -8 : -82, next.result) << "never by the earlier reply";
    EXPECT_EQ(called.result == 7 ? 0u : 11'000u, next.ms);
  });
}

// A port that answers at once with nothing is asked every 300 ms by then: at 10800, 11100.
TEST(ControlReply, ThatTheLastReadOfThePassFindsIsLate) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.grants(0x02, 7, after_ms(11'100));
    EXPECT_EQ(-55, request_credit(up).result);
    EXPECT_EQ(11'000u, elapsed_ms());
    test::sleep_ms(99);
    test::settle();
    EXPECT_EQ(0, up.status());
    test::sleep_ms(1);
    test::settle();
    EXPECT_EQ(-82, up.status());
  });
}

TEST(ControlReply, ThatComesLaterStillIsLateForTheNextPass) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).credit_given(0x02);
    up.port.grants(0x02, 7, after_ms(11'101));
    EXPECT_EQ(-55, request_credit(up).result);
    test::sleep_ms(1'000);
    test::settle();
    EXPECT_EQ(0, up.status()) << "nobody reads";
    EXPECT_GT(up.port.unread(), 0u);
    const Called query = size_query(up.link, 0x02);
    EXPECT_EQ(-82, query.result);
    EXPECT_EQ(0u, query.ms);
  });
}

TEST(ControlReply, ThatComesTooLateDoesNotServeAnotherCommand) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.grants(0x02, 7, after_ms(11'101));
    EXPECT_EQ(-55, request_credit(up).result);
    test::sleep_ms(1'000);
    up.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02));
    up.port.expect(error_packet(0x82));
    const Called closed = close_channel_on(up.link, 0x02);
    EXPECT_EQ(-82, closed.result);
    EXPECT_LE(closed.ms, 100u);
    EXPECT_EQ(-22, close_channel_on(up.link, 0x02).result);
  });
}

TEST(ControlReply, SignalledForAnEarlierTransactionIsForgotten) {
  run_virtual_parallel([] {
    OpenLink up;
    up.link->reply = vlp::ControlPacket(vlp::Bytes(credit_request_reply(0x02, 99)));
    vlp::Signal(up.link->replyEvent.Get());
    up.port.grants(0x02, 7, after_ms(500));
    const Called called = request_credit(up);
    EXPECT_EQ(7, called.result);
    EXPECT_GE(called.ms, 500u);
  });
}

TEST(ControlReply, GivesWayToTheResultAtWhichReadingEnded) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(credit_request(0x02)).answer(error_packet(0x80), after_ms(2'000));
    const Called released = request_credit(up);
    EXPECT_EQ(-51, released.result) << "at once, for there will be no reply";
    EXPECT_LT(released.ms, 3'000u);
    up.port.expect(credit_request(0x02)).answer(credit_request_reply(0x02, 7));
    const Called later = request_credit(up);
    EXPECT_EQ(-51, later.result) << "not the time-out";
    EXPECT_EQ(11'000u, later.ms);
    EXPECT_GT(up.port.unread(), 0u);
  });
}

TEST(ControlReply, FollowedByACommandIsNotDisturbedByIt) {
  run_virtual_schedules(64, [] {
    OpenLink up;
    up.channel(0x50, {.credit = 0});
    for (const bool in_one_read : {false, true}) {
      up.port.reads_span_answers(in_one_read);
      up.port.expect(open_channel(0x02, 65535, 65535))
          .answer(open_channel_reply(0x02, 700, 800, 9))
          .answer(credit(0x50, 3));
      up.port.expect(credit_reply(0x50)).at_any_time();
      EXPECT_EQ(0, open_channel_on(up.link, 0x02).result);
      EXPECT_EQ(700, packet_sizes(up.link, 0x02).writePacketSize);
      EXPECT_EQ(800, packet_sizes(up.link, 0x02).readPacketSize);
      EXPECT_EQ(9, up.held(0x02));
      // The command may be read by now, or when the next one reads.
      closed_channel(up.port, up.link, 0x02);
    }
    test::settle();
    EXPECT_EQ(6, up.held(0x50));
    EXPECT_EQ(0, up.status());
  });
}

TEST(ControlReply, BehindACommandIsStillAwaited) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 1});
    up.port.expect(credit_request(0x02))
        .answer(joined({credit(0x02, 4), credit_request_reply(0x02, 7)}));
    up.port.expect(credit_reply(0x02));
    const Called called = request_credit(up);
    EXPECT_EQ(7, called.result);
    EXPECT_EQ(0u, called.ms);
    EXPECT_EQ(5, up.held(0x02));
  });
}

}  // namespace
}  // namespace d4_test
