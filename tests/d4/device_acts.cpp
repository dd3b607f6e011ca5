// What the device does by itself, at each packet of the host, ahead of its reply and behind
// it: whatever it is, the host keeps to the rules, tells only listed results and comes again.

#include <gmock/gmock.h>

#include "simulator/d4_wire.h"
#include "tests/d4/device_exchange.h"

namespace d4_test {
namespace {

using simulator::D4Act;
using simulator::D4Options;
using simulator::D4Rule;

struct Deed {
  std::string name;
  D4Act act;
  // Rules that mean nothing behind it, and why.
  std::set<D4Rule> tolerated = {};
  // Whether every call and message may be expected to go well all the same.
  bool harmless = false;
};

void PrintTo(const Deed& deed, std::ostream* to) { *to << deed.name; }

D4Act raw(const Bytes& bytes) { return {.kind = D4Act::Kind::raw, .bytes = bytes}; }

std::vector<Deed> deeds() {
  using Kind = D4Act::Kind;
  // Reading has ended then, but what is written isn't kept back until a call ends the link.
  const std::set<D4Rule> written_on = {D4Rule::nothing_after_error};
  // An Exit while the link is opened is answered, and the link opened all the same.
  const std::set<D4Rule> opened_on = {D4Rule::nothing_after_exit};
  // The host judges a header alone, the device end only what was read whole.
  const std::set<D4Rule> judged_early = {D4Rule::error_deserved, D4Rule::one_at_a_time};
  return {
      {"Error", {.kind = Kind::error, .code = 0x80}, written_on},
      {"Exit", {.kind = Kind::exit}, opened_on},
      {"CloseOfTheCommandChannel", {.kind = Kind::close_channel, .socket = 0x02}},
      {"CloseOfTheFaxChannel", {.kind = Kind::close_channel, .socket = 0x21}},
      {"CloseOfSocketZero", {.kind = Kind::close_channel, .socket = 0}, {}, true},
      {"CloseOfNoChannel", {.kind = Kind::close_channel, .socket = 0x77}, {}, true},
      {"Credit", {.kind = Kind::credit, .socket = 0x02, .amount = 3}, {}, true},
      {"CreditWithoutMeasure", {.kind = Kind::credit, .socket = 0x02, .amount = 0xFFFF}},
      {"CreditOfNone", {.kind = Kind::credit, .socket = 0x50, .amount = 0}, {}, true},
      {"CreditForNoChannel", {.kind = Kind::credit, .socket = 0x77, .amount = 1}, {}, true},
      {"CreditForSocketZero", {.kind = Kind::credit, .socket = 0, .amount = 1}},
      {"CreditRequest", {.kind = Kind::credit_request, .socket = 0x50, .amount = 2}, {}, true},
      {"CreditRequestForNone",
       {.kind = Kind::credit_request, .socket = 0x02, .amount = 0},
       {},
       true},
      {"CreditRequestForNoChannel",
       {.kind = Kind::credit_request, .socket = 0x77, .amount = 1},
       {},
       true},
      {"Data", {.kind = Kind::data, .socket = 0x02, .bytes = own_words()}, {}, true},
      {"DataOnTheFaxChannel", {.kind = Kind::data, .socket = 0x21, .bytes = own_words()}, {}, true},
      {"DataWithoutCredit",
       {.kind = Kind::data, .socket = 0x02, .bytes = own_words(), .without_credit = true}},
      {"DataForNoChannel",
       {.kind = Kind::data, .socket = 0x77, .bytes = own_words(), .without_credit = true}},
      {"DataTooBig",
       {.kind = Kind::data, .socket = 0x40, .bytes = Bytes(300), .without_credit = true}},
      {"UnaskedInitReply", raw(init_reply())},
      {"UnaskedCreditReply", raw(credit_reply(0x02))},
      {"UnaskedExitReply", raw(exit_reply())},
      {"UnknownReply", raw(control_packet(0x9B, {0, 0}))},
      {"UnknownCommand", raw(control_packet(0x0C, {0, 0}))},
      {"CommandOfTheHost", raw(init())},
      {"CommandOfTheWrongLength", raw(with_length(exit_link(), 6))},
      {"LongControlPacket", raw(control_packet(0x03, Bytes(90))), judged_early},
      {"SocketsThatDiffer", raw(hex("02 21 00 08 00 01 41 42"))},
      {"CreditForTwoSockets", raw(hex("00 00 00 0B 01 00 03 02 21 00 01"))},
      {"LengthOfNothing", raw(hex("02 02 00 00 00 01"))},
      {"DataWithoutPayload", raw(hex("02 02 00 06 00 01"))},
      {"HalfAHeader", raw(hex("00 00 00"))},
      {"HalfAPacket", raw(hex("02 02 00 20 00 01 41 42"))},
      {"ALineOfText", raw(text("@QPL INFO ID\r\n")), judged_early},
  };
}

class DeviceActs : public ::testing::TestWithParam<Deed> {
 protected:
  template <typename Life>
  void at_each_packet(std::uint64_t packets, Life life) {
    for (std::uint64_t packet = 1; packet <= packets && !HasFailure(); packet += kStep) {
      for (const bool before : {true, false}) {
        SCOPED_TRACE((before ? "ahead of the reply to packet " : "behind the reply to packet ") +
                     std::to_string(packet));
        D4Options options = small_device();
        options.tolerated = GetParam().tolerated;
        D4Act act = GetParam().act;
        act.host_packet = packet;
        act.before_reply = before;
        options.acts = {act};
        live(packet, [&] {
          DevicePort port(options);
          life(port);
        });
      }
    }
  }
};

TEST_P(DeviceActs, AtEachPacketOfALink) {
  at_each_packet(packets_of_exchange(), [](DevicePort& port) {
    const Engine engine;
    const Exchange with = exchange(port, {.fits = is_echo_with_own_words});
    EXPECT_TRUE(with.whole || !GetParam().harmless) << with.first_failure << "\n" << port.report();
    expect_recovery(port);
  });
}

using DeviceActsUnderCommands = DeviceActs;

TEST_P(DeviceActsUnderCommands, AtEachPacket) {
  at_each_packet(packets_of_command_exchange(), [](DevicePort& port) {
    vlp::CD4CmdIO io(nullptr, port.handle(), port.ops(), &kTalkSettings);
    EXPECT_TRUE(command_exchange(port, io).whole || !GetParam().harmless) << port.report();
    EXPECT_TRUE(command_exchange(port, io).whole) << port.report();
    EXPECT_EQ(0u, io.FatalError());
  });
}

std::string name_of(const ::testing::TestParamInfo<Deed>& of) { return of.param.name; }

INSTANTIATE_TEST_SUITE_P(Of, DeviceActs, ::testing::ValuesIn(deeds()), name_of);

// Data would be taken for the answer to a command.
std::vector<Deed> deeds_without_data() {
  std::vector<Deed> all = deeds();
  std::erase_if(all, [](const Deed& deed) { return deed.act.kind == D4Act::Kind::data; });
  return all;
}

INSTANTIATE_TEST_SUITE_P(Of, DeviceActsUnderCommands, ::testing::ValuesIn(deeds_without_data()),
                         name_of);

}  // namespace
}  // namespace d4_test
