// What the device does by itself: planned, with a packet of the host, or told by a test.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;
using Kind = D4Act::Kind;

const Bytes exit_command = {0, 0, 0, 7, 1, 0, 8};
const Bytes close_command = {0, 0, 0, 10, 1, 0, 2, 2, 2, 0};
const Bytes request_command = {0, 0, 0, 13, 1, 0, 4, 2, 2, 0x12, 0x34, 0xFF, 0xFF};
const Bytes error_packet = {0, 0, 0, 10, 0, 0, 0x7F, 0, 0, 0x81};

TEST(D4Acts, AreSentWhenATestSaysSo) {
  Wire wire = opened(0x02);
  wire.device.send_credit(0x02, 7, 0);
  EXPECT_EQ(wire::credit(0x02, 7), wire.read_all());
  wire.device.send_credit_request(0x02, 0x1234, 0);
  EXPECT_EQ(request_command, wire.read_all());
  wire.device.send_close(0x02, 0);
  EXPECT_EQ(close_command, wire.read_all());
  wire.device.send_error(0x81, 0);
  EXPECT_EQ(error_packet, wire.read_all());
  Wire other = opened(0x02);
  other.device.send_exit(0);
  EXPECT_EQ(exit_command, other.read_all());
  other.device.push_raw(bytes_of("anything"), 0);
  EXPECT_EQ(bytes_of("anything"), other.read_all());
}

TEST(D4Acts, HappenAtTheirMoment) {
  D4Options options;
  options.acts = {{.kind = Kind::exit, .at_ms = 300},
                  {.kind = Kind::credit, .at_ms = 100, .socket = 2, .amount = 9},
                  {.kind = Kind::credit_request, .at_ms = 200, .socket = 2, .amount = 0x1234},
                  {.kind = Kind::error, .at_ms = 400, .code = 0x81},
                  {.kind = Kind::raw, .at_ms = 350, .bytes = bytes_of("raw")}};
  Wire wire = entered(options);
  const std::vector<std::pair<uint64_t, Bytes>> expected = {{100, wire::credit(0x02, 9)},
                                                            {200, request_command},
                                                            {300, exit_command},
                                                            {350, bytes_of("raw")},
                                                            {400, error_packet}};
  for (const auto& [at_ms, bytes] : expected) {
    EXPECT_EQ(at_ms, wire.device.next_due());
    wire.now_ms = at_ms - 1;
    EXPECT_EQ(Bytes{}, wire.read());
    wire.now_ms = at_ms;
    EXPECT_EQ(bytes, wire.read());
  }
  EXPECT_EQ(std::nullopt, wire.device.next_due());
}

TEST(D4Acts, HappenWithAPacketOfTheHostOnEitherSideOfTheReply) {
  D4Options options;
  options.acts = {
      {.kind = Kind::credit, .host_packet = 3, .socket = 2, .amount = 1},
      {.kind = Kind::credit, .host_packet = 3, .before_reply = true, .socket = 2, .amount = 2},
      {.kind = Kind::credit, .host_packet = 3, .delay_ms = 40, .socket = 2, .amount = 3}};
  options.latency_ms = 10;
  Wire wire(options);
  wire.write(host::entry);
  wire.now_ms = 10;
  EXPECT_EQ(wire::entry_reply, wire.read_all());
  wire.write(host::init);
  wire.now_ms = 20;
  EXPECT_EQ(wire::init_reply, wire.read_all());
  wire.write(host::open(0x02));
  EXPECT_EQ(wire::credit(0x02, 2), wire.read_all());
  wire.now_ms = 30;
  EXPECT_EQ(joined({wire::open_reply(0x02), wire::credit(0x02, 1)}), wire.read_all());
  wire.now_ms = 60;
  EXPECT_EQ(wire::credit(0x02, 3), wire.read_all());
}

TEST(D4Acts, PlannedDuringATestCountFromThere) {
  Wire wire = opened(0x02);
  wire.device.plan({.kind = Kind::exit, .host_packet = 1});
  EXPECT_EQ(joined({wire::close_reply(0, 0x02), exit_command}), wire.say(host::close(0x02)));
}

TEST(D4Acts, DataWaitForCreditUnlessTheyAreHostile) {
  Wire wire = opened(0x02);
  wire.device.plan({.kind = Kind::data, .at_ms = 5, .socket = 2, .bytes = bytes_of("calm")});
  wire.now_ms = 5;
  EXPECT_EQ(Bytes{}, wire.read_all());
  EXPECT_EQ(joined({wire::credit_reply(0, 0x02), host::data(0x02, "calm")}),
            wire.say(host::credit(0x02)));
  EXPECT_TRUE(wire.device.link().fault().empty());
  wire.device.send_data_without_credit(0x02, bytes_of("wild"), wire.now_ms, false);
  EXPECT_EQ(host::data(0x02, "wild", 0, 0), wire.read_all());
  EXPECT_EQ("data without credit", wire.device.link().fault());
}

