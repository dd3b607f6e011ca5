#include "monitor/text.h"

#include <gtest/gtest.h>

namespace {

using monitor::AnsiFromUtf8;
using monitor::Columns;
using monitor::FirstColumns;
using monitor::Harmless;
using monitor::Utf8FromAnsi;

TEST(Harmless, ShowsControlCharactersInsteadOfSendingThem) {
  EXPECT_EQ(Harmless("\x1b[31m\n\x7f"), "\\x1b[31m\\x0a\\x7f");
  EXPECT_EQ(Harmless(std::string_view("a\0b", 3)), "a\\x00b");
  // U+009B begins a control sequence all by itself.
  EXPECT_EQ(Harmless("\xC2\x9B"), "\\x9b");
}

TEST(Harmless, ShowsBytesThatAreNoUtf8) {
  EXPECT_EQ(Harmless("a\x9B"), "a\\x9b");
  EXPECT_EQ(Harmless("\xC3"), "\\xc3");
  EXPECT_EQ(Harmless("\xC3\x1b"), "\\xc3\\x1b");
  EXPECT_EQ(Harmless("\xFF\xC0\xAF"), "\\xff\\xc0\\xaf");
}

TEST(Harmless, LeavesLettersAsTheyAre) {
  EXPECT_EQ(Harmless("\xC3\xA9 \xE8\xA1\xA8 \xF0\x9F\x96\xA8"),
            "\xC3\xA9 \xE8\xA1\xA8 \xF0\x9F\x96\xA8");
}

TEST(Columns, CountsEastAsianCharactersTwiceAndAccentsNotAtAll) {
  EXPECT_EQ(Columns(""), 0u);
  EXPECT_EQ(Columns("\xC3\xA9t\xC3\xA9"), 3u);
  EXPECT_EQ(Columns("e\xCC\x81"), 1u);
  EXPECT_EQ(Columns("\xE8\xA1\xA8"), 2u);
  // Half-width katakana take one column.
  EXPECT_EQ(Columns("\xEF\xBD\xB3"), 1u);
}

TEST(FirstColumns, CutsBetweenCharactersOnly) {
  EXPECT_EQ(FirstColumns("abc", 2), "ab");
  EXPECT_EQ(FirstColumns("abc", 3), "abc");
  EXPECT_EQ(FirstColumns("abc", 0), "");
  EXPECT_EQ(FirstColumns("\xE8\xA1\xA8\xE8\xA1\xA8", 3), "\xE8\xA1\xA8");
  EXPECT_EQ(FirstColumns("e\xCC\x81x", 1), "e\xCC\x81");
}

TEST(CodePage, TakesWhatItHasAndRefusesTheRest) {
  EXPECT_EQ(AnsiFromUtf8("\xC3\xA9"), "\xE9");
  EXPECT_EQ(AnsiFromUtf8(""), "");
  EXPECT_EQ(AnsiFromUtf8("\xE8\xA1\xA8"), std::nullopt);
  EXPECT_EQ(AnsiFromUtf8("\xE9"), std::nullopt);
  EXPECT_EQ(Utf8FromAnsi("\xE9\x80"), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(Utf8FromAnsi(""), "");
}

}  // namespace
