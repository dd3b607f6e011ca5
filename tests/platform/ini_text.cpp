// Profile text, below the calls.

#include "platform/ini_text.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using platform::find_entry;
using platform::find_section;
using platform::ini_number;
using platform::parse_ini;

TEST(IniText, KeysBeforeTheFirstSectionBelongToTheUnnamedOne) {
  const auto sections = parse_ini(u"early=1\n[S]\nlate=2\n");
  ASSERT_NE(nullptr, find_section(sections, u""));
  EXPECT_NE(nullptr, find_entry(*find_section(sections, u""), u"early"));
  EXPECT_EQ(nullptr, find_entry(*find_section(sections, u""), u"late"));
}

TEST(IniText, SectionEndsItsNameAtTheLastBracket) {
  EXPECT_NE(nullptr, find_section(parse_ini(u"[a]b]c"), u"a]b"));
}

TEST(IniText, CommentLinesHoldNoKeys) {
  const auto sections = parse_ini(u"[S]\n; k=1\n ;k=2\n");
  EXPECT_TRUE(find_section(sections, u"S")->entries.empty());
}

TEST(IniText, NumberWithoutDigitsBehindItsPrefixIsZero) {
  EXPECT_EQ(0U, ini_number(u"0x"));
  EXPECT_EQ(0U, ini_number(u"-"));
  EXPECT_EQ(0U, ini_number(u""));
  EXPECT_EQ(0xFFFFFFF0U, ini_number(u"-0x10"));
  EXPECT_EQ(1U, ini_number(u"0b12"));
  EXPECT_EQ(7U, ini_number(u"0o78"));
}

TEST(IniText, NoTextIsTooStrangeToRead) {
  std::minstd_rand random(3);
  const std::u16string alphabet = u"[]=;\r\n\t \"'ax\0\u001A";
  size_t entries = 0;
  for (int round = 0; round < 4000; ++round) {
    std::u16string text;
    for (size_t length = random() % 60; length > 0; --length) {
      text += alphabet[random() % alphabet.size()];
    }
    const std::vector<char16_t> exact(text.begin(), text.end());
    for (const auto& section : parse_ini({exact.data(), exact.size()})) {
      for (const auto& entry : section.entries) {
        entries += 1;
        EXPECT_EQ(entry.key, platform::without_blanks(entry.key));
      }
    }
  }
  EXPECT_LT(4000U, entries);
}

}  // namespace
