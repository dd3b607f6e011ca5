// Which bytes of a printer's answer are its status, and how they are handed out.

#include "tests/operations/exchange_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcEnd;
using operations_test::BdcProbe;
using operations_test::BinaryBdc;
using operations_test::BinaryItem;
using operations_test::BinaryRequest;
using operations_test::ExchangeTest;
using operations_test::JobItem;
using operations_test::kNamed;
using operations_test::Lanes;
using operations_test::TextItem;

class StatusItem : public ExchangeTest {
 protected:
  // The item out of this answer; the text is the code if there is none.
  std::string ItemOf(const std::string& answer, ChannelKind kind = ChnlKindBdc) {
    Answer("GetStatus", answer);
    const std::int32_t rc = Ask(kind);
    return rc == 0 ? got_ : std::to_string(rc);
  }

  // Never kept, so that each answer is looked at.
  void OpenAfresh(const Lanes& lanes, const std::string& listed = "QPL,BDC") {
    Open(lanes, "LPT_StatusNoChkTime=0", listed);
  }
};

const std::string kNoItem = "-9";

TEST_F(StatusItem, InTextFormIsWholeWithHeadAndEnd) {
  OpenAfresh({{ChnlKindBdc}});
  EXPECT_EQ(TextItem("0400"), ItemOf(TextItem("0400")));
  EXPECT_EQ(TextItem(""), ItemOf(TextItem("")));
  EXPECT_EQ(TextItem("a\0\r\nb"s), ItemOf(TextItem("a\0\r\nb"s)));
}

TEST_F(StatusItem, InTextFormIsFreedOfWhatStandsAround) {
  OpenAfresh({{ChnlKindBdc}});
  EXPECT_EQ(TextItem("1"), ItemOf("\f\0before@BDC ST\r\nST"s + TextItem("1") + "behind\f"));
  EXPECT_EQ(TextItem("1"), ItemOf(BdcProbe() + TextItem("1") + BdcProbe()));
}

TEST_F(StatusItem, IsTheFirstOfTwo) {
  OpenAfresh({{ChnlKindBdc}});
  EXPECT_EQ(TextItem("first"), ItemOf(TextItem("first") + TextItem("second")));
  OpenAfresh({BinaryBdc()});
  EXPECT_EQ(BinaryItem(2, "ab"), ItemOf(BinaryItem(2, "ab") + BinaryItem(2, "cd")));
  OpenAfresh({{ChnlKindQpl}});
  EXPECT_EQ(JobItem("1"), ItemOf(JobItem("1") + JobItem("2"), ChnlKindQpl));
}

TEST_F(StatusItem, InTextFormNeedsHeadAndEnd) {
  OpenAfresh({{ChnlKindBdc}});
  for (const std::string& none :
       {"@BDC ST\r\nST:0400"s, "@BDC ST\r\nST:"s, "0400\f"s, "\f@BDC ST\r\nST:0400"s,
        "@bdc ST\r\nST:0400\f"s, "@BDC ST\nST:0400\f"s, BinaryItem(1, "\f"), JobItem("1\f"),
        BdcProbe(), "x"s}) {
    SCOPED_TRACE(none);
    EXPECT_EQ(kNoItem, ItemOf(none));
    EXPECT_EQ(4096u, length_);
  }
}

// The first head decides, whatever stands behind it.
TEST_F(StatusItem, WithoutAnEndIsntMadeUpForByTheNext) {
  OpenAfresh({BinaryBdc()});
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(0, "") + BinaryItem(1, "a")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(0xFFFF, "") + BinaryItem(1, "a")));
  OpenAfresh({{ChnlKindBdc}});
  EXPECT_EQ("@BDC ST\r\nST:a" + TextItem("b"), ItemOf("@BDC ST\r\nST:a" + TextItem("b")));
}

