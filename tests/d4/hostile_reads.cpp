// Devices and ports whose reads are no use: single bytes, nothing for ever, half packets,
// counts that can't be.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"
#include "tests/d4/lying_port.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;
using ::testing::ElementsAre;

TEST(HostileDevice, OneByteAtATime) {
  run_virtual_schedules(5, [] {
    ScriptedPort port;
    Engine engine;
    port.read_at_most(1);
    script_conversation(port);
    const Conversation all = converse(port.handle(), port.ops());
    EXPECT_THAT(all.results(), ElementsAre(0, 0, 7, 6, 6, 0, 0));
    EXPECT_EQ(text("answer"), all.answer);
    EXPECT_EQ(0u, elapsed_ms());
  });
}

TEST(HostileDevice, AnswersThatRunTogether) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.let_device_send(4);
    d.port.reads_span_answers(true);
    d.port.expect(credit_request(0x02))
        .answer(data(0x02, text("a")))
        .answer(credit(0x02, 1))
        .answer(data(0x02, text("bcdefgh")))
        .answer(credit_request(0x02, 2))
        .answer(data(0x02, filled(300)))
        .answer(credit_request_reply(0x02, 1));
    d.port.expect(credit_reply(0x02));
    d.port.expect(credit_request_reply(0x02, 2));
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);
    EXPECT_EQ(joined({text("abcdefgh"), filled(300)}), d.fetch(1000).bytes);
    EXPECT_EQ(1, d.held());
    EXPECT_EQ(3, d.given());
    d.close();
  });
}

// --- Nothing for ever --------------------------------------------------------------------------

TEST(HostileDevice, ReadsOfNothingAreFewInAReplyWait) {
  for (const bool failing : {false, true}) {
    run_virtual_schedules(2, [&] {
      DataLink d(0x02, {.credit = 0});
      if (failing) d.port.fail_reads_from(1);
      const std::uint64_t began = elapsed_ms();
      const std::size_t reads = d.port.read_count();
      d.port.expect(credit_request(0x02)).times(5);
      for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
      }
      EXPECT_EQ(began + 55'000, elapsed_ms());
      // 10 at once, then pauses of 100, 200 and 300 ms: 57 a wait.
      EXPECT_GE(5u * 57, d.port.read_count() - reads);
      EXPECT_LE(200u, d.port.read_count() - reads);
    });
  }
}

TEST(HostileDevice, ReadsOfNothingNeverLetALinkOpen) {
  for (const bool failing : {false, true}) {
    run_virtual_schedules(2, [&] {
      ScriptedPort port;
      Engine engine;
      if (failing) port.fail_reads_from(1);
      port.expect(entry_string());
      const Opened opened = open_link(port);
      EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, opened.result);
      EXPECT_LE(11'000u, opened.ms);
      EXPECT_GE(11'300u, opened.ms);  // the thread's last pause
      EXPECT_GE(60u, port.read_count());
      EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    });
  }
}

TEST(HostileDevice, SizeQueriesOfASilentDeviceReadOnceEach) {
  run_virtual_schedules(2, [] {
    DataLink d;
    d.let_device_send(1);
    const std::size_t reads = d.port.read_count();
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(0, d.query().result);
      settle();
    }
    EXPECT_EQ(reads + 100, d.port.read_count());
    d.close();
  });
}

TEST(HostileDevice, ReadsOfNothingInABodyAreAMillisecondApart) {
  for (const bool failing : {false, true}) {
    run_virtual_parallel([&] {
      DataLink d;
      d.let_device_send(1);
      const std::size_t reads = d.port.read_count();
      const std::uint64_t began = elapsed_ms();
      d.port.say(cut(data(0x02, filled(100)), 6));
      if (failing) d.port.fail_reads_from(2);
      d.query();
      test::sleep_ms(1'000);
      EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, d.link->readStatus.load());
      // The header, and the body at each millisecond up to its limit.
      EXPECT_EQ(1u + 11'001u, d.port.read_count() - reads);
      for (const std::uint64_t at : {1u, 500u, 10'999u}) {
        EXPECT_EQ(1u, d.port.reads_between(began + at, began + at + 1));
      }
      EXPECT_EQ(0u, d.port.reads_between(began + 11'001, UINT64_MAX));
    });
  }
}

// --- Half packets and silence ------------------------------------------------------------------

TEST(HostileDevice, HalfAHeaderAndSilence) {
  for (std::size_t count = 1; count < 6; ++count) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      port.expect(entry_string()).answer(cut(entry_reply(), count));
      const Opened opened = open_link(port);
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_READ, opened.result);
      EXPECT_GE(100u, opened.ms);
      // A link that is open.
      vlp::XdltLink* const link = opened_link(port);
      port.expect(open_channel(0x02, 65535, 65535))
          .answer(cut(open_channel_reply(0x02, 512, 512, 1), count));
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_READ, open_channel_on(link, 0x02).result);
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(link).result);
    });
  }
}

