// How a link begins and ends, and the reply to each command.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;
using Stage = D4Link::Stage;

TEST(D4Device, IsInNoPacketModeUntilTheEntryStringCame) {
  Wire wire;
  EXPECT_EQ(Stage::raw, wire.device.link().stage());
  EXPECT_EQ(wire::entry_reply, wire.say(host::entry));
  EXPECT_EQ(Stage::entered, wire.device.link().stage());
  EXPECT_EQ(wire::init_reply, wire.say(host::init));
  EXPECT_EQ(Stage::ready, wire.device.link().stage());
  expect_clean(wire);
}

TEST(D4Device, RepliesToEachCommandOfAnOrderlyConversation) {
  Wire wire = entered();
  EXPECT_EQ(wire::open_reply(0x02), wire.say(host::open(0x02)));
  EXPECT_EQ(Bytes{}, wire.say(host::data(0x02, "question")));
  EXPECT_EQ(wire::request_reply(0, 0x02, 1), wire.say(host::credit_request(0x02)));
  EXPECT_EQ(wire::credit_reply(0, 0x02), wire.say(host::credit(0x02)));
  EXPECT_EQ(wire::close_reply(0, 0x02), wire.say(host::close(0x02)));
  EXPECT_EQ(nullptr, wire.device.link().channel(0x02));
  EXPECT_EQ(wire::exit_reply, wire.say(host::exit));
  EXPECT_EQ(Stage::ended, wire.device.link().stage());
  wire.device.check_end(wire.now_ms);
  expect_clean(wire);
}

TEST(D4Device, TellsTheSizesAndTheCreditOfTheSocket) {
  D4Options options;
  options.sockets[0x21] = {.write_size = 0x1234, .read_size = 0x0102, .open_credit = 0x0304};
  Wire wire = entered(options);
  EXPECT_EQ((Bytes{0, 0, 0, 16, 1, 0, 0x81, 0, 0x21, 0x21, 0x12, 0x34, 1, 2, 3, 4}),
            wire.say(host::open(0x21)));
  EXPECT_EQ(wire::open_reply(0x22), wire.say(host::open(0x22)));
  EXPECT_EQ(0x1234, wire.device.link().channel(0x21)->write_size);
  EXPECT_EQ(0x0102, wire.device.link().channel(0x21)->read_size);
  EXPECT_EQ(0x0304U, wire.device.link().channel(0x21)->host_credit);
}

TEST(D4Device, TakesTheSmallerOfTheSizesOfBothSides) {
  Wire wire = entered();
  Bytes open = {0, 0, 0, 17, 1, 0, 1, 0x40, 0x40, 0x10, 0x06, 0x02, 0x00, 0, 0, 0, 0};
  EXPECT_EQ(wire::open_reply(0x40), wire.say(open));
  EXPECT_EQ(4102, wire.device.link().channel(0x40)->write_size);
  EXPECT_EQ(512, wire.device.link().channel(0x40)->read_size);
  expect_clean(wire);
}

TEST(D4Device, RefusesEachCommandAsTheOptionsSay) {
  D4Options options;
  options.replies = {{.command = D4Command::open_channel, .socket = 0x21, .result = 4},
                     {.command = D4Command::credit_request, .result = 8},
                     {.command = D4Command::credit, .result = 7},
                     {.command = D4Command::close_channel, .result = 3},
                     {.command = D4Command::exit, .result = 9}};
  Wire wire = entered(options);
  EXPECT_EQ((Bytes{0, 0, 0, 16, 1, 0, 0x81, 4, 0x21, 0x21, 0, 0, 0, 0, 0, 0}),
            wire.say(host::open(0x21)));
  EXPECT_EQ(nullptr, wire.device.link().channel(0x21));
  EXPECT_EQ(wire::open_reply(0x02), wire.say(host::open(0x02)));
  wire.say(host::data(0x02, "x"));
  EXPECT_EQ(wire::request_reply(8, 0x02, 0), wire.say(host::credit_request(0x02)));
  EXPECT_EQ(wire::credit_reply(7, 0x02), wire.say(host::credit(0x02)));
  EXPECT_FALSE(wire.device.link().channel(0x02) == nullptr);
  EXPECT_EQ(wire::close_reply(3, 0x02), wire.say(host::close(0x02)));
  EXPECT_EQ((Bytes{0, 0, 0, 8, 1, 0, 0x88, 9}), wire.say(host::exit));
  expect_clean(wire);
}

