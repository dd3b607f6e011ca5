// Commands that go as they stand and want no reply.

#include "tests/operations/exchange_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcProbe;
using operations_test::BinaryBdc;
using operations_test::ExchangeTest;
using operations_test::kNamed;
using operations_test::kPrinterLines;
using operations_test::kSendFails;
using operations_test::Lanes;
using operations_test::ProfileOfLanes;
using operations_test::QplProbe;
using operations_test::Row;
using operations_test::RowsOf;
using operations_test::TextItem;

class Through : public ExchangeTest {
 protected:
  static Lanes AllLanes(std::uint32_t mode) {
    return {{ChnlKindQpl, mode},  {ChnlKindBdc, mode},   {ChnlKindZrdPage, mode},
            {ChnlKindEnd4, mode}, {ChnlKindLabel, mode}, {0x100, mode}};
  }
};

TEST_F(Through, GoesBareAndAlone) {
  Open({BinaryBdc()});
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "\0cm\xFF"s));
  ExpectBatch(1, {kNamed, {"SendThroughREMOTE", "\0cm\xFF"s}});
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "x"));
  ExpectBatch(2, {kNamed, {"SendThroughREMOTE", "x"}});
}

TEST_F(Through, IsForTheBdcChannelAlone) {
  Open(AllLanes(0xFFFF), "", "QPL,BDC,END4,ZRDLABEL");
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindZrdPage, ChnlKindEnd4, ChnlKindLabel,
                                 ChannelKind{0x100}, ChannelKind{0}, ChnlKindD4}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(VLPER_NOCHANNEL, SendThrough(kind, "cmd"));
  }
  EXPECT_EQ(0u, Batches());
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "cmd"));
}

TEST_F(Through, NeedsBothBitsOfTheChannelsMode) {
  constexpr struct {
    std::uint32_t mode;
    std::int32_t rc;
  } kModes[] = {{0x0000, VLPER_NOCHANNEL},
                {0x0001, VLPER_NOCHANNEL},
                {0x0002, VLPER_NOCHANNEL},
                {0xFFFC, VLPER_NOCHANNEL},
                {0x0003, 0},
                {0xFFFF, 0}};
  for (const auto& known : kModes) {
    SCOPED_TRACE(known.mode);
    Open({{ChnlKindBdc, known.mode}});
    EXPECT_EQ(known.rc, SendThrough(ChnlKindBdc, "cmd"));
    EXPECT_EQ(known.rc == 0 ? 1u : 0u, Batches());
  }
}

TEST_F(Through, BeforeTheChannelsAreKnownIsRefused) {
  Describe(ProfileOfLanes({{ChnlKindBdc}}), "CMD:BDC;");
  Make("Printer", kPrinterLines);
  Forget();
  EXPECT_EQ(VLPER_NOCHANNEL, SendThrough(ChnlKindBdc, "cmd"));
  EXPECT_EQ(0u, Batches());
}

// Channel first, then the length, then the bytes.
TEST_F(Through, WithoutBytesIsRefused) {
  Open({{ChnlKindBdc}, {ChnlKindQpl}});
  const far_side::Bytes shown(256, 'x');
  EXPECT_EQ(VLPER_NOCHANNEL, printer_->SendThroughCommand(ChnlKindQpl, nullptr, 0));
  EXPECT_EQ(VLPER_PARAM, printer_->SendThroughCommand(ChnlKindBdc, nullptr, 0));
  EXPECT_EQ(VLPER_PARAM, printer_->SendThroughCommand(ChnlKindBdc, nullptr, 3));
  EXPECT_EQ(VLPER_PARAM, printer_->SendThroughCommand(ChnlKindBdc, shown.data(), 0));
  EXPECT_EQ(VLPER_PARAM, printer_->SendThroughCommand(ChnlKindBdc, shown.data(), 0x80000000));
  EXPECT_EQ(VLPER_PARAM, printer_->SendThroughCommand(ChnlKindBdc, shown.data(), 0xFFFFFFFF));
  EXPECT_EQ(0u, Batches());
}