// The wait for the rest lasts 11 s from the header on, in which nobody gets at the port; then
// it is free again.
TEST(HostileDevice, HalfABodyAndSilence) {
  const Bytes packets[] = {data(0x02, filled(100)), credit_request_reply(0x02, 1)};
  for (const Bytes& whole : packets) {
    run_virtual_schedules(2, [&] {
      DataLink d(0x02, {.credit = 0});
      d.let_device_send(1);
      d.port.expect(credit_request(0x02))
          .answer(credit(0x02, 1))
          .answer(cut(whole, whole.size() - 1), after_ms(3'000));
      d.port.expect(credit_reply(0x02));
      const std::uint64_t began = elapsed_ms();
      Called written = d.write(text("x"));
      EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, written.result);
      EXPECT_EQ(began + 11'000, elapsed_ms());
      EXPECT_EQ(0, d.link->readStatus.load());
      d.port.expect(data(0x02, text("x")));
      written = d.write(text("x"));  // there is credit for it
      EXPECT_EQ(1, written.result);
      EXPECT_EQ(3'000u, written.ms);
      settle();
      EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, d.link->readStatus.load());
      d.expect_lost(vlp::XDLT_ERR_MALFORMED, std::uint8_t{0x80});
    });
  }
}

// --- Counts that can't be ----------------------------------------------------------------------

TEST(HostileDevice, ReadThatTellsOfMoreThanWasAskedFor) {
  for (const std::uint32_t more : {1u, 1'000u, 0x7FFFFFFFu, 0xFFFFFF00u}) {
    run_virtual_schedules(2, [&] {
      ScriptedPort port;
      LyingPort lying(port);
      Engine engine;
      script_conversation(port);
      lying.tell_of_reads([&](std::uint32_t asked, std::uint32_t moved) {
        return moved == asked ? asked + more : moved;
      });
      const Conversation all = converse(lying.handle(), lying.ops());
      EXPECT_THAT(all.results(), ElementsAre(0, 0, 7, 6, 6, 0, 0));
      EXPECT_EQ(text("answer"), all.answer);
    });
  }
}

// Bytes that were told of and never came can only break the link.
TEST(HostileDevice, ReadThatTellsOfBytesThatAreNotThere) {
  for (const std::uint32_t told : {6u, 7u, 0xFFFFFFFFu}) {
    run_virtual_schedules(2, [&] {
      ScriptedPort port;
      LyingPort lying(port);
      Engine engine;
      port.opens();
      port.opens_channel(0x02);
      vlp::XdltLink* link = nullptr;
      EXPECT_EQ(0, vlp::XDLT_Open(lying.handle(), lying.ops(), &link));
      EXPECT_EQ(0, vlp::XDLT_OpenChannel(link, 0x02));
      port.takes_credit(0x02);
      EXPECT_EQ(0, size_query(link, 0x02).result);
      settle();
      lying.tell_of_reads([&](std::uint32_t, std::uint32_t) { return told; });
      const Called asked = size_query(link, 0x02);
      EXPECT_GT(vlp::kXdltLinkLost, asked.result);
      EXPECT_EQ(0u, asked.count);
      port.ignores_the_rest();
      EXPECT_EQ(asked.result, close_channel_on(link, 0x02).result);
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(link).result);
    });
  }
}

}  // namespace
}  // namespace d4_test
