// The reply to a command, out of what a printer sent.

#include "tests/language/language_fixture.h"

namespace {

using language_test::Answer;
using language_test::BinaryBdc;
using language_test::Block;
using language_test::Channel;
using language_test::Channels;
using language_test::Counted;
using language_test::Reply;
using language_test::Splitter;
using namespace std::string_literals;

const std::string kQplProbe = "@QPL ID\r\nxx\f";
const std::string kBdcProbe = "@BDC PS\r\nST:01;\f";
const std::string kPageProbe = "ZRD/PAGE mlS 1\n";

TEST(Separation, LeavesTheReplyBetweenStatusAndProbeReply) {
  Splitter splitter(Channels({Channel(ChnlKindQpl)}));
  EXPECT_EQ(Reply("A"), splitter.Separate(ChnlKindQpl, "A@QPL STATUS CODE=01\n" + kQplProbe));
}

TEST(Separation, OfNothingButTheProbeReplyIsAnEmptyReply) {
  Splitter splitter(
      Channels({Channel(ChnlKindBdc), Channel(ChnlKindQpl), Channel(ChnlKindZrdPage)}));
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindBdc, kBdcProbe));
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindQpl, kQplProbe));
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindZrdPage, kPageProbe));
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindBdc, kBdcProbe, 0)) << "no room is needed";
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindBdc, "@BDC ST\r\nST:9;\f" + kBdcProbe));
}

TEST(Separation, RemovesTheLastOfTwoProbeRepliesAndDeliversTheFirst) {
  Splitter splitter(
      Channels({Channel(ChnlKindBdc), Channel(ChnlKindQpl), Channel(ChnlKindZrdPage)}));
  EXPECT_EQ(Reply("@BDC PS\r\nST:1\f"),
            splitter.Separate(ChnlKindBdc, "@BDC PS\r\nST:1\f@BDC PS\r\nST:2\f"));
  EXPECT_EQ(Reply("@QPL ID\r\n1\f"),
            splitter.Separate(ChnlKindQpl, "@QPL ID\r\n1\f@QPL ID\r\n2\f"));
  EXPECT_EQ(Reply("ZRD/PAGE mlS 1\n"),
            splitter.Separate(ChnlKindZrdPage, "ZRD/PAGE mlS 1\nZRD/PAGE mlS 2\n"));
}

TEST(Separation, KeepsWhatStandsAroundTheLastProbeReply) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}));
  EXPECT_EQ(Reply("ab"), splitter.Separate(ChnlKindBdc, "a" + kBdcProbe + "b"));
  EXPECT_EQ(Reply("a" + kBdcProbe + "bc"),
            splitter.Separate(ChnlKindBdc, "a" + kBdcProbe + "b" + kBdcProbe + "c"));
}

TEST(Separation, DeliversAReplyWithoutAProbeReply) {
  Splitter splitter(Channels({Channel(ChnlKindBdc), Channel(ChnlKindQpl)}));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindBdc, "reply"));
  EXPECT_EQ(Reply(kBdcProbe), splitter.Separate(ChnlKindQpl, kBdcProbe)) << "another channel's";
}

TEST(Separation, OfNothingButStatusItemsFails) {
  Splitter splitter(Channels({Channel(ChnlKindQpl)}));
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindQpl, "@QPL STATUS CODE=01\n").code);
  EXPECT_EQ(VLPER_SEND,
            splitter.Separate(ChnlKindQpl, "@QPL STATUS CODE=01\n@QPL STATUS CODE=02\n").code);
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindQpl, "@QPL STATUS CODE=01").code)
      << "one cut off";
}

TEST(Separation, WithNothingLeftNeedsExactlyOneProbeReply) {
  Splitter splitter(Channels({Channel(ChnlKindBdc), Channel(ChnlKindZrdPage)}));
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindBdc, "@BDC ST\r\nST:\f").code) << "none";
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindBdc, kBdcProbe)) << "one";
  // With two something is left, since the first of them stays.
  EXPECT_EQ(Reply(kBdcProbe), splitter.Separate(ChnlKindBdc, kBdcProbe + kBdcProbe));
  EXPECT_EQ(Reply("@BDC PS\r\nST:"),
            splitter.Separate(ChnlKindBdc, "@BDC PS\r\nST:@BDC PS\r\nST:"));
}

TEST(Separation, CutsTheDataAtAProbeHeadWithoutItsTerminator) {
  Splitter splitter(
      Channels({Channel(ChnlKindBdc), Channel(ChnlKindQpl), Channel(ChnlKindZrdPage)}));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindBdc, "reply@BDC PS\r\nST:01;\n"));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindQpl, "reply@QPL ID\r\n"));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindZrdPage, "replyZRD/PAGE mlS 12"));
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindBdc, "@BDC PS\r\nST:01;"))
      << "it is counted all the same";
  EXPECT_EQ(Reply("reply" + kBdcProbe),
            splitter.Separate(ChnlKindBdc, "reply" + kBdcProbe + "@BDC PS\r\nST:tail"));
}

TEST(Separation, DeliversAReplyThatFitsExactlyAndFailsWithOneByteLess) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindBdc, "reply" + kBdcProbe, 5));
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindBdc, "reply" + kBdcProbe, 4).code);
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindBdc, "reply" + kBdcProbe, 0).code);
  EXPECT_EQ(Reply("r"), splitter.Separate(ChnlKindBdc, "r" + kBdcProbe, 1));
}

