// The log's own formatting, for both text widths.

#include "diag/log_format.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "diag/dbg_log.h"
#include "support/wide_text.h"
#include "tests/diag/log_fixture.h"

namespace {

using diag_test::LogTest;
using vlp::LogArgument;

using Arguments = std::initializer_list<LogArgument>;

std::string narrow(const char* format, Arguments arguments, size_t capacity = 100) {
  std::vector<char> out(capacity + 1, '#');
  const size_t size =
      vlp::FormatLog<char>(out.data(), capacity, format, {arguments.begin(), arguments.size()});
  EXPECT_EQ('#', out[capacity]) << "beyond the capacity";
  if (capacity == 0) return {};
  EXPECT_EQ('\0', out[size]);
  return {out.data(), size};
}

std::basic_string<WCHAR> wide(const WCHAR* format, Arguments arguments, size_t capacity = 100) {
  std::vector<WCHAR> out(capacity + 1, WCHAR{'#'});
  const size_t size =
      vlp::FormatLog<WCHAR>(out.data(), capacity, format, {arguments.begin(), arguments.size()});
  EXPECT_TRUE(out[capacity] == WCHAR{'#'}) << "beyond the capacity";
  EXPECT_TRUE(out[size] == 0);
  return {out.data(), size};
}

TEST(LogFormat, NumbersAreThirtyTwoBitsSignedOrNot) {
  EXPECT_EQ("0 1 -1 2147483647 -2147483648",
            narrow("%d %d %d %d %d", {0, 1, -1, 0x7FFFFFFF, 0x80000000U}));
  EXPECT_EQ("0 4294967295 2147483648", narrow("%u %u %u", {0U, -1, 0x80000000U}));
  EXPECT_EQ("0 ff DEADBEEF", narrow("%x %x %X", {0, 255, 0xDEADBEEF}));
  EXPECT_EQ("65535 -1", narrow("%d %d", {static_cast<WORD>(0xFFFF), static_cast<int16_t>(-1)}));
}

TEST(LogFormat, WidthsFillWithBlanksOrZeros) {
  EXPECT_EQ(" 7|07|007|ab|0ab", narrow("%2d|%02d|%03d|%2x|%03x", {7, 7, 7, 0xAB, 0xAB}));
  EXPECT_EQ("-7| -7|-07", narrow("%2d|%3d|%03d", {-7, -7, -7}));
  EXPECT_EQ("1234", narrow("%02d", {1234}));
}

TEST(LogFormat, PointersShowTheirLowThirtyTwoBits) {
  const void* pointer = &pointer;
  const auto low = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer));
  EXPECT_EQ(narrow("0x%X", {low}), narrow("0x%X", {pointer}));
}

TEST(LogFormat, TextsAreOfTheFormatsOwnWidth) {
  EXPECT_EQ("[text]", narrow("[%s]", {"text"}));
  EXPECT_TRUE(wide(TEXT("[%s]"), {TEXT("text")}) == TEXT("[text]"));
  EXPECT_EQ("[]", narrow("[%s]", {TEXT("wide")}));
  EXPECT_TRUE(wide(TEXT("[%s]"), {"narrow"}) == TEXT("[]"));
}

TEST(LogFormat, ANullTextIsNamed) {
  EXPECT_EQ("(null)", narrow("%s", {static_cast<const char*>(nullptr)}));
  EXPECT_TRUE(wide(TEXT("%s"), {static_cast<const WCHAR*>(nullptr)}) == TEXT("(null)"));
}

TEST(LogFormat, WideNumbersLookLikeNarrowOnes) {
  EXPECT_TRUE(wide(TEXT("%02d:%u:%X"), {5, 6U, 0xAB}) == TEXT("05:6:AB"));
}

