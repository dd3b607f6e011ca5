// What the library sends and looks for, byte by byte.

#include "language/byte_strings.h"
#include "tests/language/language_fixture.h"

namespace {

using language_test::Hex;
using language_test::TextOf;

TEST(ByteStrings, HaveTheirLengths) {
  EXPECT_EQ(2U, vlp::kJobEscape.size());
  EXPECT_EQ(9U, vlp::kQplIdentity.size());
  EXPECT_EQ(17U, vlp::kQplStatusHead.size());
  EXPECT_EQ(17U, vlp::kRemoteEnter.size());
  EXPECT_EQ(5U, vlp::kRemoteStatus.size());
  EXPECT_EQ(4U, vlp::kRemoteLeave.size());
  EXPECT_EQ(12U, vlp::kBdcProbeHead.size());
  EXPECT_EQ(12U, vlp::kBdcStatusHead.size());
  EXPECT_EQ(10U, vlp::kBdcStatus2Head.size());
  EXPECT_EQ(22U, vlp::kStatusFormMarker.size());
  EXPECT_EQ(22U, vlp::kPageEnter.size());
  EXPECT_EQ(13U, vlp::kPageProbe.size());
  EXPECT_EQ(13U, vlp::kPageProbeHead.size());
  EXPECT_EQ(5U, vlp::kDeviceStatus.size());
  EXPECT_EQ(3U, vlp::kSerialField.size());
}

TEST(ByteStrings, OfTheJobLanguage) {
  EXPECT_EQ(Hex("1B 01"), TextOf(vlp::kJobEscape));
  EXPECT_EQ("@QPL ID" + Hex("0D 0A"), TextOf(vlp::kQplIdentity));
  EXPECT_EQ("@QPL STATUS CODE=", TextOf(vlp::kQplStatusHead));
}

TEST(ByteStrings, OfTheCommandMode) {
  EXPECT_EQ(Hex("1B 40 1B 40 1B 28 52 08 00 00 52 45 4D 4F 54 45 31"), TextOf(vlp::kRemoteEnter));
  EXPECT_EQ(Hex("1B 00 00 00"), TextOf(vlp::kRemoteLeave));
  EXPECT_EQ("@BDC PS" + Hex("0D 0A") + "ST:", TextOf(vlp::kBdcProbeHead));
  EXPECT_EQ("@BDC ST" + Hex("0D 0A") + "ST:", TextOf(vlp::kBdcStatusHead));
  EXPECT_EQ("@BDC ST2" + Hex("0D 0A"), TextOf(vlp::kBdcStatus2Head));
  EXPECT_EQ(Hex("1B 40 1B 40 1B 28 52 08 00 00 52 45 4D 4F 54 45 31 53 54 02 00 00"),
            TextOf(vlp::kStatusFormMarker));
}

TEST(ByteStrings, OfThePageLanguage) {
  EXPECT_EQ(Hex("1B 01") + "@QPL EN LA=ZRD/PAGE" + Hex("0A"), TextOf(vlp::kPageEnter));
  EXPECT_EQ(Hex("1D 31 30 3B 31 6C 53 1D 31 32 6D 6C 53"), TextOf(vlp::kPageProbe));
  EXPECT_EQ("ZRD/PAGE mlS" + Hex("20"), TextOf(vlp::kPageProbeHead));
}

TEST(ByteStrings, AskForStatusInUpperCaseInTheCommandModeAndInLowerCaseOnADevice) {
  EXPECT_EQ(Hex("53 54 01 00 01"), TextOf(vlp::kRemoteStatus));
  EXPECT_EQ(Hex("73 74 01 00 01"), TextOf(vlp::kDeviceStatus));
}

TEST(ByteStrings, NameTheFieldOfTheSerialNumber) {
  EXPECT_EQ(Hex("4D 43 3A"), TextOf(vlp::kSerialField));
}

}  // namespace
