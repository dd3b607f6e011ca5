// Status items that a printer sends of its own accord, among what it was asked for.

#include <ostream>

#include "tests/system/talk.h"

namespace system_test {
namespace {

using far_side::PushPlace;
using far_side::StatusForm;
using far_side::StatusPush;

// A channel, and a command on it that has this reply.
struct Talk {
  const char* name;  // of the test
  std::vector<Channel> channels;
  const char* listed;
  ChannelKind kind;
  std::string command;
  std::string reply;
  std::string silent;  // a command without reply
  StatusForm form;     // of the items
};

void PrintTo(const Talk& talk, std::ostream* out) { *out << talk.listed; }

std::vector<Talk> AllTalks() {
  const std::string echo = "@QPL ECHO some words\r\n";
  const std::string set = "@QPL SET x=y\r\n";
  const std::string filling = Filling(40);
  const std::string page_fill =
      "\x1D"
      "40fS";
  return {
      {"BdcWithTextItems",
       {TextBdc()},
       "BDC",
       ChnlKindBdc,
       Fill(40),
       filling,
       kSilent,
       StatusForm::text},
      {"BdcWithBinaryItems",
       {BinaryBdc()},
       "BDC",
       ChnlKindBdc,
       Fill(40),
       filling,
       kSilent,
       StatusForm::binary},
      {"TheJobLanguageWithItsOwnItems",
       {Qpl()},
       "QPL",
       ChnlKindQpl,
       echo,
       echo + "\f",
       set,
       StatusForm::job},
      {"TheJobLanguageWithTextItems",
       {Qpl(), TextBdc()},
       "QPL,BDC",
       ChnlKindQpl,
       echo,
       echo + "\f",
       set,
       StatusForm::text},
      {"TheJobLanguageWithBinaryItems",
       {Qpl(), BinaryBdc()},
       "QPL,BDC",
       ChnlKindQpl,
       echo,
       echo + "\f",
       set,
       StatusForm::binary},
      {"ThePageLanguage",
       {ZrdPage()},
       "QPL",
       ChnlKindZrdPage,
       page_fill,
       filling,
       "words",
       StatusForm::job},
  };
}

class ItemsOn : public TalkTest, public ::testing::WithParamInterface<Talk> {
 protected:
  void Begin() { Open(GetParam().channels, GetParam().listed, kRoom); }
  static void Push(PushPlace place, std::uint32_t count = 1) {
    far_side::push_status(kTalkerPort, {.place = place, .form = GetParam().form, .count = count});
  }
  void ExpectReply() { EXPECT_EQ(Reply(GetParam().kind, GetParam().command), GetParam().reply); }

  static constexpr const char* kRoom = "LPT_RcvDatBuffSize=100000\n";
};

TEST_P(ItemsOn, BeforeAReplyAreTakenOut) {
  Begin();
  Push(PushPlace::before);
  ExpectReply();
}

TEST_P(ItemsOn, InsideAReplyAreTakenOut) {
  Begin();
  Push(PushPlace::inside);
  ExpectReply();
}

TEST_P(ItemsOn, BehindAReplyAreTakenOut) {
  Begin();
  Push(PushPlace::behind);
  ExpectReply();
  ExpectReply();
}

TEST_P(ItemsOn, ByTheHundredAreTakenOut) {
  Begin();
  for (const PushPlace place : {PushPlace::before, PushPlace::inside, PushPlace::behind}) {
    Push(place, 100);
  }
  ExpectReply();
}

TEST_P(ItemsOn, WithoutAReplyLeaveNothing) {
  Begin();
  for (const PushPlace place : {PushPlace::before, PushPlace::behind}) {
    Push(place, 3);
    EXPECT_EQ(Reply(GetParam().kind, GetParam().silent), std::nullopt);
  }
}

TEST_P(ItemsOn, WithEveryMessageAreTakenOutOfEachReply) {
  Begin();
  Behave({.pushes = {{.place = PushPlace::before, .form = GetParam().form},
                     {.place = PushPlace::inside, .form = GetParam().form}}});
  for (int n = 0; n < 3; ++n) ExpectReply();
}

INSTANTIATE_TEST_SUITE_P(Of, ItemsOn, ::testing::ValuesIn(AllTalks()),
                         [](const auto& each) { return std::string(each.param.name); });

class MixedItems : public TalkTest {
 protected:
  static void Push(PushPlace place, StatusForm form) {
    far_side::push_status(kTalkerPort, {.place = place, .form = form});
  }
};

TEST_F(MixedItems, OfAnotherFormAreData) {
  Open({TextBdc()}, "BDC");
  Push(PushPlace::before, StatusForm::binary);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), kBinaryItem + "x");
  Push(PushPlace::before, StatusForm::job);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), kJobItem + "x");
}