TEST(D4Device, RefusesTheEntryStringOrInitAsTheOptionsSay) {
  Wire entry({.replies = {{.command = D4Command::entry, .result = 1}}});
  EXPECT_EQ((Bytes{0, 0, 0, 8, 1, 0, 0xC5, 1}), entry.say(host::entry));
  EXPECT_EQ(Stage::ended, entry.device.link().stage());
  Wire init({
      .replies = {{.command = D4Command::init, .result = 11}},
  });
  init.say(host::entry);
  EXPECT_EQ((Bytes{0, 0, 0, 9, 1, 0, 0x80, 11, 0x10}), init.say(host::init));
  EXPECT_EQ(Stage::ended, init.device.link().stage());
}

TEST(D4Device, ResultSixOpensAChannelToo) {
  Wire wire = entered({.replies = {{.command = D4Command::open_channel, .result = 6}}});
  wire.say(host::open(0x02));
  ASSERT_NE(nullptr, wire.device.link().channel(0x02));
  EXPECT_EQ(4102, wire.device.link().channel(0x02)->write_size);
}

TEST(D4Device, ARuleHoldsForTheReplyThatItCounts) {
  Wire wire = entered(
      {.replies = {{.command = D4Command::open_channel, .at = 2, .result = 5},
                   {.command = D4Command::open_channel, .at = 3, .instead = bytes_of("odd")}}});
  EXPECT_EQ(wire::open_reply(0x02), wire.say(host::open(0x02)));
  EXPECT_EQ(5, wire.say(host::open(0x21))[7]);
  EXPECT_EQ(bytes_of("odd"), wire.say(host::open(0x22)));
  wire.now_ms += 11000;
  EXPECT_EQ(wire::open_reply(0x23), wire.say(host::open(0x23)));
}

TEST(D4Device, AReplyCanBeLateOrTwiceOrNeverSent) {
  Wire wire = entered({.latency_ms = 0,
                       .replies = {{.command = D4Command::open_channel, .late_ms = 250},
                                   {.command = D4Command::close_channel, .twice = true},
                                   {.command = D4Command::exit, .never = true}}});
  EXPECT_EQ(Bytes{}, wire.say(host::open(0x02)));
  EXPECT_EQ(250U, wire.device.next_due());
  wire.now_ms = 249;
  EXPECT_EQ(Bytes{}, wire.read());
  wire.now_ms = 250;
  EXPECT_EQ(wire::open_reply(0x02), wire.read());
  EXPECT_TRUE(wire.device.link().fault().empty());
  const Bytes reply = wire::close_reply(0, 0x02);
  EXPECT_EQ(joined({reply, reply}), wire.say(host::close(0x02)));
  EXPECT_EQ("a reply that nobody awaits", wire.device.link().fault());
  EXPECT_EQ(Bytes{}, wire.say(host::exit));
  EXPECT_EQ(std::nullopt, wire.device.next_due());
  expect_clean(wire);
}

TEST(D4Device, ALateReplyIsOvertakenByOthers) {
  Wire wire = entered({.replies = {{.command = D4Command::open_channel, .late_ms = 50}}});
  wire.write(host::open(0x02));
  wire.device.send_credit_request(0x09, 3, wire.now_ms);
  EXPECT_EQ((Bytes{0, 0, 0, 13, 1, 0, 4, 9, 9, 0, 3, 0xFF, 0xFF}), wire.read_all());
  wire.now_ms = 50;
  EXPECT_EQ(wire::open_reply(0x02), wire.read_all());
}

