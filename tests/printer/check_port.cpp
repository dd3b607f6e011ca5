// The check that every operation begins with, and the line that it ends in.

#include "tests/printer/printer_fixture.h"

namespace vlp {
namespace {

using printer_test::PrinterTest;

class CheckPort : public PrinterTest {
 protected:
  std::int32_t CheckOn(const std::string& port) {
    far_side::add_printer({.name = "Printer", .port = port});
    if (printer_ == nullptr) Make("Printer", kLogPrinter);
    return printer_->CheckSupportPort();
  }

  std::string LastLine() const {
    const auto lines = LinesOf("CheckSupportPort");
    return lines.empty() ? "no line" : lines.back();
  }
};

TEST_F(CheckPort, PassesEachLocalKindAndLogsThePort) {
  for (const std::string port : {"USB001", "usb001", "VLUSB001", "VL1394_1", "VLS_LPT1", "BILPT1",
                                 "VL1394D3_1", "LPT1:", "lpt1:", "USBPRINTER"}) {
    EXPECT_EQ(0, CheckOn(port)) << port;
    EXPECT_EQ("CPrinterInf::CheckSupportPort Return : " + port + " = 0", LastLine());
  }
}

TEST_F(CheckPort, RefusesAnyOtherPortWithoutAnErrorMark) {
  for (const std::string port : {"COM1:", "NULL", "FILE:", "NUL:", "IP_10.0.0.1", "US", "null"}) {
    EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn(port)) << port;
    EXPECT_EQ("CPrinterInf::CheckSupportPort Return (Not Local port) : rc = -1", LastLine())
        << port;
  }
}

TEST_F(CheckPort, RefusesATcpIpPortThatLooksLocal) {
  far_side::add_tcp_port("USB_Office");
  EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn("USB_Office"));
  EXPECT_EQ("CPrinterInf::CheckSupportPort Return (TCP/IP port) : rc = -1", LastLine());
}

TEST_F(CheckPort, LooksAtThePrefixBeforeTheTcpIpPorts) {
  far_side::add_tcp_port("Office");
  EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn("Office"));
  EXPECT_EQ("CPrinterInf::CheckSupportPort Return (Not Local port) : rc = -1", LastLine());
}

TEST_F(CheckPort, ComparesTcpIpPortsAsTheSpoolerGivesTheName) {
  far_side::add_tcp_port("usb_office");
  EXPECT_EQ(0, CheckOn("USB_Office"));
  EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn("usb_office"));
}

TEST_F(CheckPort, RefusesAPrinterThatTheSpoolerDoesntKnow) {
  Make("Printer", kLogPrinter);
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ("### CPrinterInf::CheckSupportPort Return (Failed to GetPortName) : rc = -1",
            LastLine());
}

TEST_F(CheckPort, RefusesAPrinterWithoutAPort) {
  far_side::add_printer({.name = "Printer", .port = std::nullopt});
  Make("Printer", kLogPrinter);
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ("### CPrinterInf::CheckSupportPort Return (Failed to GetPortName) : rc = -1",
            LastLine());
}

TEST_F(CheckPort, RefusesANullName) {
  Make(nullptr, kLogPrinter);
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ((std::vector<std::string>{}), LinesOf("CheckSupportPort", ""));
}

TEST_F(CheckPort, IsMadeAnewOnEachCall) {
  EXPECT_EQ(0, CheckOn("USB001"));
  EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn("COM1:"));
  EXPECT_EQ(0, CheckOn("LPT1:"));
  far_side::add_tcp_port("USB_Office");
  EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn("USB_Office"));
  far_side::remove_printer("Printer");
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ(5u, LinesOf("CheckSupportPort").size());
}

TEST_F(CheckPort, NeverTalksToThePrinter) {
  EXPECT_EQ(0, CheckOn("USB001"));
  EXPECT_EQ(far_side::Counts{}, far_side::counts("Printer"));
}

TEST_F(CheckPort, TakesAPortOfTheLongestName) {
  const std::string port = "USB" + std::string(256, 'x');
  EXPECT_EQ(0, CheckOn(port));
  EXPECT_EQ(port, printer_->GetPortName("Printer"));
}

TEST_F(CheckPort, TakesALongerPortNameForAnEmptyOne) {
  const std::string port = "USB" + std::string(257, 'x');
  EXPECT_EQ(VLPER_NOTSUPPORT, CheckOn(port));
  EXPECT_EQ("CPrinterInf::CheckSupportPort Return (Not Local port) : rc = -1", LastLine());
  EXPECT_EQ("", printer_->GetPortName("Printer"));
}

class PortName : public PrinterTest {
 protected:
  std::string LastLine() const {
    const auto lines = LinesOf("GetPortName");
    return lines.empty() ? "no line" : lines.back();
  }
};

TEST_F(PortName, OfANullNameIsNone) {
  Make();
  EXPECT_EQ(std::nullopt, printer_->GetPortName(nullptr));
  EXPECT_EQ("no line", LastLine());
}

TEST_F(PortName, IsThatOfTheNamedPrinter) {
  far_side::add_printer({.name = "Printer", .port = "USB001"});
  far_side::add_printer({.name = "Other", .port = "COM1:"});
  Make();
  EXPECT_EQ("USB001", printer_->GetPortName("Printer"));
  EXPECT_EQ("COM1:", printer_->GetPortName("Other"));
  EXPECT_EQ(std::nullopt, printer_->GetPortName("Nobody"));
}

TEST_F(PortName, IsLoggedWithAttributesAndSharing) {
  far_side::add_printer({.name = "Printer", .attributes = 0x840});
  Make("Printer", kLogObjects);
  printer_->GetPortName("Printer");
  EXPECT_EQ("CPrinterInf::GetPortName [PRINTER_INFO_2].Attributes=0x840 Share=0", LastLine());
  far_side::set_attributes("Printer", 0x850);
  printer_->GetPortName("Printer");
  EXPECT_EQ("CPrinterInf::GetPortName [PRINTER_INFO_2].Attributes=0x850 Share=1", LastLine());
  // The bit of the same meaning under its usual name isn't the one.
  far_side::set_attributes("Printer", 0x8);
  printer_->GetPortName("Printer");
  EXPECT_EQ("CPrinterInf::GetPortName [PRINTER_INFO_2].Attributes=0x8 Share=0", LastLine());
}

TEST_F(PortName, LineBelongsToTheDetails) {
  far_side::add_printer({.name = "Printer"});
  Make("Printer", kLogPrinter);
  printer_->GetPortName("Printer");
  EXPECT_EQ("no line", LastLine());
}

TEST_F(PortName, MayBeEmpty) {
  far_side::add_printer({.name = "Printer", .port = ""});
  Make();
  EXPECT_EQ("", printer_->GetPortName("Printer"));
}

}  // namespace
}  // namespace vlp
