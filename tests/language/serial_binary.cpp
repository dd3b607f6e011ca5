// The serial number in a status item of binary form.

#include "language/status_item.h"
#include "tests/language/language_fixture.h"

namespace {

using language_test::Block;
using language_test::Counted;
using namespace std::string_literals;

const std::string kSerial = "\xFF\0\x0A\x0C@ST:MC"s;  // any ten bytes
const std::string kEntry = "@\x0A" + kSerial;
constexpr const char* kNone = "";

std::string SerialOf(const std::string& status) {
  Block block(status);
  const std::optional<vlp::SerialNumber> serial = vlp::GetSerialFromStatus(block.all());
  return serial ? std::string(serial->begin(), serial->end()) : kNone;
}

// A length that isn't that of the entries.
std::string SerialOf(const std::string& entries, std::size_t length) {
  return SerialOf(Counted(entries, length));
}

TEST(BinarySerial, IsTheTenBytesOfItsEntry) {
  ASSERT_EQ(10U, kSerial.size());
  EXPECT_EQ(kSerial, SerialOf(Counted(kEntry)));
  EXPECT_EQ(kSerial, SerialOf("noise" + Counted(kEntry)));
  EXPECT_EQ(kSerial, SerialOf(Counted(kEntry) + "more"));
}

TEST(BinarySerial, IsReadIfTheLengthIsThatOfTheBytesThereAndNotIfItIsOneMore) {
  EXPECT_EQ(kSerial, SerialOf(kEntry, kEntry.size()));
  EXPECT_EQ(kNone, SerialOf(kEntry, kEntry.size() + 1));
  EXPECT_EQ(kNone, SerialOf(kEntry, 0xFFFF));
  EXPECT_EQ(kNone, SerialOf(kEntry, 0x0100 + kEntry.size())) << "the high byte counts";
}

TEST(BinarySerial, IsNoneIfItsEntryHasAnotherLengthThanTen) {
  EXPECT_EQ(kNone, SerialOf(Counted("@\x09" + kSerial.substr(1))));
  EXPECT_EQ(kNone, SerialOf(Counted("@\x0B" + kSerial + "+")));
  EXPECT_EQ(kNone, SerialOf(Counted("@\x01x")));
}

TEST(BinarySerial, IsNotSearchedForBehindAnEntryOfTheWrongLength) {
  EXPECT_EQ(kNone, SerialOf(Counted("@\x09" + kSerial.substr(1) + kEntry)));
  EXPECT_EQ(kNone, SerialOf(Counted("@\x0B" + kSerial + "+" + kEntry)));
}

TEST(BinarySerial, IsFoundBehindEntriesOfOtherTypes) {
  EXPECT_EQ(kSerial, SerialOf(Counted("\x01\x03@\x0Az" + kEntry))) << "a value is no entry";
  EXPECT_EQ(kSerial, SerialOf(Counted("\x01\x01x\x02\x02xy" + kEntry + "\x03\x01x")));
  EXPECT_EQ(kSerial, SerialOf(Counted("\x3F\x0A"s + "0123456789" + kEntry)));
  EXPECT_EQ(kSerial, SerialOf(Counted("\x01\xFF" + std::string(255, '@') + kEntry)));
}

TEST(BinarySerial, IsThatOfTheFirstOfTwoEntries) {
  EXPECT_EQ(kSerial, SerialOf(Counted(kEntry + "@\x0A" + "0123456789")));
}

TEST(BinarySerial, IsFoundBehindEntriesWithoutAValue) {
  EXPECT_EQ(kSerial, SerialOf(Counted("\x01\0"s + kEntry)));
  EXPECT_EQ(kSerial, SerialOf(Counted("\0\0\0\0"s + kEntry)));
  EXPECT_EQ(kSerial, SerialOf(Counted("@\0"s + kEntry))) << "one of the number's own type too";
  EXPECT_EQ(kNone, SerialOf(Counted("@\0"s)));
  EXPECT_EQ(kNone, SerialOf(Counted(std::string(1000, '\0')))) << "the walk ends";
}

TEST(BinarySerial, IsNoneBehindAValueThatRunsPastTheData) {
  EXPECT_EQ(kNone, SerialOf(Counted("\x01\x0D" + kEntry)));
  EXPECT_EQ(kNone, SerialOf(Counted("\x01\xFF" + kEntry)));
  EXPECT_EQ(kNone, SerialOf(Counted(kEntry.substr(0, 11)))) << "nine of the ten bytes";
}

TEST(BinarySerial, MayRunPastTheLengthIfItsBytesAreThere) {
  EXPECT_EQ(kSerial, SerialOf(kEntry, 2)) << "type and length lie within";
  EXPECT_EQ(kSerial, SerialOf("\x01\x01x" + kEntry, 5));
  EXPECT_EQ(kNone, SerialOf(kEntry.substr(0, 11), 2));
}

TEST(BinarySerial, IsNoneIfTypeAndLengthWouldPassTheLength) {
  EXPECT_EQ(kNone, SerialOf("\x01\x01x" + kEntry, 3)) << "the walk ends exactly at the length";
  EXPECT_EQ(kNone, SerialOf("\x01\x01x" + kEntry, 4)) << "one byte short";
  EXPECT_EQ(kNone, SerialOf("\x01\x04wxyz" + kEntry, 3)) << "the value before it went past";
  EXPECT_EQ(kNone, SerialOf(Counted("\x01\x01x@")));
}

TEST(BinarySerial, IsNoneIfTheLengthIsBelowTwo) {
  EXPECT_EQ(kNone, SerialOf(kEntry, 0));
  EXPECT_EQ(kNone, SerialOf(kEntry, 1));
}

TEST(BinarySerial, IsNoneWithFewerThanThreeBytesBehindTheHead) {
  const std::string before = "some bytes in front@BDC ST2\r\n";
  EXPECT_EQ(kNone, SerialOf(before));
  EXPECT_EQ(kNone, SerialOf(before + "\x0C"));
  EXPECT_EQ(kNone, SerialOf(before + "\x0C\0"s));
  EXPECT_EQ(kNone, SerialOf(before + "\x0C\0@"s));
}

TEST(BinarySerial, IsNoneInAStatusCutAtAnyByte) {
  const std::string status = "x" + Counted("\x01\x02__" + kEntry);
  for (std::size_t length = 0; length < status.size(); ++length) {
    EXPECT_EQ(kNone, SerialOf(status.substr(0, length))) << length;
  }
  EXPECT_EQ(kSerial, SerialOf(status));
}

TEST(BinarySerial, IsReadBehindTheFirstHead) {
  EXPECT_EQ(kSerial, SerialOf(Counted(kEntry) + Counted("@\x0A" + "0123456789"s)));
  EXPECT_EQ(kNone, SerialOf(Counted("\x01\x01x") + Counted(kEntry)))
      << "an item without a number isn't passed over";
}

}  // namespace
