// What is asked for a status, on which channel, and what a failure leaves.

#include "tests/operations/exchange_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcEnd;
using operations_test::BinaryBdc;
using operations_test::BinaryBdcEnd;
using operations_test::BinaryItem;
using operations_test::BinaryRequest;
using operations_test::ExchangeTest;
using operations_test::JobItem;
using operations_test::kNamed;
using operations_test::kPrinterLines;
using operations_test::kSendFails;
using operations_test::Lanes;
using operations_test::PageEnd;
using operations_test::ProfileOfLanes;
using operations_test::QplEnd;
using operations_test::TextItem;

constexpr std::uint32_t kUnknownKind = 0x12345678;

class Status : public ExchangeTest {
 protected:
  // Neither asked the printer nor touched the length.
  void ExpectNoChannel(ChannelKind kind) {
    SCOPED_TRACE(kind);
    const std::size_t before = Batches();
    EXPECT_EQ(VLPER_NOCHANNEL, Ask(kind, 77));
    EXPECT_EQ(77u, length_);
    EXPECT_EQ(before, Batches());
  }
};

TEST_F(Status, IsAskedForWithTheChannelsOwnCommand) {
  Open({{ChnlKindBdc, 0x0007, "\x1B\x00st\xFF"s}});
  Answer("GetStatus", TextItem("0400"));
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(TextItem("0400"), got_);
  ASSERT_EQ(42u, BdcEnd().size());
  ExpectBatch(1, {kNamed, {"GetStatus", "\x1B\x00st\xFF"s}, {"SetTerminateInf", BdcEnd()}});
}

TEST_F(Status, InBinaryFormIsAnnounced) {
  Open({BinaryBdc()});
  Answer("GetStatus", BinaryItem(3, "abc"));
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  ASSERT_EQ(52u, BinaryBdcEnd().size());
  ExpectBatch(1, {kNamed, {"GetStatus", BinaryRequest()}, {"SetTerminateInf", BinaryBdcEnd()}});
}

TEST_F(Status, OfTheJobAndThePageLanguageHasEndsOfItsOwn) {
  Open({{ChnlKindQpl, 0x0004, "job?"}, {ChnlKindZrdPage, 0x0004, "page?"}},
       "LPT_StatusNoChkTime=0");
  Answer("GetStatus", JobItem("1"));
  EXPECT_EQ(0, Ask(ChnlKindQpl));
  ASSERT_EQ(44u, QplEnd().size());
  ExpectBatch(1, {kNamed, {"GetStatus", "job?"}, {"SetTerminateInf", QplEnd()}});
  EXPECT_EQ(0, Ask(ChnlKindZrdPage));
  ASSERT_EQ(53u, PageEnd().size());
  ExpectBatch(2, {kNamed, {"GetStatus", "page?"}, {"SetTerminateInf", PageEnd()}});
}

TEST_F(Status, OfAChannelWithoutAStatusCommandIsAskedForWithNone) {
  Open({{ChnlKindBdc, 0x0007, ""}});
  Answer("GetStatus", TextItem("x"));
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  ExpectBatch(1, {kNamed, {"GetStatus", ""}, {"SetTerminateInf", BdcEnd()}});
}

TEST_F(Status, GoesByD4WhereTheBdcChannelHasOneBeside) {
  Open({{ChnlKindBdc, 0x0007, "bdc?"}, {ChnlKindD4, 0x0007, "d4?"}}, "", "BDC,D4");
  Answer("GetStatus", "all of it" + TextItem("0400") + "too");
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ("all of it" + TextItem("0400") + "too", got_);
  ExpectBatch(1, {kNamed, {"GetStatus", "d4?"}});
}

TEST_F(Status, GoesByD4OnlyIfThatReportsStatus) {
  Open({{ChnlKindBdc, 0x0007, "bdc?"}, {ChnlKindD4, 0x0003, "d4?"}}, "", "BDC,D4");
  ExpectNoChannel(ChnlKindBdc);
  ExpectNoChannel(ChnlKindD4);
}

TEST_F(Status, OfTheFaxChannelIsThatOfBdc) {
  Open({{ChnlKindBdc, 0x0007, "bdc?"}, {ChnlKindEnd4, 0x0007, "fax?"}}, "", "BDC,END4");
  Answer("GetStatus", TextItem("1"));
  EXPECT_EQ(0, Ask(ChnlKindEnd4));
  ExpectBatch(1, {kNamed, {"GetStatus", "bdc?"}, {"SetTerminateInf", BdcEnd()}});
}

