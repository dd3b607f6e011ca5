// The application behind the sockets.

#include "simulator/printer.h"
#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;
using simulator::Printer;

D4Options answering(std::vector<D4Answer> answers) {
  D4Options options;
  options.any_socket.open_credit = 10;
  options.answers = std::move(answers);
  return options;
}

TEST(D4Messages, EndWithTheFlagAndAreGivenOnce) {
  Wire wire = opened(0x02, answering({}));
  wire.now_ms = 3;
  wire.say(host::data(0x02, "first ", 0, 0));
  EXPECT_TRUE(wire.device.take_messages().empty());
  wire.now_ms = 4;
  wire.say(host::data(0x02, "half", 0, 1));
  wire.say(host::data(0x02, "more", 0, 1));
  const auto messages = wire.device.take_messages();
  ASSERT_EQ(2U, messages.size());
  EXPECT_EQ(0x02, messages[0].socket);
  EXPECT_EQ(bytes_of("first half"), messages[0].bytes);
  EXPECT_EQ(2U, messages[0].packets);
  EXPECT_EQ(4U, messages[0].at_ms);
  EXPECT_FALSE(messages[0].answered);
  EXPECT_EQ(bytes_of("more"), messages[1].bytes);
  EXPECT_EQ(1U, messages[1].packets);
  EXPECT_TRUE(wire.device.take_messages().empty());
  EXPECT_EQ(2U, wire.device.messages().size());
  expect_clean(wire);
}

TEST(D4Messages, AreApartOnEachSocket) {
  Wire wire = opened(0x02, answering({}));
  wire.open(0x21);
  wire.say(host::data(0x02, "a", 0, 0));
  wire.say(host::data(0x21, "fax", 0, 1));
  wire.say(host::data(0x02, "b", 0, 1));
  const auto messages = wire.device.take_messages();
  ASSERT_EQ(2U, messages.size());
  EXPECT_EQ(bytes_of("fax"), messages[0].bytes);
  EXPECT_EQ(0x21, messages[0].socket);
  EXPECT_EQ(bytes_of("ab"), messages[1].bytes);
}

TEST(D4Messages, AreAnsweredByTheFirstAnswerThatFits) {
  Wire wire = opened(0x02, answering({{.message = bytes_of("who"), .reply = bytes_of("me")},
                                      {.socket = 0x21, .reply = bytes_of("not here")},
                                      {.message = bytes_of("say"), .echo = true},
                                      {.reply = bytes_of("what"), .after_ms = 30}}));
  wire.say(host::credit(0x02));
  EXPECT_EQ(host::data(0x02, "me"), wire.say(host::data(0x02, "who")));
  wire.say(host::credit(0x02));
  EXPECT_EQ(host::data(0x02, "say"), wire.say(host::data(0x02, "say")));
  wire.say(host::credit(0x02));
  EXPECT_EQ(Bytes{}, wire.say(host::data(0x02, "?")));
  EXPECT_EQ(30U, wire.device.next_due());
  wire.now_ms = 30;
  EXPECT_EQ(host::data(0x02, "what"), wire.read_all());
  EXPECT_TRUE(wire.device.take_messages().empty());
  EXPECT_TRUE(wire.device.messages()[0].answered);
  expect_clean(wire);
}

TEST(D4Messages, AreAnsweredInPacketsOfTheNegotiatedSizeAsCreditComes) {
  D4Options options = answering({{.reply = bytes_of("abcdefg")}});
  options.any_socket.read_size = 9;
  Wire wire = opened(0x02, options);
  EXPECT_EQ(Bytes{}, wire.say(host::data(0x02, "question")));
  EXPECT_EQ(joined({wire::credit_reply(0, 2), host::data(2, "abc", 0, 0)}),
            wire.say(host::credit(0x02)));
  EXPECT_EQ(joined({wire::credit_reply(0, 2), host::data(2, "def", 0, 0)}),
            wire.say(host::credit(0x02)));
  EXPECT_EQ(joined({wire::credit_reply(0, 2), host::data(2, "g", 0, 1)}),
            wire.say(host::credit(0x02)));
  expect_clean(wire);
}

TEST(D4Messages, CanBeAnsweredWithoutTheFlag) {
  Wire wire = opened(0x21, answering({}));
  wire.say(host::credit(0x21));
  EXPECT_TRUE(wire.device.reply(0x21, bytes_of("part"), 0, false));
  EXPECT_EQ(host::data(0x21, "part", 0, 0), wire.read_all());
}

TEST(D4Messages, AreAnsweredOnAnOpenChannelOnly) {
  Wire wire = opened(0x02);
  EXPECT_FALSE(wire.device.reply(0x21, bytes_of("x"), 0));
  EXPECT_FALSE(wire.device.reply(0x02, Bytes{}, 0));
  wire.say(host::close(0x02));
  EXPECT_FALSE(wire.device.reply(0x02, bytes_of("x"), 0));
}

TEST(D4Messages, WithoutEndAreABreachAndAreForgotten) {
  D4Options options = answering({});
  options.any_socket = {.write_size = 0xFFFF, .open_credit = 0xFFFF};
  Wire wire = opened(0x02, options);
  const Bytes packet = host::data(0x02, std::string(65529, 'x'), 0, 0);
  const size_t fitting = D4Device::most_message_bytes / 65529;
  for (size_t i = 0; i < fitting; ++i) {
    wire.write(packet);
  }
  const size_t rest = D4Device::most_message_bytes - fitting * 65529;
  wire.write(host::data(0x02, std::string(rest, 'x'), 0, 0));
  expect_clean(wire);
  wire.write(host::data(0x02, "x", 0, 0));
  wire.write(packet);
  expect_breach(wire, D4Rule::message_size);
  wire.write(host::data(0x02, "end"));
  wire.write(host::data(0x02, "next"));
  const auto messages = wire.device.take_messages();
  ASSERT_EQ(1U, messages.size());
  EXPECT_EQ(bytes_of("next"), messages[0].bytes);
}

TEST(D4Messages, ThatWaitForCreditHaveALimit) {
  Wire wire = opened(0x02);
  for (int i = 0; i < 1024; ++i) {
    EXPECT_TRUE(wire.device.reply(0x02, bytes_of("x"), 0));
  }
  EXPECT_FALSE(wire.device.reply(0x02, bytes_of("x"), 0));
  EXPECT_EQ(1024U, wire.device.waiting_bytes());
}

// How whoever carries the transfers puts a printer behind a channel.
TEST(D4Messages, GoToAPrinterAndItsAnswersComeBack) {
  Wire wire = opened(0x02);
  Printer printer({.port = "USB001", .languages = {"D4"}, .latency_ms = 25});
  wire.say(host::credit(0x02));
  wire.say(host::data(0x02, std::string("ec\x02\x00hi", 6)));
  for (const D4Message& message : wire.device.take_messages()) {
    printer.write(message.bytes, message.at_ms);
    printer.end_message(message.at_ms);
  }
  ASSERT_EQ(25U, printer.next_due());
  wire.now_ms = 25;
  const Bytes answer = printer.take(wire.now_ms);
  ASSERT_FALSE(answer.empty());
  EXPECT_TRUE(wire.device.reply(0x02, answer, wire.now_ms));
  EXPECT_EQ(host::data(0x02, std::string(answer.begin(), answer.end())), wire.read_all());
  EXPECT_TRUE(printer.take_breaches().empty());
  expect_clean(wire);
}

}  // namespace
