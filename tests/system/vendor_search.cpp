// Which of several devices is the printer's.

#include "tests/system/vendor.h"

namespace system_test {
namespace {

using far_side::usb_product_class;
using far_side::UsbTraffic;
using ::testing::ElementsAre;

class VendorSearch : public VendorTest {
 protected:
  // The log's lines about the search: the numbers of mutexes and objects left out.
  Texts SearchLines() const {
    const std::string mutex = "GenVlAccess::CreateGenVlMutex - success. hWinUSBMutex=0x";
    Texts texts;
    for (const log_lines::Line& line : log_lines::read(LogFile(kTalker))) {
      if (line.text.starts_with(mutex)) {
        texts.push_back(mutex);
      } else if (line.text.find("GenVlAccess::") != std::string::npos ||
                 line.text.find("Serial No.") != std::string::npos) {
        texts.push_back(line.shown());
      }
    }
    return texts;
  }
};

TEST_F(VendorSearch, FindsTheSecondDeviceByItsSerialNumber) {
  const std::string first = Plug("b1", kOtherSerial);
  const std::string second = Plug("b2");
  const std::string third = Plug("b3");
  LogTo(kLogVendor | kLogDevice);
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("one")), "one");
  EXPECT_EQ(Reply(ChnlKindD4, Echo("two")), "two");
  EXPECT_EQ(Links(first), 1U) << "asked once, in the search";
  EXPECT_EQ(Links(second), 3U) << "the search and two commands";
  EXPECT_EQ(far_side::usb_traffic(third), UsbTraffic{}) << "behind the one that was found";
  EXPECT_THAT(SearchLines(),
              ElementsAre("GenVlAccess::SearchSNumDevPath - Enter",
                          "GenVlAccess::CreateGenVlMutex - success. hWinUSBMutex=0x",
                          "    Serial No. is unmatched. DevicePath=(" + first + ")",
                          "GenVlAccess::CreateGenVlMutex - success. hWinUSBMutex=0x",
                          "GenVlAccess::SearchSNumDevPath  - End.  bRC=1",
                          "GenVlAccess::GenVlAccess - Initialized. DevicePath=(" + second + ")"));
}

TEST_F(VendorSearch, WithoutADeviceTheCommandHasNoConnection) {
  LogTo(kLogVendor | kLogDevice);
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_THAT(SearchLines(),
              ElementsAre("GenVlAccess::SearchSNumDevPath - Enter",
                          "*** GenVlAccess::GetGenVlDevPath - GetDevicePath failed. dwIndex=0 "
                          "LastError=259 ***",
                          "GenVlAccess::SearchSNumDevPath  - End.  bRC=0"));
}

TEST_F(VendorSearch, DoesNotTakeADeviceOfAnotherSerialNumber) {
  const std::string path = Plug("b1", kOtherSerial);
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_EQ(Links(path), 1U);
}

TEST_F(VendorSearch, IsMadeAgainAsLongAsItFindsNothing) {
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  Plug("b1");
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
}

TEST_F(VendorSearch, LooksInTheClassOfSerialNumbersOnly) {
  const std::string path = far_side::plug_usb({.place = "b1",
                                               .interface_class = usb_product_class,
                                               .printer = {.serial_number = kVendorSerial},
                                               .d4 = Patient()});
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_EQ(far_side::usb_traffic(path), UsbTraffic{});
}

TEST_F(VendorSearch, TakesTheFirstOfTwoWithTheSameSerialNumber) {
  const std::string second = Plug("b2");
  const std::string first = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Links(first), 2U);
  EXPECT_EQ(far_side::usb_traffic(second), UsbTraffic{});
}

TEST_F(VendorSearch, PassesOverADeviceThatRefusesTheLink) {
  D4Options refusing = Patient();
  refusing.replies = {{.command = simulator::D4Command::init, .result = uint8_t{0x01}}};
  const std::string first = Plug("b1", kVendorSerial, refusing);
  const std::string second = Plug("b2");
  LogTo(kLogDevice);
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Links(first), 1U);
  EXPECT_EQ(Links(second), 2U);
  EXPECT_EQ(CountLines("*** GenVlAccess::SearchSNumDevPath - GetD4Status failed. ***"), 1U);
}

TEST_F(VendorSearch, PassesOverADeviceThatSomebodyElseHolds) {
  const std::string first = Plug("b1");
  const std::string second = Plug("b2");
  OpenVendor("LPT_PacketRcvMaxTime=800\n");
  const far_side::UsbHolder holder(first);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(far_side::usb_traffic(first), UsbTraffic{});
  EXPECT_EQ(Links(second), 2U);
}

TEST_F(VendorSearch, FindsNothingWhenSomebodyElseHoldsTheOnlyDevice) {
  const std::string path = Plug("b1");
  OpenVendor("LPT_PacketRcvMaxTime=800\n");
  {
    const far_side::UsbHolder holder(path);
    EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
    EXPECT_EQ(far_side::usb_traffic(path), UsbTraffic{});
  }
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
}

}  // namespace
}  // namespace system_test
