// A breach is found for each thing that a host can do wrong, and for nothing else.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;

TEST(D4HostChecks, TheEntryStringComesFirst) {
  Wire wire;
  EXPECT_EQ(Bytes{}, wire.say(host::init));
  expect_breach(wire, D4Rule::entry_first);
}

TEST(D4HostChecks, TheEntryStringIsExact) {
  for (size_t at = 0; at < host::entry.size(); ++at) {
    Wire wire;
    Bytes wrong = host::entry;
    wrong[at] ^= 0x20;
    EXPECT_EQ(Bytes{}, wire.say(wrong)) << at;
    expect_breach(wire, D4Rule::entry_first);
    wire.enter();
  }
  Wire shorter;
  EXPECT_EQ(Bytes{}, shorter.say(Bytes(host::entry.begin(), host::entry.end() - 1)));
  expect_breach(shorter, D4Rule::transfer_shape);
  Wire longer;
  Bytes more = host::entry;
  more.push_back('\n');
  longer.say(more);
  EXPECT_EQ(1U, longer.device.breaches(D4Rule::transfer_shape)) << longer.device.report();
}

TEST(D4HostChecks, AnEntryStringInsideALinkIsExactToo) {
  Wire wire = entered();
  Bytes wrong = host::entry;
  wrong[26] = ' ';
  wire.say(wrong);
  EXPECT_EQ(1U, wire.device.breaches(D4Rule::entry_first)) << wire.device.report();
}

TEST(D4HostChecks, InitComesBeforeAllElse) {
  for (const Bytes& packet : {host::open(0x02), host::exit}) {
    Wire wire;
    wire.say(host::entry);
    wire.say(packet);
    expect_breach(wire, D4Rule::init_first);
  }
}

TEST(D4HostChecks, InitComesOnce) {
  Wire wire = entered();
  wire.say(host::init);
  expect_breach(wire, D4Rule::init_first);
}

TEST(D4HostChecks, InitHasItsRevision) {
  Wire wire;
  wire.say(host::entry);
  wire.say({0, 0, 0, 8, 1, 0, 0, 0x20});
  expect_breach(wire, D4Rule::init_revision);
}

TEST(D4HostChecks, EachCommandHasItsLength) {
  const std::vector<Bytes> commands = {host::init,
                                       host::open(0x21),
                                       host::close(0x02),
                                       host::credit(0x02),
                                       host::credit_request(0x02),
                                       host::exit,
                                       host::error(0x80),
                                       {0, 0, 0, 8, 1, 0, 10, 2},
                                       host::close_answer(0, 0x02),
                                       host::credit_answer(0, 0x02),
                                       host::request_answer(0, 0x02, 1),
                                       host::exit_answer(0)};
  for (const Bytes& command : commands) {
    for (const int change : {-1, 1}) {
      Bytes packet = command;
      packet.resize(static_cast<size_t>(static_cast<int>(packet.size()) + change));
      packet[3] = static_cast<uint8_t>(packet.size());
      Wire wire = opened(0x02);
      EXPECT_EQ(Bytes{}, wire.say(packet)) << wire.device.report();
      EXPECT_EQ(1U, wire.device.breaches(D4Rule::length)) << wire.device.report();
    }
  }
}

TEST(D4HostChecks, ALengthBelowTheHeadersLosesTheStream) {
  Wire wire = opened(0x02);
  wire.say({0, 0, 0, 5, 1, 0, 8});
  expect_breach(wire, D4Rule::length);
  EXPECT_EQ(Bytes{}, wire.say(host::close(0x02)));
  wire.enter();
  expect_breach(wire, D4Rule::length);
}

TEST(D4HostChecks, ATransferIsOnePacket) {
  const std::vector<Bytes> transfers = {
      {},
      Bytes{0, 0, 0, 10, 1, 0, 2},
      joined({host::credit(0x02), Bytes{0}}),
  };
  for (const Bytes& transfer : transfers) {
    Wire wire = opened(0x02);
    wire.write(transfer);
    expect_breach(wire, D4Rule::transfer_shape);
  }
  Wire two = opened(0x02, {.any_socket = {.open_credit = 2}});
  two.write(joined({host::data(0x02, "a"), host::data(0x02, "b")}));
  expect_breach(two, D4Rule::transfer_shape);
}

