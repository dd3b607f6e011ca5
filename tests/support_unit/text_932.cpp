// Texts of double-byte characters. The program runs under code page 932.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "support/text.h"
#include "support/wide_text.h"
#include "tests/support/far_side.h"

namespace {

class Text932Test : public ::testing::Test {
 protected:
  Text932Test() {
    far_side::reset();
    EXPECT_TRUE(far_side::set_code_page(932)) << "no code page 932";
  }
};

TEST_F(Text932Test, ATrailByteIsNoCharacter) {
  const std::string text = "\x95\\a\\b\x95\\";
  EXPECT_EQ(3U, vlp::FindCharacter(text, '\\'));
  EXPECT_EQ(3U, vlp::FindLastCharacter(text, '\\'));
  EXPECT_EQ(std::string_view::npos, vlp::FindCharacter("\x95\\", '\\'));
  EXPECT_EQ(std::string_view::npos, vlp::FindLastCharacter("\x95\\", '\\'));
}

TEST_F(Text932Test, ALeadByteAtTheEndStandsAlone) {
  EXPECT_EQ(1U, vlp::CharacterSize("a\x95", 1));
  EXPECT_EQ(2U, vlp::CharacterSize("\x95\\", 0));
  EXPECT_EQ(1U, vlp::CharacterSize("a\x95", 0));
  EXPECT_EQ(0U, vlp::FindCharacter("a\x95", 'a'));
}

// The second byte of this letter has the value of a small a.
TEST_F(Text932Test, ATrailByteHasNoCase) {
  EXPECT_TRUE(vlp::BeginsInAnyCase("x\x83\x61y", "X\x83\x61"));
  EXPECT_FALSE(vlp::BeginsInAnyCase("x\x83\x61y", "X\x83\x41"));
}

TEST_F(Text932Test, TwoBytesBecomeOneWideUnit) {
  EXPECT_TRUE(vlp::ToWide("a\x95\\b") ==
              (std::basic_string<WCHAR>{WCHAR{'a'}, WCHAR{0x8868}, WCHAR{'b'}}));
}

}  // namespace
