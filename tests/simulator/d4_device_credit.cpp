// How credit is given and taken, and when data may go.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;

D4Options with(const D4SocketOptions& socket) {
  D4Options options;
  options.any_socket = socket;
  return options;
}

TEST(D4CreditPolicy, GivesCreditWithTheOpening) {
  Wire wire = opened(0x02, with({.open_credit = 2, .grant = 3}));
  wire.say(host::data(0x02, "one"));
  wire.say(host::data(0x02, "two"));
  EXPECT_EQ(0U, wire.device.link().channel(0x02)->host_credit);
  EXPECT_EQ(wire::request_reply(0, 0x02, 3), wire.say(host::credit_request(0x02)));
  EXPECT_EQ(3U, wire.device.link().channel(0x02)->host_credit);
  expect_clean(wire);
}

TEST(D4CreditPolicy, GivesCreditOnRequestOnly) {
  Wire wire = entered(with({.credit = D4CreditPolicy::on_request, .open_credit = 9, .grant = 2}));
  EXPECT_EQ(wire::open_reply(0x02, 0), wire.say(host::open(0x02)));
  EXPECT_EQ(wire::request_reply(0, 0x02, 2), wire.say(host::credit_request(0x02)));
  wire.say(host::data(0x02, "one"));
  wire.say(host::data(0x02, "two"));
  expect_clean(wire);
}

TEST(D4CreditPolicy, RefusesSomeRequestsBeforeEachGrant) {
  Wire wire = opened(0x02, with({.credit = D4CreditPolicy::on_request, .refusals = 2}));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
    EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
    EXPECT_EQ(wire::request_reply(0, 0x02, 1), wire.say(host::credit_request(0x02)));
    wire.say(host::data(0x02, "x"));
  }
  expect_clean(wire);
}

TEST(D4CreditPolicy, NeverGrantsMoreThanWasAskedFor) {
  Wire wire = opened(0x02, with({.credit = D4CreditPolicy::on_request, .grant = 0x200}));
  EXPECT_EQ(wire::request_reply(0, 0x02, 0x80), wire.say(host::credit_request(0x02)));
}

TEST(D4CreditPolicy, SendsCreditByItselfAfterRefusals) {
  Wire wire = opened(0x02, with({.credit = D4CreditPolicy::own_command,
                                 .refusals = 2,
                                 .own_credit = 3,
                                 .own_credit_ms = 100}));
  EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
  EXPECT_EQ(std::nullopt, wire.device.next_due());
  wire.now_ms = 10;
  EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
  EXPECT_EQ(110U, wire.device.next_due());
  wire.now_ms = 109;
  EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
  wire.now_ms = 110;
  EXPECT_EQ(wire::credit(0x02, 3), wire.read_all());
  EXPECT_EQ(std::nullopt, wire.device.next_due());
  wire.say(host::credit_answer(0, 0x02));
  EXPECT_EQ(3U, wire.device.link().channel(0x02)->host_credit);
  EXPECT_EQ(3U, wire.device.link().channel(0x02)->certain_credit);
  wire.device.check_end(wire.now_ms);
  expect_clean(wire);
}

TEST(D4CreditPolicy, ACreditThatWasPlannedGoesWithItsChannel) {
  Wire wire = opened(0x02, with({.credit = D4CreditPolicy::own_command, .own_credit_ms = 5}));
  wire.say(host::credit_request(0x02));
  wire.say(host::close(0x02));
  wire.now_ms = 5;
  EXPECT_EQ(Bytes{}, wire.read_all());
}

TEST(D4CreditPolicy, CanRefuseForEver) {
  Wire wire = opened(0x02, with({.credit = D4CreditPolicy::never, .open_credit = 4}));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
  }
  EXPECT_EQ(0U, wire.device.link().channel(0x02)->host_credit);
  expect_clean(wire);
}

TEST(D4Credit, TravelsInTheHeaderOfTheDevicesData) {
  Wire wire = opened(0x02, with({.open_credit = 1, .piggyback = 5}));
  wire.device.reply(0x02, bytes_of("a"), 0);
  EXPECT_EQ(joined({wire::credit_reply(0, 0x02), host::data(0x02, "a", 5)}),
            wire.say(host::credit(0x02)));
  EXPECT_EQ(6U, wire.device.link().channel(0x02)->host_credit);
  EXPECT_EQ(1U, wire.device.link().channel(0x02)->certain_credit);
}

