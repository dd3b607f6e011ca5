// Commands and their replies: what goes to the printer, and what of its answer is the reply.

#include "tests/operations/exchange_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcEnd;
using operations_test::BdcProbe;
using operations_test::BinaryBdc;
using operations_test::BinaryBdcEnd;
using operations_test::ExchangeTest;
using operations_test::InBdc;
using operations_test::InPage;
using operations_test::InQpl;
using operations_test::JobItem;
using operations_test::kNamed;
using operations_test::kPrinterLines;
using operations_test::Lanes;
using operations_test::PageEnd;
using operations_test::PageProbe;
using operations_test::ProfileOfLanes;
using operations_test::QplEnd;
using operations_test::QplProbe;
using operations_test::TextItem;

class Command : public ExchangeTest {
 protected:
  void ExpectFailure(std::int32_t code, ChannelKind kind, const std::string& command = "cmd") {
    EXPECT_EQ(code, Send(kind, command, 77));
    EXPECT_EQ(77u, length_) << "a failure leaves the length alone";
  }

  // The reply out of this answer; the text is the code if there is none.
  std::string ReplyOf(ChannelKind kind, const std::string& answer) {
    Answer("SendCommand", answer);
    const std::int32_t rc = Send(kind, "cmd");
    return rc == 0 ? got_ : std::to_string(rc);
  }
};

TEST_F(Command, GoesInTheEnvelopeOfTheBdcChannel) {
  Open({{ChnlKindBdc}});
  Answer("SendCommand", "reply" + BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "\0cm\xFF"s));
  EXPECT_EQ("reply", got_);
  ASSERT_EQ(30u, InBdc("\0cm\xFF"s).size());
  ExpectBatch(1, {kNamed, {"SendCommand", InBdc("\0cm\xFF"s)}, {"SetTerminateInf", BdcEnd()}});
}

TEST_F(Command, TellsHowTheBinaryStatusBegins) {
  Open({BinaryBdc()});
  Answer("SendCommand", BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "c"));
  ExpectBatch(1, {kNamed, {"SendCommand", InBdc("c")}, {"SetTerminateInf", BinaryBdcEnd()}});
}

TEST_F(Command, GoesInTheEnvelopeOfTheJobLanguage) {
  Open({{ChnlKindQpl}});
  Answer("SendCommand", "reply" + QplProbe());
  EXPECT_EQ(0, Send(ChnlKindQpl, "12345"));
  EXPECT_EQ("reply", got_);
  ASSERT_EQ(18u, InQpl("12345").size());
  ExpectBatch(1, {kNamed, {"SendCommand", InQpl("12345")}, {"SetTerminateInf", QplEnd()}});
}

TEST_F(Command, GoesInTheEnvelopeOfThePageLanguage) {
  Open({{ChnlKindZrdPage}});
  Answer("SendCommand", "reply" + PageProbe());
  EXPECT_EQ(0, Send(ChnlKindZrdPage, "12345"));
  EXPECT_EQ("reply", got_);
  ASSERT_EQ(40u, InPage("12345").size());
  ExpectBatch(1, {kNamed, {"SendCommand", InPage("12345")}, {"SetTerminateInf", PageEnd()}});
}

TEST_F(Command, GoesBareOnAChannelWithoutALanguage) {
  constexpr ChannelKind kUnknownKind = 0x12345678;
  Open({{ChnlKindD4}, {ChnlKindZrdPages}, {ChnlKindLabel}, {kUnknownKind}}, "",
       "D4,ZRDPAGES-02,ZRDLABEL");
  const std::string reply = "re" + BdcProbe() + TextItem("1") + "ply";
  Answer("SendCommand", reply);
  std::size_t number = 0;
  for (const ChannelKind kind : {ChnlKindD4, ChnlKindZrdPages, ChnlKindLabel, kUnknownKind}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(0, Send(kind, "12345"));
    EXPECT_EQ(reply, got_);
    ExpectBatch(++number, {kNamed, {"SendCommand", "12345"}});
  }
}

TEST_F(Command, OfTheFaxChannelHasASchemaOfItsOwn) {
  Open({{ChnlKindEnd4}}, "", "END4");
  Answer("SendFaxCommand", "fax reply");
  Answer("SendCommand", "not this");
  EXPECT_EQ(0, Send(ChnlKindEnd4, "dial"));
  EXPECT_EQ("fax reply", got_);
  ExpectBatch(1, {kNamed, {"SendFaxCommand", "dial"}});
}

TEST_F(Command, OfOneByteIsSent) {
  Open({{ChnlKindBdc}});
  Answer("SendCommand", BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "\0"s));
  ExpectBatch(1, {kNamed, {"SendCommand", InBdc("\0"s)}, {"SetTerminateInf", BdcEnd()}});
}