TEST(Separation, StripsThreeItemsInARow) {
  Splitter text(Channels({Channel(ChnlKindQpl), Channel(ChnlKindZrdPage)}));
  const std::string job = "@QPL STATUS CODE=1\n@QPL STATUS CODE=2\n@QPL STATUS CODE=3\n";
  EXPECT_EQ(Reply("reply"), text.Separate(ChnlKindQpl, job + "reply" + kQplProbe));
  EXPECT_EQ(Reply("reply"), text.Separate(ChnlKindZrdPage, job + "reply" + kPageProbe));
  EXPECT_EQ(Reply("reply"), text.Separate(ChnlKindZrdPage, "rep" + job + "ly" + kPageProbe + job));

  Splitter bdc(Channels({Channel(ChnlKindBdc)}));
  EXPECT_EQ(Reply("reply"),
            bdc.Separate(ChnlKindBdc,
                         "@BDC ST\r\nST:1\f@BDC ST\r\nST:2\f@BDC ST\r\nST:3\freply" + kBdcProbe));
}

TEST(Separation, StripsTheBinaryFormOnlyWhereTheStatusCommandAsksForIt) {
  const std::string binary = Counted("1") + Counted("\f\n@BDC PS\r\nST:\f") + Counted("33");
  const std::string text = "@BDC ST\r\nST:1\f";
  Splitter capable(Channels({BinaryBdc()}));
  EXPECT_EQ(Reply("reply"), capable.Separate(ChnlKindBdc, binary + "reply" + kBdcProbe));
  EXPECT_EQ(Reply(text + "reply"), capable.Separate(ChnlKindBdc, text + "reply" + kBdcProbe));

  Splitter plain(Channels({Channel(ChnlKindBdc)}));
  EXPECT_EQ(Reply(Counted("1") + "reply"),
            plain.Separate(ChnlKindBdc, Counted("1") + text + "reply" + kBdcProbe));
}

TEST(Separation, CutsTheDataAtABinaryItemWhoseLengthReachesPastIt) {
  Splitter splitter(Channels({BinaryBdc()}));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindBdc, "reply" + Counted("xy", 3)));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindBdc, "reply" + Counted("xy", 0xFFFF)));
  EXPECT_EQ(Reply("reply"), splitter.Separate(ChnlKindBdc, "reply" + Counted("xy")))
      << "and to its end";
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindBdc, Counted("reply" + kBdcProbe, 0xFFFF)).code);
}

TEST(Separation, EndsTheStrippingWhereNothingChangesOrNothingIsLeft) {
  Splitter splitter(Channels({BinaryBdc()}));
  const std::string empty = Counted("");
  EXPECT_EQ(Reply(empty + "a" + Counted("1") + "b"),
            splitter.Separate(ChnlKindBdc, empty + "a" + Counted("1") + "b" + kBdcProbe));
  EXPECT_EQ(Reply("x" + empty),
            splitter.Separate(ChnlKindBdc, Counted("1") + "x" + empty + kBdcProbe));
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindBdc, Counted("1") + Counted("2")).code);
}

TEST(Separation, FindsAProbeReplyThatAnItemStoodIn) {
  Splitter splitter(Channels({Channel(ChnlKindQpl)}));
  EXPECT_EQ(
      Reply("A"),
      splitter.Separate(ChnlKindQpl, "A@QPL @QPL STATUS CODE=01\nID\r\nx@QPL STATUS CODE=\nx\f"));
}

TEST(Separation, RefusesKindZeroAndNoData) {
  Splitter splitter(Channels({Channel(ChnlKindBdc), Channel(0)}));
  EXPECT_EQ(VLPER_PARAM, splitter.Separate(0, "data").code);
  EXPECT_EQ(VLPER_PARAM, splitter.Separate(ChnlKindBdc, "").code);
  std::uint8_t output[4] = {};
  for (const ChannelKind kind : {ChnlKindBdc, ChnlKindLabel, 0U}) {
    for (const std::uint32_t length : {0U, 1U, 5U}) {
      std::uint32_t room = sizeof(output);
      EXPECT_EQ(VLPER_PARAM, splitter.get().SepareteRecvData(kind, nullptr, length, output, &room));
      EXPECT_EQ(sizeof(output), room);
    }
  }
}

TEST(Separation, FailsWithoutAnOutput) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}));
  Block data("reply");
  std::uint8_t output[8] = {};
  std::uint32_t room = sizeof(output);
  EXPECT_EQ(VLPER_SEND,
            splitter.get().SepareteRecvData(ChnlKindBdc, data.data(), data.size(), nullptr, &room));
  EXPECT_EQ(VLPER_SEND, splitter.get().SepareteRecvData(ChnlKindBdc, data.data(), data.size(),
                                                        output, nullptr));
  EXPECT_EQ("reply", data.text());
}

TEST(Separation, NeedsNoOutputForAnEmptyReply) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}));
  Block data(kBdcProbe);
  std::uint32_t room = 0;
  EXPECT_EQ(0,
            splitter.get().SepareteRecvData(ChnlKindBdc, data.data(), data.size(), nullptr, &room));
  EXPECT_EQ(0U, room);
}

TEST(Separation, MayWriteTheReplyWhereTheNextCallReadsIt) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}));
  const Answer first = splitter.Separate(ChnlKindBdc, "a" + kBdcProbe + kBdcProbe);
  EXPECT_EQ(Reply("a" + kBdcProbe), first);
  EXPECT_EQ(Reply("a"), splitter.Separate(ChnlKindBdc, first.bytes));
}

}  // namespace
