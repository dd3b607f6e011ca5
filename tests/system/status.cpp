// What becomes of a status request beside the kinds of channels: what is kept, what is cut
// out of the reply, what fails.

#include "tests/system/talk.h"

namespace system_test {
namespace {

using far_side::Script;

// The request's own command in REMOTE1, for which the printer says this.
Script Says(const std::string& reply) { return {bytes_of("ST\x02\x00\x00\x01"s), bytes_of(reply)}; }

std::string Item(const std::string& text) { return "@BDC ST\r\nST:" + text + "\f"; }

class Statuses : public TalkTest {
 protected:
  void ExpectRefused(ChannelKind kind, std::int32_t code) {
    EXPECT_EQ(Ask(kind, 9), code);
    EXPECT_EQ(TakeIfAny(9), std::nullopt);
  }
};

TEST_F(Statuses, OfOneChannelAnswerForAnotherWhileTheyAreYoung) {
  Open({TextBdc(), ZrdPage()});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Status(ChnlKindZrdPage), kTextItem);
  EXPECT_EQ(Status(kOwnKind), kTextItem) << "even for a channel that isn't there";
  EXPECT_EQ(Counts().status_queries, 1U);
}

TEST_F(Statuses, AreHeldForOnePrinterAlone) {
  Open({TextBdc()});
  far_side::add_printer({.name = "Second", .port = "USB001", .driver = "Driver USB001"});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(provider().Connect("Second").code, 1);
  EXPECT_EQ(provider().Status(5, "Second", ChnlKindBdc), 0);
  EXPECT_EQ(TakeIfAny(5), kTextItem);
  EXPECT_EQ(far_side::counts("Second").status_queries, 1U);
}

TEST_F(Statuses, ThatMayNotAgeAreReadByEachCallOfTheLengthProtocol) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=0\n");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Counts().status_queries, 2U);
  EXPECT_EQ(Wire(), (Texts{StatusRequestOf(TextBdc()), StatusRequestOf(TextBdc())}));
}

TEST_F(Statuses, DoNotDependOnTheUniversalDriver) {
  Open({TextBdc()}, "BDC", "LPT_UniversalDriver=1\n");
  EXPECT_EQ(Ask(ChnlKindBdc), 0);
  EXPECT_EQ(Ask(ChnlKindBdc), 0);
  EXPECT_EQ(Counts().status_queries, 1U);
}

TEST_F(Statuses, OfTheJobLanguageAreLeftToBdc) {
  Open({Qpl(), TextBdc()});
  ExpectRefused(ChnlKindQpl, VLPER_NOCHANNEL);
  EXPECT_EQ(Counts().status_queries, 0U);
}

TEST_F(Statuses, NeedTheChannelsStatusBit) {
  for (const std::uint32_t mode : {0U, 1U, 3U, 0xFFFBU}) {
    Open({TextBdc(mode)}, "BDC");
    ExpectRefused(ChnlKindBdc, VLPER_NOCHANNEL);
    DropProvider();
  }
  Open({TextBdc(4)}, "BDC");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
}

TEST_F(Statuses, GoByD4OnlyIfThatGivesStatus) {
  Open({TextBdc(), D4(3)}, "BDC,D4");
  ExpectRefused(ChnlKindBdc, VLPER_NOCHANNEL);
}

TEST_F(Statuses, OfKindsThatThePrinterLacksAreRefused) {
  Open({TextBdc()});
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindD4, ChnlKindZrdPage, ChnlKindZrdPages,
                                 ChnlKindLabel, kOwnKind, 0xFFFFFFFFU}) {
    ExpectRefused(kind, VLPER_NOCHANNEL);
  }
  EXPECT_EQ(Wire(), Texts{});
}

TEST_F(Statuses, ComeWithoutWhatStandsRoundThem) {
  Open({TextBdc()}, "BDC", "", {.scripts = {Says("noise\f" + Item("0400") + "more\f")}});
  EXPECT_EQ(Status(ChnlKindBdc), Item("0400"));
}

TEST_F(Statuses, AreTheFirstOfTheirReply) {
  Open({TextBdc()}, "BDC", "", {.scripts = {Says(Item("first") + Item("second"))}});
  EXPECT_EQ(Status(ChnlKindBdc), Item("first"));
}

TEST_F(Statuses, MayHaveNothingInThem) {
  Open({TextBdc()}, "BDC", "", {.scripts = {Says(Item(""))}});
  EXPECT_EQ(Status(ChnlKindBdc), Item(""));
}

TEST_F(Statuses, InAFormThatWasNotAskedForAreNone) {
  Open({TextBdc()}, "BDC", "", {.scripts = {Says(kBinaryItem)}});
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
}

