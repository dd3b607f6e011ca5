// Narrow texts with their limit.

#include "support/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

using vlp::AppendText;
using vlp::BeginsInAnyCase;
using vlp::CopyText;
using vlp::FindCharacter;
using vlp::FindLastCharacter;
using vlp::LimitedText;
using vlp::MeasureText;

TEST(MeasureText, ALengthIsMeasuredUpTo260Bytes) {
  EXPECT_EQ(0U, MeasureText(""));
  EXPECT_EQ(3U, MeasureText("abc"));
  EXPECT_EQ(259U, MeasureText(std::string(259, 'a').c_str()));
}

TEST(MeasureText, ATextWithoutATerminatorInsideTheLimitHasLengthZero) {
  EXPECT_EQ(0U, MeasureText(std::string(260, 'a').c_str()));
  EXPECT_EQ(0U, MeasureText(std::string(5000, 'a').c_str()));
  // A block of exactly the limit: nothing behind it is looked at.
  const auto block = std::make_unique<char[]>(260);
  std::memset(block.get(), 'a', 260);
  EXPECT_EQ(0U, MeasureText(block.get()));
  block[259] = '\0';
  EXPECT_EQ(259U, MeasureText(block.get()));
}

TEST(MeasureText, ANullTextHasLengthZero) {
  EXPECT_EQ(0U, MeasureText(nullptr));
  EXPECT_EQ("", LimitedText(nullptr));
}

TEST(MeasureText, OtherLimitsHoldAsWell) {
  EXPECT_EQ(3U, MeasureText("abc", 4));
  EXPECT_EQ(0U, MeasureText("abc", 3));
  EXPECT_EQ(0U, MeasureText("", 0));
}

TEST(LimitedText, IsAViewOnTheMeasuredText) {
  const std::string text = "abc";
  const std::string_view view = LimitedText(text.c_str());
  EXPECT_EQ("abc", view);
  EXPECT_EQ(text.c_str(), view.data());
  EXPECT_EQ("", LimitedText(std::string(260, 'a').c_str()));
}

// The text that is copied into so many bytes; '#' marks what must stay.
std::string copied(std::size_t capacity, std::string_view from, bool fits) {
  std::string block(capacity + 1, '#');
  EXPECT_EQ(fits, CopyText(block.data(), capacity, from));
  EXPECT_EQ('#', block[capacity]) << "beyond the capacity";
  return block.substr(0, capacity).c_str();
}

TEST(CopyText, ACopyIsBoundedCutWithATerminatorAndTellsOfIt) {
  EXPECT_EQ("abc", copied(5, "abc", true));
  EXPECT_EQ("abc", copied(4, "abc", true));
  EXPECT_EQ("ab", copied(3, "abc", false));
  EXPECT_EQ("", copied(1, "abc", false));
  EXPECT_EQ("", copied(1, "", true));
  EXPECT_EQ("", copied(3, {}, true));
}

TEST(CopyText, WithoutRoomNothingIsTouched) {
  char byte = '#';
  EXPECT_FALSE(CopyText(&byte, 0, ""));
  EXPECT_EQ('#', byte);
}

TEST(AppendText, AddsBehindTheTextWithTheSameBounds) {
  char text[6] = "ab";
  EXPECT_TRUE(AppendText(text, sizeof(text), "cd"));
  EXPECT_STREQ("abcd", text);
  EXPECT_TRUE(AppendText(text, sizeof(text), ""));
  EXPECT_FALSE(AppendText(text, sizeof(text), "efg"));
  EXPECT_STREQ("abcde", text);
  EXPECT_TRUE(AppendText(text, sizeof(text), ""));
  EXPECT_FALSE(AppendText(text, sizeof(text), "f"));
  EXPECT_STREQ("abcde", text);
}

TEST(BeginsInAnyCase, CountsTheTextInUpperCase) {
  for (const char* text : {"USB", "usb", "uSb", "USB001", "usb\\x"}) {
    EXPECT_TRUE(BeginsInAnyCase(text, "USB")) << text;
  }
  for (const char* text : {"", "US", "us", " USB", "USC001", "UUSB", "LPT1:"}) {
    EXPECT_FALSE(BeginsInAnyCase(text, "USB")) << text;
  }
  EXPECT_TRUE(BeginsInAnyCase("vl1394d3_", "VL1394D3_"));
  EXPECT_FALSE(BeginsInAnyCase("vl1394d3", "VL1394D3_"));
}

// A prefix in small letters is none that an upper-case text could begin with.
TEST(BeginsInAnyCase, TakesThePrefixAsItIs) {
  EXPECT_FALSE(BeginsInAnyCase("usb", "usb"));
  EXPECT_FALSE(BeginsInAnyCase("USB", "usb"));
}

TEST(BeginsInAnyCase, EveryTextBeginsWithNothing) {
  EXPECT_TRUE(BeginsInAnyCase("USB", ""));
  EXPECT_TRUE(BeginsInAnyCase("", ""));
}

TEST(BeginsInAnyCase, AnEndInsideTheTextEndsIt) {
  EXPECT_FALSE(BeginsInAnyCase(std::string("US\0B", 4), "USB"));
  EXPECT_TRUE(BeginsInAnyCase(std::string("USB\0x", 5), "USB"));
}

TEST(BeginsInAnyCase, HasRoomForPrefixesOfANamesLength) {
  const std::string small(300, 'a');
  EXPECT_TRUE(BeginsInAnyCase(small, std::string(259, 'A')));
  EXPECT_FALSE(BeginsInAnyCase(small, std::string(260, 'A')));
}

TEST(FindCharacter, FindsTheFirstAndTheLast) {
  EXPECT_EQ(1U, FindCharacter("a.b.c", '.'));
  EXPECT_EQ(3U, FindLastCharacter("a.b.c", '.'));
  EXPECT_EQ(0U, FindCharacter(".", '.'));
  EXPECT_EQ(0U, FindLastCharacter(".", '.'));
  EXPECT_EQ(std::string_view::npos, FindCharacter("abc", '.'));
  EXPECT_EQ(std::string_view::npos, FindLastCharacter("", '.'));
}

TEST(FindCharacter, EveryByteIsACharacterInASingleByteCodePage) {
  EXPECT_EQ(1U, FindCharacter("\x95\\", '\\'));
  EXPECT_EQ(1U, FindLastCharacter("\x95\\", '\\'));
  EXPECT_EQ(1U, vlp::CharacterSize("\x95\\", 0));
}

}  // namespace
