// The serial number in a status item of text form, and what both forms have in common.

#include "language/status_item.h"
#include "tests/language/language_fixture.h"

namespace {

using language_test::Block;
using language_test::Counted;
using language_test::Hex;
using namespace std::string_literals;

const std::string kHead = "@BDC ST\r\nST:";
const std::string kDigits = "0123456789ABCDEFabcd";  // twenty
const std::string kSerial = Hex("01 23 45 67 89 AB CD EF AB CD");

// Empty: none was found.
std::string SerialOf(const std::string& status) {
  Block block(status);
  const std::optional<vlp::SerialNumber> serial = vlp::GetSerialFromStatus(block.all());
  return serial ? std::string(serial->begin(), serial->end()) : "";
}

TEST(TextSerial, IsTwentyHexadecimalDigitsBehindItsField) {
  EXPECT_EQ(kSerial, SerialOf(kHead + "AB:12;MC:" + kDigits + ";\r\f"));
  EXPECT_EQ(Hex("FE DC BA 98 76 54 32 10 F0 0F"), SerialOf(kHead + "MC:FEDCBA9876543210F00F;;"));
  EXPECT_EQ(Hex("00 00 00 00 00 00 00 00 00 00"),
            SerialOf(kHead + "MC:" + "0"s.append(19, '0') + "..."));
}

TEST(TextSerial, TakesLowerCaseDigits) {
  EXPECT_EQ(Hex("AB CD EF AB CD EF 0A 0B 0C 0D"), SerialOf(kHead + "MC:abcdefABCDEF0a0b0c0d;\f"));
}

TEST(TextSerial, IsNoneWithNineteenDigitsAndSomethingElse) {
  EXPECT_EQ("", SerialOf(kHead + "MC:" + kDigits.substr(0, 19) + ";;;;;;\f"));
}

TEST(TextSerial, TakesNoOtherCharacterAtAnyPlace) {
  const std::string others = "/:@G`g\0 \xC1\xE1xX"s;  // the neighbours of the digits among them
  for (std::size_t at = 0; at < kDigits.size(); ++at) {
    for (const char other : others) {
      std::string digits = kDigits;
      digits[at] = other;
      EXPECT_EQ("", SerialOf(kHead + "MC:" + digits + ";;\f")) << at << " " << other;
    }
  }
}

TEST(TextSerial, TakesEveryDigitInEitherHalf) {
  for (int value = 0; value < 256; ++value) {
    const char pair[] = {"0123456789abcdef"[value / 16], "0123456789ABCDEF"[value % 16], 0};
    const std::string serial = SerialOf(kHead + "MC:" + pair + kDigits.substr(2) + "..");
    ASSERT_EQ(10U, serial.size());
    EXPECT_EQ(value, static_cast<std::uint8_t>(serial[0]));
    EXPECT_EQ(kSerial.substr(1), serial.substr(1));
  }
}

TEST(TextSerial, NeedsTwentyFiveBytesBehindTheHead) {
  EXPECT_EQ("", SerialOf(kHead + "MC:" + kDigits + "1"));
  EXPECT_EQ(kSerial, SerialOf(kHead + "MC:" + kDigits + "12"));
}

TEST(TextSerial, NeedsTwentyTwoBytesBehindItsField) {
  const std::string before = kHead + "AB:123456;MC:" + kDigits;
  EXPECT_EQ("", SerialOf(before));
  EXPECT_EQ("", SerialOf(before + "."));
  EXPECT_EQ(kSerial, SerialOf(before + ".."));
}

TEST(TextSerial, IsNoneWithoutItsField) {
  EXPECT_EQ("", SerialOf(kHead + std::string(40, '0')));
  EXPECT_EQ("", SerialOf(kHead + "mc:" + kDigits + "..."));
  EXPECT_EQ("", SerialOf(kHead + std::string(40, '0') + "MC"));
}

TEST(TextSerial, IsReadFromTheFirstFieldBehindTheHead) {
  EXPECT_EQ(kSerial, SerialOf("MC:" + std::string(20, '9') + ".." + kHead + "MC:" + kDigits + ".."))
      << "a field in front of the head is none";
  EXPECT_EQ("", SerialOf("MC:" + kDigits + ".." + kHead + std::string(30, '.')));
  EXPECT_EQ("", SerialOf(kHead + "MC:bad;MC:" + kDigits + "..")) << "the first counts";
  EXPECT_EQ(kSerial, SerialOf(kHead + "MC:" + kDigits + ";MC:" + std::string(30, '0')));
}

TEST(TextSerial, IsReadBehindTheFirstHead) {
  const std::string first = kHead + "MC:" + kDigits + ";\f";
  EXPECT_EQ(kSerial, SerialOf(first + kHead + "MC:" + std::string(20, '9') + ";\f"));
  EXPECT_EQ(kSerial, SerialOf("noise" + first)) << "the head may stand anywhere";
}

TEST(TextSerial, IsNoneInAStatusCutAtAnyByteTooEarly) {
  const std::string status = "x" + kHead + "MC:" + kDigits + "..";
  for (std::size_t length = 0; length < status.size(); ++length) {
    EXPECT_EQ("", SerialOf(status.substr(0, length))) << length;
  }
  EXPECT_EQ(kSerial, SerialOf(status));
}

TEST(Serial, OfAStatusWithBothFormsIsReadFromTheText) {
  const std::string binary = Counted("@\x0A"s + "0123456789");
  const std::string text = kHead + "MC:" + kDigits + ";\f";
  EXPECT_EQ(kSerial, SerialOf(binary + text));
  EXPECT_EQ(kSerial, SerialOf(text + binary));
}

TEST(Serial, OfASpoiltTextIsNotReadFromTheBinaryForm) {
  const std::string binary = Counted("@\x0A"s + "0123456789");
  ASSERT_EQ("0123456789", SerialOf(binary));
  EXPECT_EQ("", SerialOf(binary + kHead + "MC:" + std::string(19, '0') + "x..\f"));
  EXPECT_EQ("", SerialOf(kHead + "no field here, but enough bytes\f" + binary));
  EXPECT_EQ("", SerialOf(binary + kHead)) << "nothing behind the text's head";
}

TEST(Serial, IsNoneWithoutAHead) {
  EXPECT_EQ("", SerialOf(std::string(100, 'x')));
  EXPECT_EQ("", SerialOf("MC:" + kDigits + "...."));
  EXPECT_EQ("", SerialOf("@BDC PS\r\nST:MC:" + kDigits + "...."));
}

TEST(Serial, NeedsThirteenBytes) {
  EXPECT_EQ("", SerialOf(""));
  EXPECT_EQ(std::nullopt, vlp::GetSerialFromStatus({}));
  for (const std::string& head : {kHead, "@BDC ST2\r\n\1\0"s, "@BDC ST2\r\n\0\0"s}) {
    ASSERT_EQ(12U, head.size());
    EXPECT_EQ("", SerialOf(head));
    EXPECT_EQ("", SerialOf(head + "x")) << "thirteen are looked at, but hold no number";
  }
}

}  // namespace