TEST_F(Statuses, WithoutTheirEndAreNoneAndNothingIsKept) {
  // Without a probe no other end can stand in for theirs.
  const std::string request =
      "\x1B@\x1B@\x1B(R\x08\x00\x00REMOTE1ST\x02\x00\x00\x01\x1B\x00\x00\x00"s;
  Open({{ChnlKindBdc, 7, bytes_of(request)}}, "BDC", "",
       {.status_item = bytes_of("@BDC ST\r\nST:0400;")});
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
  Behave({});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Counts().status_queries, 2U);
}

TEST_F(Statuses, InBinaryFormThatTellMoreThanThereIsAreNone) {
  const std::string three = "@BDC ST2\r\n\x03\x00"s;
  Open({BinaryBdc()}, "BDC", "", {.status_item = bytes_of(three + "abc")});
  EXPECT_EQ(Status(ChnlKindBdc), three + "abc") << "L + 12 bytes";
  DropProvider();
  const std::size_t behind = 3 + kBdcProbe.size();
  for (const bool too_many : {false, true}) {
    std::string item = "@BDC ST2\r\n??abc";
    item[10] = static_cast<char>(behind + (too_many ? 1 : 0));
    item[11] = 0;
    Open({BinaryBdc()}, "BDC", "", {.status_item = bytes_of(item)});
    if (too_many) {
      const std::uint32_t before = Counts().status_queries;
      ExpectRefused(ChnlKindBdc, VLPER_SEND);
      ExpectRefused(ChnlKindBdc, VLPER_SEND);
      EXPECT_EQ(Counts().status_queries, before + 2) << "nothing was kept";
    } else {
      EXPECT_EQ(Status(ChnlKindBdc), item + kBdcProbe);
    }
    DropProvider();
  }
}

TEST_F(Statuses, InBinaryFormOfNoBytesAreNone) {
  Open({BinaryBdc()}, "BDC", "", {.status_item = bytes_of("@BDC ST2\r\n\x00\x00"s)});
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
}

TEST_F(Statuses, ThatNobodyAnswersAreAFailedSend) {
  Open({TextBdc(), ZrdPages()}, "BDC,ZRDPAGES-02");
  Behave({.mute = true});
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
  ExpectRefused(ChnlKindZrdPages, VLPER_SEND);
  Behave({});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem) << "a failure isn't kept";
}

TEST_F(Statuses, OfAChannelWithoutARequestAreAFailedSend) {
  Open({{ChnlKindBdc}}, "BDC");
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
  EXPECT_EQ(LastRows(), (Rows{NameRow(), {"GetStatus", ""}, {"SetTerminateInf", BdcEnd()}}));
  EXPECT_EQ(Wire(), Texts{});
}

TEST_F(Statuses, LoseTheOldOneWhenANewOneFails) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=0\n");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  Behave({.mute = true});
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
  ExpectRefused(ChnlKindBdc, VLPER_SEND);
}

TEST_F(Statuses, WhoseReplyIsLargerThanItsBufferAreRefused) {
  const std::size_t size = kTextItem.size() + kBdcProbe.size();
  const auto line = [](std::size_t bytes) {
    return "LPT_RcvDatBuffSize=" + std::to_string(bytes) + "\n";
  };
  Open({TextBdc()}, "BDC", line(size - 1));
  ExpectRefused(ChnlKindBdc, VLPER_BUFFERSIZE);
  ExpectRefused(ChnlKindBdc, VLPER_BUFFERSIZE);
  EXPECT_EQ(Counts().status_queries, 2U);
  DropProvider();
  Open({TextBdc()}, "BDC", line(size));
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
}

TEST_F(Statuses, WaitInTheQueueForABufferOfTheirSize) {
  Open({TextBdc()});
  ASSERT_EQ(Ask(ChnlKindBdc, 31), 0);
  const auto size = static_cast<std::uint32_t>(kTextItem.size());
  const Result refused = provider().Take(size - 1);
  EXPECT_EQ(refused.code, VLPER_BUFFERSIZE);
  EXPECT_EQ(refused.size, size);
  const Result taken = provider().Take(size);
  EXPECT_EQ(taken.request_id, 31U);
  EXPECT_EQ(TextOf(taken.data), kTextItem);
}

TEST_F(Statuses, BehindTerminateComeFromTheCacheAlone) {
  Open({TextBdc()});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(Ask(ChnlKindBdc), 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
  EXPECT_EQ(Counts().status_queries, 1U);
  DropProvider();
  Open({TextBdc()});
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(Ask(ChnlKindBdc), VLPER_TERMINATE);
  EXPECT_EQ(Counts().status_queries, 1U);
}

}  // namespace
}  // namespace system_test
