// Printer ports that are redirected to another computer.

#include "printer/port_kind.h"
#include "tests/printer/printer_fixture.h"

namespace vlp {
namespace {

using printer_test::PrinterTest;

class NetworkPort : public PrinterTest {
 protected:
  void SetUp() override {
    PrinterTest::SetUp();
    ASSERT_TRUE(far_side::serves(far_side::Feature::redirected_ports));
  }
};

struct RemoteCase {
  const char* remote;
  bool network;
};

TEST_F(NetworkPort, IsAnyRemoteNameButThatOfAClientsPort) {
  constexpr RemoteCase kCases[] = {
      {"\\\\Client\\LPT1", false},  {"\\\\Client\\LPT1:", false},       {"\\\\Client\\LPT", false},
      {"\\\\ClientX\\LPT1", false}, {"\\\\Client\\share\\LPT1", false}, {"\\\\server\\queue", true},
      {"\\\\server\\LPT1", true},   {"\\\\Client\\QUE1", true},         {"\\\\Client\\lpt1", true},
      {"\\\\client\\LPT1", true},   {"\\\\CLIENT\\LPT1", true},         {"\\\\Clien\\LPT1", true},
      {"\\\\Client", true},         {"\\\\ClientLPT1", true},           {" \\\\Client\\LPT1", true},
  };
  for (const RemoteCase& each : kCases) {
    far_side::redirect("LPT1:", each.remote);
    EXPECT_EQ(each.network, IsNetworkLpt("LPT1:")) << each.remote;
  }
}

TEST_F(NetworkPort, IsNoneWithoutARedirection) {
  EXPECT_FALSE(IsNetworkLpt("LPT1:"));
  far_side::redirect("LPT2:", "\\\\server\\queue");
  EXPECT_FALSE(IsNetworkLpt("LPT1:"));
  EXPECT_TRUE(IsNetworkLpt("LPT2:"));
}

TEST_F(NetworkPort, IsLookedForInCapitalLettersOnly) {
  far_side::redirect("LPT1:", "\\\\server\\queue");
  EXPECT_FALSE(IsNetworkLpt("lpt1:"));
  EXPECT_FALSE(IsNetworkLpt("Lpt1:"));
  EXPECT_FALSE(IsNetworkLpt("LP"));
  EXPECT_FALSE(IsNetworkLpt(""));
  EXPECT_TRUE(IsNetworkLpt("LPT1:"));
}

TEST_F(NetworkPort, WithARemoteNameThatIsTooLongCountsAsNone) {
  far_side::redirect("LPT1:", "\\\\server\\" + std::string(250, 'q'));
  EXPECT_TRUE(IsNetworkLpt("LPT1:"));
  far_side::redirect("LPT1:", "\\\\server\\" + std::string(251, 'q'));
  EXPECT_FALSE(IsNetworkLpt("LPT1:"));
}

TEST_F(NetworkPort, IsRefusedByTheCheck) {
  far_side::redirect("LPT1:", "\\\\server\\queue");
  far_side::add_printer({.name = "Printer", .port = "LPT1:"});
  Make("Printer", kLogPrinter);
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ(
      (std::vector<std::string>{"CPrinterInf::CheckSupportPort Return (NetLPT port) : rc = -1"}),
      LinesOf("CheckSupportPort"));

  far_side::redirect("LPT1:", "\\\\Client\\LPT1");
  EXPECT_EQ(0, printer_->CheckSupportPort());
  far_side::redirect("LPT1:", "\\\\server\\queue");
  far_side::set_port("Printer", "lpt1:");
  EXPECT_EQ(0, printer_->CheckSupportPort());
  EXPECT_EQ("CPrinterInf::CheckSupportPort Return : lpt1: = 0", LinesOf("CheckSupportPort").back());
}

TEST_F(NetworkPort, ThatIsATcpIpPortTooIsRefusedAsThat) {
  far_side::redirect("LPT1:", "\\\\server\\queue");
  far_side::add_tcp_port("LPT1:");
  far_side::add_printer({.name = "Printer", .port = "LPT1:"});
  Make("Printer", kLogPrinter);
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ("CPrinterInf::CheckSupportPort Return (TCP/IP port) : rc = -1",
            LinesOf("CheckSupportPort").back());
}

}  // namespace
}  // namespace vlp