TEST(LogFormat, PercentSignsAndBrokenConversionsAreHarmless) {
  EXPECT_EQ("100%", narrow("100%%", {}));
  EXPECT_EQ("a", narrow("a%", {1}));
  EXPECT_EQ("a", narrow("a%0", {1}));
  EXPECT_EQ("ab", narrow("a%qb", {1}));
  EXPECT_EQ("[] [0]", narrow("[%s] [%d]", {1, "text"}));
}

TEST(LogFormat, WhatHasNoArgumentGivesNothing) {
  EXPECT_EQ("1 [] []", narrow("%d [%d] [%s]", {1}));
}

TEST(LogFormat, AHugeWidthIsHeldDown) {
  EXPECT_EQ(std::string(31, ' ') + "1", narrow("%99999999999999999999d", {1}));
}

TEST(LogFormat, IsCutAtTheCapacityWithATerminator) {
  EXPECT_EQ("abc", narrow("abcdef", {}, 4));
  EXPECT_EQ("12", narrow("%d", {12345}, 3));
  EXPECT_EQ("xab", narrow("x%s", {"abcdef"}, 4));
  EXPECT_EQ("", narrow("abc", {}, 1));
  EXPECT_EQ("", narrow("abc", {}, 0));
  EXPECT_TRUE(wide(TEXT("x%s"), {TEXT("abcdef")}, 4) == TEXT("xab"));
}

// --- The calls that use it -----------------------------------------------------------------

using LogPrintfTest = LogTest;

TEST_F(LogPrintfTest, WritesAFormattedLine) {
  vlp::DbgLog log = open_log(1);
  vlp::DbgLogPrintf(&log, 1, "  [D4] %s %u 0x%X", "open", 3U, 0xAB);
  vlp::DbgLogPrintf(&log, 1, "plain");
  EXPECT_EQ("\n>   [D4] open 3 0xAB\n> plain", lines());
}

TEST_F(LogPrintfTest, CutsTheLineAt511Characters) {
  vlp::DbgLog log = open_log(1);
  const std::string text(600, 'x');
  vlp::DbgLogPrintf(&log, 1, "%s", text.substr(0, 511).c_str());
  vlp::DbgLogPrintf(&log, 1, "%s", text.substr(0, 512).c_str());
  vlp::DbgLogPrintf(&log, 1, "12345%s", text.c_str());
  EXPECT_EQ("\n> " + text.substr(0, 511) + "\n> " + text.substr(0, 511) + "\n> 12345" +
                text.substr(0, 506),
            lines());
}

TEST_F(LogPrintfTest, AFormattedTextIsNotFormattedAgain) {
  vlp::DbgLog log = open_log(1);
  vlp::DbgLogPrintf(&log, 1, "%s", "%d %s");
  vlp::DbgLogPrintfW(&log, 1, TEXT("%s"), TEXT("%d %s"));
  EXPECT_EQ("\n> %d %s\n> %d %s", lines());
}

TEST_F(LogPrintfTest, WideTextsComeInTheAnsiCodePage) {
  vlp::DbgLog log = open_log(1);
  const std::basic_string<WCHAR> text = {WCHAR{'K'}, WCHAR{0xE4}, WCHAR{0x4E00}};
  vlp::DbgLogPrintfW(&log, 1, TEXT("%s:%d"), text.c_str(), 4);
  EXPECT_EQ("\n> K\xE4?:4", lines());
}

TEST_F(LogPrintfTest, AWideLineIsCutAt511Characters) {
  vlp::DbgLog log = open_log(1);
  const std::basic_string<WCHAR> text(600, WCHAR{'w'});
  vlp::DbgLogPrintfW(&log, 1, TEXT("%s"), text.c_str());
  EXPECT_EQ("\n> " + std::string(511, 'w'), lines());
}

TEST_F(LogPrintfTest, AnEmptyWideLineIsALine) {
  vlp::DbgLog log = open_log(1);
  vlp::DbgLogPrintfW(&log, 1, TEXT(""));
  EXPECT_EQ("\n> ", lines());
}

}  // namespace