TEST(D4Acts, SilenceAndRemovalCanBePlanned) {
  D4Options options;
  options.acts = {{.kind = Kind::silence, .host_packet = 2}, {.kind = Kind::removal, .at_ms = 70}};
  Wire wire(options);
  EXPECT_EQ(wire::entry_reply, wire.say(host::entry));
  wire.write(host::init);
  EXPECT_TRUE(wire.device.silent());
  EXPECT_EQ(D4Transfer::pending, wire.device.take(69, buffer_size).how);
  EXPECT_EQ(70U, wire.device.next_due());
  EXPECT_EQ(D4Transfer::gone, wire.device.take(70, buffer_size).how);
  EXPECT_TRUE(wire.device.gone());
}

TEST(D4Fault, IsEachThingThatGivesTheHostCauseToEndTheLink) {
  struct Case {
    const char* fault;
    Bytes bytes;
  };
  const std::vector<Case> cases = {
      {"sockets that differ", {2, 3, 0, 7, 0, 0, 1}},
      {"a control packet of the wrong form", {0, 0, 0, 7, 1, 0, 0x85}},
      {"a control packet of the wrong form", {0, 0, 0, 9, 1, 0, 0x81, 0, 0}},
      {"a control packet of the wrong form", {0, 0, 0, 6, 1, 0}},
      {"bytes that are no packet", {0, 0, 0, 5, 1, 0}},
      {"a reply that nobody awaits", wire::credit_reply(0, 0x02)},
      {"a command whose sockets differ", {0, 0, 0, 11, 1, 0, 3, 2, 3, 0, 1}},
      {"a command for socket 0", {0, 0, 0, 11, 1, 0, 3, 0, 0, 0, 1}},
      {"a command that is the host's", {0, 0, 0, 8, 1, 0, 0, 0x10}},
      {"data without payload", {2, 2, 0, 6, 0, 0}},
      {"data without credit", {2, 2, 0, 7, 0, 0, 'x'}},
      {"data for a channel that isn't open", {9, 9, 0, 7, 0, 0, 'x'}},
  };
  for (const Case& each : cases) {
    Wire wire = opened(0x02);
    wire.device.push_raw(each.bytes, 0);
    EXPECT_EQ(each.bytes, wire.read_all());
    EXPECT_EQ(each.fault, wire.device.link().fault()) << wire.device.report();
    wire.write(host::error(0x80));
    EXPECT_EQ(std::vector<uint8_t>{0x80}, wire.device.link().host_errors());
    expect_clean(wire);
  }
}

TEST(D4Fault, IsAlsoWhatNeedsMoreThanOnePacket) {
  Wire late = entered({.replies = {{.command = D4Command::open_channel, .late_ms = 11000}}});
  late.write(host::open(0x02));
  late.now_ms = 11000;
  EXPECT_EQ(wire::open_reply(0x02), late.read_all());
  EXPECT_EQ("a reply that comes too late", late.device.link().fault());

  Wire result = entered({.replies = {{.command = D4Command::open_channel, .result = 77}}});
  result.say(host::open(0x02));
  EXPECT_EQ("a result that the host can't know", result.device.link().fault());

  D4Options small;
  small.any_socket.read_size = 8;
  Wire large = opened(0x02, small);
  large.say(host::credit(0x02));
  large.device.send_data_without_credit(0x02, bytes_of("abc"), 0);
  large.read_all();
  EXPECT_EQ("data above the negotiated size", large.device.link().fault());

  Wire credit = opened(0x02, {.any_socket = {.open_credit = 0xFFFF, .piggyback = 1}});
  credit.device.reply(0x02, bytes_of("x"), 0);
  credit.say(host::credit(0x02));
  EXPECT_EQ("more credit than a channel can hold", credit.device.link().fault());
}

TEST(D4Fault, IsAHeaderThatBreaksOff) {
  Wire wire = opened(0x02);
  wire.device.push_raw(Bytes{0, 0, 0, 10, 1}, 0);
  wire.device.take(0, buffer_size);
  EXPECT_TRUE(wire.device.link().fault().empty());
  EXPECT_EQ(Bytes{}, wire.read());
  EXPECT_EQ("a packet that breaks off", wire.device.link().fault());
}

TEST(D4Fault, IsAPacketThatBreaksOffOnceTheHostLosesPatience) {
  for (const uint64_t waited : {uint64_t{10999}, uint64_t{11000}}) {
    Wire wire = opened(0x02);
    wire.now_ms = 5;
    wire.device.push_raw(Bytes{0, 0, 0, 10, 1, 0}, wire.now_ms);
    wire.read();
    EXPECT_EQ(Bytes{}, wire.read());
    wire.now_ms += waited;
    wire.say(host::error(0x80));
    EXPECT_EQ(waited < 11000 ? 1U : 0U, wire.device.breaches(D4Rule::error_deserved));
  }
}

