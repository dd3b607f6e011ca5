// What the host answers to the device's own commands.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;

// A channel that the host has spoken of, so that it can't but know it.
Wire used(D4Options options = {}) {
  Wire wire = opened(0x02, std::move(options));
  wire.say(host::data(0x02, "x"));
  return wire;
}

Wire asked_to_close() {
  Wire wire = used();
  wire.device.send_close(0x02, 0);
  wire.read_all();
  return wire;
}
Wire given_credit(uint16_t amount = 5, D4Options options = {}) {
  Wire wire = used(std::move(options));
  wire.device.send_credit(0x02, amount, 0);
  wire.read_all();
  return wire;
}
Wire asked_for_credit(uint16_t amount = 0x0203) {
  Wire wire = used();
  wire.device.send_credit_request(0x02, amount, 0);
  wire.read_all();
  return wire;
}

TEST(D4Answers, OfTheRightFormAreTaken) {
  Wire close = asked_to_close();
  close.say(host::close_answer(0, 0x02));
  EXPECT_EQ(nullptr, close.device.link().channel(0x02));
  close.device.check_end(0);
  expect_clean(close);

  Wire credit = given_credit();
  credit.say(host::credit_answer(0, 0x02));
  EXPECT_EQ(5U, credit.device.link().channel(0x02)->host_credit);
  credit.device.check_end(0);
  expect_clean(credit);

  Wire request = asked_for_credit();
  request.say(host::request_answer(0, 0x02, 0x0203));
  EXPECT_EQ(0x0203U, request.device.link().channel(0x02)->device_credit);
  request.device.check_end(0);
  expect_clean(request);

  Wire exit = used();
  exit.device.send_exit(0);
  exit.read_all();
  exit.say(host::exit_answer(0));
  EXPECT_EQ(D4Link::Stage::ended, exit.device.link().stage());
  expect_clean(exit);
}

TEST(D4Answers, MayComeBeforeInit) {
  Wire wire;
  wire.say(host::entry);
  wire.device.send_credit(0x02, 1, 0);
  wire.read_all();
  wire.say(host::credit_answer(8, 0x02));
  EXPECT_EQ(wire::init_reply, wire.say(host::init));
  expect_clean(wire);
}

TEST(D4Answers, OfTheWrongResultAreFound) {
  for (const uint8_t result : {uint8_t{3}, uint8_t{8}}) {
    Wire close = asked_to_close();
    close.say(host::close_answer(result, 0x02));
    expect_breach(close, D4Rule::answer_result);
  }
  for (const uint8_t result : {uint8_t{7}, uint8_t{8}}) {
    Wire credit = given_credit();
    credit.say(host::credit_answer(result, 0x02));
    expect_breach(credit, D4Rule::answer_result);
  }
  Wire request = asked_for_credit();
  request.say(host::request_answer(8, 0x02, 0));
  expect_breach(request, D4Rule::answer_result);
  Wire exit = used();
  exit.device.send_exit(0);
  exit.read_all();
  exit.say(host::exit_answer(1));
  expect_breach(exit, D4Rule::answer_result);
}

TEST(D4Answers, ForASocketThatNeverWasAChannelSaySo) {
  struct Case {
    Bytes command;
    Bytes right;
    Bytes wrong;
  };
  const std::vector<Case> cases = {
      {{0, 0, 0, 10, 1, 0, 2, 9, 9, 0}, host::close_answer(8, 9), host::close_answer(0, 9)},
      {{0, 0, 0, 10, 1, 0, 2, 0, 0, 0}, host::close_answer(3, 0), host::close_answer(8, 0)},
      {{0, 0, 0, 11, 1, 0, 3, 9, 9, 0, 1}, host::credit_answer(8, 9), host::credit_answer(0, 9)},
      {{0, 0, 0, 13, 1, 0, 4, 9, 9, 0, 1, 0xFF, 0xFF},
       host::request_answer(8, 9, 0),
       host::request_answer(0, 9, 1)},
  };
  for (const Case& each : cases) {
    Wire right = used();
    right.device.push_raw(each.command, 0);
    right.read_all();
    right.say(each.right);
    expect_clean(right);
    Wire wrong = used();
    wrong.device.push_raw(each.command, 0);
    wrong.read_all();
    wrong.say(each.wrong);
    expect_breach(wrong, D4Rule::answer_result);
  }
}

