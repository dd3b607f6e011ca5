// What the log says of status requests and commands, line by line.

#include "tests/system/talk.h"

namespace system_test {
namespace {

using ::testing::Contains;

const char* const kBdcTime = "@BDC TI\r\nTI:20260301120000;\f";

class ExchangeLog : public TalkTest {
 protected:
  void Begin(const std::vector<Channel>& channels, std::uint32_t mask = kLogOperations) {
    LogTo(mask);
    Open(channels, "QPL,BDC,ZRDLABEL");
    Lines();
  }

  // The operations' lines since the last call, without those of the port's check.
  Texts Lines() {
    Texts kept;
    const Texts all = TalkTest::Lines();
    for (; seen_ < all.size(); ++seen_) {
      if (!all[seen_].starts_with("CPrinterInf::CheckSupportPort") &&
          !all[seen_].starts_with("CPrinterInf::SetRealPrinterName")) {
        kept.push_back(all[seen_]);
      }
    }
    return kept;
  }

 private:
  std::size_t seen_ = 0;
};

std::string Data(const std::string& bytes) {
  return " | Data(" + std::to_string(bytes.size()) + "): " + bytes;
}

TEST_F(ExchangeLog, TellsBothCallsOfAStatusRequest) {
  Begin({TextBdc()});
  ASSERT_EQ(Ask(ChnlKindBdc), 0);
  EXPECT_EQ(Lines(), (Texts{"-----", "CPrinterInf::GetStatus Enter",
                            "### CPrinterInf::GetStatus Return : rc = -5", "-----",
                            "CPrinterInf::GetStatus Enter",
                            "CPrinterInf::GetStatus Exist Status Return" + Data(kTextItem)}));
  ASSERT_EQ(Ask(ChnlKindBdc), 0);
  EXPECT_EQ(Lines(), (Texts{"-----", "CPrinterInf::GetStatus Enter",
                            "### CPrinterInf::GetStatus Exist Status Return : rc = -5", "-----",
                            "CPrinterInf::GetStatus Enter",
                            "CPrinterInf::GetStatus Exist Status Return" + Data(kTextItem)}));
}

TEST_F(ExchangeLog, TellsWhyAStatusRequestFailed) {
  Begin({TextBdc()});
  Behave({.mute = true});
  EXPECT_EQ(Ask(ChnlKindBdc), VLPER_SEND);
  EXPECT_EQ(Ask(ChnlKindLabel), VLPER_NOCHANNEL);
  EXPECT_EQ(Lines(),
            (Texts{"-----", "CPrinterInf::GetStatus Enter",
                   "### CPrinterInf::GetStatus Return : rc = -9", "-----",
                   "CPrinterInf::GetStatus Enter", "### CPrinterInf::GetStatus Return : rc = -3"}));
}

TEST_F(ExchangeLog, TellsBothCallsOfACommand) {
  Begin({TextBdc()});
  const std::string command = "ti\0\0"s;
  const Texts lines = {"-----",
                       "CPrinterInf::SendCommand Enter" + Data(command),
                       "### CPrinterInf::SendCommand Return : rc = -5",
                       "-----",
                       "CPrinterInf::SendCommand Enter" + Data(command),
                       "CPrinterInf::SendCommand Exist RecvData Return" + Data(kBdcTime)};
  for (int n = 0; n < 2; ++n) {
    ASSERT_EQ(Send(ChnlKindBdc, command), 4);
    EXPECT_EQ(Lines(), lines) << "the same again, as it is sent again";
  }
}

TEST_F(ExchangeLog, TellsTheOneCallOfACommandWithoutReply) {
  Begin({TextBdc()});
  ASSERT_EQ(Send(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Lines(), (Texts{"-----", "CPrinterInf::SendCommand Enter" + Data(kSilent),
                            "CPrinterInf::SendCommand Return"}));
}

TEST_F(ExchangeLog, TellsWhyACommandFailed) {
  Begin({TextBdc()});
  EXPECT_EQ(Send(ChnlKindBdc, Fill(3000)), VLPER_BUFFERSIZE);
  Behave({.mute = true});
  EXPECT_EQ(Send(ChnlKindBdc, kSilent), VLPER_PARAM);
  EXPECT_EQ(Lines(), (Texts{"-----", "CPrinterInf::SendCommand Enter" + Data(Fill(3000)),
                            "### CPrinterInf::SendCommand Return : rc = -5", "-----",
                            "CPrinterInf::SendCommand Enter" + Data(kSilent),
                            "### CPrinterInf::SendCommand Return : rc = -7"}));
}

TEST_F(ExchangeLog, TellsThroughCommandsUnderTheOtherName) {
  Begin({TextBdc()});
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Through(ChnlKindQpl, kSilent), VLPER_NOCHANNEL);
  EXPECT_EQ(Lines(), (Texts{"CPrinterInf::SendThroughCommand Enter" + Data(kSilent),
                            "CPrinterInf::SendCommand Return : rc = 0",
                            "CPrinterInf::SendThroughCommand Enter" + Data(kSilent),
                            "### CPrinterInf::SendCommand Return : rc = -3"}));
}

TEST_F(ExchangeLog, CutsLongDataUnlessToldOtherwise) {
  const std::string command = Echo(std::string(500, 'e'));
  for (const bool uncut : {false, true}) {
    Begin({TextBdc()}, kLogOperations | (uncut ? kLogUncut : 0));
    EXPECT_EQ(Reply(ChnlKindBdc, command), std::string(500, 'e'));
    const std::string shown = uncut ? command : command.substr(0, 256);
    EXPECT_THAT(TalkTest::Lines(),
                Contains("CPrinterInf::SendCommand Enter | Data(504): " + shown).Times(2));
    DropProvider();
  }
}

TEST_F(ExchangeLog, TellsTheSchemasOfTheBatch) {
  Begin({TextBdc()}, kLogSpooler);
  const std::size_t before = TalkTest::Lines().size();
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
  Texts rows;
  const Texts lines = TalkTest::Lines();
  for (std::size_t n = before; n < lines.size(); ++n) {
    const std::size_t at = lines[n].find("VELNO_SCHEMA:");
    if (at != std::string::npos) rows.push_back(lines[n].substr(at + 13));
  }
  EXPECT_EQ(rows, (Texts{"SetPrinterName = 0", "SendCommand = 1", "SetTerminateInf = 2"}));
}

}  // namespace
}  // namespace system_test
