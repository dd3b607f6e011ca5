// The layer's code pages, below the calls.

#include "platform/code_page.h"

#include <gtest/gtest.h>

namespace {

using platform::code_page;
using platform::narrow_utf8;
using platform::widen_utf8;

TEST(CodePage, UnknownNumberIs1252) {
  EXPECT_EQ(1252U, code_page(437).number());
  EXPECT_EQ(932U, code_page(932).number());
}

TEST(CodePage, InvalidBytesAreTold) {
  bool bad = true;
  code_page(1252).widen("\x81\x9D", &bad);
  EXPECT_FALSE(bad) << "1252 gives every byte a meaning";
  code_page(932).widen("\x82\xA0", &bad);
  EXPECT_FALSE(bad);
  code_page(932).widen("a\x82", &bad);
  EXPECT_TRUE(bad);
}

TEST(CodePage, UserDefinedCellsAndSingleExtrasOf932HaveTheirPlaces) {
  EXPECT_EQ(u"\uE000\uE0BB\uE757", code_page(932).widen("\xF0\x40\xF0\xFC\xF9\xFC"));
  EXPECT_EQ(u"\u0080\uF8F0\uF8F1\uF8F3", code_page(932).widen("\x80\xA0\xFD\xFF"));
}

TEST(CodePage, CharacterWithSeveralPairsIsWrittenAsTheSystemWritesIt) {
  EXPECT_EQ("\x81\xE6", code_page(932).narrow(u"\u2235")) << "not the vendor's 879A";
  EXPECT_EQ("\x87\x54", code_page(932).narrow(u"\u2160")) << "not FA4A";
  EXPECT_EQ("\xFA\x40", code_page(932).narrow(u"\u2170")) << "not EEEF";
}

TEST(CodePage, SubstituteMayHaveTwoBytes) {
  bool lost = false;
  EXPECT_EQ(
      "\x81\x45"
      "a",
      code_page(932).narrow(u"\u20ACa", "\x81\x45", &lost));
  EXPECT_TRUE(lost);
}

TEST(CodePage, Utf8RefusesOverlongSurrogateAndOverlargeForms) {
  for (const char* text : {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80",
                           "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3", "\xE3\x81", "\x80"}) {
    bool bad = false;
    widen_utf8(text, &bad);
    EXPECT_TRUE(bad) << text;
  }
  for (const char* text :
       {"\xC2\x80", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    bool bad = true;
    EXPECT_EQ(text, narrow_utf8(widen_utf8(text, &bad)));
    EXPECT_FALSE(bad) << text;
  }
}

TEST(CodePage, UpperCaseIsThatOfNamesNotOfLanguages) {
  EXPECT_EQ(u"ABC\u00C9\u0416", platform::upper(u"abc\u00E9\u0436"));
  EXPECT_EQ(u"\u00DF\u00B5\u0131\u017F", platform::upper(u"\u00DF\u00B5\u0131\u017F"));
}

}  // namespace
