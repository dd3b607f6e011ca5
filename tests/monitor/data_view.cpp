#include "monitor/data_view.h"

#include <gtest/gtest.h>

namespace {

using monitor::Differences;
using monitor::DumpLines;
using monitor::IsText;
using monitor::ReplyLines;
using monitor::StatusLines;

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

const Bytes kTextStatus = BytesOf("@BDC ST\r\nST:04;ER:05;MC:QN42000017;\f");
const Bytes kBinaryStatus = BytesOf(std::string_view("@BDC ST2\r\n\x04\0\x01\x02\x04\x05", 16));

TEST(StatusView, ShowsTheFieldsOfATextBelowEachOther) {
  EXPECT_EQ(StatusLines(kTextStatus), (Lines{"@BDC ST", "ST  04", "ER  05", "MC  QN42000017"}));
  EXPECT_EQ(StatusLines(BytesOf("@QPL STATUS CODE=10001\r\n")), (Lines{"@QPL STATUS CODE=10001"}));
  EXPECT_EQ(StatusLines(BytesOf("A:1:2;LONG:;:x")), (Lines{"A     1:2", "LONG  ", "x"}));
}

TEST(StatusView, ShowsBinaryDataInHexadecimal) {
  EXPECT_FALSE(IsText(kBinaryStatus));
  EXPECT_EQ(StatusLines(kBinaryStatus),
            (Lines{"0000  40 42 44 43 20 53 54 32  0d 0a 04 00 01 02 04 05  @BDC ST2........"}));
}

TEST(StatusView, LetsNoControlCharacterThrough) {
  for (int value = 0; value < 0x100; ++value) {
    const Bytes bytes = {'A', static_cast<std::uint8_t>(value), ':', 'B'};
    for (const std::string& line : StatusLines(bytes)) {
      for (const char c : line) {
        EXPECT_GE(static_cast<unsigned char>(c), 0x20) << value;
        EXPECT_NE(c, 0x7F) << value;
      }
      EXPECT_EQ(line.find("\xC2\x9B"), std::string::npos) << value;
    }
  }
}

TEST(StatusView, AlignsTheLastLineOfADump) {
  Bytes bytes(17, 'A');
  bytes[0] = 0;
  bytes[16] = 0x80;
  EXPECT_EQ(DumpLines(bytes),
            (Lines{"0000  00 41 41 41 41 41 41 41  41 41 41 41 41 41 41 41  .AAAAAAAAAAAAAAA",
                   "0010  80                                                ."}));
  EXPECT_EQ(DumpLines({}), Lines{});
}

TEST(ReplyView, ShowsTextAndBytes) {
  EXPECT_EQ(
      ReplyLines(BytesOf("ok;1\r\nb\f")),
      (Lines{"ok;1", "b", "0000  6f 6b 3b 31 0d 0a 62 0c                           ok;1..b."}));
  EXPECT_EQ(ReplyLines({0}).size(), 1u);
}

TEST(StatusDifferences, AreNoneBetweenEqualItems) {
  EXPECT_EQ(Differences(kTextStatus, kTextStatus), Lines{});
  EXPECT_EQ(Differences({}, {}), Lines{});
}

TEST(StatusDifferences, NameTheFieldsOfATextThatHaveChanged) {
  EXPECT_EQ(Differences(kTextStatus, BytesOf("@BDC ST\r\nST:02;MC:QN42000017;WR:1;\f")),
            (Lines{"ST: 02, was 04", "WR: 1, new", "ER: gone, was 05"}));
  EXPECT_EQ(Differences(BytesOf("@QPL STATUS CODE=10001\n"), BytesOf("@QPL STATUS CODE=10003\n")),
            (Lines{"@QPL STATUS CODE=10003, was @QPL STATUS CODE=10001"}));
}

TEST(StatusDifferences, CompareFieldsOfOneNameInTheirOrder) {
  EXPECT_EQ(Differences(BytesOf("INK:1;INK:2;"), BytesOf("INK:1;INK:3;INK:4;")),
            (Lines{"INK: 3, was 2", "INK: 4, new"}));
}

TEST(StatusDifferences, NameTheBytesOfBinaryDataThatHaveChanged) {
  Bytes after = kBinaryStatus;
  after[12] = 9;
  after[14] = 8;
  after[15] = 7;
  EXPECT_EQ(Differences(kBinaryStatus, after),
            (Lines{"byte 0x000c: 09, was 01", "bytes 0x000e to 0x000f: 08 07, was 04 05"}));
  after = kBinaryStatus;
  after.push_back(0);
  EXPECT_EQ(Differences(kBinaryStatus, after), (Lines{"17 bytes, was 16 bytes"}));
}

TEST(StatusDifferences, ShowTheBeginningOfLongRuns) {
  EXPECT_EQ(Differences(Bytes(9, 0), Bytes(9, 1)),
            (Lines{"bytes 0x0000 to 0x0008: 01 01 01 01 01 01 01 01 ..., was 00 00 00 00 00 00 00 "
                   "00 ..."}));
}

TEST(StatusDifferences, FallBackToBytesWhereTheFieldsAreEqual) {
  EXPECT_EQ(Differences(BytesOf("A:1;"), BytesOf("A:1\n")), (Lines{"byte 0x0003: 0a, was 3b"}));
}

}  // namespace