TEST_F(Status, OfTheFaxChannelGoesByD4Too) {
  Open({{ChnlKindBdc, 0x0007, "bdc?"}, {ChnlKindEnd4, 0x0007, "fax?"}, {ChnlKindD4, 7, "d4?"}}, "",
       "BDC,END4,D4", "VL1394D3_1");
  Answer("GetStatus", "raw");
  EXPECT_EQ(0, Ask(ChnlKindEnd4));
  EXPECT_EQ("raw", got_);
  ExpectBatch(1, {kNamed, {"GetStatus", "d4?"}});
}

TEST_F(Status, OfTheFaxChannelAloneHasNoChannel) {
  Open({{ChnlKindEnd4, 0x0007, "fax?"}}, "", "END4");
  ExpectNoChannel(ChnlKindEnd4);
}

TEST_F(Status, OfAVendorClassPrinterGoesByBdcWhateverIsAsked) {
  const Lanes lanes = {
      {ChnlKindQpl, 0x0007, "job?"}, {ChnlKindBdc, 0x0007, "bdc?"}, {ChnlKindD4, 0x0007, "d4?"}};
  Open(lanes, "LPT_StatusNoChkTime=0", "GENVL,QPL,BDC,D4");
  Answer("GetStatus", TextItem("7"));
  std::size_t number = 0;
  for (const ChannelKind kind : {ChnlKindBdc, ChnlKindD4, ChnlKindQpl, ChnlKindEnd4, ChnlKindLabel,
                                 ChnlKindZrdPages, kUnknownKind}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(0, Ask(kind));
    EXPECT_EQ(TextItem("7"), got_);
    ExpectBatch(++number, {kNamed, {"GetStatus", "bdc?"}, {"SetTerminateInf", BdcEnd()}});
  }
}

TEST_F(Status, OfAVendorClassPrinterWithoutBdcHasNoChannel) {
  Open({{ChnlKindD4, 0x0007, "d4?"}}, "", "GENVL,D4");
  ExpectNoChannel(ChnlKindD4);
  ExpectNoChannel(ChnlKindBdc);
}

// The kind is looked at behind the exchange, where only such a printer comes with none.
TEST_F(Status, OfNoKindIsRefusedByAVendorClassPrinterOnceItHasAnswered) {
  Open({{ChnlKindBdc, 0x0007, "bdc?"}}, "", "GENVL,BDC");
  Answer("GetStatus", TextItem("7"));
  EXPECT_EQ(VLPER_PARAM, Ask(0, 77));
  EXPECT_EQ(77u, length_);
  ExpectBatch(1, {kNamed, {"GetStatus", "bdc?"}, {"SetTerminateInf", BdcEnd()}});
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(2u, Batches()) << "the refused answer isn't kept";
}

TEST_F(Status, OfAKindThatThePrinterHasntHasNoChannel) {
  Open({{ChnlKindBdc, 0x0007}});
  for (const ChannelKind kind : {ChannelKind{0}, ChnlKindQpl, ChnlKindD4, kUnknownKind}) {
    ExpectNoChannel(kind);
  }
}

TEST_F(Status, NeedsTheChannelsStatusBitAndNoOther) {
  const Lanes lanes = {{ChnlKindBdc, 0x0004, "bdc?"}, {ChnlKindZrdPages, 0xFFFB}};
  Open(lanes, "", "BDC,ZRDPAGES-01");
  ExpectNoChannel(ChnlKindZrdPages);
  Answer("GetStatus", TextItem("1"));
  EXPECT_EQ(0, Ask(ChnlKindBdc));
}

TEST_F(Status, OfTheJobLanguageBesideBdcHasNoChannel) {
  Open({{ChnlKindQpl, 0x0007}, {ChnlKindBdc, 0x0007}});
  ExpectNoChannel(ChnlKindQpl);
}

TEST_F(Status, BeforeTheChannelsAreKnownHasNoChannel) {
  Describe(ProfileOfLanes({{ChnlKindBdc, 0x0007}}), "CMD:BDC;");
  Make("Printer", kPrinterLines);
  Forget();
  ExpectNoChannel(ChnlKindBdc);
  EXPECT_EQ((std::vector<std::string>{"-----", "CPrinterInf::GetStatus Enter",
                                      "### CPrinterInf::GetStatus Return : rc = -3"}),
            Log());
}