TEST_F(Command, NeedsBothBitsOfTheChannelsMode) {
  const Lanes lanes = {{0x100, 0x0001}, {0x101, 0x0002}, {0x102, 0xFFFC}, {0x103, 0x0003}};
  Open(lanes);
  Answer("SendCommand", "reply");
  for (const ChannelKind kind : {0x100u, 0x101u, 0x102u}) {
    SCOPED_TRACE(kind);
    ExpectFailure(VLPER_NOCHANNEL, kind);
  }
  EXPECT_EQ(0u, Batches());
  EXPECT_EQ(0, Send(0x103, "cmd"));
}

TEST_F(Command, OnAChannelThatThePrinterHasntIsRefused) {
  Open({{ChnlKindBdc}});
  for (const ChannelKind kind : {ChannelKind{0}, ChnlKindQpl, ChnlKindD4, ChannelKind{1}}) {
    SCOPED_TRACE(kind);
    ExpectFailure(VLPER_NOCHANNEL, kind);
  }
  EXPECT_EQ(0u, Batches());
}

TEST_F(Command, BeforeTheChannelsAreKnownIsRefused) {
  Describe(ProfileOfLanes({{ChnlKindBdc}}), "CMD:BDC;");
  Make("Printer", kPrinterLines);
  Forget();
  ExpectFailure(VLPER_NOCHANNEL, ChnlKindBdc);
  EXPECT_EQ(0u, Batches() + far_side::counts("Printer").bound);
}

// The channel is looked at before the length, and the length before the bytes.
TEST_F(Command, WithoutBytesIsRefused) {
  Open({{ChnlKindBdc}});
  const std::uint8_t one = 'x';
  length_ = 77;
  for (const std::uint8_t* command : {static_cast<const std::uint8_t*>(nullptr), &one}) {
    EXPECT_EQ(VLPER_NOCHANNEL, printer_->SendCommand(ChnlKindQpl, command, 0, nullptr, &length_));
    EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindBdc, command, 0, nullptr, &length_));
  }
  EXPECT_EQ(VLPER_NOCHANNEL, printer_->SendCommand(ChnlKindQpl, nullptr, 3, nullptr, &length_));
  EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindBdc, nullptr, 3, nullptr, &length_));
  EXPECT_EQ(77u, length_);
  EXPECT_EQ(0u, Batches());
}

// The log shows the first 256 bytes; that is all that may be read of what isn't there.
TEST_F(Command, OfALengthBelowZeroIsRefusedUnread) {
  Open({{ChnlKindBdc}, {ChnlKindD4}}, "", "BDC,D4");
  const far_side::Bytes shown(256, 'x');
  length_ = 77;
  for (const std::uint32_t length : {0xFFFFFFFFu, 0xFFFFFFE6u, 0x80000000u}) {
    SCOPED_TRACE(length);
    for (const ChannelKind kind : {ChnlKindBdc, ChnlKindD4}) {
      EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(kind, shown.data(), length, nullptr, &length_));
    }
  }
  EXPECT_EQ(77u, length_);
  EXPECT_EQ(0u, Batches());
}

// --- Replies ----------------------------------------------------------------------------------

TEST_F(Command, ReplyIsFreedOfStatusAndOfTheEnvelopesAnswer) {
  Open({{ChnlKindBdc}});
  EXPECT_EQ("reply", ReplyOf(ChnlKindBdc, TextItem("1") + "re" + TextItem("2") + "ply" +
                                              TextItem("3") + BdcProbe() + TextItem("4")));
  EXPECT_EQ(BdcProbe() + "reply", ReplyOf(ChnlKindBdc, BdcProbe() + "reply" + BdcProbe()));
  EXPECT_EQ("cut", ReplyOf(ChnlKindBdc, "cut@BDC PS\r\nST:no end"));
  EXPECT_EQ("reply", ReplyOf(ChnlKindBdc, "reply")) << "as far as it came";
}

TEST_F(Command, ReplyOfTheJobLanguageBesideBdcIsFreedOfBdcStatus) {
  Open({{ChnlKindQpl}, {ChnlKindBdc}});
  EXPECT_EQ(JobItem("1") + "reply",
            ReplyOf(ChnlKindQpl, JobItem("1") + TextItem("2") + "reply" + QplProbe()));
}

TEST_F(Command, ReplyThatIsNoneAtAllIsAFailedSend) {
  Open({{ChnlKindBdc}});
  EXPECT_EQ("-9", ReplyOf(ChnlKindBdc, TextItem("1") + TextItem("2")));
  EXPECT_EQ(4096u, length_);
}

TEST_F(Command, ReplyOfNoBytesIsRefused) {
  Open({{ChnlKindBdc}, {ChnlKindEnd4}, {ChnlKindLabel}}, "", "BDC,END4,ZRDLABEL");
  const far_side::RowAnswer empties[] = {
      {}, {.data = far_side::Bytes{}}, {.data = far_side::bytes_of("x"), .type = 0}};
  for (const far_side::RowAnswer& empty : empties) {
    Answer("SendCommand", empty);
    Answer("SendFaxCommand", empty);
    ExpectFailure(VLPER_PARAM, ChnlKindBdc);
    ExpectFailure(VLPER_PARAM, ChnlKindEnd4);
    ExpectFailure(VLPER_SEND, ChnlKindLabel);
  }
  EXPECT_EQ(9u, Batches());
}