TEST(D4Device, NamesItsServices) {
  Wire wire = entered({.services = {{"STATUS", 0x07}}});
  const Bytes by_name = {0, 0, 0, 13, 1, 0, 9, 'S', 'T', 'A', 'T', 'U', 'S'};
  EXPECT_EQ((Bytes{0, 0, 0, 9, 1, 0, 0x89, 0, 7}), wire.say(by_name));
  const Bytes other = {0, 0, 0, 8, 1, 0, 9, 'X'};
  EXPECT_EQ((Bytes{0, 0, 0, 9, 1, 0, 0x89, 10, 0}), wire.say(other));
  const Bytes by_socket = {0, 0, 0, 8, 1, 0, 10, 7};
  EXPECT_EQ((Bytes{0, 0, 0, 15, 1, 0, 0x8A, 0, 7, 'S', 'T', 'A', 'T', 'U', 'S'}),
            wire.say(by_socket));
  EXPECT_EQ((Bytes{0, 0, 0, 9, 1, 0, 0x8A, 9, 8}), wire.say({0, 0, 0, 8, 1, 0, 10, 8}));
  expect_clean(wire);
}

TEST(D4Device, ANewEntryStringBeginsAnew) {
  Wire wire = opened(0x02);
  wire.write(host::close(0x02));
  EXPECT_EQ(wire::entry_reply, wire.say(host::entry));
  EXPECT_EQ(wire::init_reply, wire.say(host::init));
  EXPECT_EQ(nullptr, wire.device.link().channel(0x02));
  EXPECT_EQ(wire::open_reply(0x02), wire.say(host::open(0x02)));
  EXPECT_EQ(wire::exit_reply, wire.say(host::exit));
  wire.enter();
  expect_clean(wire);
}

TEST(D4Device, WhatAnEarlierLinkLeftCanStayInThePipe) {
  Wire wire = opened(0x02, {.output_survives_entry = true});
  wire.write(host::close(0x02));
  EXPECT_EQ(joined({wire::close_reply(0, 0x02), wire::entry_reply}), wire.say(host::entry));
  EXPECT_EQ("a reply that nobody awaits", wire.device.link().fault());
}

TEST(D4Device, TakesTheEntryStringBehindAPacketThatBrokeOff) {
  Wire wire = opened(0x02);
  wire.write({0, 0, 0, 17, 1, 0, 1, 2});
  EXPECT_EQ(wire::entry_reply, wire.say(host::entry));
  EXPECT_EQ(wire::init_reply, wire.say(host::init));
  EXPECT_EQ(1U, wire.device.breaches(D4Rule::length)) << wire.device.report();
  EXPECT_EQ(1U, wire.device.breaches(D4Rule::transfer_shape)) << wire.device.report();
}

TEST(D4Device, LatencyDelaysRepliesAndDataApart) {
  Wire wire({.latency_ms = 5, .data_latency_ms = 40});
  wire.write(host::entry);
  EXPECT_EQ(5U, wire.device.next_due());
  wire.now_ms = 5;
  EXPECT_EQ(wire::entry_reply, wire.read());
  wire.write(host::init);
  wire.now_ms = 10;
  EXPECT_EQ(wire::init_reply, wire.read());
  wire.write(host::open(0x02));
  wire.now_ms = 15;
  EXPECT_EQ(wire::open_reply(0x02), wire.read());
  EXPECT_TRUE(wire.device.reply(0x02, bytes_of("news"), wire.now_ms));
  wire.write(host::credit(0x02));
  wire.now_ms = 20;
  EXPECT_EQ(wire::credit_reply(0, 0x02), wire.read());
  EXPECT_EQ(55U, wire.device.next_due());
  wire.now_ms = 55;
  EXPECT_EQ(host::data(0x02, "news"), wire.read());
  expect_clean(wire);
}

TEST(D4Device, OutOfStepGoesOnWithTheNextLink) {
  Wire wire = opened(0x02);
  wire.device.push_raw(Bytes{0, 0, 0, 2, 0, 0}, 0);
  wire.device.push_raw(wire::credit(0x02, 1), 0);
  wire.read_all();
  EXPECT_EQ("bytes that are no packet", wire.device.link().fault());
  EXPECT_EQ(1U, wire.device.link().channel(0x02)->host_credit);
  wire.enter().open(0x02);
  EXPECT_TRUE(wire.device.link().fault().empty());
  expect_clean(wire);
}

}  // namespace
