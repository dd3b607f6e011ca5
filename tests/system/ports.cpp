// Which ports are served, seen through the operations and their log.

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kReturn = "CPrinterInf::CheckSupportPort Return";

class Ports : public SystemTest {
 protected:
  // Gives what the log says of this port.
  std::vector<std::string> LinesFor(const std::string& port, std::int32_t expected) {
    const std::string name = "Printer " + std::to_string(++number_);
    far_side::add_printer({.name = name, .port = port});
    far_side::set_device_id(port, bytes_of("CMD:BDC;"));
    EXPECT_EQ(provider().DeviceId(1, name), expected) << "port \"" << port << "\"";
    return LogLines(name);
  }

  int number_ = 0;
};

TEST_F(Ports, EachLocalPrefixIsServedInAnyCaseOfLetters) {
  LogTo(kLogOperations);
  Load();
  for (const char* port :
       {"VLUSB001", "vlusb001", "USB001", "usb001", "USBPRINTER", "USB", "VL1394_1", "vl1394_x",
        "VLS_LPT1", "Vls_Lpt1", "BILPT1", "bilpt", "VL1394D3_1", "vl1394d3_", "LPT1:", "LPT2"}) {
    EXPECT_THAT(LinesFor(port, 0), Contains(kReturn + " : " + port + " = 0")) << port;
  }
}

TEST_F(Ports, AnyOtherNameIsNoLocalPort) {
  LogTo(kLogOperations);
  Load();
  for (const char* port : {"COM1:", "NULL", "FILE:", "US", "VL1394", "IP_10.0.0.1", "XUSB001",
                           "PORTPROMPT:", " USB001", "VLS_", "nul:"}) {
    const auto lines = LinesFor(port, VLPER_NOTSUPPORT);
    EXPECT_THAT(lines, Contains(kReturn + " (Not Local port) : rc = -1")) << port;
    EXPECT_THAT(lines, Not(Contains(StartsWith("### ")))) << port;
  }
  EXPECT_THAT(far_side::batches(), IsEmpty());
}

TEST_F(Ports, ATcpIpPortOfALocalLookingNameIsRefused) {
  far_side::add_tcp_port("IP_10.0.0.1");
  far_side::add_tcp_port("USB_Office");
  far_side::add_tcp_port("LPT_Floor2");
  LogTo(kLogOperations);
  Load();
  EXPECT_THAT(LinesFor("USB_Office", VLPER_NOTSUPPORT),
              Contains(kReturn + " (TCP/IP port) : rc = -1"));
  EXPECT_THAT(LinesFor("LPT_Floor2", VLPER_NOTSUPPORT),
              Contains(kReturn + " (TCP/IP port) : rc = -1"));
  EXPECT_THAT(LinesFor("IP_10.0.0.1", VLPER_NOTSUPPORT),
              Contains(kReturn + " (Not Local port) : rc = -1"));
}

TEST_F(Ports, TcpIpPortsCompareLetterByLetterAndWhole) {
  far_side::add_tcp_port("usb_office");
  far_side::add_tcp_port("USB_Lab2");
  LogTo(kLogOperations);
  Load();
  EXPECT_THAT(LinesFor("USB_Office", 0), Contains(kReturn + " : USB_Office = 0"));
  EXPECT_THAT(LinesFor("USB_Lab", 0), Contains(kReturn + " : USB_Lab = 0"));
  EXPECT_THAT(LinesFor("USB_Lab22", 0), Contains(kReturn + " : USB_Lab22 = 0"));
}

TEST_F(Ports, ATcpIpPortIsFoundBehindManyOthers) {
  for (int port = 0; port < 40; ++port) far_side::add_tcp_port("IP_" + std::to_string(port));
  far_side::add_tcp_port("USB_Last");
  LogTo(kLogOperations);
  Load();
  EXPECT_THAT(LinesFor("USB_Last", VLPER_NOTSUPPORT),
              Contains(kReturn + " (TCP/IP port) : rc = -1"));
}

TEST_F(Ports, ARefusedPortIsRefusedByAllFiveNamedOperations) {
  Load();
  for (const char* port : {"NULL", "FILE:", "COM1:"}) {
    AddLaser();
    far_side::set_port(kLaser, port);
    const Connection answer = provider().Connect(kLaser);
    EXPECT_EQ(answer.code, VLPER_NOTSUPPORT) << port;
    EXPECT_EQ(answer.name, std::nullopt) << port;
    EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTSUPPORT) << port;
    EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOTSUPPORT) << port;
    EXPECT_EQ(provider().Command(1, kLaser, ChnlKindBdc, {1}), VLPER_NOTSUPPORT) << port;
    EXPECT_EQ(provider().Through(1, kLaser, ChnlKindBdc, {1}), VLPER_NOTSUPPORT) << port;
  }
  EXPECT_THAT(far_side::batches(), IsEmpty());
  ExpectNothingQueued();
}

TEST_F(Ports, APortThatIsChangedCountsFromTheNextCall) {
  AddLaser();
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  far_side::set_port(kLaser, "FILE:");
  // Neither the cache nor the printer's own memory helps.
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTSUPPORT);
  far_side::set_port(kLaser, "USB001");
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 1U);
  far_side::add_tcp_port("USB001");
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTSUPPORT);
}

TEST_F(Ports, APrinterWithoutAPortIsRefused) {
  LogTo(kLogOperations);
  far_side::add_printer({.name = kLaser, .port = std::nullopt});
  Load();
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTSUPPORT);
  // Whether there is no text or an empty one is the spooler's choice.
  EXPECT_THAT(LogLines(kLaser), Contains(::testing::AnyOf(
                                    kReturn + " (Not Local port) : rc = -1",
                                    StartsWith("### " + kReturn + " (Failed to GetPortName)"))));
}

TEST_F(Ports, APrinterThatIsRemovedIsRefused) {
  AddLaser();
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  far_side::remove_printer(kLaser);
  EXPECT_EQ(provider().DeviceId(2, kLaser), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Take().request_id, 1U);
}

TEST_F(Ports, TheAttributesAreLoggedWithTheDetails) {
  AddLaser();
  far_side::set_attributes(kLaser, 0x50);
  LogTo(kLogLife);
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  const std::string text = "CPrinterInf::GetPortName [PRINTER_INFO_2].Attributes=0x";
  EXPECT_THAT(LogLines(kLaser), Contains(AllOf(StartsWith(text), EndsWith("50 Share=1"))));
  far_side::set_attributes(kLaser, 0x40);
  ASSERT_EQ(provider().DeviceId(2, kLaser), 0);
  EXPECT_THAT(LogLines(kLaser), Contains(AllOf(StartsWith(text), EndsWith("40 Share=0"))));
}

}  // namespace
}  // namespace system_test
