// Conversion and upper case in code page 932. Under Wine the locale of the process decides.

#include "tests/platform/own_machine.h"

namespace {

using own_machine::hex;
using Wide = std::basic_string<WCHAR>;

class Text932Calls : public own_machine::MachineTest {
 protected:
  Text932Calls() { EXPECT_TRUE(own_machine::use_code_page(932)); }
};

Wide widened(std::string_view bytes) {
  WCHAR wide[64] = {};
  const int count =
      MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), wide, 64);
  return Wide(wide, static_cast<size_t>(count));
}

std::string narrowed(const Wide& text) {
  char bytes[64] = {};
  const int count = WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()),
                                        bytes, 64, nullptr, nullptr);
  return std::string(bytes, static_cast<size_t>(count));
}

std::string raised(std::string text) {
  EXPECT_EQ(text.data(), CharUpperA(text.data()));
  return text;
}

TEST_F(Text932Calls, LeadBytesAre81To9FAndE0ToFC) {
  EXPECT_EQ(932U, GetACP());
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool lead = (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
    EXPECT_EQ(lead, IsDBCSLeadByte(static_cast<BYTE>(byte)) != FALSE) << byte;
  }
}

TEST_F(Text932Calls, PairsBecomeOneCharacter) {
  EXPECT_EQ(Wide(TEXT("\u3042b")), widened("\x82\xA0"
                                           "b"));
  EXPECT_EQ(Wide(TEXT("\u30BD")), widened("\x83\x5C")) << "the trail byte is a backslash";
  EXPECT_EQ(Wide(TEXT("\uFF71")), widened("\xB1"));
  EXPECT_EQ(Wide(TEXT("\\~")), widened("\\~"));
  EXPECT_EQ(Wide(TEXT("\u0080\uF8F0\uF8F1\uF8F3")), widened("\x80\xA0\xFD\xFF"));
}

TEST_F(Text932Calls, LoneLeadByteAndBadPairBecomeAMiddleDot) {
  EXPECT_EQ(Wide(TEXT("\u30FB")), widened("\x83"));
  EXPECT_EQ(Wide(TEXT("\u30FB")), widened("\x81\xFF"));
  EXPECT_EQ(Wide(TEXT("A\u30FB")), widened("A\xE9"));
}

TEST_F(Text932Calls, CharactersOfTwoBytesComeBack) {
  EXPECT_EQ(hex("\x82\xA0\x83\x5C\xB1"), hex(narrowed(TEXT("\u3042\u30BD\uFF71"))));
  EXPECT_EQ(hex("A\x82\xA0?"), hex(narrowed(TEXT("A\u3042\u20AC"))));
}

TEST_F(Text932Calls, EveryPairComesBackAsAPairOfTheSameCharacter) {
  size_t defined = 0;
  for (unsigned lead = 0x81; lead <= 0xFC; ++lead) {
    for (unsigned trail = 0x40; trail <= 0xFC; ++trail) {
      if (!IsDBCSLeadByte(static_cast<BYTE>(lead)) || trail == 0x7F) {
        continue;
      }
      const std::string pair = {static_cast<char>(lead), static_cast<char>(trail)};
      const Wide wide = widened(pair);
      ASSERT_EQ(1U, wide.size()) << hex(pair);
      if (wide[0] == 0x30FB) {
        continue;
      }
      ++defined;
      EXPECT_EQ(wide, widened(narrowed(wide))) << hex(pair);
    }
  }
  // 6,879 characters of the standard, 83, 374 and 388 of its vendors, 1,880 cells of the
  // user's own; less the middle dot itself.
  EXPECT_EQ(9603U, defined);
}

// A sum over many numbers that shows any difference between two tables.
class Sum {
 public:
  void add(unsigned number) { sum_ = (sum_ ^ number) * 1099511628211U; }
  unsigned long long value() const { return sum_; }

 private:
  unsigned long long sum_ = 14695981039346656037U;
};

// Both constants are those of an independent implementation.
TEST_F(Text932Calls, WholePageIsTheSameInBothDirections) {
  Sum forward, backward;
  for (unsigned lead = 0x81; lead <= 0xFC; ++lead) {
    for (unsigned trail = 0x40; trail <= 0xFC; ++trail) {
      if (IsDBCSLeadByte(static_cast<BYTE>(lead))) {
        forward.add(widened(std::string{static_cast<char>(lead), static_cast<char>(trail)})[0]);
      }
    }
  }
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const WCHAR wide = static_cast<WCHAR>(unit);
    char bytes[4] = {};
    WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, &wide, 1, bytes, 4, nullptr, nullptr);
    backward.add(static_cast<unsigned>(static_cast<unsigned char>(bytes[0])) << 8 |
                 static_cast<unsigned char>(bytes[1]));
  }
  EXPECT_EQ(113974894409207855U, forward.value());
  EXPECT_EQ(1139690586885442587U, backward.value());
}

TEST_F(Text932Calls, UpperCaseNeverTouchesATrailByte) {
  EXPECT_EQ(hex("USB001"), hex(raised("usb001")));
  EXPECT_EQ(hex("\x83\x61X"), hex(raised("\x83\x61x")));
  EXPECT_EQ(hex("ABC\xE9z"), hex(raised("abc\xE9z")));
  EXPECT_EQ(hex("\x83\x5C.LMD"), hex(raised("\x83\x5C.lmd")));
  EXPECT_EQ(hex("\xB1\xDF"), hex(raised("\xB1\xDF")));
}

TEST_F(Text932Calls, WideLettersAreRaisedToo) {
  EXPECT_EQ(hex("\x82\x60\x82\x79"), hex(raised("\x82\x81\x82\x9A")));
}

TEST_F(Text932Calls, LoneLeadByteAtTheEndStays) { EXPECT_EQ(hex("A\x83"), hex(raised("a\x83"))); }

}  // namespace
