// The packets' builders against bytes, and the words for them.

#include <gmock/gmock.h>

#include "tests/d4/wire_build.h"
#include "tests/d4/wire_text.h"

namespace d4_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(WireBuild, PacketsOfTheHost) {
  EXPECT_EQ(hex("00 00 00 1B 01 40 51 50 4C 20 31 32 38 34 2E 34 0A 40 51 50 4C 0A 40 51 50 4C 0A"),
            entry_string());
  EXPECT_EQ(hex("00 00 00 08 01 00 00 10"), init());
  EXPECT_EQ(hex("00 00 00 11 01 00 01 40 40 10 06 02 00 00 00 00 00"),
            open_channel(0x40, 4102, 512));
  EXPECT_EQ(hex("00 00 00 0A 01 00 02 50 50 00"), close_channel(0x50));
  EXPECT_EQ(hex("00 00 00 0B 01 00 03 02 02 00 01"), credit(0x02));
  EXPECT_EQ(hex("00 00 00 0D 01 00 04 02 02 00 80 FF FF"), credit_request(0x02));
  EXPECT_EQ(hex("00 00 00 07 01 00 08"), exit_link());
  EXPECT_EQ(hex("00 00 00 0A 01 00 09 61 62 63"), get_socket_id("abc"));
  EXPECT_EQ(hex("00 00 00 08 01 00 0A 02"), get_service_name(0x02));
  EXPECT_EQ(hex("00 00 00 0A 00 00 7F 00 00 82"), error_packet(0x82));
  EXPECT_EQ(hex("50 50 00 09 00 01 61 62 63"), data(0x50, text("abc")));
}

TEST(WireBuild, PacketsOfTheDevice) {
  EXPECT_EQ(hex("00 00 00 08 01 00 C5 01"), entry_reply(1));
  EXPECT_EQ(hex("00 00 00 09 01 00 80 0B 20"), init_reply(11, 0x20));
  EXPECT_EQ(hex("00 00 00 10 01 00 81 06 21 21 12 34 56 78 9A BC"),
            open_channel_reply(0x21, 0x1234, 0x5678, 0x9ABC, 6));
  EXPECT_EQ(hex("00 00 00 0A 01 00 82 03 21 21"), close_channel_reply(0x21, 3));
  EXPECT_EQ(hex("00 00 00 0A 01 00 83 07 21 21"), credit_reply(0x21, 7));
  EXPECT_EQ(hex("00 00 00 0C 01 00 84 08 21 21 01 02"), credit_request_reply(0x21, 0x0102, 8));
  EXPECT_EQ(hex("00 00 00 08 01 00 88 00"), exit_reply());
  EXPECT_EQ(hex("00 00 00 09 01 00 89 0A 50"), get_socket_id_reply(0x50, 10));
  EXPECT_EQ(hex("00 00 00 0B 01 00 8A 00 07 61 62"), get_service_name_reply("ab", 0, 7));
}

TEST(WireBuild, WrongPackets) {
  EXPECT_EQ(hex("00 00 00 09 01 00 88 00"), with_length(exit_reply(), 9));
  EXPECT_EQ(hex("00 01 00 08 01 00 88 00"), with_byte(exit_reply(), 1, 1));
  EXPECT_EQ(hex("00 00 00 08 01"), cut(exit_reply(), 5));
  EXPECT_EQ(
      hex("01 02 FF FE 03 04 05"),
      packet({.primary = 1, .secondary = 2, .length = 0xFFFE, .credit = 3, .control = 4}, {5}));
  EXPECT_EQ(hex("00 00 00 09 00 00 85 01 02"), control_packet(0x85, {1, 2}, {.credit = 0}));
  EXPECT_EQ(hex("02 02 00 06 03 00"), data(0x02, {}, {.credit = 3, .control = 0}));
}

TEST(WireBuild, RunsOfBytes) {
  EXPECT_EQ(hex("fe ff 00"), filled(3, 0xFE));
  EXPECT_EQ(hex("616200"), joined({text("ab"), {0}}));
  EXPECT_EQ(258u, filled(258).size());
  EXPECT_EQ(1, filled(258).back());
}

TEST(WireBuildDeathTest, MistypedDigitsEndTheProgram) {
  EXPECT_DEATH(hex("0"), "odd number of digits");
  EXPECT_DEATH(hex("0x"), "no hexadecimal digit: x");
}

