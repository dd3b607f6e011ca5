// Conversion and upper case as ordinary SDK code meets them, in code page 1252.

#include "tests/platform/own_machine.h"

namespace {

using own_machine::hex;
using own_machine::untouched;
using Wide = std::basic_string<WCHAR>;

class TextCalls : public own_machine::MachineTest {
 protected:
  TextCalls() { EXPECT_TRUE(own_machine::use_code_page(1252)); }
};

Wide widened(UINT page, std::string_view bytes, int length, DWORD flags = 0) {
  Wide wide(64, WCHAR{0x5555});
  const int count = MultiByteToWideChar(page, flags, bytes.data(), length, wide.data(), 64);
  EXPECT_EQ(count, MultiByteToWideChar(page, flags, bytes.data(), length, nullptr, 0));
  EXPECT_EQ(WCHAR{0x5555}, wide[static_cast<size_t>(count)]);
  return wide.substr(0, static_cast<size_t>(count));
}

std::string narrowed(UINT page, const WCHAR* text, int length) {
  std::string bytes(64, '#');
  const int count = WideCharToMultiByte(page, 0, text, length, bytes.data(), 64, nullptr, nullptr);
  EXPECT_EQ(count, WideCharToMultiByte(page, 0, text, length, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ('#', bytes[static_cast<size_t>(count)]);
  return bytes.substr(0, static_cast<size_t>(count));
}

std::string raised(std::string text) {
  EXPECT_EQ(text.data(), CharUpperA(text.data()));
  return text;
}

TEST_F(TextCalls, CodePage1252HasNoLeadBytes) {
  EXPECT_EQ(1252U, GetACP());
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_FALSE(IsDBCSLeadByte(static_cast<BYTE>(byte))) << byte;
  }
}

TEST_F(TextCalls, LengthOfMinusOneCountsTheTerminatorAndAGivenLengthWritesNone) {
  EXPECT_EQ(Wide(TEXT("A\u00E9\0"), 3), widened(CP_ACP, "A\xE9", -1));
  EXPECT_EQ(Wide(TEXT("A\u00E9")), widened(CP_ACP, "A\xE9", 2));
}

TEST_F(TextCalls, EveryByteComesBackFromItsWideForm) {
  for (unsigned byte = 1; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    const Wide wide = widened(CP_ACP, one, 1);
    ASSERT_EQ(1U, wide.size());
    EXPECT_EQ(hex(one), hex(narrowed(CP_ACP, wide.c_str(), 1)));
  }
}

TEST_F(TextCalls, UpperHalfOf1252StandsWhereThePageSaysAndGapsAreControls) {
  EXPECT_EQ(Wide(TEXT("\u20AC\u0081\u0192\u201A\u00A0\u00FF")),
            widened(CP_ACP, "\x80\x81\x83\x82\xA0\xFF", 6));
}

TEST_F(TextCalls, WhatDoesNotFitBecomesAQuestionMark) {
  SetLastError(untouched);
  EXPECT_EQ("A?\x80", narrowed(CP_ACP, TEXT("A\u3042\u20AC"), 3));
  EXPECT_EQ(untouched, GetLastError());
  char bytes[8] = "#######";
  BOOL used = FALSE;
  EXPECT_EQ(2, WideCharToMultiByte(CP_ACP, 0, TEXT("A\u3042"), 2, bytes, 8, "_", &used));
  EXPECT_EQ('_', bytes[1]);
  EXPECT_TRUE(used);
}

TEST_F(TextCalls, TooSmallABufferFailsWith122) {
  WCHAR wide[4] = {};
  SetLastError(untouched);
  EXPECT_EQ(0, MultiByteToWideChar(CP_ACP, 0, "abc", -1, wide, 2));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  char bytes[] = "####";
  SetLastError(untouched);
  EXPECT_EQ(0, WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), -1, bytes, 2, nullptr, nullptr));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  EXPECT_STREQ("ab##", bytes) << "what fitted stays, without a terminator";
}

TEST_F(TextCalls, NoTextIsAWrongParameter) {
  WCHAR wide[4] = {};
  SetLastError(untouched);
  EXPECT_EQ(0, MultiByteToWideChar(CP_ACP, 0, "abc", 0, wide, 2));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
  SetLastError(untouched);
  EXPECT_EQ(0, MultiByteToWideChar(CP_ACP, 0, nullptr, -1, wide, 2));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
  char bytes[4] = {};
  SetLastError(untouched);
  EXPECT_EQ(0, WideCharToMultiByte(CP_ACP, 0, nullptr, -1, bytes, 4, nullptr, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST_F(TextCalls, Utf8GoesBothWaysUpToTheLastPlane) {
  const Wide wide = TEXT("a\u00E9\u3042\U0001F5A8");
  const std::string bytes = "a\xC3\xA9\xE3\x81\x82\xF0\x9F\x96\xA8";
  EXPECT_EQ(wide, widened(CP_UTF8, bytes, static_cast<int>(bytes.size())));
  EXPECT_EQ(bytes, narrowed(CP_UTF8, wide.c_str(), static_cast<int>(wide.size())));
}

TEST_F(TextCalls, IllFormedUtf8BecomesReplacementCharacters) {
  EXPECT_EQ(Wide(TEXT("a\uFFFDb")), widened(CP_UTF8,
                                            "a\xFF"
                                            "b",
                                            3));
  EXPECT_EQ(Wide(TEXT("\uFFFD\uFFFD")), widened(CP_UTF8, "\xC0\xAF", 2));
  const Wide lone = {WCHAR{0xD800}, WCHAR{'x'}};
  EXPECT_EQ("\xEF\xBF\xBDx", narrowed(CP_UTF8, lone.c_str(), 2));
}

TEST_F(TextCalls, IllFormedUtf8IsRefusedWhenAsked) {
  WCHAR wide[8] = {};
  SetLastError(untouched);
  EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", 2, wide, 8));
  EXPECT_EQ(DWORD{ERROR_NO_UNICODE_TRANSLATION}, GetLastError());
}

TEST_F(TextCalls, UpperCaseWorksInPlaceAndOnTheWholePage) {
  EXPECT_EQ("USB001", raised("usb001"));
  EXPECT_EQ("LPT1:", raised("lpt1:"));
  EXPECT_EQ("ABC\xC9Z", raised("abc\xE9z"));
  EXPECT_EQ("\xB1\xDF\xB5", raised("\xB1\xDF\xB5")) << "sharp s and micro sign stay";
  EXPECT_EQ("\x9F", raised("\xFF"));
  EXPECT_EQ("\x83\x41X", raised("\x83\x61x"));
}

TEST_F(TextCalls, OneCharacterIsRaisedByValue) {
  const auto one = [](BYTE character) {
    return reinterpret_cast<ULONG_PTR>(
        CharUpperA(reinterpret_cast<LPSTR>(static_cast<ULONG_PTR>(character))));
  };
  EXPECT_EQ(ULONG_PTR{'Q'}, one('q'));
  EXPECT_EQ(ULONG_PTR{0xC9}, one(0xE9));
  EXPECT_EQ(ULONG_PTR{'1'}, one('1'));
}

}  // namespace
