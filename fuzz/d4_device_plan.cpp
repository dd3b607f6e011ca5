#include "fuzz/d4_device_plan.h"

#include <algorithm>
#include <utility>

#include "fuzz/d4_calls.h"

namespace fuzz {
namespace {

using simulator::Bytes;
using simulator::D4Act;
using simulator::D4Command;
using simulator::D4CreditPolicy;
using simulator::D4Options;
using simulator::D4ReplyRule;
using simulator::D4SocketOptions;

constexpr unsigned kMostActions = 24;
constexpr std::size_t kMostRaw = 64;
constexpr std::size_t kMostInPieces = 300;
constexpr std::uint8_t kFaxSocket = 0x21;

constexpr std::array<std::uint64_t, 16> kTimes{0,   1,   20,   100,  300,  499,   500,   501,
                                               900, 999, 1000, 3000, 9000, 10999, 11000, 11250};
constexpr std::array<std::uint8_t, 8> kSockets{0x02, 0x21, 0x00, 0x40, 0x22, 0x50, 0xFE, 0xFF};

std::uint8_t MakeSocket(std::uint8_t choice) { return kSockets[choice & 7]; }

// Each byte holds some of the small choices.
class Bits {
 public:
  explicit Bits(unsigned bits) : bits_(bits) {}
  unsigned Take(unsigned count) {
    const unsigned taken = bits_ & ((1U << count) - 1);
    bits_ >>= count;
    return taken;
  }
  bool Flag() { return Take(1) != 0; }

