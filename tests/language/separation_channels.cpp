// Which channel decides what is taken out of a reply.

#include <type_traits>

#include "tests/language/language_fixture.h"

namespace {

using language_test::BinaryBdc;
using language_test::Block;
using language_test::Channel;
using language_test::Channels;
using language_test::Counted;
using language_test::kUnknownKind;
using language_test::Reply;
using language_test::Splitter;
using namespace std::string_literals;

const std::string kJobItem = "@QPL STATUS CODE=01\n";
const std::string kTextItem = "@BDC ST\r\nST:01;\f";
const std::string kQplProbe = "@QPL ID\r\nxx\f";

TEST(SeparationChannels, StripBdcItemsFromJobRepliesWhereThePrinterReportsStatusThere) {
  Splitter splitter(Channels({Channel(ChnlKindQpl), Channel(ChnlKindBdc, 7)}));
  EXPECT_EQ(
      Reply("A" + kJobItem + "B"),
      splitter.Separate(ChnlKindQpl, "A" + kTextItem + kJobItem + kTextItem + "B" + kQplProbe));
}

TEST(SeparationChannels, StripBinaryBdcItemsFromJobRepliesToo) {
  Splitter splitter(Channels({Channel(ChnlKindQpl), BinaryBdc(4)}));
  EXPECT_EQ(
      Reply("A" + kTextItem + kJobItem + "B"),
      splitter.Separate(ChnlKindQpl, "A" + Counted("x") + kTextItem + kJobItem + "B" + kQplProbe));
}

TEST(SeparationChannels, StripJobItemsWhereTheBdcChannelReportsNoStatus) {
  for (const std::uint32_t mode : {0U, 1U, 2U, 3U, 8U, 0xFFFBU}) {
    Splitter splitter(Channels({Channel(ChnlKindQpl), Channel(ChnlKindBdc, mode)}));
    EXPECT_EQ(Reply("A" + kTextItem + "B"),
              splitter.Separate(ChnlKindQpl, "A" + kTextItem + kJobItem + "B" + kQplProbe))
        << mode;
  }
  for (const std::uint32_t mode : {4U, 7U, 0xFFFFU}) {
    Splitter splitter(Channels({Channel(ChnlKindQpl), Channel(ChnlKindBdc, mode)}));
    EXPECT_EQ(Reply("A" + kJobItem + "B"),
              splitter.Separate(ChnlKindQpl, "A" + kTextItem + kJobItem + "B" + kQplProbe))
        << mode;
  }
}

TEST(SeparationChannels, StripPageRepliesOfJobItemsWhateverElseThePrinterHas) {
  Splitter splitter(Channels({Channel(ChnlKindZrdPage), BinaryBdc(), Channel(ChnlKindQpl)}));
  EXPECT_EQ(Reply(kTextItem + "B"),
            splitter.Separate(ChnlKindZrdPage, kJobItem + kTextItem + "BZRD/PAGE mlS 1\n"));
}

TEST(SeparationChannels, StripNothingWithoutARecordOfTheKind) {
  const std::string received = kJobItem + kTextItem + Counted("x") + kQplProbe;
  Splitter splitter(Channels({Channel(ChnlKindD4)}));
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage}) {
    Block data(received);
    Block output(received);
    std::uint32_t room = output.size();
    EXPECT_EQ(VLPER_SEND, splitter.get().SepareteRecvData(kind, data.data(), data.size(),
                                                          output.data(), &room));
    EXPECT_EQ(received, data.text()) << "nothing moved";
  }
}

TEST(SeparationChannels, FailWithoutARecordOfTheKindAskedForThoughItemsAreStripped) {
  Splitter splitter(Channels({Channel(ChnlKindBdc, 4)}));
  Block data("A" + kTextItem + "B");
  Block output(data.text());
  std::uint32_t room = output.size();
  EXPECT_EQ(VLPER_SEND, splitter.get().SepareteRecvData(ChnlKindQpl, data.data(), data.size(),
                                                        output.data(), &room));
  EXPECT_EQ("AB", data.first(2)) << "by the record that decides on the items";
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindD4, "two").code);
  EXPECT_EQ(VLPER_SEND, splitter.Separate(ChnlKindLabel, "two").code);
  EXPECT_EQ(VLPER_SEND, splitter.Separate(kUnknownKind, "two").code);
}

TEST(SeparationChannels, PassRepliesOfChannelsWithoutALanguageUnchanged) {
  const std::string reply =
      kJobItem + kTextItem + Counted("x") + kQplProbe + "@BDC PS\r\nST:1\fZRD/PAGE mlS 1\n\0"s;
  for (const ChannelKind kind :
       {ChnlKindD4, ChnlKindEnd4, ChnlKindLabel, ChnlKindZrdPages, kUnknownKind}) {
    Splitter splitter(Channels({Channel(kind), BinaryBdc(), Channel(ChnlKindQpl)}));
    EXPECT_EQ(Reply(reply), splitter.Separate(kind, reply)) << std::hex << kind;
    EXPECT_EQ(Reply("\0\0"s), splitter.Separate(kind, "\0\0"s)) << std::hex << kind;
    EXPECT_EQ(VLPER_SEND,
              splitter.Separate(kind, reply, static_cast<std::uint32_t>(reply.size() - 1)).code);
  }
}

TEST(SeparationChannels, AreReadAnewWithEachCall) {
  vlp::ConnectInfo info;
  vlp::CSepareteData data(&info, nullptr);
  const auto separate = [&] {
    Block received("xy");
    Block output("__");
    std::uint32_t room = output.size();
    return data.SepareteRecvData(ChnlKindD4, received.data(), received.size(), output.data(),
                                 &room);
  };
  EXPECT_EQ(VLPER_SEND, separate());
  info.Publish(std::make_shared<const vlp::ConnectRecords>(Channels({Channel(ChnlKindD4)})));
  EXPECT_EQ(0, separate());
  info.Publish(std::make_shared<const vlp::ConnectRecords>());
  EXPECT_EQ(VLPER_SEND, separate());
}

TEST(SeparationChannels, AndTheLogAreAllThatTheClassHolds) {
  EXPECT_EQ(2 * sizeof(void*), sizeof(vlp::CSepareteData));
  EXPECT_TRUE(std::is_trivially_destructible_v<vlp::CSepareteData>) << "it owns neither";
  EXPECT_FALSE(std::is_polymorphic_v<vlp::CSepareteData>);
}

}  // namespace
