// The device's own commands and the engine's answers to them.

#include <gmock/gmock.h>

#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

// Lets the read thread read all that was said. The channel must have credit given.
Called let_read(OpenLink& up, std::uint8_t socket = 0x02) { return size_query(up.link, socket); }

Bytes with_sockets(const Bytes& command, std::uint8_t first, std::uint8_t second) {
  return with_byte(with_byte(command, 7, first), 8, second);
}

// Such a command ends the link's reading and gets no answer.
void expect_malformed(const Bytes& command) {
  OpenLink up;
  up.channel(0x02).channel(0x50).credit_given(0x02);
  const std::size_t before = up.port.write_count();
  up.port.say(command);
  const Called query = let_read(up);
  EXPECT_EQ(-80, query.result) << int{command[6]} << " of " << int{command[7]} << ", "
                               << int{command[8]};
  EXPECT_EQ(0u, query.ms);
  EXPECT_EQ(before, up.port.write_count());
  EXPECT_EQ(0, up.record(0x50)->state.load());
}

// --- CloseChannel ---

TEST(DeviceCommands, CloseChannelIsAnsweredForEverySocket) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50).credit_given(0x02);
    for (const std::uint8_t socket : every_byte()) {
      if (socket == 0x02) continue;
      const std::uint8_t result = socket == 0 ? 3 : socket == 0x50 ? 0 : 8;
      up.port.expect(joined({hex("00 00 00 0A 01 00 82"), {result, socket, socket}}));
      up.port.say(close_channel(socket));
    }
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(1, up.record(0x50)->state.load());
    EXPECT_EQ(0, up.record(0x02)->state.load());
  });
}

TEST(DeviceCommands, CloseChannelOfTwoSocketsIsMalformed) {
  run_virtual_parallel([] {
    expect_malformed(with_sockets(close_channel(0), 0x50, 0x02));
    expect_malformed(with_sockets(close_channel(0), 0x50, 0x00));
    expect_malformed(with_sockets(close_channel(0), 0x00, 0x50));
    expect_malformed(with_sockets(close_channel(0), 0x77, 0x78));
  });
}

TEST(DeviceCommands, CloseChannelTwiceIsAnsweredTwice) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50).credit_given(0x02);
    up.port.expect(close_channel_reply(0x50, 0)).times(2);
    up.port.say(close_channel(0x50));
    up.port.say(close_channel(0x50));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(1, up.record(0x50)->state.load());
  });
}

// --- Credit ---

TEST(DeviceCommands, CreditIsAddedToWhatMayBeSent) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 1}).channel(0x50, {.credit = 0}).credit_given(0x02);
    up.port.expect(hex("00 00 00 0A 01 00 83 00 50 50"));
    up.port.say(hex("00 00 00 0B 01 00 03 50 50 01 02"));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(0x0102, up.held(0x50));
    EXPECT_EQ(1, up.held(0x02));
    EXPECT_EQ(0, up.given(0x50));
  });
}

TEST(DeviceCommands, CreditUpToTheLargestSumIsTakenAndBeyondItRefused) {
  struct Case {
    std::uint16_t held;
    std::uint16_t more;
    std::uint8_t result;
    std::int32_t sum;
  };
  const Case cases[] = {{0, 0xFFFF, 0, 0xFFFF},      {1, 0xFFFE, 0, 0xFFFF},
                        {1, 0xFFFF, 7, 1},           {0xFFFE, 1, 0, 0xFFFF},
                        {0xFFFE, 2, 7, 0xFFFE},      {0xFFFF, 0, 0, 0xFFFF},
                        {0xFFFF, 1, 7, 0xFFFF},      {0xFFFF, 0xFFFF, 7, 0xFFFF},
                        {0x8000, 0x8000, 7, 0x8000}, {0x8000, 0x7FFF, 0, 0xFFFF}};
  run_virtual_parallel([&] {
    for (const Case& one : cases) {
      OpenLink up;
      up.channel(0x02, {.credit = one.held}).credit_given(0x02);
      up.port.expect(credit_reply(0x02, one.result));
      up.port.say(credit(0x02, one.more));
      EXPECT_EQ(0, let_read(up).result);
      EXPECT_EQ(one.sum, up.held(0x02)) << one.held << " and " << one.more;
      EXPECT_EQ(0, up.status()) << "a refusal is no breach";
    }
  });
}