 private:
  unsigned bits_;
};

D4SocketOptions MakeSocketOptions(Choices& choices) {
  constexpr std::array<std::uint16_t, 16> kSizes{4102, 65535, 512, 20, 7,  6,   5,   1,
                                                 0,    4103,  64,  8,  10, 100, 300, 1024};
  constexpr std::array<std::uint16_t, 8> kAmounts{1, 0, 2, 3, 128, 129, 255, 65535};
  Bits sizes(choices.Byte());
  Bits credit(choices.Byte());
  Bits more(choices.Byte());
  D4SocketOptions options;
  options.write_size = kSizes[sizes.Take(4)];
  options.read_size = kSizes[sizes.Take(4)];
  options.credit = static_cast<D4CreditPolicy>(credit.Take(2));
  options.open_credit = kAmounts[credit.Take(3)];
  options.grant = kAmounts[credit.Take(3)];
  options.refusals = more.Take(2);
  options.piggyback = static_cast<std::uint8_t>(kAmounts[more.Take(3)]);
  // Only the byte: the larger amounts stand in the device's own command.
  if (options.piggyback == 1) options.piggyback = 0;
  options.own_credit = kAmounts[more.Take(3)];
  options.own_credit_ms = kTimes[choices.Byte() & 15];
  return options;
}

Bytes MakeBytes(Choices& choices, const D4Options& options) {
  constexpr std::array<std::size_t, 8> kLengths{1, 2, 16, 58, 59, 300, 4097, 65529};
  const std::uint8_t length = choices.Byte();
  if ((length & 0x80) != 0) {
    // Not so many in pieces of a few bytes each.
    constexpr std::uint16_t kSmall = 300;
    const bool small = options.transfer_bytes != 0 || options.any_socket.read_size < kSmall ||
                       options.sockets.at(kFaxSocket).read_size < kSmall;
    const std::size_t most = small ? kMostInPieces : kLengths.back();
    return simulator::pattern(std::min(kLengths[length & 7], most));
  }
  const Input bytes = choices.Bytes(length % (kMostRaw + 1));
  return {bytes.begin(), bytes.end()};
}

void AddAct(Choices& choices, D4Act::Kind kind, D4Options& options) {
  Bits when(choices.Byte());
  Bits what(choices.Byte());
  D4Act act;
  act.kind = kind;
  if (when.Flag()) {
    act.at_ms = std::uint64_t{choices.Byte()} * 100;
  } else {
    act.host_packet = 1 + when.Take(5);
  }
  act.before_reply = when.Flag();
  if (when.Flag()) act.delay_ms = kTimes[choices.Byte() & 15];
  act.socket = MakeSocket(static_cast<std::uint8_t>(what.Take(3)));
  act.end_of_message = !what.Flag();
  act.without_credit = what.Flag();
  switch (kind) {
    case D4Act::Kind::error:
      act.code = choices.Byte();
      break;
    case D4Act::Kind::credit:
    case D4Act::Kind::credit_request:
      act.amount = choices.Word();
      break;
    case D4Act::Kind::data:
    case D4Act::Kind::raw:
      act.bytes = MakeBytes(choices, options);
      break;
    default:
      break;
  }
  options.acts.push_back(std::move(act));
}

void AddReplyRule(Choices& choices, D4Options& options) {
  constexpr std::array<D4Command, 8> kCommands{D4Command::entry,        D4Command::init,
                                               D4Command::open_channel, D4Command::close_channel,
                                               D4Command::credit,       D4Command::credit_request,
                                               D4Command::exit,         D4Command::init};
  Bits which(choices.Byte());
  Bits how(choices.Byte());
  D4ReplyRule rule;
  rule.command = kCommands[which.Take(3)];
  rule.at = which.Take(2);
  if (which.Flag()) rule.socket = MakeSocket(static_cast<std::uint8_t>(which.Take(2)));
  if (how.Flag()) rule.result = static_cast<std::uint8_t>(choices.Byte() & 15);
  if (how.Flag()) rule.late_ms = kTimes[choices.Byte() & 15];
  rule.never = how.Take(2) == 3;
  rule.twice = how.Take(2) == 3;
  if (how.Take(2) == 3) rule.instead = MakeBytes(choices, options);
  options.replies.push_back(std::move(rule));
}

void AddAnswer(Choices& choices, D4Options& options) {
  Bits how(choices.Byte());
  simulator::D4Answer answer;
  answer.socket = MakeSocket(static_cast<std::uint8_t>(how.Take(3)));
  answer.echo = how.Flag();
  answer.after_ms = kTimes[how.Take(4)];
  if (!answer.echo) answer.reply = MakeBytes(choices, options);
  options.answers.push_back(std::move(answer));
}

void AddTrouble(Choices& choices, D4Options& options) {
  const std::uint8_t kind = choices.Byte();
  const std::uint16_t at = choices.Word();
  switch (kind % 3) {
    case 0:
      options.short_writes[1 + (at & 15)] = at >> 8;
      break;
    case 1:
      options.remove_after_read = at & 0x7FF;
      break;
    default:
      options.remove_after_written = at & 0x7FF;
      break;
  }
}

void AddAction(Choices& choices, D4Options& options) {
  const unsigned kind = choices.Byte() % 15;
  switch (kind) {
    case 9:
    case 10:
    case 11:
      return AddReplyRule(choices, options);
    case 12:
    case 13:
      return AddAnswer(choices, options);
    case 14:
      return AddTrouble(choices, options);
    default:
      return AddAct(choices, static_cast<D4Act::Kind>(kind), options);
  }
}

}  // namespace

simulator::D4Options MakeDevice(Choices& choices) {
  constexpr std::array<std::size_t, 8> kPieces{0, 1, 2, 5, 6, 7, 16, 64};
  Bits shape(choices.Byte());
  Bits pace(choices.Byte());
  D4Options options;
  options.transfer_bytes = kPieces[shape.Take(3)];
  options.empty_before_packet = shape.Take(2);
  options.coalesce = shape.Flag();
  options.silent_when_idle = shape.Flag();
  options.silence_stops_writes = shape.Flag();
  options.latency_ms = kTimes[pace.Take(4)];
  options.data_latency_ms = kTimes[pace.Take(4)];
  Bits rest(choices.Byte());
  options.empty_after_ms = kEmptyReadMs + rest.Take(6) * 4;
  options.data_survive_close = rest.Flag();
  options.output_survives_entry = rest.Flag();
  options.any_socket = MakeSocketOptions(choices);
  options.sockets[kFaxSocket] = MakeSocketOptions(choices);
  for (unsigned i = 0; i < kMostActions && !choices.Empty(); ++i) AddAction(choices, options);
  return options;
}

}  // namespace fuzz
