// Commands that fail, and what the log says of commands.

#include "tests/operations/exchange_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcProbe;
using operations_test::ExchangeTest;
using operations_test::kSendFails;
using operations_test::TextItem;

class CommandFailure : public ExchangeTest {
 protected:
  void SetUp() override {
    ExchangeTest::SetUp();
    Open({{ChnlKindBdc}});
    Answer("SendCommand", "reply" + BdcProbe());
  }

  void ExpectFailure(std::int32_t code) {
    Forget();
    EXPECT_EQ(code, Send(ChnlKindBdc, "cmd", 77));
    EXPECT_EQ(77u, length_);
    EXPECT_EQ((std::vector<std::string>{
                  "-----", "CPrinterInf::SendCommand Enter | Data(3): cmd",
                  "### CPrinterInf::SendCommand Return : rc = " + std::to_string(code)}),
              Log());
  }
};

TEST_F(CommandFailure, OfTheSendIsToldOnce) {
  constexpr struct {
    std::uint32_t result;
    std::int32_t rc;
  } kSendResults[] = {{0x800732CB, VLPER_SEND},       {0x800732CC, VLPER_SEND},
                      {0x800732CD, VLPER_NOTSUPPORT}, {0x80070006, VLPER_NOTSUPPORT},
                      {0x80070032, VLPER_NOTSUPPORT}, {0x80070005, VLPER_SEND},
                      {kSendFails, VLPER_SEND}};
  for (const auto& known : kSendResults) {
    SCOPED_TRACE(known.result);
    FailSends(known.result);
    ExpectFailure(known.rc);
    EXPECT_EQ(1u, Batches());
  }
}

TEST_F(CommandFailure, OfAPrinterThatIsGoneIsAFailedSend) {
  far_side::unplug("USB001");
  ExpectFailure(VLPER_SEND);
}

TEST_F(CommandFailure, OfTheBindKeepsItsCode) {
  trouble_.bind_administrator = {.result = kSendFails, .last_error = 0};
  far_side::set_trouble(trouble_);
  ExpectFailure(VLPER_NOTSUPPORT);
  EXPECT_EQ(0u, Batches());
}

TEST_F(CommandFailure, BehindTheStopIsTerminated) {
  printer_->StopBidiWorker();
  ExpectFailure(VLPER_TERMINATE);
}

TEST_F(CommandFailure, OfASchemaThatTheFarSideDoesntKnowIsNotSupported) {
  Answer("SendCommand", {.result = 13005, .data = far_side::bytes_of("reply")});
  ExpectFailure(VLPER_NOTSUPPORT);
}

TEST_F(CommandFailure, OfAReplyThatIsTooLargeForThePrintersRoomIsTold) {
  Answer("SendCommand", std::string(2049, 'x'));
  ExpectFailure(VLPER_BUFFERSIZE);
}

TEST_F(CommandFailure, OfTheSeparationIsTold) {
  Answer("SendCommand", TextItem("1"));
  ExpectFailure(VLPER_SEND);
  Answer("SendCommand", far_side::RowAnswer{});
  ExpectFailure(VLPER_PARAM);
}

TEST_F(CommandFailure, OfAChannelThatIsntThereIsTold) {
  Open({{ChnlKindQpl}});
  ExpectFailure(VLPER_NOCHANNEL);
  EXPECT_EQ(0u, Batches());
}

// The reply that waits for its second call goes with any other command, also one that fails.
TEST_F(CommandFailure, DropsTheKeptReply) {
  for (const std::uint32_t result : {kSendFails, 0u}) {
    Forget();
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "kept", 0));
    FailSends(result);
    EXPECT_EQ(result == 0 ? VLPER_PARAM : VLPER_SEND,
              Send(ChnlKindBdc, result == 0 ? "" : "fails"));
    FailSends(0);
    const std::size_t before = Batches();
    EXPECT_EQ(0, Send(ChnlKindBdc, "kept"));
    EXPECT_EQ("reply", got_);
    EXPECT_EQ(before + 1, Batches());
  }
}

TEST_F(CommandFailure, OfTheSeparationDropsTheKeptReply) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "kept", 0));
  Answer("SendCommand", TextItem("1"));
  EXPECT_EQ(VLPER_SEND, Send(ChnlKindBdc, "fails"));
  EXPECT_EQ(VLPER_SEND, Send(ChnlKindBdc, "kept"));
  EXPECT_EQ(3u, Batches());
}

// --- The log ----------------------------------------------------------------------------------

using Texts = std::vector<std::string>;

class CommandLog : public CommandFailure {};

TEST_F(CommandLog, TellsTheTimeTheBytesAndTheReply) {
  EXPECT_EQ(0, Send(ChnlKindBdc, "c\0d"s));
  EXPECT_EQ((Texts{"-----", "CPrinterInf::SendCommand Enter | Data(3): c\0d"s,
                   "CPrinterInf::SendCommand Return | Data(5): reply"}),
            Log());
}

TEST_F(CommandLog, TellsBothCallsOfTheLengthProtocol) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 4));
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd", 5));
  const std::string enter = "CPrinterInf::SendCommand Enter | Data(3): cmd";
  EXPECT_EQ(
      (Texts{"-----", enter, "### CPrinterInf::SendCommand Return : rc = -5",  //
             "-----", enter, "### CPrinterInf::SendCommand Exist RecvData Return : rc = -5",
             "-----", enter, "CPrinterInf::SendCommand Exist RecvData Return | Data(5): reply"}),
      Log());
}

TEST_F(CommandLog, TellsAnEmptyReplyWithoutBytes) {
  Answer("SendCommand", BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ((Texts{"-----", "CPrinterInf::SendCommand Enter | Data(3): cmd",
                   "CPrinterInf::SendCommand Return"}),
            Log());
}

TEST_F(CommandLog, CutsWhatIsLong) {
  Answer("SendCommand", std::string(258, 'r') + BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, std::string(257, 'c')));
  EXPECT_EQ((Texts{"-----", "CPrinterInf::SendCommand Enter | Data(257): " + std::string(256, 'c'),
                   "CPrinterInf::SendCommand Return | Data(258): " + std::string(256, 'r')}),
            Log());
}

TEST_F(CommandLog, TellsACommandWithoutBytes) {
  EXPECT_EQ(VLPER_PARAM, Send(ChnlKindBdc, ""));
  length_ = 0;
  EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindBdc, nullptr, 3, nullptr, &length_));
  EXPECT_EQ((Texts{"-----", "CPrinterInf::SendCommand Enter",
                   "### CPrinterInf::SendCommand Return : rc = -7",  //
                   "-----", "CPrinterInf::SendCommand Enter",
                   "### CPrinterInf::SendCommand Return : rc = -7"}),
            Log());
}

}  // namespace
}  // namespace vlp