TEST(WireText, PacketsInWords) {
  const std::vector<std::pair<std::string, Bytes>> table = {
      {"entry string", entry_string()},
      {"entry reply: result 0", entry_reply()},
      {"Init: revision 0x10", init()},
      {"Init reply: result 11, revision 0x20", init_reply(11, 0x20)},
      {"OpenChannel: socket 0x02, to device 65535, to host 512", open_channel(2, 65535, 512)},
      {"OpenChannel reply: result 6, socket 0x02, to device 4102, to host 64, credit 258",
       open_channel_reply(2, 4102, 64, 258, 6)},
      {"CloseChannel: socket 0x50", close_channel(0x50)},
      {"CloseChannel reply: result 8, socket 0x50", close_channel_reply(0x50, 8)},
      {"Credit: socket 0x50, credit 65535", credit(0x50, 65535)},
      {"Credit reply: result 7, socket 0x50", credit_reply(0x50, 7)},
      {"CreditRequest: socket 0x02, asked 128, limit 65535", credit_request(2)},
      {"CreditRequest reply: result 0, socket 0x02, granted 3", credit_request_reply(2, 3)},
      {"Exit", exit_link()},
      {"Exit reply: result 1", exit_reply(1)},
      {"GetSocketID: \"abc\"", get_socket_id("abc")},
      {"GetSocketID reply: result 10, socket 0x02", get_socket_id_reply(2, 10)},
      {"GetServiceName: socket 0x02", get_service_name(2)},
      {"GetServiceName reply: result 0, byte 8 0x00, \"a.\"", get_service_name_reply("a\n")},
      {"Error: code 0x87", error_packet(0x87)},
      {"data: socket 0x50, 3 bytes, end of message", data(0x50, text("abc"))},
      {"data: socket 0x50, 0 bytes, credit 9", data(0x50, {}, {.credit = 9, .control = 0})},
      {"data: socket 0x21, 1 bytes, control 0x40", data(0x21, {1}, {.control = 0x40})},
  };
  for (const auto& [words, bytes] : table) EXPECT_EQ(words, wire_text(bytes));
}

TEST(WireText, FaultsStandBehind) {
  EXPECT_EQ("nothing", wire_text({}));
  EXPECT_EQ("no header: 5 bytes", wire_text(hex("00 00 00 08 01")));
  EXPECT_EQ("control packet without command", wire_text(hex("00 00 00 06 01 00")));
  EXPECT_EQ("unknown command 0x85", wire_text(control_packet(0x85, {})));
  EXPECT_EQ("Exit reply: result 0 [length says 9, 8 bytes are there]",
            wire_text(with_length(exit_reply(), 9)));
  EXPECT_EQ("Exit reply: result 0 [header sockets 0x00 and 0x02]",
            wire_text(with_byte(exit_reply(), 1, 2)));
  EXPECT_EQ("Credit: socket 0x02/0x03, credit 1 [sockets differ]",
            wire_text(with_byte(credit(2), 8, 3)));
  EXPECT_EQ("OpenChannel: socket 0x02, to device 1, to host 2 [not zero at 13]",
            wire_text(with_byte(open_channel(2, 1, 2), 16, 1)));
  EXPECT_EQ("OpenChannel reply: result 0, socket 0x02, to device 1, to host 2 [16 bytes expected]",
            wire_text(with_length(cut(open_channel_reply(2, 1, 2, 3), 15), 15)));
  EXPECT_EQ("Exit [header credit 0]", wire_text(with_byte(exit_link(), 4, 0)));
  EXPECT_EQ("Error: code 0x80 [header credit 1]", wire_text(with_byte(error_packet(0x80), 4, 1)));
  EXPECT_EQ("Exit [control 0x01]", wire_text(with_byte(exit_link(), 5, 1)));
}

TEST(WireText, StreamIsCutByItsLengths) {
  EXPECT_THAT(wire_lines({}), IsEmpty());
  EXPECT_THAT(wire_lines(joined({exit_reply(), data(2, text("ab")), hex("00 00")})),
              ElementsAre("Exit reply: result 0", "data: socket 0x02, 2 bytes, end of message",
                          "no header: 2 bytes"));
  EXPECT_THAT(wire_lines(with_length(exit_link(), 3)),
              ElementsAre("Exit [length says 3, 7 bytes are there]"));
}

TEST(WireText, LongRunsAreCutShort) {
  EXPECT_EQ("", hex_text({}));
  EXPECT_EQ("00 01 02", hex_text(filled(3), 3));
  EXPECT_EQ("00 01 02 ... 1 more", hex_text(filled(4), 3));
}

}  // namespace
}  // namespace d4_test