TEST_F(Command, ReplyOfOneByteIsNoneOnTheLabelChannelAlone) {
  Open({{ChnlKindLabel}, {ChnlKindD4}}, "", "ZRDLABEL,D4");
  for (const std::string& dummy : {"\0"s, "x"s}) {
    EXPECT_EQ("", ReplyOf(ChnlKindLabel, dummy));
    EXPECT_EQ(0u, length_);
    EXPECT_EQ(dummy, ReplyOf(ChnlKindD4, dummy));
  }
  EXPECT_EQ("\0x"s, ReplyOf(ChnlKindLabel, "\0x"s));
}

TEST_F(Command, DummyReplyIsLogged) {
  Open({{ChnlKindLabel}}, "", "ZRDLABEL");
  Make("Printer", 0x80000001);
  Connect();
  EXPECT_EQ("", ReplyOf(ChnlKindLabel, "\0"s));
  const std::vector<std::string> lines = Log();
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(),
                          "CSepareteData::SepareteRecvData - DummyReply was deleted"));
}

// --- How much the printer may answer ----------------------------------------------------------

class CommandRoom : public Command {
 protected:
  std::string SizedReply(const std::string& setting, std::size_t size,
                         const std::string& listed = "D4") {
    Open({{ChnlKindD4}}, setting, listed);
    return ReplyOf(ChnlKindD4, std::string(size, 'x'));
  }
};

TEST_F(CommandRoom, IsTwoKilobytesByDefault) {
  EXPECT_EQ(std::string(2048, 'x'), SizedReply("", 2048));
  EXPECT_EQ("-5", SizedReply("", 2049));
  EXPECT_EQ(4096u, length_) << "no size is told for what the printer had too much of";
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindD4, "cmd"));
  EXPECT_EQ(2u, Batches());
}

TEST_F(CommandRoom, IsWhatTheProfileSays) {
  EXPECT_EQ(std::string(3000, 'x'), SizedReply("LPT_RcvDatBuffSize=3000", 3000));
  EXPECT_EQ("-5", SizedReply("LPT_RcvDatBuffSize=3000", 3001));
  EXPECT_EQ("x", SizedReply("LPT_RcvDatBuffSize=1", 1));
  EXPECT_EQ("-5", SizedReply("LPT_RcvDatBuffSize=1", 2));
}

// A reply is still wanted, so it isn't a command without one.
TEST_F(CommandRoom, CanBeNone) {
  EXPECT_EQ("-5", SizedReply("LPT_RcvDatBuffSize=0", 1));
  EXPECT_EQ("-7", SizedReply("LPT_RcvDatBuffSize=0", 0));
  ExpectBatch(1, {kNamed, {"SendCommand", "cmd"}});
}

// It holds the whole answer, with what isn't the reply's.
TEST_F(CommandRoom, CountsWhatIsCutOff) {
  const std::string answer = "x" + TextItem("1") + BdcProbe();
  Open({{ChnlKindBdc}}, "LPT_RcvDatBuffSize=" + std::to_string(answer.size()));
  EXPECT_EQ("x", ReplyOf(ChnlKindBdc, answer));
  Open({{ChnlKindBdc}}, "LPT_RcvDatBuffSize=" + std::to_string(answer.size() - 1));
  EXPECT_EQ("-5", ReplyOf(ChnlKindBdc, answer));
}

// --- Vendor-class printers --------------------------------------------------------------------

TEST_F(Command, OfAVendorClassPrinterGoesByTheSpoolerOnOtherChannels) {
  Open({{ChnlKindBdc}, {ChnlKindQpl}, {ChnlKindD4}}, "", "GENVL,BDC,QPL");
  EXPECT_EQ("reply", ReplyOf(ChnlKindBdc, "reply" + BdcProbe()));
  ExpectBatch(1, {kNamed, {"SendCommand", InBdc("cmd")}, {"SetTerminateInf", BdcEnd()}});
  EXPECT_EQ("reply", ReplyOf(ChnlKindQpl, "reply" + QplProbe()));
  ExpectBatch(2, {kNamed, {"SendCommand", InQpl("cmd")}, {"SetTerminateInf", QplEnd()}});
}

TEST_F(Command, OfAVendorClassPrintersD4NeverGoesByTheSpooler) {
  Open({{ChnlKindBdc}, {ChnlKindD4}}, "", "GENVL,BDC,D4");
  Answer("SendCommand", "reply");
  Answer("GetStatus", TextItem("no number"));
  // It asks for the status, which tells the device; the command stays here.
  ExpectFailure(VLPER_NOTCONNECT, ChnlKindD4);
  ExpectBatch(1, {kNamed, {"GetStatus", "status?"}, {"SetTerminateInf", BdcEnd()}});
}

}  // namespace
}  // namespace vlp
