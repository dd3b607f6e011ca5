// What becomes of a reply: when one is queued, how large it may be, what is cut away.

#include "tests/system/talk.h"

namespace system_test {
namespace {

using ::testing::Contains;

std::string BufferLine(std::size_t bytes) {
  return "LPT_RcvDatBuffSize=" + std::to_string(bytes) + "\n";
}

class Replies : public TalkTest {
 protected:
  void ExpectFailure(ChannelKind kind, const std::string& command, std::int32_t code) {
    EXPECT_EQ(Send(kind, command, 9), code);
    EXPECT_EQ(TakeIfAny(9), std::nullopt);
  }
};

TEST_F(Replies, ThatAreEmptyQueueNothing) {
  Open({Qpl(), TextBdc(), ZrdPage()});
  const std::string set = "@QPL SET x=y\r\n";
  EXPECT_EQ(Reply(ChnlKindBdc, kSilent), std::nullopt);
  EXPECT_EQ(Reply(ChnlKindQpl, set), std::nullopt);
  EXPECT_EQ(Reply(ChnlKindZrdPage, "some text\r\n\f"), std::nullopt);
  EXPECT_EQ(Reply(ChnlKindBdc, kSilent), std::nullopt);
  EXPECT_EQ(Counts().commands, 4U);
}

TEST_F(Replies, ThatAreEmptyLeaveTheNextResultToAnotherRequest) {
  Open({TextBdc()});
  ASSERT_EQ(Send(ChnlKindBdc, kSilent, 1), 4);
  ASSERT_EQ(Send(ChnlKindBdc, Echo("two"), 2), 7);
  ASSERT_EQ(Send(ChnlKindBdc, kSilent, 3), 4);
  ASSERT_EQ(Ask(ChnlKindBdc, 4), 0);
  EXPECT_EQ(provider().Take().request_id, 2U);
  EXPECT_EQ(provider().Take().request_id, 4U);
  ExpectNothingQueued();
}

TEST_F(Replies, OfChannelsWithoutAnEndMarkMustBeThere) {
  Open({ZrdPages()}, "ZRDPAGES-01");
  ExpectFailure(ChnlKindZrdPages,
                "\x1D"
                "5P",
                VLPER_PARAM);
  DropProvider();
  Open({D4()}, "D4");
  ExpectFailure(ChnlKindD4, kSilent, VLPER_PARAM);
  DropProvider();
  Open({End4()}, "END4");
  ExpectFailure(ChnlKindEnd4, "FX\x01\x00\x03"s, VLPER_PARAM);
}

TEST_F(Replies, ThatNeverComeAreRefused) {
  Open({Qpl(), TextBdc()});
  Behave({.mute = true});
  ExpectFailure(ChnlKindBdc, Echo("x"), VLPER_PARAM);
  ExpectFailure(ChnlKindQpl, "@QPL ECHO x\r\n", VLPER_PARAM);
}

TEST_F(Replies, OfALabelPrinterMayBeADummy) {
  LogTo(kLogLife);
  Open({Label()}, "ZRDLABEL");
  const std::string deleted = "CSepareteData::SepareteRecvData - DummyReply was deleted";
  EXPECT_EQ(Reply(ChnlKindLabel, "~CL\n"), std::nullopt);
  EXPECT_THAT(Lines(), Contains(deleted).Times(1));
  EXPECT_EQ(Reply(ChnlKindLabel, "~PR1\n~SD2\n"), std::nullopt) << "once for both";
  EXPECT_EQ(Reply(ChnlKindLabel, "~ECx\n"), std::nullopt) << "any single byte is one";
  EXPECT_THAT(Lines(), Contains(deleted).Times(3));
  EXPECT_EQ(Reply(ChnlKindLabel, "~ECxy\n"), "xy");
  EXPECT_EQ(Reply(ChnlKindLabel, "~CL\n~ECz1\n"), "z1");
  EXPECT_THAT(Lines(), Contains(deleted).Times(3));
}

TEST_F(Replies, OfALabelPrinterMustBeThere) {
  Open({Label()}, "ZRDLABEL");
  Behave({.mute = true});
  ExpectFailure(ChnlKindLabel, "~CL\n", VLPER_SEND);
}

TEST_F(Replies, OfOtherPrintersMayHaveOneByte) {
  Open({D4()}, "D4");
  EXPECT_EQ(Reply(ChnlKindD4, Echo("\0"s)), "\0"s);
  DropProvider();
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("\0"s)), "\0"s);
}

