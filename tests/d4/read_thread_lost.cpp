// The read thread when the link is over: who is released, and what it does until it is
// told to stop.

#include <gmock/gmock.h>

#include "platform/kernel/scenario.h"
#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;

TEST(ReadThreadLost, ReplyWaiterIsReleasedAtOnce) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.credit = 0});
    // A moment at which the thread looks.
    d.port.expect(credit_request(0x02)).answer(error_packet(0x80), after_ms(3'000));
    const Called written = d.write(text("x"));
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, written.result);
    EXPECT_EQ(3'000u, written.ms);
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, d.link->readStatus.load());
    EXPECT_EQ(0, d.link->awaitedReply.load());
  });
}

TEST(ReadThreadLost, DataWaiterIsReleasedAtOnce) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_block();
    d.port.say(error_packet(0x80), after_ms(3'000));
    const Called asked = d.query();
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, asked.result);
    EXPECT_EQ(3'000u, asked.ms);
    EXPECT_EQ(0, d.link->waitSocket.load());
  });
}

TEST(ReadThreadLost, ThreadLooksTenTimesASecondAndReadsNoMore) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(error_packet(0x80));
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, d.write(text("x")).result);
    settle();
    const DWORD reader = d.port.reads().back().thread;
    const std::size_t reads = d.port.read_count();
    const std::uint64_t wakes = platform::wake_count(reader);
    d.port.say(data(0x02, text("abc")));
    test::sleep_ms(60'050);
    EXPECT_EQ(wakes + 600, platform::wake_count(reader));
    EXPECT_EQ(reads, d.port.read_count());
    EXPECT_FALSE(d.port.read_is_inside());
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, d.link->readStatus.load());
    EXPECT_LE(timed([&] { d.engine.end(); }).ms, 100u);
  });
}

TEST(ReadThreadLost, EveryLaterWaitRunsOutAndTellsTheSame) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(error_packet(0x80));
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, d.write(text("x")).result);
    for (int i = 0; i < 2; ++i) {
      d.port.expect(credit_request(0x02));
      const Called written = d.write(text("x"));
      EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, written.result);
      EXPECT_EQ(11'000u, written.ms);
    }
    d.port.expect(credit(0x02));
    Called asked = d.query();
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, asked.result);
    EXPECT_EQ(22'000u, asked.ms);
    asked = d.query();
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, asked.result);
    EXPECT_EQ(11'000u, asked.ms);
    d.expect_lost(vlp::XDLT_ERR_PEER_ERROR);
  });
}

// --- The device leaves -------------------------------------------------------------------------

TEST(ReadThreadLost, ExitIsAnsweredOnceAndReleasesWhoAwaitsAReply) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02))
        .answer(exit_link(), after_ms(300))
        .answer(exit_link(), after_ms(301))
        .answer(credit_request_reply(0x02, 1), after_ms(302));
    d.port.expect(hex("00 00 00 08 01 00 88 00"));
    const Called written = d.write(text("x"));
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, written.result);
    EXPECT_EQ(300u, written.ms);
    EXPECT_EQ(vlp::kLinkClosed, d.link->state.load());
    const std::size_t reads = d.port.read_count();
    test::sleep_ms(20'000);
    EXPECT_EQ(reads, d.port.read_count());
    EXPECT_EQ(7u + 12u, d.port.unread());
  });
}

TEST(ReadThreadLost, ExitReleasesWhoWaitsForData) {
  run_virtual_schedules(10, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.say(exit_link(), after_ms(0));
    d.port.expect(exit_reply());
    const Called asked = d.query();
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, asked.result);
    EXPECT_EQ(0u, asked.ms);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, d.query().result);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, open_channel_on(d.link, 0x40).result);
    // No CloseChannel reaches the port; the link goes with the call.
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, d.close_channel().result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(d.port.handle()));
  });
}

// --- Answers that don't get out ----------------------------------------------------------------

TEST(ReadThreadLost, AnswerThatThePortRefusesIsNoLoss) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02))
        .answer(credit(0x02, 5))
        .answer(credit_request_reply(0x02, 1));
    d.port.expect(credit_reply(0x02)).fails();
    d.port.expect(data(0x02, text("x")));
    const Called written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(0u, written.ms);
    EXPECT_EQ(0, d.link->readStatus.load());
  });
}

TEST(ReadThreadLost, AnswerThatThePortRefusesLeavesADataWaiterWaiting) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.say(credit(0x02, 5));
    d.port.say(data(0x02, text("abc")));
    d.port.expect(credit_reply(0x02)).fails();
    EXPECT_EQ(3, d.query().result);
  });
}

TEST(ReadThreadLost, AnswerThatIsTakenInPartLosesTheLink) {
  struct Case {
    Bytes command;
    Bytes answer;
  };
  const Case cases[] = {{close_channel(0x02), close_channel_reply(0x02)},
                        {credit(0x02, 5), credit_reply(0x02)},
                        {credit_request(0x02, 5), credit_request_reply(0x02, 5)},
                        {exit_link(), exit_reply()}};
  for (const Case& one : cases) {
    run_virtual_schedules(2, [&] {
      DataLink d(0x02, {.credit = 0});
      d.port.expect(credit_request(0x02)).answer(one.command);
      d.port.expect(one.answer).is_short_by(1);
      const Called written = d.write(text("x"));
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_WRITE, written.result);
      EXPECT_EQ(0u, written.ms);
    });
  }
}

// --- Codes that are only to be had through other ways of reading -------------------------------

TEST(ReadThreadLost, SplitHeaderLosesTheLink) {
  for (std::size_t count = 1; count < 6; ++count) {
    run_virtual_schedules(2, [&] {
      DataLink d(0x02, {.credit = 0});
      d.port.expect(credit_request(0x02)).answer(cut(credit_request_reply(0x02, 1), count));
      const Called written = d.write(text("x"));
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_READ, written.result);
      EXPECT_EQ(0u, written.ms);
    });
  }
}

TEST(ReadThreadLost, ControlBodyThatDoesNotComeWholeLosesTheLink) {
  run_virtual_schedules(2, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02))
        .answer(cut(credit_request_reply(0x02, 1), 11), after_ms(3'000));
    const Called written = d.write(text("x"));
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, written.result);
    EXPECT_EQ(11'000u, written.ms);
    // Found at 3000 ms, between the pauses.
    test::sleep_ms(2'999);
    EXPECT_EQ(0, d.link->readStatus.load());
    test::sleep_ms(2);
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, d.link->readStatus.load());
  });
}

}  // namespace
}  // namespace d4_test