TEST(D4Answers, ForAChannelThatMayHaveGoneMaySayEither) {
  for (const uint8_t result : {uint8_t{0}, uint8_t{8}}) {
    Wire wire = used();
    wire.device.send_credit(0x02, 1, 0);
    wire.write(host::close(0x02));
    wire.read_all();
    wire.say(host::credit_answer(result, 0x02));
    expect_clean(wire);
  }
}

TEST(D4Answers, ForAChannelJustOpenedMaySayThatThereIsNone) {
  Wire wire = entered();
  wire.device.plan({.kind = D4Act::Kind::credit, .host_packet = 1, .socket = 2, .amount = 6});
  wire.say(host::open(0x02));
  EXPECT_EQ(7U, wire.device.link().channel(0x02)->host_credit);
  wire.say(host::credit_answer(8, 0x02));
  EXPECT_EQ(1U, wire.device.link().channel(0x02)->host_credit);
  expect_clean(wire);
}

TEST(D4Answers, ToACreditThatIsTooMuchSaySo) {
  const D4Options full = {.any_socket = {.open_credit = 0xFFFF}};
  Wire fits = given_credit(1, full);
  EXPECT_EQ(0xFFFFU, fits.device.link().channel(0x02)->host_credit);
  fits.say(host::credit_answer(0, 0x02));
  EXPECT_EQ(0xFFFFU, fits.device.link().channel(0x02)->host_credit);
  expect_clean(fits);
  Wire right = given_credit(2, full);
  right.say(host::credit_answer(7, 0x02));
  EXPECT_EQ(0xFFFEU, right.device.link().channel(0x02)->host_credit);
  expect_clean(right);
  Wire wrong = given_credit(2, full);
  wrong.say(host::credit_answer(0, 0x02));
  expect_breach(wrong, D4Rule::answer_result);
}

TEST(D4Answers, NameTheSocketOfTheCommand) {
  Wire close = asked_to_close();
  close.say(host::close_answer(0, 0x03));
  expect_breach(close, D4Rule::answer_socket);
  Wire credit = given_credit();
  credit.say({0, 0, 0, 10, 1, 0, 0x83, 0, 2, 3});
  expect_breach(credit, D4Rule::answer_socket);
  Wire request = asked_for_credit();
  request.say(host::request_answer(0, 0x21, 0x0203));
  expect_breach(request, D4Rule::answer_socket);
}

TEST(D4Answers, GrantWhatWasAskedFor) {
  Wire wire = asked_for_credit();
  wire.say(host::request_answer(0, 0x02, 0x0202));
  expect_breach(wire, D4Rule::answer_credit);
  Wire refused = used();
  refused.device.send_credit_request(0x09, 4, 0);
  refused.read_all();
  refused.say(host::request_answer(8, 0x09, 4));
  expect_breach(refused, D4Rule::answer_credit);
}

TEST(D4Answers, ComeOnceEach) {
  Wire wire = given_credit();
  wire.say(host::credit_answer(0, 0x02));
  wire.say(host::credit_answer(0, 0x02));
  expect_breach(wire, D4Rule::answer_asked);
}

TEST(D4Answers, ComeOnlyOnceTheCommandWasRead) {
  Wire wire = used();
  wire.device.send_credit(0x02, 1, 0);
  wire.write(host::credit_answer(0, 0x02));
  expect_breach(wire, D4Rule::answer_asked);
}

