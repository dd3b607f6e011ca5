// One pass against the loop that takes out item after item: on every short text of a few
// letters, and on long texts put together at random from what makes heads, ends and joins.

#include <random>

#include "language/status_item.h"
#include "tests/language/language_fixture.h"
#include "tests/language/literal_loop.h"

namespace {

using language_test::Block;
using language_test::Counted;
using language_test::PlainForm;
using language_test::WithoutItems;
using namespace std::string_literals;

constexpr std::uint32_t kSeeds = 40;
constexpr int kTextsPerSeed = 250;

// Whether any item was found, so that a test can tell that it tested something.
bool Compare(const PlainForm& form, const std::string& data) {
  Block block(data);
  const std::size_t length = vlp::StripStatusItems(form.form(), block.all());
  const std::string expected = WithoutItems(form, data);
  EXPECT_EQ(expected, block.first(length)) << ::testing::PrintToString(data);
  return expected.size() != data.size();
}

// Every text over the letters, up to the length. Returns how many held an item.
int CompareAll(const PlainForm& form, const std::string& letters, std::size_t longest) {
  int stripped = 0;
  std::vector<std::string> texts = {""};
  for (std::size_t length = 1; length <= longest && !::testing::Test::HasFailure(); ++length) {
    std::vector<std::string> longer;
    for (const std::string& text : texts) {
      for (const char letter : letters) {
        longer.push_back(text + letter);
        stripped += Compare(form, longer.back());
      }
    }
    texts.swap(longer);
  }
  return stripped;
}

TEST(StripAgainstTheLoop, OnEveryShortTextWithATerminator) {
  for (const std::string& head : {"a"s, "ab"s, "aa"s, "aba"s, "aab"s, "abb"s}) {
    EXPECT_GT(CompareAll({head, ';', false}, "ab;", 8), 300) << head;
  }
}

TEST(StripAgainstTheLoop, OnEveryShortTextWithATerminatorThatIsPartOfTheHead) {
  for (const std::string& head : {"a;"s, ";"s, ";a"s, "a;a"s, ";;"s}) {
    EXPECT_GT(CompareAll({head, ';', false}, "a;", 12), 300) << head;
  }
}

TEST(StripAgainstTheLoop, OnEveryShortTextWithACount) {
  for (const std::string& head : {"a"s, "ab"s, "aa"s, "a\1"s, "\1\0"s, "\1"s}) {
    EXPECT_GT(CompareAll({head, 0, true}, "ab\0\1"s, 6), 100) << ::testing::PrintToString(head);
  }
  EXPECT_GT(CompareAll({"a", 0, true}, "a\0\1\2"s, 7), 100);
}

// Texts of pieces that are drawn one by one.
class Pieces {
 public:
  Pieces(std::vector<std::string> pieces, std::uint32_t seed)
      : pieces_(std::move(pieces)), random_(seed) {}

  std::string Text(std::size_t most) {
    std::string text;
    for (std::size_t count = random_() % (most + 1); count > 0; --count) {
      text += pieces_[random_() % pieces_.size()];
    }
    return text;
  }

 private:
  std::vector<std::string> pieces_;
  std::mt19937 random_;
};

// The head cut in two at each place, and whole.
std::vector<std::string> PartsOf(const std::string& head) {
  std::vector<std::string> parts = {head, head, head};
  for (std::size_t at = 1; at < head.size(); ++at) {
    parts.push_back(head.substr(0, at));
    parts.push_back(head.substr(at));
  }
  return parts;
}

void CompareAtRandom(const PlainForm& form, const std::vector<std::string>& others) {
  std::vector<std::string> pieces = PartsOf(form.head);
  pieces.insert(pieces.end(), others.begin(), others.end());
  int stripped = 0;
  for (std::uint32_t seed = 1; seed <= kSeeds && !::testing::Test::HasFailure(); ++seed) {
    Pieces source(pieces, seed);
    for (int text = 0; text < kTextsPerSeed; ++text) stripped += Compare(form, source.Text(40));
  }
  EXPECT_GT(stripped, static_cast<int>(kSeeds) * kTextsPerSeed / 10);
}

TEST(StripAgainstTheLoop, OnJobStatusPutTogetherAtRandom) {
  CompareAtRandom({"@QPL STATUS CODE=", '\n', false},
                  {"\n", "\n", "\n", "\n", "1", "@QPL ", "=", "\f", "@QPL STATUS CODE=1\n",
                   "@QPL STATUS @QPL STATUS CODE=1\nCODE=2\n"});
}

TEST(StripAgainstTheLoop, OnTextStatusPutTogetherAtRandom) {
  CompareAtRandom({"@BDC ST\r\nST:", '\f', false},
                  {"\f", "\f", "\f", "\f", ":", "ST:", "\n", "@BDC ST2\r\n", "@BDC ST\r\nST:1\f",
                   "@BDC @BDC ST\r\nST:1\fST\r\nST:2\f"});
}

TEST(StripAgainstTheLoop, OnBinaryStatusPutTogetherAtRandom) {
  CompareAtRandom({"@BDC ST2\r\n", 0, true},
                  {"\1\0"s, "\2\0"s, "\3\0"s, "\0\0"s, "\x0C\0"s, "\0\1"s, "\0"s, "\n", "1", "@",
                   Counted("1"), Counted("1"), Counted("22"), Counted(""), Counted(Counted("1")),
                   Counted("xyz", 2), "@BDC ST2\r" + Counted("1") + "\n\1\0x"s});
}

TEST(StripAgainstTheLoop, OnShortHeadsPutTogetherAtRandom) {
  CompareAtRandom({"aab", ';', false}, {"a", "b", ";", ";", "a;", "x"});
  CompareAtRandom({"abab", ';', false}, {"a", "b", ";", ";", "ab;", "x"});
  CompareAtRandom({"aab", 0, true}, {"a", "b", "\1\0"s, "\2\0"s, "\4\0"s, "\1\0x"s, "x"});
}

}  // namespace
