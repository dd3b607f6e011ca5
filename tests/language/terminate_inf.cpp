// The record that tells the far side how a reply ends.

#include "language/channel_language.h"
#include "tests/language/language_fixture.h"

namespace vlp {
namespace {

using language_test::BinaryBdc;
using language_test::Channel;
using language_test::Channels;
using language_test::Hex;
using language_test::kUnknownKind;
using language_test::TextOf;

std::string Record(ChannelKind kind, const ConnectRecords& channels = {}) {
  return TextOf(BuildTerminateInf(channels, kind, false));
}

TEST(TerminateInf, HasTheSizeOfItsFields) {
  EXPECT_EQ(42U, Record(ChnlKindBdc, Channels({Channel(ChnlKindBdc)})).size());
  EXPECT_EQ(52U, Record(ChnlKindBdc, Channels({BinaryBdc()})).size());
  EXPECT_EQ(44U, Record(ChnlKindQpl).size());
  EXPECT_EQ(53U, Record(ChnlKindZrdPage).size());
}

TEST(TerminateInf, OfTheJobLanguage) {
  EXPECT_EQ(Hex("01 00 00 00 01 00 00 00 00 00 00 00 09 00 00 00 09 00 00 00 00 00 00 00") +
                Hex("0C") + Hex("0A") + "@QPL ID" + Hex("0D 0A") + "@QPL ID" + Hex("0D 0A"),
            Record(ChnlKindQpl));
}

TEST(TerminateInf, OfTheCommandModeWithTextStatus) {
  EXPECT_EQ(Hex("01 00 00 00 00 00 00 00 00 00 00 00 05 00 00 00 0C 00 00 00 00 00 00 00") +
                Hex("0C") + "ST" + Hex("01 00 01") + "@BDC PS" + Hex("0D 0A") + "ST:",
            Record(ChnlKindBdc, Channels({Channel(ChnlKindBdc)})));
  EXPECT_EQ(Record(ChnlKindBdc, Channels({Channel(ChnlKindBdc)})), Record(ChnlKindBdc))
      << "the channel's record only tells the form of status";
}

TEST(TerminateInf, OfTheCommandModeWithBinaryStatus) {
  EXPECT_EQ(Hex("01 00 00 00 00 00 00 00 0A 00 00 00 05 00 00 00 0C 00 00 00 00 00 00 00") +
                Hex("0C") + "@BDC ST2" + Hex("0D 0A") + "ST" + Hex("01 00 01") + "@BDC PS" +
                Hex("0D 0A") + "ST:",
            Record(ChnlKindBdc, Channels({BinaryBdc()})));
}

TEST(TerminateInf, OfThePageLanguage) {
  EXPECT_EQ(Hex("01 00 00 00 00 00 00 00 00 00 00 00 0D 00 00 00 0D 00 00 00 02 00 00 00") +
                Hex("0A 1D") + "10;1lS" + Hex("1D") + "12mlS" + "ZRD/PAGE mlS " + Hex("1B 01"),
            Record(ChnlKindZrdPage));
}

TEST(TerminateInf, HoldsItsLengthsAndFieldsWithoutPadding) {
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage}) {
    const std::string record = Record(kind, Channels({BinaryBdc()}));
    ASSERT_GE(record.size(), 25U);
    std::size_t fields = 0;
    for (std::size_t at = 4; at < 24; at += 4) {
      fields += static_cast<std::uint8_t>(record[at]);
      EXPECT_EQ(Hex("00 00 00"), record.substr(at + 1, 3)) << "lengths are little-endian";
    }
    EXPECT_EQ(Hex("01 00 00 00"), record.substr(0, 4));
    EXPECT_EQ(25 + fields, record.size());
  }
}

TEST(TerminateInf, IsNotThereForAChannelWithoutALanguage) {
  for (const ChannelKind kind :
       {ChnlKindD4, ChnlKindZrdPages, ChnlKindEnd4, ChnlKindLabel, 0U, kUnknownKind}) {
    EXPECT_EQ(0U, Record(kind, Channels({Channel(kind), BinaryBdc()})).size()) << std::hex << kind;
  }
}

TEST(TerminateInf, IsNotThereForAThroughCommand) {
  const ConnectRecords channels =
      Channels({Channel(ChnlKindQpl), BinaryBdc(), Channel(ChnlKindZrdPage), Channel(ChnlKindD4)});
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4,
                                 ChnlKindZrdPages, ChnlKindEnd4, ChnlKindLabel, 0U, kUnknownKind}) {
    EXPECT_TRUE(BuildTerminateInf(channels, kind, true).empty()) << std::hex << kind;
  }
}

}  // namespace
}  // namespace vlp