TEST(D4Fault, IsNotAPacketThatComesInPieces) {
  Wire wire = opened(0x02);
  wire.write(host::credit(0x02));
  EXPECT_EQ(3U, wire.read(3).size());
  EXPECT_EQ(5U, wire.read(5).size());
  wire.now_ms = 10999;
  EXPECT_EQ(2U, wire.read_all().size());
  EXPECT_TRUE(wire.device.link().fault().empty());
  expect_clean(wire);
}

TEST(D4Fault, IsNotWhatComesWithoutALink) {
  Wire wire;
  wire.device.push_raw(bytes_of("left from some earlier job"), 0);
  wire.read_all();
  EXPECT_TRUE(wire.device.link().fault().empty()) << wire.device.report();
  wire.enter();
  wire.say(host::exit);
  wire.device.push_raw(wire::exit_reply, 0);
  wire.read_all();
  EXPECT_TRUE(wire.device.link().fault().empty()) << wire.device.report();
  expect_clean(wire);
}

TEST(D4Fault, IsNotDataForAChannelThatTheHostIsClosing) {
  Wire wire = opened(0x02, {.replies = {{.command = D4Command::close_channel, .late_ms = 9}}});
  wire.say(host::credit(0x02));
  wire.write(host::close(0x02));
  wire.device.send_data_without_credit(0x02, bytes_of("late"), 0);
  EXPECT_EQ(host::data(0x02, "late"), wire.read_all());
  EXPECT_TRUE(wire.device.link().fault().empty()) << wire.device.report();
}

TEST(D4Fault, IsDataForAnotherChannelThanTheOneThatTheHostIsClosing) {
  struct Case {
    Bytes command;
    uint8_t socket;
    bool fault;
  };
  const std::vector<Case> cases = {{host::close(0x02), 0x02, false},
                                   {host::close(0x02), 0x09, true},
                                   {host::credit_request(0x09), 0x09, true}};
  for (const Case& each : cases) {
    Wire wire = opened(0x02, {.latency_ms = 0,
                              .replies = {{.command = D4Command::close_channel, .late_ms = 5},
                                          {.command = D4Command::credit_request, .late_ms = 5}}});
    wire.write(each.command);
    wire.device.push_raw(host::data(each.socket, "x"), 0);
    EXPECT_EQ(host::data(each.socket, "x"), wire.read_all());
    EXPECT_EQ(each.fault, wire.device.link().fault() == "data for a channel that isn't open");
    EXPECT_EQ(each.fault, !wire.device.link().fault().empty());
  }
}

TEST(D4Fault, IsAControlPacketOfMoreThanSixtyFourBytes) {
  for (const size_t letters : {size_t{55}, size_t{56}}) {
    Wire wire = entered({.services = {{std::string(letters, 'n'), 0x07}}});
    EXPECT_EQ(9 + letters, wire.say({0, 0, 0, 8, 1, 0, 10, 7}).size());
    EXPECT_EQ(letters == 55, wire.device.link().fault().empty());
  }
}

TEST(D4Acts, OfTheSameMomentKeepTheirOrder) {
  Wire wire = opened(0x02);
  for (const uint16_t amount : {uint16_t{1}, uint16_t{2}, uint16_t{3}}) {
    wire.device.plan({.kind = D4Act::Kind::credit, .at_ms = 4, .socket = 2, .amount = amount});
  }
  wire.now_ms = 4;
  EXPECT_EQ(joined({wire::credit(2, 1), wire::credit(2, 2), wire::credit(2, 3)}), wire.read_all());
}

TEST(D4Acts, AreDueByTheSoonestOfThem) {
  Wire wire = opened(0x02, {.latency_ms = 0, .empty_after_ms = 0, .data_survive_close = false});
  wire.device.plan({.kind = Kind::exit, .at_ms = 90});
  wire.device.plan({.kind = Kind::error, .at_ms = 40, .code = 0x80});
  EXPECT_EQ(40U, wire.device.next_due());
  wire.device.send_credit(0x02, 1, 7);
  EXPECT_EQ(7U, wire.device.next_due());
}

TEST(D4Acts, HostileDataUseUpWhatTheHostGranted) {
  Wire wire = opened(0x02, {.data_latency_ms = 15});
  wire.say(host::credit(0x02));
  wire.device.send_data_without_credit(0x02, bytes_of("wild"), 0);
  EXPECT_EQ(15U, wire.device.next_due());
  wire.device.reply(0x02, bytes_of("calm"), 0);
  wire.now_ms = 15;
  EXPECT_EQ(host::data(0x02, "wild"), wire.read_all());
  EXPECT_TRUE(wire.device.link().fault().empty());
  wire.device.send_data_without_credit(0x02, bytes_of("more"), wire.now_ms);
  wire.device.send_data_without_credit(0x77, bytes_of("none"), wire.now_ms);
  wire.now_ms = 30;
  EXPECT_EQ(joined({host::data(0x02, "more"), host::data(0x77, "none")}), wire.read_all());
  wire.device.reply(0x02, bytes_of("and more"), wire.now_ms);
  EXPECT_EQ(std::nullopt, wire.device.next_due());
}

}  // namespace