TEST(DeviceCommands, CreditOfNothingChangesNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 3}).credit_given(0x02);
    up.port.expect(credit_reply(0x02, 0));
    up.port.say(credit(0x02, 0));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(3, up.held(0x02));
    EXPECT_EQ(1, up.given(0x02));
  });
}

TEST(DeviceCommands, CreditAndCreditRequestForASocketNotOpenAreRefused) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).credit_given(0x02);
    for (const std::uint8_t socket : every_byte()) {
      if (socket == 0x00 || socket == 0x02) continue;
      up.port.expect(credit_reply(socket, 8));
      up.port.say(credit(socket, 5));
      up.port.expect(credit_request_reply(socket, 0, 8));
      up.port.say(credit_request(socket, 5));
    }
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(1, up.held(0x02));
    EXPECT_EQ(1, up.given(0x02));
  });
}

TEST(DeviceCommands, CreditForTheControlSocketOrTwoSocketsIsMalformed) {
  run_virtual_parallel([] {
    for (const Bytes& command : {credit(0), credit_request(0)}) {
      expect_malformed(command);
      expect_malformed(with_sockets(command, 0x02, 0x50));
      expect_malformed(with_sockets(command, 0x02, 0x00));
      expect_malformed(with_sockets(command, 0x00, 0x02));
      expect_malformed(with_sockets(command, 0x77, 0x78));
    }
  });
}

// --- CreditRequest ---

TEST(DeviceCommands, CreditRequestIsGrantedAsAsked) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 4}).credit_given(0x02);
    up.port.expect(hex("00 00 00 0C 01 00 84 00 02 02 01 02"));
    // What it would have at most isn't looked at.
    up.port.say(hex("00 00 00 0D 01 00 04 02 02 01 02 00 00"));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(1 + 0x0102, up.given(0x02));
    EXPECT_EQ(4, up.held(0x02));
    up.port.expect(credit_request_reply(0x02, 0));
    up.port.say(credit_request(0x02, 0));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(1 + 0x0102, up.given(0x02));
  });
}

TEST(DeviceCommands, CreditRequestOfTheMostIsGrantedWithoutACeiling) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.read_size = 65535}).credit_given(0x02);
    up.port.expect(credit_request_reply(0x02, 0xFFFF)).times(5);
    for (int i = 0; i < 5; ++i) up.port.say(credit_request(0x02, 0xFFFF));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(1 + 5 * 0xFFFF, up.given(0x02));
  });
}

TEST(DeviceCommands, CreditRequestsBeyondAllNumbersAreGrantedStill) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).credit_given(0x02);
    // As 32767 requests before would have left it.
    up.record(0x02)->grantedCredit.store(32767 * 0xFFFF);
    up.port.expect(credit_request_reply(0x02, 0xFFFF)).times(3);
    for (int i = 0; i < 3; ++i) up.port.say(credit_request(0x02, 0xFFFF));
    EXPECT_EQ(0, let_read(up).result);
    EXPECT_EQ(0x7FFFFFFF, up.given(0x02));
    // One packet is one less, so what was given isn't taken for negative.
    up.port.say(data(0x02, text("abc")));
    EXPECT_EQ(3, let_read(up).result);
    EXPECT_EQ(0x7FFFFFFE, up.given(0x02));
  });
}

TEST(DeviceCommands, CreditRequestedAndUsedAtOnceIsThere) {
  run_virtual_schedules(64, [] {
    OpenLink up;
    up.channel(0x02).channel(0x50).credit_given(0x50);
    up.port.expect(credit_request_reply(0x02, 2)).answer(data(0x02, text("abc")));
    up.port.say(credit_request(0x02, 2));
    EXPECT_EQ(0, let_read(up, 0x50).result);
    test::settle();
    EXPECT_EQ(0, up.status());
    EXPECT_EQ(3, let_read(up, 0x02).result);
    EXPECT_EQ(1, up.given(0x02));
  });
}