TEST_F(Replies, MayHoldAnyBytes) {
  std::string all;
  for (int n = 0; n < 1024; ++n) all += static_cast<char>(n & 0xFF);
  for (const char* listed : {"BDC", "D4"}) {
    const ChannelKind kind = listed[0] == 'B' ? ChnlKindBdc : ChnlKindD4;
    Open({TextBdc(), D4()}, listed);
    EXPECT_EQ(Reply(kind, Echo(all)), all);
    DropProvider();
  }
}

TEST_F(Replies, MayFillTheirBufferWithTheProbesAnswer) {
  const std::size_t room = 2048 - kBdcProbe.size();
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(Reply(ChnlKindBdc, Fill(static_cast<std::uint32_t>(room))), Filling(room));
  ExpectFailure(ChnlKindBdc, Fill(static_cast<std::uint32_t>(room + 1)), VLPER_BUFFERSIZE);
  ExpectFailure(ChnlKindBdc, Fill(1000000), VLPER_BUFFERSIZE);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
}

TEST_F(Replies, WithoutAProbeMayFillTheirBufferAlone) {
  Open({D4()}, "D4", BufferLine(300));
  EXPECT_EQ(Reply(ChnlKindD4, Fill(300)), Filling(300));
  ExpectFailure(ChnlKindD4, Fill(301), VLPER_BUFFERSIZE);
  DropProvider();
  Open({Label()}, "ZRDLABEL", BufferLine(300));
  EXPECT_EQ(Reply(ChnlKindLabel, "~FL300\n"), Filling(300));
  ExpectFailure(ChnlKindLabel, "~FL301\n", VLPER_BUFFERSIZE);
}

TEST_F(Replies, MayBeAsLargeAsTheProfileLets) {
  Open({Qpl(), TextBdc(), ZrdPage()}, "QPL,BDC", BufferLine(200000));
  EXPECT_EQ(Reply(ChnlKindBdc, Fill(150000)), Filling(150000));
  EXPECT_EQ(Reply(ChnlKindQpl, "@QPL FILL 150000\r\n"), Filling(150000));
  EXPECT_EQ(Reply(ChnlKindZrdPage,
                  "\x1D"
                  "150000fS"),
            Filling(150000));
}

TEST_F(Replies, MayComeInPieces) {
  Open({Qpl(), TextBdc()}, "QPL,BDC", "", {.piece_bytes = 5, .piece_ms = 1, .give_up_ms = 10000});
  EXPECT_EQ(Reply(ChnlKindBdc, Fill(90)), Filling(90));
  EXPECT_EQ(Reply(ChnlKindQpl, "@QPL FILL 90\r\n"), Filling(90));
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
}

TEST_F(Replies, ThatLookLikeTheProbesAnswerStay) {
  Open({Qpl(), TextBdc()});
  EXPECT_EQ(Reply(ChnlKindQpl, "@QPL ID\r\n"), kQplProbe);
  EXPECT_EQ(Reply(ChnlKindBdc, "ST\x01\x00\x01"s), kBdcProbe);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("a" + kBdcProbe + "b")), "a" + kBdcProbe + "b");
}

TEST_F(Replies, OfTwoCommandsInOneComeTogether) {
  Open({TextBdc()});
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("one,") + kSilent + Echo("two")), "one,two");
}

TEST_F(Replies, AreNotKeptForLater) {
  Open({TextBdc()}, "BDC", "", {.scripts = {{bytes_of("now?"), bytes_of("before")}}});
  EXPECT_EQ(Reply(ChnlKindBdc, "now?"), "before");
  Behave({.scripts = {{bytes_of("now?"), bytes_of("after")}}});
  EXPECT_EQ(Reply(ChnlKindBdc, "now?"), "after");
  Behave({.mute = true, .scripts = {{bytes_of("now?"), bytes_of("never")}}});
  ExpectFailure(ChnlKindBdc, "now?", VLPER_PARAM);
}

TEST_F(Replies, OfOneCommandDoNotAnswerItOnAnotherChannel) {
  Open({Qpl(), TextBdc()}, "QPL,BDC", "", {.scripts = {{bytes_of("same"), bytes_of("reply")}}});
  EXPECT_EQ(Reply(ChnlKindBdc, "same"), "reply");
  EXPECT_EQ(Reply(ChnlKindQpl, "same"), "reply");
  EXPECT_EQ(Wire(), (Texts{InBdc("same"), InQpl("same")}));
}

TEST_F(Replies, EndBehindTerminate) {
  Open({TextBdc()});
  ASSERT_EQ(Send(ChnlKindBdc, Echo("x"), 1), 5);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 2), VLPER_TERMINATE);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent, 3), VLPER_TERMINATE);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
  EXPECT_EQ(Wire(), Texts{InBdc(Echo("x"))});
}

}  // namespace
}  // namespace system_test
