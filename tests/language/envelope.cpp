// What is put round a command.

#include <limits>

#include "language/channel_language.h"
#include "tests/language/language_fixture.h"

namespace {

using language_test::Block;
using language_test::Hex;
using language_test::TextOf;

constexpr ChannelKind kKinds[] = {ChnlKindQpl,
                                  ChnlKindBdc,
                                  ChnlKindZrdPage,
                                  ChnlKindD4,
                                  ChnlKindEnd4,
                                  ChnlKindZrdPages,
                                  ChnlKindLabel,
                                  0,
                                  language_test::kUnknownKind,
                                  ChnlKindBdc + 2};

std::string Wrap(ChannelKind kind, const std::string& command, bool through = false) {
  Block block(command);
  return TextOf(vlp::WrapCommand(kind, block.all(), through));
}

TEST(Envelope, MakesACommandAsMuchLongerAsItsChannelAsks) {
  EXPECT_EQ(31U, Wrap(ChnlKindBdc, "12345").size());
  EXPECT_EQ(18U, Wrap(ChnlKindQpl, "12345").size());
  EXPECT_EQ(40U, Wrap(ChnlKindZrdPage, "12345").size());
  EXPECT_EQ(5U, Wrap(ChnlKindD4, "12345").size());
}

TEST(Envelope, OfTheJobLanguage) {
  EXPECT_EQ(Hex("1B 01") + "command" + "@QPL ID" + Hex("0D 0A 1B 01"),
            Wrap(ChnlKindQpl, "command"));
}

TEST(Envelope, OfTheCommandMode) {
  EXPECT_EQ(Hex("1B 40 1B 40 1B 28 52 08 00 00") + "REMOTE1" + "command" + "ST" +
                Hex("01 00 01 1B 00 00 00"),
            Wrap(ChnlKindBdc, "command"));
}

TEST(Envelope, OfThePageLanguage) {
  EXPECT_EQ(Hex("1B 01") + "@QPL EN LA=ZRD/PAGE" + Hex("0A") + "command" + Hex("1D") + "10;1lS" +
                Hex("1D") + "12mlS",
            Wrap(ChnlKindZrdPage, "command"));
}

TEST(Envelope, IsEmptyOnAChannelWithoutALanguage) {
  for (const ChannelKind kind : {ChnlKindD4, ChnlKindZrdPages, ChnlKindEnd4, ChnlKindLabel, 0U,
                                 language_test::kUnknownKind}) {
    EXPECT_EQ("command", Wrap(kind, "command")) << std::hex << kind;
  }
}

TEST(Envelope, IsLeftOutOfAThroughCommandOfEveryKind) {
  const std::string command = Hex("00 1B 01 FF");
  for (const ChannelKind kind : kKinds) {
    EXPECT_EQ(command, Wrap(kind, command, true)) << std::hex << kind;
    EXPECT_EQ("", Wrap(kind, "", true)) << std::hex << kind;
  }
}

TEST(Envelope, StandsAloneRoundAnEmptyCommand) {
  EXPECT_EQ(13U, Wrap(ChnlKindQpl, "").size());
  EXPECT_EQ(26U, Wrap(ChnlKindBdc, "").size());
  EXPECT_EQ(35U, Wrap(ChnlKindZrdPage, "").size());
  EXPECT_EQ("", Wrap(ChnlKindLabel, ""));
}

TEST(Envelope, TakesBytesOfEveryValue) {
  std::string command;
  for (int value = 0; value < 256; ++value) command.push_back(static_cast<char>(value));
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4}) {
    const std::string wrapped = Wrap(kind, command);
    EXPECT_NE(std::string::npos, wrapped.find(command)) << std::hex << kind;
  }
}

TEST(WrappedLength, IsThatOfTheWrappedCommand) {
  for (const ChannelKind kind : kKinds) {
    for (const bool through : {false, true}) {
      for (const std::size_t length : {0U, 1U, 5U, 300U}) {
        EXPECT_EQ(Wrap(kind, std::string(length, 'c'), through).size(),
                  vlp::WrappedLength(kind, static_cast<std::uint32_t>(length), through))
            << std::hex << kind;
      }
    }
  }
}

TEST(WrappedLength, IsNothingWhereItWouldNotFit) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  EXPECT_EQ(kMost, vlp::WrappedLength(ChnlKindQpl, kMost - 13, false));
  EXPECT_EQ(0U, vlp::WrappedLength(ChnlKindQpl, kMost - 12, false));
  EXPECT_EQ(kMost, vlp::WrappedLength(ChnlKindBdc, kMost - 26, false));
  EXPECT_EQ(0U, vlp::WrappedLength(ChnlKindBdc, kMost - 25, false));
  EXPECT_EQ(kMost, vlp::WrappedLength(ChnlKindZrdPage, kMost - 35, false));
  EXPECT_EQ(0U, vlp::WrappedLength(ChnlKindZrdPage, kMost - 34, false));
  EXPECT_EQ(kMost, vlp::WrappedLength(ChnlKindQpl, kMost, true));
  EXPECT_EQ(kMost, vlp::WrappedLength(ChnlKindD4, kMost, false));
}

}  // namespace
