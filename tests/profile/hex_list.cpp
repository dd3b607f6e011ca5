// Lists of hexadecimal groups: the decoding, and reading them from a file.

#include <gtest/gtest.h>

#include <string>

#include "profile/profile_reader.h"
#include "tests/support/far_side.h"

namespace {

using vlp::ByteList;
using vlp::DecodeHexList;

TEST(DecodeHexList, GroupsAreSplitByCommas) {
  EXPECT_EQ((ByteList{0x1B, 0x04}), DecodeHexList("1b,4"));
  EXPECT_EQ((ByteList{0x00, 0x01, 0xFF}), DecodeHexList("0,01,ff"));
  EXPECT_EQ((ByteList{0x40}), DecodeHexList("40"));
}

TEST(DecodeHexList, OnlyTheLastTwoDigitsOfAGroupCount) {
  EXPECT_EQ((ByteList{0xB4, 0x00}), DecodeHexList("1B4,0"));
  EXPECT_EQ((ByteList{0x23}), DecodeHexList("123"));
  EXPECT_EQ((ByteList{0xEF, 0x01}), DecodeHexList("deadBEEF,00000001"));
}

TEST(DecodeHexList, LettersOfBothCasesAreDigits) {
  EXPECT_EQ((ByteList{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}), DecodeHexList("ab,cd,ef,AB,CD,EF"));
}

TEST(DecodeHexList, ThereIsOneByteMoreThanCommas) {
  EXPECT_EQ((ByteList{0x12, 0x00}), DecodeHexList("12,"));
  EXPECT_EQ((ByteList{0, 0, 0}), DecodeHexList(",,"));
  EXPECT_EQ((ByteList{0, 0x12}), DecodeHexList(",12"));
  EXPECT_EQ((ByteList{0}), DecodeHexList(""));
}

TEST(DecodeHexList, WhatIsNoDigitAddsItsDistanceFromZero) {
  EXPECT_EQ((ByteList{0xF0}), DecodeHexList(" "));
  EXPECT_EQ((ByteList{0x01, 0x02}), DecodeHexList("1, 2"));  // the blank leaves the low half 0
  EXPECT_EQ((ByteList{0x00}), DecodeHexList("1 "));          // 10 and F0 behind it
  EXPECT_EQ((ByteList{0x31}), DecodeHexList("1Q"));          // 10 and 21
  EXPECT_EQ((ByteList{'G' - '0'}), DecodeHexList("G"));
  EXPECT_EQ((ByteList{0xA0 + ('g' - '0')}), DecodeHexList("ag"));
  EXPECT_EQ((ByteList{0xCF}), DecodeHexList("\xFF"));
}

class HexListTest : public ::testing::Test {
 protected:
  HexListTest() { far_side::reset(); }

  // What the file's one line gives, with 11 22 as the default.
  ByteList read(const std::string& line) {
    // A name of its own each time: systems may keep what a file said.
    const std::string path = far_side::fresh_log_directory() + "list.lmd";
    far_side::write_file(path, "[ProfileInf]\r\n" + line + "\r\n");
    return vlp::ProfileReader(path).ParseHexList("Key", {0x11, 0x22});
  }
};

TEST_F(HexListTest, AValueIsDecoded) { EXPECT_EQ((ByteList{0x1B, 4}), read("Key=1b,4")); }

TEST_F(HexListTest, AnAbsentOrEmptyValueGivesTheDefault) {
  const ByteList standard = {0x11, 0x22};
  EXPECT_EQ(standard, read("Other=1"));
  EXPECT_EQ(standard, read("Key="));
  EXPECT_EQ(standard, read("Key=   "));
  EXPECT_EQ(standard, read("Key"));
  EXPECT_EQ((ByteList{}),
            vlp::ProfileReader("C:\\no such file.lmd").ParseHexList("Key", ByteList{}));
}

TEST_F(HexListTest, ATextOf2048CharactersGivesTheDefault) {
  std::string text = "12";
  while (text.size() < 2045) text += ",34";
  text = "00" + text.substr(0, 2045);
  ASSERT_EQ(2047U, text.size());
  const ByteList most = read("Key=" + text);
  ASSERT_EQ(682U, most.size());
  EXPECT_EQ(0x12, most.front());
  EXPECT_EQ(0x34, most.back());
  const ByteList standard = {0x11, 0x22};
  EXPECT_EQ(standard, read("Key=" + text + "6"));
  EXPECT_EQ(standard, read("Key=" + text + "67"));
  EXPECT_EQ(standard, read("Key=" + std::string(60000, '7')));
}

}  // namespace