TEST(D4HostChecks, AHeaderTellsTheLengthOfWhatIsSent) {
  Wire wire = opened(0x02);
  Bytes packet = host::data(0x02, "payload");
  packet[3] = static_cast<uint8_t>(packet[3] + 1);
  wire.write(packet);
  expect_breach(wire, D4Rule::transfer_shape);
  wire.device.check_end(0);
  EXPECT_EQ(1U, wire.device.breaches(D4Rule::length)) << wire.device.report();
}

// A packet that is right but for one byte.
struct Wrong {
  D4Rule rule;
  Bytes packet;
  const char* what;
};

TEST(D4HostChecks, EachWrongFieldIsFound) {
  const std::vector<Wrong> cases = {
      {D4Rule::sockets_equal, {0, 2, 0, 10, 1, 0, 2, 2, 2, 0}, "header"},
      {D4Rule::sockets_equal, {2, 3, 0, 7, 0, 1, 'x'}, "data header"},
      {D4Rule::sockets_equal,
       {0, 0, 0, 17, 1, 0, 1, 3, 4, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
       "open"},
      {D4Rule::sockets_equal, {0, 0, 0, 10, 1, 0, 2, 2, 3, 0}, "close"},
      {D4Rule::sockets_equal, {0, 0, 0, 11, 1, 0, 3, 2, 3, 0, 1}, "credit"},
      {D4Rule::credit_byte, {0, 0, 0, 10, 0, 0, 2, 2, 2, 0}, "control without credit"},
      {D4Rule::credit_byte, {0, 0, 0, 10, 2, 0, 2, 2, 2, 0}, "control with two"},
      {D4Rule::credit_byte, {2, 2, 0, 7, 1, 1, 'x'}, "data with credit"},
      {D4Rule::control_byte, {0, 0, 0, 10, 1, 1, 2, 2, 2, 0}, "control"},
      {D4Rule::control_byte, {2, 2, 0, 7, 0, 2, 'x'}, "data"},
      {D4Rule::known_command, {0, 0, 0, 8, 1, 0, 5, 0}, "no command"},
      {D4Rule::known_command, {0, 0, 0, 9, 1, 0, 0x80, 0, 0x10}, "the device's reply"},
      {D4Rule::known_command, {0, 0, 0, 8, 1, 0, 0xC5, 0}, "the device's entry reply"},
      {D4Rule::socket_range,
       {0, 0, 0, 17, 1, 0, 1, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
       "zero"},
      {D4Rule::socket_range,
       {0, 0, 0, 17, 1, 0, 1, 255, 255, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
       "255"},
      {D4Rule::open_once, host::open(0x02), "open"},
      {D4Rule::open_sizes,
       {0, 0, 0, 17, 1, 0, 1, 3, 3, 0xFF, 0xFE, 0xFF, 0xFF, 0, 0, 0, 0},
       "towards the device"},
      {D4Rule::open_sizes,
       {0, 0, 0, 17, 1, 0, 1, 3, 3, 0xFF, 0xFF, 0x10, 0x06, 0, 0, 0, 0},
       "from the device"},
      {D4Rule::open_sizes, host::open(0x40), "control socket"},
      {D4Rule::open_padding,
       {0, 0, 0, 17, 1, 0, 1, 3, 3, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1},
       "open"},
      {D4Rule::close_padding, {0, 0, 0, 10, 1, 0, 2, 2, 2, 1}, "close"},
      {D4Rule::channel_open, host::close(0x21), "close"},
      {D4Rule::channel_open, host::credit(0x21), "credit"},
      {D4Rule::data_channel, host::data(0x21, "x"), "data"},
      {D4Rule::data_size, host::data(0x02, std::string(4097, 'x')), "data"},
      {D4Rule::data_empty, {2, 2, 0, 6, 0, 1}, "data"},
      {D4Rule::credit_of_one, {0, 0, 0, 11, 1, 0, 3, 2, 2, 0, 2}, "two"},
      {D4Rule::credit_of_one, {0, 0, 0, 11, 1, 0, 3, 2, 2, 0, 0}, "none"},
      {D4Rule::request_needed, host::credit_request(0x02), "credit is there"},
      {D4Rule::answer_asked, host::credit_answer(0, 0x02), "credit"},
      {D4Rule::answer_asked, host::exit_answer(0), "exit"},
      {D4Rule::error_deserved, host::error(0x80), "no fault"},
  };
  for (const Wrong& wrong : cases) {
    SCOPED_TRACE(wrong.what);
    Wire wire = opened(0x02);
    wire.say(wrong.packet);
    expect_breach(wire, wrong.rule);
  }
}

TEST(D4HostChecks, AllowsTheLargestPacketAndNoMore) {
  Wire wire = opened(0x02);
  wire.say(host::data(0x02, std::string(4096, 'x')));
  expect_clean(wire);
}

TEST(D4HostChecks, DataNeedCredit) {
  Wire wire = opened(0x02, {.any_socket = {.open_credit = 2}});
  wire.say(host::data(0x02, "one"));
  wire.say(host::data(0x02, "two"));
  expect_clean(wire);
  wire.say(host::data(0x02, "three"));
  expect_breach(wire, D4Rule::data_credit);
}

TEST(D4HostChecks, CreditCountsOnceTheHostHasGotIt) {
  Wire wire = opened(0x02, {.any_socket = {.credit = D4CreditPolicy::on_request}});
  wire.write(host::credit_request(0x02));
  wire.write(host::data(0x02, "early"));
  expect_breach(wire, D4Rule::data_credit);
}

TEST(D4HostChecks, AChannelIsOpenOnceTheHostHasGotTheReply) {
  Wire wire = entered();
  wire.write(host::open(0x02));
  wire.write(host::data(0x02, "early"));
  expect_breach(wire, D4Rule::data_channel);
}

TEST(D4HostChecks, ARefusedChannelIsNotOpen) {
  Wire wire = entered({.replies = {{.command = D4Command::open_channel, .result = 9}}});
  wire.say(host::open(0x02));
  wire.say(host::data(0x02, "x"));
  expect_breach(wire, D4Rule::data_channel);
}

TEST(D4HostChecks, AClosedChannelIsNotOpen) {
  Wire wire = opened(0x02);
  wire.say(host::close(0x02));
  wire.say(host::data(0x02, "x"));
  expect_breach(wire, D4Rule::data_channel);
}

TEST(D4HostChecks, AChannelThatTheHostCanNotUseMayBeOpenedAgain) {
  Wire wire = opened(0x02, {.any_socket = {.read_size = 5}});
  wire.say(host::open(0x02));
  expect_clean(wire);
}

TEST(D4HostChecks, DataOfThePrintSocketMayCarryCredit) {
  Wire wire = opened(0x50);
  wire.say(host::data(0x50, "x", 3));
  EXPECT_EQ(3U, wire.device.link().channel(0x50)->device_credit);
  expect_clean(wire);
}

TEST(D4HostChecks, CreditIsGivenWhenTheDeviceHasNoneLeft) {
  Wire wire = opened(0x02);
  wire.say(host::credit(0x02));
  expect_clean(wire);
  wire.say(host::credit(0x02));
  expect_breach(wire, D4Rule::credit_needed);
}

TEST(D4HostChecks, CreditMayCrossWithWhatTheDeviceAskedFor) {
  Wire wire = opened(0x02);
  wire.device.send_credit_request(0x02, 2, 0);
  wire.read_all();
  wire.say(host::request_answer(0, 0x02, 2));
  wire.say(host::credit(0x02));
  expect_clean(wire);
  wire.say(host::credit(0x02));
  expect_breach(wire, D4Rule::credit_needed);
}

TEST(D4HostChecks, ARequestAsksForTheUsualCredit) {
  for (const size_t at : {size_t{9}, size_t{10}, size_t{11}, size_t{12}}) {
    Wire wire = opened(0x02, {.any_socket = {.credit = D4CreditPolicy::on_request}});
    Bytes request = host::credit_request(0x02);
    request[at] ^= 0x01;
    wire.say(request);
    expect_breach(wire, D4Rule::request_form);
  }
}

TEST(D4HostChecks, OneCommandIsUnderWayAtATime) {
  Wire wire = opened(0x02);
  wire.write(host::credit(0x02));
  wire.write(host::close(0x02));
  expect_breach(wire, D4Rule::one_at_a_time);
}

TEST(D4HostChecks, ACommandWaitsForTheWholeReply) {
  Wire wire = opened(0x02);
  wire.write(host::credit(0x02));
  wire.read(9);
  wire.write(host::close(0x02));
  expect_breach(wire, D4Rule::one_at_a_time);
}

TEST(D4HostChecks, AReplyMayBeGivenUpAfterElevenSecondsAndNotBefore) {
  for (const uint64_t waited : {uint64_t{10999}, uint64_t{11000}}) {
    Wire wire = opened(0x02, {.replies = {{.command = D4Command::credit, .never = true}}});
    wire.write(host::credit(0x02));
    wire.now_ms = waited;
    wire.say(host::close(0x02));
    EXPECT_EQ(waited < 11000 ? 1U : 0U, wire.device.breaches(D4Rule::one_at_a_time));
  }
}

TEST(D4HostChecks, NothingComesAfterARefusal) {
  Wire entry({.replies = {{.command = D4Command::entry, .result = 1}}});
  entry.say(host::entry);
  entry.say(host::init);
  expect_breach(entry, D4Rule::nothing_after_refusal);
  Wire init({.replies = {{.command = D4Command::init, .result = 2}}});
  init.say(host::entry);
  init.say(host::init);
  init.say(host::exit);
  expect_breach(init, D4Rule::nothing_after_refusal);
  EXPECT_NE(std::string::npos, entry.device.report().find("the device refused the entry string"));
  EXPECT_NE(std::string::npos, init.device.report().find("the device refused Init"));
}

TEST(D4HostChecks, NothingComesAfterTheHostsExit) {
  Wire wire = opened(0x02);
  wire.say(host::exit);
  wire.say(host::data(0x02, "x"));
  expect_breach(wire, D4Rule::nothing_after_exit);
}

TEST(D4HostChecks, AHostThatAwaitsItsExitReplyStillAnswers) {
  Wire wire = opened(0x02, {.replies = {{.command = D4Command::exit, .late_ms = 5}}});
  wire.write(host::exit);
  wire.device.send_credit(0x02, 1, 0);
  wire.read_all();
  wire.say(host::credit_answer(0, 0x02));
  expect_clean(wire);
  wire.now_ms = 5;
  EXPECT_EQ(wire::exit_reply, wire.read_all());
  wire.say(host::credit_answer(0, 0x02));
  expect_breach(wire, D4Rule::nothing_after_exit);
}

TEST(D4HostChecks, NothingComesAfterTheDevicesExitWasAnswered) {
  Wire wire = opened(0x02);
  wire.device.send_exit(0);
  wire.read_all();
  wire.say(host::exit_answer(0));
  expect_clean(wire);
  wire.say(host::close(0x02));
  expect_breach(wire, D4Rule::nothing_after_exit);
}

TEST(D4HostChecks, NothingComesAfterTheDevicesError) {
  Wire wire = opened(0x02);
  wire.device.send_error(0x80, 0);
  wire.write(host::data(0x02, "before it was read"));
  wire.read_all();
  expect_clean(wire);
  wire.say(host::exit);
  expect_breach(wire, D4Rule::nothing_after_error);
  wire.enter();
  expect_breach(wire, D4Rule::nothing_after_error);
}

TEST(D4HostChecks, NothingComesAfterTheHostsError) {
  Wire wire = opened(0x02);
  wire.device.push_raw(wire::credit_reply(0, 0x02), 0);
  wire.read_all();
  wire.say(host::error(0x82));
  expect_clean(wire);
  wire.say(host::close(0x02));
  expect_breach(wire, D4Rule::nothing_after_error);
}

TEST(D4HostChecks, AnErrorHasItsForm) {
  const std::vector<Bytes> wrong = {host::error(0x7F),
                                    host::error(0x88),
                                    {0, 0, 0, 10, 0, 0, 0x7F, 1, 0, 0x80},
                                    {0, 0, 0, 10, 0, 0, 0x7F, 0, 1, 0x80}};
  for (const Bytes& error : wrong) {
    Wire wire = opened(0x02);
    wire.device.push_raw(wire::credit_reply(0, 0x02), 0);
    wire.read_all();
    wire.say(error);
    expect_breach(wire, D4Rule::error_form);
  }
  Wire credit = opened(0x02);
  credit.device.push_raw(wire::credit_reply(0, 0x02), 0);
  credit.read_all();
  Bytes error = host::error(0x82);
  error[4] = 1;
  credit.say(error);
  expect_breach(credit, D4Rule::credit_byte);
}

TEST(D4HostChecks, WhatATestToleratesIsNotedOnly) {
  Wire wire = opened(0x02, {.tolerated = {D4Rule::data_channel}});
  wire.say(host::data(0x21, "x"));
  expect_clean(wire);
  EXPECT_NE(std::string::npos, wire.device.report().find("tolerated: data for an open channel"));
  wire.device.tolerate(D4Rule::close_padding);
  wire.say({0, 0, 0, 10, 1, 0, 2, 2, 2, 1});
  expect_clean(wire);
}

TEST(D4HostChecks, EachErrorCodeOfItsRangeIsRight) {
  for (uint8_t code = 0x80; code <= 0x87; ++code) {
    Wire wire = opened(0x02);
    wire.device.push_raw(wire::credit_reply(0, 0x02), 0);
    wire.read_all();
    wire.say(host::error(code));
    expect_clean(wire);
  }
}

TEST(D4HostChecks, AnAnswerIsNotOwedToAnEarlierLink) {
  Wire wire({.replies = {{.command = D4Command::entry, .at = 2, .result = 1}}});
  wire.enter();
  wire.write(host::exit);
  wire.say(host::entry);
  wire.say(host::exit_answer(0));
  expect_breach(wire, D4Rule::nothing_after_refusal);
}

TEST(D4HostChecks, AChannelIsUsableWithOneDirectionOrWithHeadersOnly) {
  const std::vector<std::pair<D4SocketOptions, bool>> cases = {
      {{.write_size = 0, .read_size = 100}, true},  {{.write_size = 100, .read_size = 0}, true},
      {{.write_size = 6, .read_size = 6}, true},    {{.write_size = 0, .read_size = 0}, false},
      {{.write_size = 5, .read_size = 100}, false}, {{.write_size = 100, .read_size = 1}, false}};
  for (const auto& [sizes, usable] : cases) {
    Wire wire = opened(0x02, {.any_socket = sizes});
    wire.say(host::open(0x02));
    expect_breach(wire, D4Rule::open_once, usable ? 1 : 0);
  }
}

TEST(D4HostChecks, CreditThatTheDeviceAskedForIsUsedUp) {
  Wire wire = opened(0x02);
  wire.device.send_credit_request(0x02, 1, 0);
  wire.device.reply(0x02, bytes_of("x"), 0);
  wire.read_all();
  EXPECT_EQ(host::data(0x02, "x"), wire.say(host::request_answer(0, 0x02, 1)));
  wire.say(host::credit(0x02));
  expect_clean(wire);
  wire.say(host::credit(0x02));
  expect_breach(wire, D4Rule::credit_needed);
}

}  // namespace