TEST_F(StatusItem, OfTheJobAndThePageLanguageEndsWithTheLine) {
  OpenAfresh({{ChnlKindQpl}, {ChnlKindZrdPage}});
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindZrdPage}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(JobItem("10\f\r"), ItemOf("x\n" + JobItem("10\f\r") + "y\n", kind));
    EXPECT_EQ(JobItem(""), ItemOf(JobItem(""), kind));
    EXPECT_EQ(kNoItem, ItemOf("@QPL STATUS CODE=10\f", kind));
    EXPECT_EQ(kNoItem, ItemOf("10\n", kind));
    EXPECT_EQ(kNoItem, ItemOf(TextItem("1\n"), kind));
  }
}

TEST_F(StatusItem, InBinaryFormIsAsLongAsItSays) {
  OpenAfresh({BinaryBdc()});
  EXPECT_EQ(BinaryItem(1, "\f"), ItemOf(BinaryItem(1, "\f")));
  EXPECT_EQ(BinaryItem(3, "a\0c"s), ItemOf("before" + BinaryItem(3, "a\0c"s) + "behind"));
  const std::string long_bytes(0x0102, 'x');
  EXPECT_EQ(BinaryItem(0x0102, long_bytes), ItemOf(BinaryItem(0x0102, long_bytes) + "y"));
}

TEST_F(StatusItem, InBinaryFormMustLieInTheAnswer) {
  OpenAfresh({BinaryBdc()});
  EXPECT_EQ(BinaryItem(5, "abcde"), ItemOf(BinaryItem(5, "abcde")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(6, "abcde")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(0xFFFF, "abcde")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(1, "")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(0, "abcde")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(0, "")));
  EXPECT_EQ(kNoItem, ItemOf("@BDC ST2\r\n\x01"));
  EXPECT_EQ(kNoItem, ItemOf("@BDC ST2\r\n"));
  EXPECT_EQ(kNoItem, ItemOf("@BDC ST2\r"));
  EXPECT_EQ(kNoItem, ItemOf(TextItem("0400")));
}

// Only the byte behind the marker tells.
TEST_F(StatusItem, IsInTextFormUnlessTheRequestAsksForTheBinaryOne) {
  std::string request = BinaryRequest();
  request.back() = '\x12';
  OpenAfresh({{ChnlKindBdc, 0x0007, request}});
  EXPECT_EQ(TextItem("1"), ItemOf(BinaryItem(1, "a") + TextItem("1")));
  request.pop_back();
  OpenAfresh({{ChnlKindBdc, 0x0007, request}});
  EXPECT_EQ(TextItem("1"), ItemOf(BinaryItem(1, "a") + TextItem("1")));
  ExpectBatch(1, {kNamed, {"GetStatus", request}, {"SetTerminateInf", BdcEnd()}});
}

TEST_F(StatusItem, ThatIsntThereLeavesNothingKept) {
  Open({BinaryBdc()});
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(6, "abcde")));
  EXPECT_EQ(kNoItem, ItemOf(BinaryItem(6, "abcde")));
  EXPECT_EQ(2u, Batches());
  EXPECT_EQ(BinaryItem(1, "a"), ItemOf(BinaryItem(1, "a")));
  EXPECT_EQ(3u, Batches());
}

// --- How much the printer may answer ----------------------------------------------------------

class StatusRoom : public StatusItem {
 protected:
  // With an item of `size` bytes, on a channel that has no form of item.
  std::string SizedReply(const std::string& setting, std::size_t size) {
    Open({{ChnlKindZrdPages, 0x0004}}, setting, "ZRDPAGES-01");
    return ItemOf(std::string(size, 'x'), ChnlKindZrdPages);
  }
};

TEST_F(StatusRoom, IsTwoKilobytesByDefault) {
  EXPECT_EQ(std::string(2048, 'x'), SizedReply("", 2048));
  EXPECT_EQ("-5", SizedReply("", 2049));
  EXPECT_EQ(4096u, length_) << "no size is told for what the printer had too much of";
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindZrdPages));
  EXPECT_EQ(2u, Batches());
}

