// Status requests and commands before the printer has been asked for its channels.

#include "tests/system/digits.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const Bytes kCommand = {'@', 'X', 0, 0x1B};

class WithoutChannel : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    AddLaser();
    LogTo(kLogOperations);
    Load();
  }

  // The lines without those of the port test, which come first in each operation.
  std::vector<std::string> Lines() {
    std::vector<std::string> kept;
    for (const std::string& line : LogLines(kLaser)) {
      if (!line.starts_with("CPrinterInf::CheckSupportPort") &&
          !line.starts_with("CPrinterInf::SetRealPrinterName")) {
        kept.push_back(line);
      }
    }
    return kept;
  }

  void ExpectNothingHappened() {
    EXPECT_THAT(far_side::batches(), IsEmpty());
    ExpectNothingQueued();
  }
};

TEST_F(WithoutChannel, AStatusRequestEndsInNoChannel) {
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
  EXPECT_THAT(Lines(), ElementsAre(LooksLike(kStampShape), "CPrinterInf::GetStatus Enter",
                                   StartsWith("### CPrinterInf::GetStatus Return : rc = -3"
                                              " : LastError = ")));
  ExpectNothingHappened();
}

TEST_F(WithoutChannel, ACommandEndsInNoChannel) {
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOCHANNEL);
  EXPECT_THAT(Lines(), ElementsAre(LooksLike(kStampShape), "CPrinterInf::SendCommand Enter",
                                   " Data(4): " + std::string(kCommand.begin(), kCommand.end()),
                                   StartsWith("### CPrinterInf::SendCommand Return : rc = -3"
                                              " : LastError = ")));
  ExpectNothingHappened();
}

TEST_F(WithoutChannel, AThroughCommandEndsInNoChannelUnderTheOtherName) {
  EXPECT_EQ(provider().Through(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOCHANNEL);
  EXPECT_THAT(Lines(), ElementsAre("CPrinterInf::SendThroughCommand Enter",
                                   " Data(4): " + std::string(kCommand.begin(), kCommand.end()),
                                   StartsWith("### CPrinterInf::SendCommand Return : rc = -3"
                                              " : LastError = ")));
  ExpectNothingHappened();
}

TEST_F(WithoutChannel, EveryKindAndRepetitionEndsTheSame) {
  for (const ChannelKind kind : {ChnlKindD4, ChnlKindZrdPages, ChnlKindQpl, ChnlKindBdc,
                                 ChnlKindZrdPage, ChnlKindEnd4, ChnlKindLabel, 1U, 0xFFFFFFFFU}) {
    EXPECT_EQ(provider().Status(1, kLaser, kind), VLPER_NOCHANNEL) << kind;
    EXPECT_EQ(provider().Command(1, kLaser, kind, kCommand), VLPER_NOCHANNEL) << kind;
    EXPECT_EQ(provider().Through(1, kLaser, kind, kCommand), VLPER_NOCHANNEL) << kind;
  }
  ExpectNothingHappened();
}

TEST_F(WithoutChannel, ALongCommandIsLoggedCut) {
  const Bytes command(70000, 'c');
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, command), VLPER_NOCHANNEL);
  EXPECT_THAT(Lines(), Contains(" Data(70000): " + std::string(256, 'c')));
}

TEST_F(WithoutChannel, TheOrderIsArgumentsThenPortThenChannel) {
  far_side::set_port(kLaser, "COM1:");
  EXPECT_EQ(provider().Status(1, kLaser, 0), VLPER_PARAM);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, {}), VLPER_PARAM);
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Through(1, kLaser, ChnlKindBdc, {}), VLPER_PARAM);
  EXPECT_EQ(provider().Through(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOTSUPPORT);
}

TEST_F(WithoutChannel, HoldsBehindTerminateToo) {
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOCHANNEL);
  EXPECT_EQ(provider().Through(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOCHANNEL);
}

TEST_F(WithoutChannel, ThreadsMayAskAtOnce) {
  std::vector<std::unique_ptr<Thread>> threads;
  for (int n = 0; n < 6; ++n) {
    threads.push_back(std::make_unique<Thread>([this, n] {
      for (int call = 0; call < 20; ++call) {
        switch (n % 3) {
          case 0:
            EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
            break;
          case 1:
            EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOCHANNEL);
            break;
          default:
            EXPECT_EQ(provider().Through(1, kLaser, ChnlKindBdc, kCommand), VLPER_NOCHANNEL);
        }
      }
    }));
  }
  threads.clear();
  const std::string data = " Data(4): " + std::string(kCommand.begin(), kCommand.end());
  // A command's bytes stand directly behind its line, whoever else writes.
  const auto lines = LogLines(kLaser);
  int commands = 0;
  for (std::size_t at = 0; at + 1 < lines.size(); ++at) {
    if (lines[at] != "CPrinterInf::SendCommand Enter" &&
        lines[at] != "CPrinterInf::SendThroughCommand Enter") {
      continue;
    }
    ++commands;
    EXPECT_EQ(lines[at + 1], data);
  }
  EXPECT_EQ(commands, 80);
}

}  // namespace
}  // namespace system_test
