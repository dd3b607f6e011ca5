// One status item out of what a printer sent.

#include "tests/language/language_fixture.h"

namespace {

using language_test::Answer;
using language_test::BinaryBdc;
using language_test::Block;
using language_test::Channel;
using language_test::Channels;
using language_test::Counted;
using language_test::kUnknownKind;
using language_test::Reply;
using language_test::Splitter;
using namespace std::string_literals;

const std::string kText = "@BDC ST\r\nST:01;\f";
const std::string kJob = "@QPL STATUS CODE=01\n";

TEST(StatusCut, GivesTheFirstItemWhole) {
  Splitter splitter(
      Channels({Channel(ChnlKindBdc), Channel(ChnlKindQpl), Channel(ChnlKindZrdPage)}));
  EXPECT_EQ(Reply(kText), splitter.Cut(ChnlKindBdc, "a" + kText + "b@BDC ST\r\nST:02;\f"));
  EXPECT_EQ(Reply(kJob), splitter.Cut(ChnlKindQpl, "a" + kJob + "b"));
  EXPECT_EQ(Reply(kJob), splitter.Cut(ChnlKindZrdPage, kJob));
}

TEST(StatusCut, GivesABinaryItemWhole) {
  Splitter splitter(Channels({BinaryBdc()}));
  EXPECT_EQ(Reply(Counted("xyz")), splitter.Cut(ChnlKindBdc, "a" + Counted("xyz") + "b"));
  EXPECT_EQ(Reply(Counted("xyz")), splitter.Cut(ChnlKindBdc, Counted("xyz"))) << "up to the end";
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, Counted("xyz", 4)).code) << "past the end";
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, Counted("") + Counted("xyz")).code);
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, kText).code);
}

TEST(StatusCut, OfJobStatusIsNotThatOfTheBdcChannel) {
  Splitter splitter(Channels({Channel(ChnlKindQpl), Channel(ChnlKindBdc)}));
  EXPECT_EQ(Reply(kJob), splitter.Cut(ChnlKindQpl, kText + kJob)) << "only replies are so stripped";
}

TEST(StatusCut, RefusesKindZeroAndNoData) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}, 1));
  EXPECT_EQ(VLPER_PARAM, splitter.Cut(0, kText).code);
  EXPECT_EQ(VLPER_PARAM, splitter.Cut(ChnlKindBdc, "").code);
  EXPECT_EQ(VLPER_PARAM, splitter.Cut(ChnlKindLabel, "").code);
  std::uint8_t output[64] = {};
  std::uint32_t room = sizeof(output);
  EXPECT_EQ(VLPER_PARAM, splitter.get().CutStatus(ChnlKindBdc, nullptr, 5, output, &room));
  EXPECT_EQ(VLPER_PARAM, splitter.get().CutStatus(ChnlKindBdc, nullptr, 0, output, &room));
}

TEST(StatusCut, FailsWithoutAWholeItem) {
  Splitter splitter(Channels({Channel(ChnlKindBdc), Channel(ChnlKindQpl)}));
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, "nothing of the kind").code);
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindQpl, kText).code);
  for (std::size_t length = 1; length < kText.size(); ++length) {
    EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, kText.substr(0, length)).code) << length;
  }
  Splitter binary(Channels({BinaryBdc()}));
  const std::string item = Counted("0123456789");
  for (std::size_t length = 1; length < item.size(); ++length) {
    EXPECT_EQ(VLPER_SEND, binary.Cut(ChnlKindBdc, item.substr(0, length)).code) << length;
  }
  EXPECT_EQ(Reply(item), binary.Cut(ChnlKindBdc, item));
}

TEST(StatusCut, FailsIfTheItemDoesNotFit) {
  Splitter splitter(Channels({Channel(ChnlKindBdc)}));
  const auto exactly = static_cast<std::uint32_t>(kText.size());
  EXPECT_EQ(Reply(kText), splitter.Cut(ChnlKindBdc, "noise" + kText, exactly));
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, kText, exactly - 1).code);
  EXPECT_EQ(VLPER_SEND, splitter.Cut(ChnlKindBdc, kText, 0).code);
  Block data(kText);
  std::uint8_t output[64] = {};
  std::uint32_t room = sizeof(output);
  EXPECT_EQ(VLPER_SEND,
            splitter.get().CutStatus(ChnlKindBdc, data.data(), data.size(), nullptr, &room));
  EXPECT_EQ(VLPER_SEND,
            splitter.get().CutStatus(ChnlKindBdc, data.data(), data.size(), output, nullptr));
}

TEST(StatusCut, TakesAllOfTheDataWhereItemsHaveNoForm) {
  const std::string all = kText + kJob + "\0"s;
  const auto exactly = static_cast<std::uint32_t>(all.size());
  Splitter splitter(Channels({Channel(ChnlKindD4)}));
  for (const ChannelKind kind :
       {ChnlKindD4, ChnlKindZrdPages, ChnlKindEnd4, ChnlKindLabel, kUnknownKind}) {
    EXPECT_EQ(Reply(all), splitter.Cut(kind, all)) << std::hex << kind;
    EXPECT_EQ(Reply(all), splitter.Cut(kind, all, exactly)) << std::hex << kind;
    EXPECT_EQ(VLPER_SEND, splitter.Cut(kind, all, exactly - 1).code) << std::hex << kind;
    EXPECT_EQ(Reply("\0"s), splitter.Cut(kind, "\0"s)) << "no byte counts as a dummy here";
  }
}

TEST(StatusCut, ResolvesTheKindFirst) {
  Splitter packet(Channels({Channel(ChnlKindBdc), Channel(ChnlKindD4)}));
  EXPECT_EQ(Reply("a" + kText + "b"), packet.Cut(ChnlKindBdc, "a" + kText + "b"))
      << "status comes by the packet channel, whole";
  EXPECT_EQ(Reply(kJob), packet.Cut(ChnlKindQpl, "a" + kJob + "b"));

  Splitter vendor(Channels({Channel(ChnlKindBdc), Channel(ChnlKindD4)}, 1));
  for (const ChannelKind kind : {ChnlKindBdc, ChnlKindQpl, ChnlKindD4, ChnlKindLabel}) {
    EXPECT_EQ(Reply(kText), vendor.Cut(kind, "a" + kText + kJob + "b")) << std::hex << kind;
  }
  Splitter binary_vendor(Channels({BinaryBdc()}, 1));
  EXPECT_EQ(Reply(Counted("x")), binary_vendor.Cut(ChnlKindD4, kText + Counted("x") + "b"));
}

}  // namespace