TEST_F(StatusRoom, IsWhatTheProfileSays) {
  EXPECT_EQ(std::string(3000, 'x'), SizedReply("LPT_RcvDatBuffSize=3000", 3000));
  EXPECT_EQ("-5", SizedReply("LPT_RcvDatBuffSize=3000", 3001));
  EXPECT_EQ("x", SizedReply("LPT_RcvDatBuffSize=1", 1));
  EXPECT_EQ("-5", SizedReply("LPT_RcvDatBuffSize=1", 2));
}

// An answer is still wanted: one that comes is too large, none at all is a failed send.
TEST_F(StatusRoom, CanBeNone) {
  EXPECT_EQ("-5", SizedReply("LPT_RcvDatBuffSize=0", 1));
  EXPECT_EQ("-9", SizedReply("LPT_RcvDatBuffSize=0", 0));
}

// --- The length protocol ----------------------------------------------------------------------

class StatusLength : public StatusItem {
 protected:
  void SetUp() override {
    StatusItem::SetUp();
    Open({{ChnlKindBdc}, {ChnlKindZrdPage, 0x0004}}, "LPT_UniversalDriver=1");
    Answer("GetStatus", item_);
  }

  const std::string item_ = TextItem("0400");
};

TEST_F(StatusLength, IsToldFirstAndTheItemGivenThenOfOneQuery) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc, 0));
  EXPECT_EQ(item_.size(), length_);
  EXPECT_EQ(0, Ask(ChnlKindBdc, length_));
  EXPECT_EQ(item_.size(), length_);
  EXPECT_EQ(item_, got_);
  EXPECT_EQ(1u, Batches()) << "the printer is asked once, also by a universal driver";
}

TEST_F(StatusLength, IsToldForEveryBuffer) {
  const auto size = static_cast<std::uint32_t>(item_.size());
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc, size - 1));
    EXPECT_EQ(size, length_);
    EXPECT_EQ(0, Ask(ChnlKindBdc, size + 1));
    EXPECT_EQ(size, length_);
    EXPECT_EQ(item_, got_);
  }
  EXPECT_EQ(1u, Batches());
}

TEST_F(StatusLength, IsThatOfTheKeptItemWhateverKindIsAsked) {
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  Answer("GetStatus", JobItem("9"));
  for (const ChannelKind kind :
       {ChnlKindZrdPage, ChnlKindQpl, ChnlKindEnd4, ChannelKind{0}, ChannelKind{0xFFFFFFFF}}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(0, Ask(kind));
    EXPECT_EQ(item_, got_);
  }
  EXPECT_EQ(1u, Batches());
}

TEST_F(StatusLength, AndItemAreLogged) {
  const auto size = static_cast<std::uint32_t>(item_.size());
  const std::string data = " | Data(17): " + item_;
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc, 0));
  EXPECT_EQ(0, Ask(ChnlKindBdc, size));
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc, size - 1));
  EXPECT_EQ((std::vector<std::string>{"-----", "CPrinterInf::GetStatus Enter",
                                      "### CPrinterInf::GetStatus Return : rc = -5", "-----",
                                      "CPrinterInf::GetStatus Enter",
                                      "CPrinterInf::GetStatus Exist Status Return" + data, "-----",
                                      "CPrinterInf::GetStatus Enter",
                                      "### CPrinterInf::GetStatus Exist Status Return : rc = -5"}),
            Log());
}

TEST_F(StatusLength, OfAFreshItemIsLoggedWithIt) {
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ((std::vector<std::string>{"-----", "CPrinterInf::GetStatus Enter",
                                      "CPrinterInf::GetStatus Return | Data(17): " + item_}),
            Log());
}

// Any category brings the line that tells the time; the others have their own.
TEST_F(StatusLength, NeedsItsCategoryInTheLogButForTheTime) {
  Make("Printer", 0x100);
  Connect();
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ((std::vector<std::string>{"-----"}), Log());
}

}  // namespace
}  // namespace vlp