TEST_F(Status, OfAChannelWithoutALanguageIsTheWholeReply) {
  Open({{ChnlKindZrdPages, 0x0004, "pages?"}, {kUnknownKind, 0x0004, "unknown?"}},
       "LPT_StatusNoChkTime=0", "ZRDPAGES-02");
  const std::string reply = "\0any\n"s + TextItem("1") + JobItem("2");
  Answer("GetStatus", reply);
  EXPECT_EQ(0, Ask(ChnlKindZrdPages));
  EXPECT_EQ(reply, got_);
  ExpectBatch(1, {kNamed, {"GetStatus", "pages?"}});
  EXPECT_EQ(0, Ask(kUnknownKind));
  EXPECT_EQ(reply, got_);
  ExpectBatch(2, {kNamed, {"GetStatus", "unknown?"}});
}

// --- Failures ---------------------------------------------------------------------------------

constexpr struct {
  std::uint32_t result;
  std::int32_t rc;
} kSendResults[] = {
    {0x800732CB, VLPER_SEND},       {0x800732CC, VLPER_SEND},       {0x800732CD, VLPER_NOTSUPPORT},
    {0x80070006, VLPER_NOTSUPPORT}, {0x80070032, VLPER_NOTSUPPORT}, {0x80070005, VLPER_SEND},
    {kSendFails, VLPER_SEND},       {0x800732CA, VLPER_SEND},       {0x800732CE, VLPER_SEND}};

TEST_F(Status, FailureOfTheSendIsToldOnceAndKeepsNothing) {
  Open({{ChnlKindBdc, 0x0007}});
  Answer("GetStatus", TextItem("1"));
  for (const auto& known : kSendResults) {
    SCOPED_TRACE(known.result);
    FailSends(known.result);
    Forget();
    EXPECT_EQ(known.rc, Ask(ChnlKindBdc, 77));
    EXPECT_EQ(77u, length_);
    EXPECT_EQ(1u, Batches());
    EXPECT_EQ((std::vector<std::string>{
                  "-----", "CPrinterInf::GetStatus Enter",
                  "### CPrinterInf::GetStatus Return : rc = " + std::to_string(known.rc)}),
              Log());
  }
  FailSends(0);
  EXPECT_EQ(0, Ask(ChnlKindBdc));
}

TEST_F(Status, OfAPrinterThatIsGoneIsAFailedSend) {
  Open({{ChnlKindBdc, 0x0007}});
  far_side::unplug("USB001");
  EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
}

TEST_F(Status, FailureOfTheBindKeepsItsCode) {
  Open({{ChnlKindBdc, 0x0007}});
  trouble_.bind_administrator = {.result = kSendFails, .last_error = 0};
  far_side::set_trouble(trouble_);
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(ChnlKindBdc, 77));
  EXPECT_EQ(77u, length_);
  EXPECT_EQ(0u, Batches());
}

TEST_F(Status, BehindTheStopIsTerminated) {
  Open({{ChnlKindBdc, 0x0007}});
  printer_->StopBidiWorker();
  EXPECT_EQ(VLPER_TERMINATE, Ask(ChnlKindBdc, 77));
  EXPECT_EQ(77u, length_);
}

TEST_F(Status, ThatTheFarSideDoesntKnowIsNotSupported) {
  Open({{ChnlKindBdc, 0x0007}});
  Answer("GetStatus", {.result = 13005, .data = far_side::bytes_of(TextItem("1"))});
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(ChnlKindBdc));
  // Other numbers of a row mean nothing here.
  Answer("GetStatus", {.result = 0x800732CD, .data = far_side::bytes_of(TextItem("1"))});
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(TextItem("1"), got_);
}

TEST_F(Status, ThatIsEmptyIsAFailedSend) {
  Open({{ChnlKindBdc, 0x0007}, {ChnlKindZrdPages, 0x0004}}, "", "BDC,ZRDPAGES-01");
  const far_side::RowAnswer empties[] = {
      {}, {.data = far_side::Bytes{}}, {.data = far_side::bytes_of("x"), .type = 0}};
  for (const far_side::RowAnswer& empty : empties) {
    Answer("GetStatus", empty);
    for (const ChannelKind kind : {ChnlKindBdc, ChnlKindZrdPages}) {
      EXPECT_EQ(VLPER_SEND, Ask(kind, 77));
      EXPECT_EQ(77u, length_);
    }
  }
  EXPECT_EQ(6u, Batches());
  Answer("GetStatus", {.data = far_side::bytes_of("x"), .null_data = true});
  EXPECT_EQ(VLPER_SEND, Ask(ChnlKindZrdPages));
}

TEST_F(Status, IsTakenAsBytesWhateverTypeItHas) {
  Open({{ChnlKindBdc, 0x0007}});
  Answer("GetStatus", {.data = far_side::bytes_of(TextItem("1")), .type = 4, .outputs = 3});
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(TextItem("1"), got_);
}

}  // namespace
}  // namespace vlp