TEST(D4Answers, ComeInTheOrderOfTheCommands) {
  Wire wire = given_credit();
  wire.device.send_credit_request(0x02, 1, 0);
  wire.read_all();
  wire.say(host::request_answer(0, 0x02, 1));
  expect_breach(wire, D4Rule::answer_asked);
}

TEST(D4Answers, AreMissedAtTheEnd) {
  Wire wire = given_credit();
  wire.device.send_credit_request(0x02, 1, 0);
  wire.read_all();
  wire.device.check_end(0);
  expect_breach(wire, D4Rule::answer_missing, 2);
}

TEST(D4Answers, AreNotMissedOfAHostThatEndedTheLinkOrHadCauseTo) {
  Wire ended = given_credit();
  ended.say(host::exit);
  ended.device.check_end(0);
  expect_clean(ended);
  Wire caused = given_credit();
  caused.device.push_raw(wire::credit_reply(0, 0x02), 0);
  caused.read_all();
  caused.device.check_end(0);
  expect_clean(caused);
}

// The credit is there from the moment when the host reads the command.
TEST(D4Answers, ToACreditMayComeBehindTheDataThatUseIt) {
  Wire wire = given_credit(1);
  wire.say(host::data(0x02, "at once"));
  wire.say(host::credit_answer(0, 0x02));
  EXPECT_EQ(0U, wire.device.link().channel(0x02)->certain_credit);
  wire.say(host::credit_request(0x02));
  expect_clean(wire);
}

TEST(D4Answers, NobodyAsksForCreditThatWasAnsweredFor) {
  Wire wire = given_credit(1);
  wire.say(host::credit_request(0x02));
  expect_clean(wire);
  wire = given_credit(1);
  wire.say(host::credit_answer(0, 0x02));
  wire.say(host::credit_request(0x02));
  expect_breach(wire, D4Rule::request_needed);
}

TEST(D4Answers, ToACreditThatMayBeTooMuchSayEither) {
  for (const uint8_t result : {uint8_t{0}, uint8_t{7}}) {
    Wire wire = opened(0x02, {.any_socket = {.open_credit = 0xFFFE, .piggyback = 1}});
    wire.device.reply(0x02, bytes_of("x"), 0);
    wire.say(host::credit(0x02));
    EXPECT_EQ(0xFFFFU, wire.device.link().channel(0x02)->host_credit);
    EXPECT_TRUE(wire.device.link().fault().empty());
    wire.device.send_credit(0x02, 1, 0);
    wire.read_all();
    wire.say(host::credit_answer(result, 0x02));
    expect_clean(wire);
  }
}

TEST(D4Answers, AddTheCreditToWhatTheHostKnowsOf) {
  Wire wire = opened(0x02, {.any_socket = {.open_credit = 5}});
  wire.device.send_credit(0x02, 2, 0);
  wire.read_all();
  EXPECT_EQ(7U, wire.device.link().channel(0x02)->host_credit);
  EXPECT_EQ(5U, wire.device.link().channel(0x02)->certain_credit);
  wire.say(host::credit_answer(0, 0x02));
  EXPECT_EQ(7U, wire.device.link().channel(0x02)->certain_credit);
}

TEST(D4Answers, KnowAChannelThatTheHostGaveCreditFor) {
  Wire wire = opened(0x02);
  wire.say(host::credit(0x02));
  wire.device.send_credit(0x02, 2, 0);
  wire.read_all();
  wire.say(host::credit_answer(8, 0x02));
  expect_breach(wire, D4Rule::answer_result);
}

TEST(D4Answers, EndWithTheAnswerToExitOnBothSides) {
  Wire wire = opened(0x02, {.replies = {{.command = D4Command::exit, .never = true}}});
  wire.write(host::exit);
  wire.device.send_exit(0);
  wire.device.send_credit(0x02, 1, 0);
  wire.read_all();
  wire.say(host::exit_answer(0));
  expect_clean(wire);
  wire.say(host::credit_answer(0, 0x02));
  expect_breach(wire, D4Rule::nothing_after_exit);
}

}  // namespace
