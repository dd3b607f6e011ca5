// The first status item in received data.

#include "language/status_item.h"
#include "tests/language/language_fixture.h"
#include "tests/language/literal_loop.h"

namespace {

using language_test::Block;
using language_test::Counted;
using language_test::PlainForm;
using language_test::TextOf;
using namespace std::string_literals;

const PlainForm kJob{"@QPL STATUS CODE=", '\n', false};
const PlainForm kText{"@BDC ST\r\nST:", '\f', false};
const PlainForm kBinary{"@BDC ST2\r\n", 0, true};

std::string Find(const PlainForm& form, const std::string& data) {
  Block block(data);
  const std::optional<vlp::Bytes> item = vlp::FindStatusItem(form.form(), block.all());
  return item ? TextOf(*item) : "none";
}

TEST(StatusItem, IsFoundWholeWithHeadAndEnd) {
  EXPECT_EQ("@QPL STATUS CODE=01\n", Find(kJob, "before@QPL STATUS CODE=01\nbehind"));
  EXPECT_EQ("@BDC ST\r\nST:01;\f", Find(kText, "before@BDC ST\r\nST:01;\fbehind"));
  EXPECT_EQ(Counted("xyz"), Find(kBinary, "before" + Counted("xyz") + "behind"));
}

TEST(StatusItem, MayBeAllThereIs) {
  EXPECT_EQ("@QPL STATUS CODE=\n", Find(kJob, "@QPL STATUS CODE=\n"));
  EXPECT_EQ("@BDC ST\r\nST:\f", Find(kText, "@BDC ST\r\nST:\f"));
  EXPECT_EQ(Counted("x"), Find(kBinary, Counted("x")));
}

TEST(StatusItem, IsTheFirstOfTwo) {
  EXPECT_EQ("@BDC ST\r\nST:1\f", Find(kText, "@BDC ST\r\nST:1\f@BDC ST\r\nST:2\f"));
  EXPECT_EQ(Counted("1"), Find(kBinary, Counted("1") + Counted("22")));
}

TEST(StatusItem, EndsWithTheFirstTerminatorBehindTheHead) {
  EXPECT_EQ("@BDC ST\r\nST:1\f", Find(kText, "\f@BDC ST\r\nST:1\f2\f"));
  EXPECT_EQ(Counted("\f\n\0"s), Find(kBinary, Counted("\f\n\0"s) + "\f"));
}

TEST(StatusItem, IsNoneIfCutAtAnyByte) {
  for (const PlainForm& form : {kJob, kText}) {
    const std::string item = form.head + "01;" + form.terminator;
    for (std::size_t length = 0; length < item.size(); ++length) {
      EXPECT_EQ("none", Find(form, item.substr(0, length))) << length;
      EXPECT_EQ("none", Find(form, "x" + item.substr(0, length))) << length;
    }
    EXPECT_EQ(item, Find(form, item));
  }
  const std::string item = Counted("0123456789");
  for (std::size_t length = 0; length < item.size(); ++length) {
    EXPECT_EQ("none", Find(kBinary, item.substr(0, length))) << length;
  }
  EXPECT_EQ(item, Find(kBinary, item));
}

TEST(StatusItem, IsNoneIfTheFirstHeadHasNoWholeItem) {
  const std::string whole = Counted("x");
  EXPECT_EQ("none", Find(kBinary, Counted("", 0xFFFF) + whole));
  EXPECT_EQ("none", Find(kBinary, Counted("", 0) + whole)) << "a length of nothing is no item";
  EXPECT_EQ("none", Find(kBinary, Counted("", 0)));
}

TEST(StatusItem, ThatIsCountedHasALengthOfSixteenBitsLowByteFirst) {
  const std::string entries(0x0102, '@');
  const std::string item = "@BDC ST2\r\n\x02\x01" + entries;
  EXPECT_EQ(10 + 2 + 0x0102U, item.size());
  EXPECT_EQ(item, Find(kBinary, item + "+"));
  const std::string longest = Counted(std::string(0xFFFF, 'x'));
  EXPECT_EQ(0xFFFFU + 12, Find(kBinary, longest + "+").size());
  EXPECT_EQ("none", Find(kBinary, longest.substr(0, longest.size() - 1)));
}

TEST(StatusItem, IsAllOfTheDataWhereItemsHaveNoForm) {
  EXPECT_EQ("anything\0\f"s, Find(PlainForm{}, "anything\0\f"s));
  EXPECT_EQ("", Find(PlainForm{}, ""));
}

}  // namespace