TEST(D4Credit, OfTheHostLetsOnePacketOut) {
  Wire wire = opened(0x02, with({.read_size = 10}));
  EXPECT_TRUE(wire.device.reply(0x02, bytes_of("abcdefghij"), 0));
  EXPECT_EQ(10U, wire.device.waiting_bytes());
  EXPECT_EQ(Bytes{}, wire.read_all());
  EXPECT_EQ(joined({wire::credit_reply(0, 0x02), host::data(0x02, "abcd", 0, 0)}),
            wire.say(host::credit(0x02)));
  EXPECT_EQ(joined({wire::credit_reply(0, 0x02), host::data(0x02, "efgh", 0, 0)}),
            wire.say(host::credit(0x02)));
  EXPECT_EQ(joined({wire::credit_reply(0, 0x02), host::data(0x02, "ij", 0, 1)}),
            wire.say(host::credit(0x02)));
  EXPECT_EQ(0U, wire.device.waiting_bytes());
  EXPECT_TRUE(wire.device.link().fault().empty()) << wire.device.report();
  expect_clean(wire);
}

TEST(D4Credit, ThatTheHostsDataCarryLetsDataOut) {
  Wire wire = opened(0x50);
  wire.device.reply(0x50, bytes_of("1"), 0);
  wire.device.reply(0x50, bytes_of("2"), 0);
  wire.device.reply(0x50, bytes_of("3"), 0);
  EXPECT_EQ(joined({host::data(0x50, "1"), host::data(0x50, "2")}),
            wire.say(host::data(0x50, "print", 2)));
  EXPECT_TRUE(wire.device.link().fault().empty()) << wire.device.report();
  expect_clean(wire);
}

TEST(D4Credit, ThatTheDeviceAsksForLetsDataOut) {
  Wire wire = opened(0x02);
  wire.say(host::data(0x02, "x"));
  wire.device.reply(0x02, bytes_of("1"), 0);
  wire.device.reply(0x02, bytes_of("2"), 0);
  wire.device.send_credit_request(0x02, 2, 0);
  EXPECT_EQ((Bytes{0, 0, 0, 13, 1, 0, 4, 2, 2, 0, 2, 0xFF, 0xFF}), wire.read_all());
  EXPECT_EQ(joined({host::data(0x02, "1"), host::data(0x02, "2")}),
            wire.say(host::request_answer(0, 0x02, 2)));
  EXPECT_TRUE(wire.device.link().fault().empty()) << wire.device.report();
  expect_clean(wire);
}

TEST(D4Credit, OfAChannelTooSmallForPayloadLetsNothingOut) {
  for (const uint16_t size : {uint16_t{0}, uint16_t{6}}) {
    Wire wire = opened(0x02, with({.read_size = size}));
    wire.device.reply(0x02, bytes_of("x"), 0);
    EXPECT_EQ(wire::credit_reply(0, 0x02), wire.say(host::credit(0x02))) << size;
  }
}

TEST(D4Credit, RefusedByTheDeviceLetsNothingOut) {
  D4Options options;
  options.replies = {{.command = D4Command::credit, .result = 8}};
  Wire wire = opened(0x02, options);
  wire.device.reply(0x02, bytes_of("x"), 0);
  EXPECT_EQ(wire::credit_reply(8, 0x02), wire.say(host::credit(0x02)));
}

TEST(D4Close, DropsWhatWasUnderWayUnlessItShallSurvive) {
  for (const bool survives : {false, true}) {
    Wire wire = opened(0x02, {.data_latency_ms = 20, .data_survive_close = survives});
    wire.device.reply(0x02, bytes_of("late"), 0);
    EXPECT_EQ(wire::credit_reply(0, 0x02), wire.say(host::credit(0x02)));
    EXPECT_EQ(wire::close_reply(0, 0x02), wire.say(host::close(0x02)));
    wire.now_ms = 20;
    EXPECT_EQ(survives ? host::data(0x02, "late") : Bytes{}, wire.read_all());
  }
}

TEST(D4CreditPolicy, SendsCreditByItselfAgainWhenItIsAskedAgain) {
  Wire wire = opened(
      0x02, with({.credit = D4CreditPolicy::own_command, .refusals = 2, .own_credit_ms = 5}));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
    EXPECT_EQ(wire::request_reply(0, 0x02, 0), wire.say(host::credit_request(0x02)));
    EXPECT_EQ(wire.now_ms + 5, wire.device.next_due());
    wire.now_ms += 5;
    EXPECT_EQ(wire::credit(0x02, 1), wire.read_all());
    wire.say(host::credit_answer(0, 0x02));
    wire.say(host::data(0x02, "x"));
  }
  expect_clean(wire);
}

TEST(D4Close, LeavesTheDataOfOtherChannels) {
  Wire wire = opened(0x02, {.data_latency_ms = 20});
  wire.open(0x21);
  wire.say(host::credit(0x02));
  wire.say(host::credit(0x21));
  wire.device.reply(0x02, bytes_of("gone"), 0);
  wire.device.reply(0x21, bytes_of("kept"), 0);
  EXPECT_EQ(wire::close_reply(0, 0x02), wire.say(host::close(0x02)));
  wire.now_ms = 20;
  EXPECT_EQ(host::data(0x21, "kept"), wire.read_all());
  EXPECT_EQ(0U, wire.device.waiting_bytes());
}

}  // namespace
