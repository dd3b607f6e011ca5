// Taking every status item out of received data.

#include "language/status_item.h"
#include "tests/language/language_fixture.h"
#include "tests/language/literal_loop.h"

namespace {

using language_test::Block;
using language_test::Counted;
using language_test::PlainForm;
using namespace std::string_literals;

const PlainForm kJob{"@QPL STATUS CODE=", '\n', false};
const PlainForm kText{"@BDC ST\r\nST:", '\f', false};
const PlainForm kBinary{"@BDC ST2\r\n", 0, true};

std::string Strip(const PlainForm& form, const std::string& data) {
  Block head(form.head);
  Block block(data);
  const vlp::ItemForm item{head.all(), static_cast<std::uint8_t>(form.terminator), form.counted};
  const std::size_t length = vlp::StripStatusItems(item, block.all());
  EXPECT_LE(length, data.size());
  return block.first(length);
}

TEST(StripStatusItems, TakesOutItemsInARowAndApart) {
  EXPECT_EQ("", Strip(kJob, "@QPL STATUS CODE=1\n@QPL STATUS CODE=2\n@QPL STATUS CODE=3\n"));
  EXPECT_EQ("abcd", Strip(kJob, "a@QPL STATUS CODE=1\nb@QPL STATUS CODE=2\nc@QPL STATUS CODE=\nd"));
  EXPECT_EQ("abcd", Strip(kText, "a@BDC ST\r\nST:1\fb@BDC ST\r\nST:2\fc@BDC ST\r\nST:\fd"));
  EXPECT_EQ("abcd",
            Strip(kBinary, "a" + Counted("1") + "b" + Counted("22") + "c" + Counted("3") + "d"));
}

TEST(StripStatusItems, TakesOutAnItemThatARemovalJoinsTogether) {
  EXPECT_EQ("REST", Strip(kJob, "@QPL STATUS @QPL STATUS CODE=1\nCODE=2\nREST"));
  EXPECT_EQ("REST", Strip(kText, "@BDC ST\r@BDC ST\r\nST:1\f\nST:2\fREST"));
  EXPECT_EQ("REST", Strip(kBinary, "@BDC" + Counted("1") + " ST2\r\n\2\0xyREST"s));
  EXPECT_EQ("REST", Strip(kBinary, "@BDC ST2\r" + Counted("1") + "\n\2\0xyREST"s));
}

TEST(StripStatusItems, TakesOutItemsNestedManyDeep) {
  for (std::size_t split = 1; split < kJob.head.size(); ++split) {
    std::string data = "x";
    for (int depth = 0; depth < 5; ++depth) data += kJob.head.substr(0, split);
    for (int depth = 0; depth < 5; ++depth) data += kJob.head.substr(split) + "1\n";
    EXPECT_EQ("xy", Strip(kJob, data + "y")) << split;
  }
}

TEST(StripStatusItems, DoesNotFindAHeadInAnItemTakenOut) {
  EXPECT_EQ("a2\nb", Strip(kJob, "a@QPL STATUS CODE=@QPL STATUS CODE=1\n2\nb"));
  EXPECT_EQ("ab", Strip(kBinary, "a" + Counted(Counted("1")) + "b"));
}

TEST(StripStatusItems, LeavesDataWithoutAHead) {
  EXPECT_EQ("plain\n\f", Strip(kJob, "plain\n\f"));
  EXPECT_EQ("@QPL STATUS CODE", Strip(kJob, "@QPL STATUS CODE"));
  EXPECT_EQ("", Strip(kJob, ""));
  EXPECT_EQ("@BDC ST2\r", Strip(kBinary, "@BDC ST2\r"));
  EXPECT_EQ("any@QPL STATUS CODE=1\n", Strip(PlainForm{}, "any@QPL STATUS CODE=1\n"));
  EXPECT_EQ(0U, vlp::StripStatusItems(kJob.form(), {}));
}

TEST(StripStatusItems, CutsTheDataAtAHeadWithoutItsEnd) {
  EXPECT_EQ("ab", Strip(kJob, "ab@QPL STATUS CODE=1"));
  EXPECT_EQ("ab", Strip(kJob, "a@QPL STATUS CODE=1\nb@QPL STATUS CODE="));
  EXPECT_EQ("", Strip(kText, "@BDC ST\r\nST:1\n"));
}

TEST(StripStatusItems, CutsAtACountedItemThatRunsToOrPastTheEnd) {
  EXPECT_EQ("ab", Strip(kBinary, "ab" + Counted("xyz")));
  EXPECT_EQ("ab", Strip(kBinary, "ab" + Counted("xyz", 4)));
  EXPECT_EQ("ab", Strip(kBinary, "ab" + Counted("xyz", 0xFFFF)));
  EXPECT_EQ("ab+", Strip(kBinary, "ab" + Counted("xyz") + "+")) << "one byte behind it moves up";
  EXPECT_EQ("abz", Strip(kBinary, "ab" + Counted("xyz", 2)));
}

TEST(StripStatusItems, CutsAtAHeadWithoutAWholeCount) {
  EXPECT_EQ("ab", Strip(kBinary, "ab@BDC ST2\r\n"));
  EXPECT_EQ("ab", Strip(kBinary, "ab@BDC ST2\r\n\1"));
  EXPECT_EQ("ab", Strip(kBinary, "ab@BDC ST2\r\n\0"s));
}

TEST(StripStatusItems, TakesTheItemAsLongAsItsCountAndTwelveBytes) {
  for (const std::size_t count : {1U, 2U, 255U, 256U, 257U, 0x1234U, 0xFFFFU}) {
    const std::string item = Counted(std::string(count, '#'));
    ASSERT_EQ(count + 12, item.size());
    EXPECT_EQ("<>", Strip(kBinary, "<" + item + ">")) << count;
    EXPECT_EQ("<#>", Strip(kBinary, "<" + item + "#>")) << count;
  }
  EXPECT_EQ("#", Strip(kBinary, Counted(std::string(0x0103, '#'), 0x0102)));
}

TEST(StripStatusItems, EndsAtACountOfZero) {
  const std::string tail = Counted("", 0) + "b" + Counted("1") + "c";
  EXPECT_EQ("a" + tail, Strip(kBinary, "a" + tail));
  EXPECT_EQ("a" + tail, Strip(kBinary, Counted("2") + "a" + tail)) << "what came before is out";
  EXPECT_EQ(Counted("", 0), Strip(kBinary, Counted("", 0)));
  EXPECT_EQ("@BDC ST2\r\n\0\0c"s, Strip(kBinary, "@BDC" + Counted("1") + " ST2\r\n\0\0c"s))
      << "joined together too";
}

TEST(StripStatusItems, CutAtEveryByteLeavesWhatStoodInFront) {
  const std::string before = "reply ";
  for (const std::string& item : {"@QPL STATUS CODE=01;\n"s, "@BDC ST\r\nST:01;\f"s}) {
    const PlainForm& form = item[1] == 'Q' ? kJob : kText;
    for (std::size_t length = 0; length <= item.size(); ++length) {
      const std::string data = before + item.substr(0, length);
      EXPECT_EQ(length < form.head.size() ? data : before, Strip(form, data)) << length;
    }
  }
  const std::string item = Counted("0123");
  for (std::size_t length = 0; length <= item.size(); ++length) {
    const std::string data = before + item.substr(0, length);
    EXPECT_EQ(length < kBinary.head.size() ? data : before, Strip(kBinary, data)) << length;
  }
}

TEST(StripStatusItems, TakesOutItemsNestedFiftyThousandDeep) {
  constexpr int kDepth = 50'000;
  std::string data;
  for (int depth = 0; depth < kDepth; ++depth) data += "@QPL STATUS ";
  for (int depth = 0; depth < kDepth; ++depth) data += "CODE=1\n";
  EXPECT_EQ("!", Strip(kJob, data + "!"));
}

}  // namespace
