// How a command goes over each kind of channel: the batch, the bytes at the printer, the reply.

#include <ostream>

#include "tests/system/talk.h"

namespace system_test {
namespace {

using far_side::Way;

struct Command {
  const char* name;  // of the test
  Channel channel;
  const char* listed;
  std::string command;
  std::string wrapped;
  std::string end;  // how the reply ends; empty: nothing is said of it
  std::string reply;
  std::string trailer = {};  // what goes to the printer behind the reply
};

void PrintTo(const Command& command, std::ostream* out) { *out << command.listed; }

std::vector<Command> AllCommands() {
  const std::string ti = "ti\0\0"s;
  const std::string time = "@BDC TI\r\nTI:20260301120000;\f";
  const std::string config = "@QPL INFO CONFIG\r\n";
  const std::string info =
      "\x1D"
      "0iS";
  const std::string page = "ZRD/PAGE iS MEMORY=64;SERIAL=QN42000017\n";
  const std::string fax = "FX\x01\x00\x01"s;
  return {
      {"Bdc", TextBdc(), "BDC", ti, InBdc(ti), BdcEnd(), time},
      {"BdcOfAModelWithBinaryStatus", BinaryBdc(), "BDC", ti, InBdc(ti), BinaryBdcEnd(), time},
      {"BdcWithoutAStatusRequest", {ChnlKindBdc, 3}, "BDC", ti, InBdc(ti), BdcEnd(), time},
      {"TheJobLanguage", Qpl(), "QPL", config, InQpl(config), QplEnd(),
       config + "MEMORY=64\r\nSERIAL=QN42000017\r\n\f"},
      {"ThePageLanguage", ZrdPage(), "QPL", info, InPage(info), PageEnd(), page, "\x1B\x01"},
      {"Pages", ZrdPages(), "ZRDPAGES-01", info, info, "", page},
      {"D4", D4(), "D4", ti, ti, "", time},
      {"Fax", End4(), "END4", fax, fax, "", "FX:READY;SN:QN42000017;\r\n"},
      {"Labels", Label(), "ZRDLABEL", "~HI\n", "~HI\n", "", "~HI,V1.7,203DPI\r\n"},
      {"AnUnknownKind", {kOwnKind, 3}, "BDC", "own!", "own!", "", "own reply"},
  };
}

class CommandOn : public TalkTest, public ::testing::WithParamInterface<Command> {
 protected:
  void Begin() {
    Open({GetParam().channel}, GetParam().listed, "",
         {.scripts = {{bytes_of("own!"), bytes_of("own reply")}}});
  }
};

TEST_P(CommandOn, GoesInItsEnvelopeAndBringsItsReply) {
  const Command& command = GetParam();
  const ChannelKind kind = command.channel.kind;
  Begin();
  EXPECT_EQ(Reply(kind, command.command), command.reply);
  Texts wire = {command.wrapped};
  if (!command.trailer.empty()) wire.push_back(command.trailer);
  EXPECT_EQ(Wire(), wire);
  const bool fax = kind == ChnlKindEnd4;
  Rows rows = {NameRow(), {fax ? "SendFaxCommand" : "SendCommand", command.wrapped}};
  if (!command.end.empty()) rows.emplace_back("SetTerminateInf", command.end);
  EXPECT_EQ(LastRows(), rows);
  EXPECT_EQ(far_side::wire_messages(kTalkerPort)[0].way, fax ? Way::fax : Way::data);
  EXPECT_EQ(Counts().commands, fax ? 0U : 1U);
  EXPECT_EQ(Counts().fax, fax ? 1U : 0U);
}

TEST_P(CommandOn, GoesOnceForEachRequest) {
  const Command& command = GetParam();
  Begin();
  for (std::uint32_t sent = 1; sent <= 3; ++sent) {
    EXPECT_EQ(Reply(command.channel.kind, command.command), command.reply);
    EXPECT_EQ(Counts().commands + Counts().fax, sent);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, CommandOn, ::testing::ValuesIn(AllCommands()),
                         [](const auto& each) { return std::string(each.param.name); });

class Envelopes : public TalkTest {};

// All kinds on as few printers as can have them: fax takes a D4 channel's place.
TEST_F(Envelopes, AreNotMadeWithoutBothBitsOfTheMode) {
  for (const std::uint32_t mode : {0U, 1U, 2U, 0xFFFCU}) {
    for (const char* listed : {"QPL,BDC,ZRDPAGES-01,D4,ZRDLABEL", "END4"}) {
      std::vector<Channel> channels;  // ten, as many as a profile has
      for (const Command& command : AllCommands()) {
        channels.push_back({command.channel.kind, mode});
      }
      Open(channels, listed);
      for (const Command& command : AllCommands()) {
        EXPECT_EQ(Send(command.channel.kind, command.command, 9), VLPER_NOCHANNEL)
            << command.name << ", mode " << mode;
      }
      EXPECT_EQ(TakeIfAny(9), std::nullopt);
      EXPECT_EQ(Wire(), Texts{});
      DropProvider();
    }
  }
}

TEST_F(Envelopes, AddTheirBytes) {
  Open({Qpl(), TextBdc(), ZrdPage()}, "QPL,BDC");
  const std::string command = "five!";
  Behave({.scripts = {{bytes_of(command), bytes_of("reply")}}});
  const std::pair<ChannelKind, std::size_t> added[] = {
      {ChnlKindQpl, 13}, {ChnlKindBdc, 26}, {ChnlKindZrdPage, 35}};
  for (const auto& [kind, bytes] : added) {
    EXPECT_EQ(Reply(kind, command), "reply");
    EXPECT_EQ(Wire().front().size(), command.size() + bytes);
  }
}

TEST_F(Envelopes, OfJobsAreNeverSent) {
  Open({Qpl(), TextBdc()}, "QPL,BDC", "LPT_StartJobCmd=DE,AD,BE\nLPT_EndJobCmd=FE,ED,FA\n");
  Reply(ChnlKindQpl, "@QPL ECHO x\r\n");
  Reply(ChnlKindBdc, kSilent);
  Through(ChnlKindBdc, kSilent);
  Status(ChnlKindBdc);
  EXPECT_EQ(Wire(),
            (Texts{InQpl("@QPL ECHO x\r\n"), InBdc(kSilent), kSilent, StatusRequestOf(TextBdc())}));
}

TEST_F(Envelopes, OfTheVendorClassAreThoseOfBdc) {
  Open({TextBdc(), D4()}, "GENVL,BDC");
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
  EXPECT_EQ(Wire(), Texts{InBdc(Echo("x"))});
}

}  // namespace
}  // namespace system_test
