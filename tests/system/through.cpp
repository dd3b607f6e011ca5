// Commands that go as they stand and want no reply.

#include "tests/system/talk.h"

namespace system_test {
namespace {

using far_side::Way;
using ::testing::IsEmpty;

class ThroughCommands : public TalkTest {
 protected:
  static std::int32_t SizeOf(const std::string& text) {
    return static_cast<std::int32_t>(text.size());
  }
};

TEST_F(ThroughCommands, GoBareAndReturnTheirLength) {
  Open({BinaryBdc()}, "BDC");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(LastRows(), (Rows{NameRow(), {"SendThroughREMOTE", kSilent}}));
  const std::vector<far_side::WireMessage> wire = {{Way::remote, bytes_of(kSilent)}};
  EXPECT_EQ(far_side::wire_messages(kTalkerPort), wire);
  EXPECT_EQ(Counts().through, 1U);
  EXPECT_EQ(Counts().commands, 0U);
}

TEST_F(ThroughCommands, OfFourBytesGoAsFourAndAsThirtyWithAReply) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Send(ChnlKindBdc, kSilent), 4);
  const Texts wire = Wire();
  ASSERT_EQ(wire.size(), 2U);
  EXPECT_EQ(wire[0].size(), 4U);
  EXPECT_EQ(wire[1].size(), 30U);
}

TEST_F(ThroughCommands, QueueNothingWhateverThePrinterSays) {
  Open({TextBdc()}, "BDC");
  for (const std::string& command : {Echo("nobody hears this"), "ti\0\0"s, Fill(100000)}) {
    EXPECT_EQ(Through(ChnlKindBdc, command, 6), SizeOf(command));
    EXPECT_EQ(TakeIfAny(6), std::nullopt);
  }
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x") << "and nothing of it comes later";
}

TEST_F(ThroughCommands, GoAgainEachTime) {
  Open({TextBdc()}, "BDC");
  for (int n = 0; n < 3; ++n) EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Wire(), (Texts{kSilent, kSilent, kSilent}));
}

TEST_F(ThroughCommands, MayBringTheirOwnEnvelope) {
  Open({TextBdc()}, "BDC");
  const std::string command =
      "\x1B@\x1B@\x1B(R\x08\x00\x00REMOTE1"s + kSilent + "\x1B\x00\x00\x00"s;
  EXPECT_EQ(Through(ChnlKindBdc, command), SizeOf(command));
  EXPECT_EQ(Wire(), Texts{command});
}

TEST_F(ThroughCommands, MayBeLong) {
  Open({TextBdc()}, "BDC", "LPT_RcvDatBuffSize=0\n");
  const std::string command = "js\xFF\xFF"s + std::string(65535, '\xEE');
  EXPECT_EQ(Through(ChnlKindBdc, command), 65539);
  EXPECT_EQ(Wire(), Texts{command});
}

TEST_F(ThroughCommands, AreForTheBdcChannelAlone) {
  Open({Qpl(0xFFFF),
        TextBdc(0xFFFF),
        ZrdPage(0xFFFF),
        End4(0xFFFF),
        Label(0xFFFF),
        ZrdPages(0xFFFF),
        {kOwnKind, 0xFFFF}},
       "QPL,BDC,END4,ZRDLABEL,ZRDPAGES-01");
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindZrdPage, ChnlKindEnd4, ChnlKindLabel,
                                 ChnlKindZrdPages, ChnlKindD4, kOwnKind}) {
    EXPECT_EQ(Through(kind, kSilent), VLPER_NOCHANNEL) << kind;
  }
  EXPECT_THAT(Wire(), IsEmpty());
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
}

TEST_F(ThroughCommands, NeedBothBitsOfTheMode) {
  for (const std::uint32_t mode : {0U, 1U, 2U, 4U, 0xFFFCU}) {
    Open({TextBdc(mode)}, "BDC");
    EXPECT_EQ(Through(ChnlKindBdc, kSilent), VLPER_NOCHANNEL) << mode;
    EXPECT_THAT(Wire(), IsEmpty());
    DropProvider();
  }
  Open({TextBdc(3)}, "BDC");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
}

TEST_F(ThroughCommands, OnAPrinterWithD4GoToBdcAllTheSame) {
  Open({TextBdc(), D4()}, "BDC,D4");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Wire(), Texts{kSilent});
}

TEST_F(ThroughCommands, LeaveTheStatusThatIsKept) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Counts().status_queries, 1U);
}

}  // namespace
}  // namespace system_test