// --- Exit ---

TEST(DeviceCommands, ExitIsAnsweredAndEndsTransfers) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).credit_given(0x02);
    up.port.expect(hex("00 00 00 08 01 00 88 00"));
    up.port.say(hex("00 00 00 07 01 00 08"));
    EXPECT_EQ(-53, let_read(up).result);
    EXPECT_EQ(2u, up.link->state.load());
    const std::size_t calls = up.port.call_count();
    EXPECT_EQ(-33, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(-33, open_channel_on(up.link, 0x50).result);
    EXPECT_EQ(calls, up.port.call_count());
  });
}

TEST(DeviceCommands, ExitDoesNotReviveALostLink) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).credit_given(0x02);
    up.port.expect(exit_reply()).takes_ms(50);
    up.port.say(exit_link());
    auto query = transact("query", [&] { return let_read(up); });
    test::sleep_ms(20);
    up.link->state.store(3);
    EXPECT_EQ(-53, query.get().result);
    EXPECT_EQ(3u, up.link->state.load());
  });
}

// --- Answers that fail ---

struct Command {
  Bytes command;
  Bytes answer;
};

std::vector<Command> commands() {
  return {{close_channel(0x50), close_channel_reply(0x50)},
          {close_channel(0x00), close_channel_reply(0x00, 3)},
          {close_channel(0x77), close_channel_reply(0x77, 8)},
          {credit(0x50, 2), credit_reply(0x50)},
          {credit(0x77, 2), credit_reply(0x77, 8)},
          {credit_request(0x50, 2), credit_request_reply(0x50, 2)},
          {credit_request(0x77, 2), credit_request_reply(0x77, 0, 8)},
          {exit_link(), exit_reply()}};
}

TEST(DeviceCommands, AShortAnswerLosesTheLink) {
  run_virtual_parallel([] {
    for (const Command& one : commands()) {
      OpenLink up;
      up.channel(0x02).channel(0x50).credit_given(0x02);
      up.port.expect(one.answer).is_short_by(1);
      up.port.say(one.command);
      const Called query = let_read(up);
      EXPECT_EQ(-61, query.result) << int{one.command[6]};
      EXPECT_EQ(0u, query.ms);
      EXPECT_EQ(-61, up.status());
      EXPECT_EQ(0, up.given(0x50)) << "the grant hasn't gone out";
    }
  });
}

TEST(DeviceCommands, AnAnswerThatFailsCountsAsNothingRead) {
  run_virtual_parallel([] {
    for (const Command& one : commands()) {
      if (one.command[6] == 0x08) continue;
      OpenLink up;
      up.channel(0x02).channel(0x50).credit_given(0x02);
      up.port.expect(one.answer).fails();
      up.port.say(one.command);
      EXPECT_EQ(0, let_read(up).result) << int{one.command[6]};
      EXPECT_EQ(0, up.status());
      EXPECT_EQ(0, up.given(0x50));
      EXPECT_EQ(1u, up.link->state.load());
    }
  });
}

TEST(DeviceCommands, AreAnsweredWhileATransactionIsUnderWay) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 0}).channel(0x50, {.credit = 0});
    up.port.expect(credit_request(0x02))
        .answer(credit(0x50, 7), after_ms(100))
        .answer(credit_request(0x50, 9), after_ms(200))
        .answer(close_channel(0x77), after_ms(300))
        .answer(credit_request_reply(0x02, 1), after_ms(400));
    up.port.expect(credit_reply(0x50));
    up.port.expect(credit_request_reply(0x50, 9));
    up.port.expect(close_channel_reply(0x77, 8));
    up.port.expect(data(0x02, text("abc")));
    EXPECT_EQ(3, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(7, up.held(0x50));
    EXPECT_EQ(9, up.given(0x50));
  });
}

}  // namespace
}  // namespace d4_test
