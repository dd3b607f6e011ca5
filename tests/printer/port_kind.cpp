// What kind of port a name stands for.

#include "printer/port_kind.h"

#include "tests/support/far_side.h"

#include <gtest/gtest.h>

namespace vlp {
namespace {

TEST(LocalPrefix, IsMetInAnyCaseOfLetters) {
  for (const char* port :
       {"VLUSB001", "vlusb001",   "VlUsB001",   "USB001",     "usb001",   "Usb001", "VL1394_1",
        "vl1394_1", "Vl1394_1",   "VLS_LPT1",   "vls_lpt1",   "VlS_lPt1", "BILPT1", "bilpt1",
        "BiLpt1",   "VL1394D3_1", "vl1394d3_1", "Vl1394d3_1", "LPT1:",    "lpt1:",  "LpT1:"}) {
    EXPECT_TRUE(HasLocalPrefix(port)) << port;
  }
}

TEST(LocalPrefix, IsComparedOverItsOwnLengthOnly) {
  for (const char* port : {"VLUSB", "USB", "VL1394_", "VLS_LPT", "BILPT", "VL1394D3_", "LPT",
                           "USBPRINTER", "USB_Office", "LPTX", "VLS_LPTPORT"}) {
    EXPECT_TRUE(HasLocalPrefix(port)) << port;
  }
}

TEST(LocalPrefix, IsMissingFromOtherPorts) {
  for (const char* port :
       {"",         "U",      "US",      "us",      "VLUS",        "VL1394",
        "VL1394D3", "VLS_LP", "BILP",    "LP",      "COM1:",       "NULL",
        "FILE:",    "NUL:",   " USB001", "XUSB001", "IP_10.0.0.1", "\\\\server\\queue",
        "WSD-1",    "US\xC2"}) {
    EXPECT_FALSE(HasLocalPrefix(port)) << port;
  }
}

TEST(LocalPrefix, OfALongNameIsFound) {
  EXPECT_TRUE(HasLocalPrefix("usb" + std::string(256, 'x')));
  EXPECT_TRUE(HasLocalPrefix("usb" + std::string(1000, 'x')));
  EXPECT_FALSE(HasLocalPrefix(std::string(1000, 'x')));
}

class TcpIpPort : public ::testing::Test {
 protected:
  void SetUp() override { far_side::reset(); }
};

TEST_F(TcpIpPort, IsAnyOfTheListedNames) {
  for (const char* port : {"IP_10.0.0.1", "USB_Office", "aaa", "zzz"}) far_side::add_tcp_port(port);
  for (const char* port : {"IP_10.0.0.1", "USB_Office", "aaa", "zzz"}) {
    EXPECT_TRUE(IsTcpIpPort(port)) << port;
  }
}

TEST_F(TcpIpPort, IsComparedLetterByLetter) {
  far_side::add_tcp_port("usb_office");
  EXPECT_TRUE(IsTcpIpPort("usb_office"));
  EXPECT_FALSE(IsTcpIpPort("USB_Office"));
  EXPECT_FALSE(IsTcpIpPort("USB_OFFICE"));
}

TEST_F(TcpIpPort, IsComparedInItsWholeLength) {
  far_side::add_tcp_port("USB_Office");
  EXPECT_FALSE(IsTcpIpPort("USB_Offic"));
  EXPECT_FALSE(IsTcpIpPort("USB_Office2"));
  EXPECT_FALSE(IsTcpIpPort(""));
}

TEST_F(TcpIpPort, MayHaveALongName) {
  const std::string name = "USB" + std::string(150, 'x');
  far_side::add_tcp_port(name);
  EXPECT_TRUE(IsTcpIpPort(name));
  EXPECT_FALSE(IsTcpIpPort(name + "x"));
}

TEST_F(TcpIpPort, IsNoneWhereNoneIsListed) { EXPECT_FALSE(IsTcpIpPort("USB001")); }

}  // namespace
}  // namespace vlp