TEST_F(Through, TakesNoReply) {
  Open({{ChnlKindBdc}}, "LPT_RcvDatBuffSize=0");
  for (const far_side::RowAnswer& answer :
       {far_side::RowAnswer{.data = far_side::Bytes(5000, 'x')},
        far_side::RowAnswer{.result = 13005}, far_side::RowAnswer{}}) {
    Answer("SendThroughREMOTE", answer);
    EXPECT_EQ(0, SendThrough(ChnlKindBdc, "cmd"));
  }
  EXPECT_EQ(3u, Batches());
}

TEST_F(Through, LeavesTheKeptReplyAndStatus) {
  Open({{ChnlKindBdc}});
  Answer("GetStatus", TextItem("1"));
  Answer("SendCommand", "reply" + BdcProbe());
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "cmd"));
  FailSends(kSendFails);
  EXPECT_EQ(VLPER_SEND, SendThrough(ChnlKindBdc, "cmd"));
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ("reply", got_);
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(4u, Batches());
}

TEST_F(Through, FailureIsToldOnce) {
  constexpr struct {
    std::uint32_t result;
    std::int32_t rc;
  } kSendResults[] = {{0x800732CB, VLPER_SEND},       {0x800732CC, VLPER_SEND},
                      {0x800732CD, VLPER_NOTSUPPORT}, {0x80070006, VLPER_NOTSUPPORT},
                      {0x80070032, VLPER_NOTSUPPORT}, {0x80070005, VLPER_SEND},
                      {kSendFails, VLPER_SEND}};
  Open({{ChnlKindBdc}});
  for (const auto& known : kSendResults) {
    SCOPED_TRACE(known.result);
    FailSends(known.result);
    Forget();
    EXPECT_EQ(known.rc, SendThrough(ChnlKindBdc, "cmd"));
    EXPECT_EQ(1u, Batches());
    EXPECT_EQ((std::vector<std::string>{
                  "CPrinterInf::SendThroughCommand Enter | Data(3): cmd",
                  "### CPrinterInf::SendCommand Return : rc = " + std::to_string(known.rc)}),
              Log());
  }
  FailSends(0);
  printer_->StopBidiWorker();
  EXPECT_EQ(VLPER_TERMINATE, SendThrough(ChnlKindBdc, "cmd"));
}

// No line tells the time here, and the last is that of commands with a reply.
TEST_F(Through, IsLoggedWithItsBytes) {
  Open({{ChnlKindBdc}});
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "c\0d"s));
  EXPECT_EQ(VLPER_NOCHANNEL, SendThrough(ChnlKindQpl, "x"));
  EXPECT_EQ(VLPER_PARAM, SendThrough(ChnlKindBdc, ""));
  EXPECT_EQ((std::vector<std::string>{"CPrinterInf::SendThroughCommand Enter | Data(3): c\0d"s,
                                      "CPrinterInf::SendCommand Return : rc = 0",
                                      "CPrinterInf::SendThroughCommand Enter | Data(1): x",
                                      "### CPrinterInf::SendCommand Return : rc = -3",
                                      "CPrinterInf::SendThroughCommand Enter",
                                      "### CPrinterInf::SendCommand Return : rc = -7"}),
            Log());
}

// --- What is never sent -----------------------------------------------------------------------

TEST_F(Through, AndAllOthersGoWithoutTheJobCommandsOfTheProfile) {
  Open({{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}},
       "LPT_StartJobCmd=DE,AD,BE,EF\nLPT_EndJobCmd=FE,ED,FA,CE");
  Answer("GetStatus", TextItem("1"));
  Answer("SendCommand", "reply" + BdcProbe() + QplProbe());
  EXPECT_EQ(0, Send(ChnlKindQpl, "job"));
  EXPECT_EQ(0, Send(ChnlKindBdc, "bdc"));
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "through"));
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(4u, Batches());
  for (const far_side::SeenBatch& batch : far_side::batches()) {
    for (const Row& row : RowsOf(batch)) {
      EXPECT_EQ(std::string::npos, row.second.find("\xDE\xAD")) << row.first;
      EXPECT_EQ(std::string::npos, row.second.find("\xFE\xED")) << row.first;
      EXPECT_EQ(std::string::npos, row.second.find("1284.4")) << row.first;
      EXPECT_EQ(std::string::npos, row.second.find("JE\x01")) << row.first;
    }
  }
}

}  // namespace
}  // namespace vlp