TEST_F(MixedItems, OfTheJobLanguageAreDataBesideBdc) {
  Open({Qpl(), TextBdc()});
  Push(PushPlace::before, StatusForm::job);
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Reply(ChnlKindQpl, "@QPL ECHO x\r\n"), kJobItem + "@QPL ECHO x\r\n\f");
}

TEST_F(MixedItems, OfTheJobLanguageCountWhereBdcGivesNoStatus) {
  Open({Qpl(), TextBdc(3)});
  Push(PushPlace::before, StatusForm::job);
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Reply(ChnlKindQpl, "@QPL ECHO x\r\n"), kTextItem + "@QPL ECHO x\r\n\f");
}

TEST_F(MixedItems, StayOnChannelsWithoutALanguage) {
  Open({D4()}, "D4");
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("xy")), kTextItem + "xy");
  DropProvider();
  Open({Label(), TextBdc()}, "ZRDLABEL,BDC");
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Reply(ChnlKindLabel, "~HI\n"), kTextItem + "~HI,V1.7,203DPI\r\n");
}

// The dummy isn't alone then and counts as a reply.
TEST_F(MixedItems, BeforeALabelPrintersDummyMakeItAReply) {
  Open({Label()}, "ZRDLABEL");
  Push(PushPlace::behind, StatusForm::text);
  EXPECT_EQ(Reply(ChnlKindLabel, "~CL\n"), "\0"s + kTextItem);
}

TEST_F(MixedItems, BeforeAStatusAreTheStatus) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=60000\n",
       {.scripts = {{bytes_of("ST\x02\x00\x00\x01"s), bytes_of("@BDC ST\r\nST:asked\f")}}});
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
}

TEST_F(MixedItems, OfAnotherFormBeforeAStatusAreSkipped) {
  Open({TextBdc()}, "BDC");
  Push(PushPlace::before, StatusForm::job);
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  DropProvider();
  Open({BinaryBdc()}, "BDC");
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Status(ChnlKindBdc), kBinaryItem);
}

TEST_F(MixedItems, WithoutTheirEndTakeTheRestAlong) {
  // The item's end is that of the probe's answer; the reply in between goes with it.
  Open({TextBdc()}, "BDC", "", {.status_item = bytes_of("@BDC ST\r\nST:cut")});
  Push(PushPlace::before, StatusForm::text);
  EXPECT_EQ(Send(ChnlKindBdc, Echo("gone"), 9), VLPER_SEND);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
}

TEST_F(MixedItems, InBinaryFormThatTellTooMuchCutTheReply) {
  Open({BinaryBdc()}, "BDC", "", {.status_item = bytes_of("@BDC ST2\r\n\xFF\x7F"s)});
  Push(PushPlace::inside, StatusForm::binary);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("head|tail")), "head");
}

TEST_F(MixedItems, OnlyItemsAndNoProbesAnswerAreNoReply) {
  Open({TextBdc()}, "BDC", "", {.silent_after = static_cast<std::uint32_t>(2 * kTextItem.size())});
  far_side::push_status(kTalkerPort,
                        {.place = PushPlace::before, .form = StatusForm::text, .count = 2});
  EXPECT_EQ(Send(ChnlKindBdc, Echo("lost"), 9), VLPER_SEND);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
}

// Of the caller's own probe and the envelope's the last answer alone is cut away.
TEST_F(MixedItems, OnlyTwoProbesAnswersAreOneReply) {
  Open({TextBdc()}, "BDC");
  far_side::push_status(kTalkerPort, {.place = PushPlace::before, .form = StatusForm::text});
  EXPECT_EQ(Reply(ChnlKindBdc, "ST\x01\x00\x01"s), kBdcProbe);
}

TEST_F(MixedItems, ThatCameTooLateAreTakenOutOfTheNextReply) {
  Open({TextBdc()}, "BDC", "", {.piece_bytes = 64, .piece_ms = 5, .give_up_ms = 5000});
  const std::size_t size = 64 - kBdcProbe.size();  // the item is in pieces of its own
  Push(PushPlace::behind, StatusForm::text);
  EXPECT_EQ(Reply(ChnlKindBdc, Fill(static_cast<std::uint32_t>(size))), Filling(size));
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("next")), "next");
}

TEST_F(MixedItems, MayFillTheBufferSoThatTheReplyIsRefused) {
  Open({TextBdc()}, "BDC");
  far_side::push_status(kTalkerPort,
                        {.place = PushPlace::before, .form = StatusForm::text, .count = 40});
  EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 9), VLPER_BUFFERSIZE);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
}

}  // namespace
}  // namespace system_test
