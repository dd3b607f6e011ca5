// Finding and removing, byte by byte.

#include "language/byte_search.h"
#include "tests/language/language_fixture.h"

namespace {

using language_test::Block;
using namespace std::string_literals;

std::optional<std::size_t> FindAfter(const std::string& needle, const std::string& data) {
  Block needle_block(needle);
  Block data_block(data);
  return vlp::MemFindAfter(needle_block.all(), data_block.all());
}

TEST(MemFindAfter, GivesThePositionBehindTheFirstMatch) {
  EXPECT_EQ(3U, FindAfter("abc", "abcabc"));
  EXPECT_EQ(5U, FindAfter("abc", "ababc"));
  EXPECT_EQ(1U, FindAfter("a", "aaa"));
  EXPECT_EQ(4U, FindAfter("aab", "aaab"));
}

TEST(MemFindAfter, FindsAMatchThatEndsWithTheData) {
  EXPECT_EQ(6U, FindAfter("abc", "xyzabc"));
  EXPECT_EQ(3U, FindAfter("abc", "abc"));
  EXPECT_EQ(1U, FindAfter("a", "a"));
}

TEST(MemFindAfter, FindsNothingInOrForNothing) {
  EXPECT_EQ(std::nullopt, FindAfter("", "abc"));
  EXPECT_EQ(std::nullopt, FindAfter("abc", ""));
  EXPECT_EQ(std::nullopt, FindAfter("", ""));
  EXPECT_EQ(std::nullopt, vlp::MemFindAfter({}, {}));
  Block data("abc");
  EXPECT_EQ(std::nullopt, vlp::MemFindAfter({}, data.all()));
  EXPECT_EQ(std::nullopt, vlp::MemFindAfter(data.all(), {}));
}

TEST(MemFindAfter, FindsNothingThatIsCutOffOrOtherwiseDifferent) {
  EXPECT_EQ(std::nullopt, FindAfter("abc", "xyzab"));
  EXPECT_EQ(std::nullopt, FindAfter("abc", "ab"));
  EXPECT_EQ(std::nullopt, FindAfter("abc", "ABC"));
  EXPECT_EQ(std::nullopt, FindAfter("abc", "abxabyab"));
  EXPECT_EQ(std::nullopt, FindAfter("abc", "aaaaaaa"));
}

TEST(MemFindAfter, TakesNulLikeAnyOtherByte) {
  EXPECT_EQ(4U, FindAfter("\0b"s, "a\0\0b\0b"s));
  EXPECT_EQ(2U, FindAfter("\0\0"s, "\0\0\0"s));
  EXPECT_EQ(5U, FindAfter("d", "a\0b\0d"s));
  EXPECT_EQ(std::nullopt, FindAfter("a\0"s, "aaa"));
}

// Takes one item out of exact blocks.
template <typename Remove>
std::string Without(Remove remove, const std::string& head, char terminator,
                    const std::string& data) {
  Block head_block(head);
  Block block(data);
  const std::size_t length =
      remove(head_block.all(), static_cast<std::uint8_t>(terminator), block.all());
  EXPECT_LE(length, data.size());
  return block.first(length);
}

std::string WithoutFirst(const std::string& head, char terminator, const std::string& data) {
  return Without(vlp::RemoveField, head, terminator, data);
}

std::string WithoutLast(const std::string& head, char terminator, const std::string& data) {
  return Without(vlp::RemoveLastField, head, terminator, data);
}

TEST(RemoveField, CutsTheDataAtAHeadWithoutTerminator) {
  EXPECT_EQ("ab", WithoutFirst("head", ';', "abheadcd"));
  EXPECT_EQ("ab", WithoutFirst("head", ';', "abhead"));
  EXPECT_EQ("", WithoutFirst("head", ';', "headcd"));
  EXPECT_EQ("a;b", WithoutFirst("head", ';', "a;bheadcd")) << "a terminator in front has no say";
}

TEST(RemoveField, MovesUpWhatStandsBehindTheTerminator) {
  EXPECT_EQ("abef", WithoutFirst("head", ';', "abheadcd;ef"));
  EXPECT_EQ("abe;f", WithoutFirst("head", ';', "abheadcd;e;f"));
  EXPECT_EQ("ab", WithoutFirst("head", ';', "abheadcd;"));
  EXPECT_EQ("ef", WithoutFirst("head", ';', "head;ef"));
  EXPECT_EQ("", WithoutFirst("head", ';', "head;"));
  EXPECT_EQ("ac\0"s, WithoutFirst("head", '\0', "ahead\0c\0"s)) << "NUL may be the terminator";
}

TEST(RemoveField, TakesOnlyTheFirstItem) {
  EXPECT_EQ("xhead2;y", WithoutFirst("head", ';', "xhead1;head2;y"));
}

TEST(RemoveField, DoesNotTakeATerminatorInTheHeadForItsEnd) {
  EXPECT_EQ("xy", WithoutFirst("a;b", ';', "xa;b1;y"));
  EXPECT_EQ("x", WithoutFirst("a;b", ';', "xa;b1"));
}

TEST(RemoveField, LeavesDataWithoutTheHead) {
  EXPECT_EQ("abhea;cd", WithoutFirst("head", ';', "abhea;cd"));
  EXPECT_EQ("HEAD;", WithoutFirst("head", ';', "HEAD;"));
  EXPECT_EQ("hea", WithoutFirst("head", ';', "hea"));
}

TEST(RemoveField, LeavesTheLengthWithoutDataOrHead) {
  Block head("head");
  EXPECT_EQ(0U, vlp::RemoveField(head.all(), ';', {}));
  EXPECT_EQ("", WithoutFirst("head", ';', ""));
  Block data("abc");
  EXPECT_EQ(3U, vlp::RemoveField({}, ';', data.all())) << "no head at all";
  EXPECT_EQ("abc", data.text());
}

TEST(RemoveField, LeavesNothingForAHeadThatIsEmptyOrBeginsWithNul) {
  Block head("head");
  Block data("abc");
  EXPECT_EQ(0U, vlp::RemoveField(vlp::Bytes(head.data(), 0), ';', data.all()));
  EXPECT_EQ("", WithoutFirst("\0ead"s, ';', "abc"));
  EXPECT_EQ("", WithoutFirst("\0"s, ';', "abc\0d;e"s));
  EXPECT_EQ("ab", WithoutFirst("h\0"s, ';', "ah\0;b"s)) << "NUL behind the first byte is data";
}

TEST(RemoveLastField, TakesOnlyTheLastItem) {
  EXPECT_EQ("xhead1;yz", WithoutLast("head", ';', "xhead1;yhead2;z"));
  EXPECT_EQ("head1;head2;", WithoutLast("head", ';', "head1;head2;head3;"));
  EXPECT_EQ("xy", WithoutLast("head", ';', "xhead1;y"));
  EXPECT_EQ("", WithoutLast("head", ';', "head;"));
}

TEST(RemoveLastField, CutsTheDataAtALastHeadWithoutTerminator) {
  EXPECT_EQ("xhead1;y", WithoutLast("head", ';', "xhead1;yhead2"));
  EXPECT_EQ("xhead1;y", WithoutLast("head", ';', "xhead1;yhead"));
}

TEST(RemoveLastField, LeavesDataWithoutTheHead) {
  EXPECT_EQ("abhea;cd", WithoutLast("head", ';', "abhea;cd"));
  EXPECT_EQ("", WithoutLast("head", ';', ""));
}

TEST(RemoveLastField, WalksFromMatchToMatchAndNotOverThem) {
  // The third and last "aa" is not met: each search goes on behind the match before.
  EXPECT_EQ("aa", WithoutLast("aa", ';', "aaaa;"));
  EXPECT_EQ("a", WithoutLast("aa", ';', "aaa;a"));
}

std::size_t Count(const std::string& needle, const std::string& data) {
  Block needle_block(needle);
  Block data_block(data);
  return vlp::CountMatches(needle_block.all(), data_block.all());
}

TEST(CountMatches, GoesOnDirectlyBehindEachMatch) {
  EXPECT_EQ(0U, Count("ab", "aab"s.substr(0, 2)));
  EXPECT_EQ(1U, Count("ab", "ab"));
  EXPECT_EQ(3U, Count("ab", "abxababa"));
  EXPECT_EQ(2U, Count("aa", "aaaaa"));
  EXPECT_EQ(0U, Count("", "abc"));
  EXPECT_EQ(0U, Count("abc", ""));
  EXPECT_EQ(2U, Count("\0"s, "a\0b\0"s));
}

}  // namespace
