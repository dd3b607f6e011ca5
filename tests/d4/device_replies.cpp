// Replies that refuse, come late, never, twice, or as something else; for each command.

#include "simulator/d4_wire.h"
#include "tests/d4/device_exchange.h"

namespace d4_test {
namespace {

using simulator::D4Command;
using simulator::D4Device;
using simulator::D4Options;
using simulator::D4ReplyRule;
using simulator::D4Rule;

constexpr D4Command kCommands[] = {
    D4Command::entry,  D4Command::init,           D4Command::open_channel, D4Command::close_channel,
    D4Command::credit, D4Command::credit_request, D4Command::exit};

std::string text_of(D4Command command) {
  return "command " + std::to_string(static_cast<int>(command));
}

D4Options with_rule(const D4ReplyRule& rule) {
  D4Options options = small_device();
  options.replies = {rule};
  return options;
}

Exchange exchange_and_recover(const D4Options& options, const ExchangeOptions& how = {}) {
  Exchange with;
  live(3, [&] {
    DevicePort port(options);
    const Engine engine;
    with = exchange(port, how);
    // What comes late comes before the next link is opened.
    test::sleep_ms(60'000);
    expect_recovery(port);
  });
  return with;
}

struct Refusal {
  D4Command command;
  std::set<int> known;
  std::int32_t unknown;  // the result for any other byte
};

// What the whole exchange tells first when one reply carries this byte.
TEST(DeviceReplies, EveryResultByteOfEveryCommandIsToldAsListed) {
  const Refusal refusals[] = {
      {D4Command::entry, {}, vlp::XDLT_ERR_ENTRY_REFUSED},
      {D4Command::init, {1, 2, 11}, vlp::XDLT_ERR_BAD_RESULT},
      {D4Command::open_channel, {4, 5, 9, 12, 13}, vlp::XDLT_ERR_BAD_RESULT},
      {D4Command::close_channel, {3, 8}, vlp::XDLT_ERR_BAD_RESULT},
      {D4Command::credit_request, {8}, vlp::XDLT_ERR_BAD_RESULT},
      // Whether the device took it shows in what it sends.
      {D4Command::credit, {}, 0},
      {D4Command::exit, {}, 0},
  };
  for (const Refusal& refusal : refusals) {
    for (int byte = 0; byte <= 255 && !HasFailure(); byte += byte < 16 ? 1 : 17) {
      SCOPED_TRACE(text_of(refusal.command) + " with " + std::to_string(byte));
      const Exchange with = exchange_and_recover(with_rule(
          {.command = refusal.command, .at = 1, .result = static_cast<std::uint8_t>(byte)}));
      // Opened, with other sizes than were asked for.
      const bool good = byte == 0 || (byte == 6 && refusal.command == D4Command::open_channel);
      EXPECT_EQ(good                           ? 0
                : refusal.known.contains(byte) ? -byte
                                               : refusal.unknown,
                with.first_failure);
      const bool unseen = refusal.command == D4Command::exit;
      if (refusal.command != D4Command::credit) {
        EXPECT_EQ(good || unseen, with.whole);
      }
    }
  }
}

// Each reply of the exchange, one at a time.
template <typename Check>
void at_each_reply(D4ReplyRule rule, Check check) {
  for (const D4Command command : kCommands) {
    for (std::uint32_t at = 1; at <= 8 && !::testing::Test::HasFailure();
         at += kTimesLonger == 1 ? 1 : 3) {
      SCOPED_TRACE(text_of(command) + ", " + std::to_string(at));
      rule.command = command;
      rule.at = at;
      check(rule);
    }
  }
}

TEST(DeviceReplies, LateButInTimeIsAsGoodAsAtOnce) {
  for (const std::uint64_t late : std::initializer_list<std::uint64_t>{1, 200, 5000, 10'600}) {
    at_each_reply({.late_ms = late}, [](const D4ReplyRule& rule) {
      EXPECT_TRUE(exchange_and_recover(with_rule(rule), {.patience = 40}).whole);
    });
  }
}

// The host gives up, and goes on while the reply is still to come.
TEST(DeviceReplies, TooLateEndsTheLinkOrTheCall) {
  for (const std::uint64_t late : std::initializer_list<std::uint64_t>{11'300, 12'000, 25'000}) {
    at_each_reply({.late_ms = late},
                  [](const D4ReplyRule& rule) { exchange_and_recover(with_rule(rule)); });
  }
}

TEST(DeviceReplies, NeverEndsTheLinkOrTheCall) {
  at_each_reply({.never = true}, [](const D4ReplyRule& rule) {
    const Exchange with = exchange_and_recover(with_rule(rule));
    const bool opening = rule.command == D4Command::entry || rule.command == D4Command::init;
    if (opening && rule.at == 1) {
      EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, with.opened);
    }
  });
}

TEST(DeviceReplies, TwiceIsOnceTooOften) {
  at_each_reply({.twice = true},
                [](const D4ReplyRule& rule) { exchange_and_recover(with_rule(rule)); });
}

TEST(DeviceReplies, OtherBytesThanTheReplyAreNoReply) {
  for (const Bytes& bytes :
       {credit_reply(0x02), exit_reply(), init_reply(), close_channel_reply(0x02),
        with_length(init_reply(), 8), cut(open_channel_reply(0x02, 9, 9, 1), 12), hex("00"),
        hex("00 00 00 00 01 00 80 00"), hex("FF FF FF FF FF FF FF FF FF FF FF FF FF FF"),
        text("HTTP/1.1 200 OK\r\n"), data(0x02, own_words()), exit_link(), error_packet(0x83)}) {
    at_each_reply({.instead = bytes}, [](const D4ReplyRule& rule) {
      D4Options options = with_rule(rule);
      // The host judges a header alone, the device end only what was read whole; and what ends
      // reading doesn't keep back what is written until a call ends the link.
      options.tolerated = {D4Rule::error_deserved, D4Rule::nothing_after_error,
                           D4Rule::nothing_after_exit};
      exchange_and_recover(options, {.fits = is_echo_with_own_words});
    });
  }
}

// The command layer tries again what was refused or came to nothing, as long as its time lasts.
TEST(DeviceReplies, TheCommandLayerLivesThroughAll) {
  for (const D4ReplyRule& each :
       {D4ReplyRule{.result = std::uint8_t{8}}, D4ReplyRule{.late_ms = 12'000},
        D4ReplyRule{.never = true}, D4ReplyRule{.twice = true},
        D4ReplyRule{.instead = exit_reply()}}) {
    at_each_reply(each, [](const D4ReplyRule& rule) {
      live(4, [&] {
        D4Options options = with_rule(rule);
        options.tolerated = {D4Rule::error_deserved};
        DevicePort port(options);
        vlp::CD4CmdIO io(nullptr, port.handle(), port.ops(), &kTalkSettings);
        command_exchange(port, io);
        test::sleep_ms(60'000);
        port.with([](D4Device& device, std::uint64_t) { device.options().replies.clear(); });
        EXPECT_TRUE(command_exchange(port, io).whole) << port.report();
        EXPECT_EQ(0u, io.FatalError());
      });
    });
  }
}

}  // namespace
}  // namespace d4_test
