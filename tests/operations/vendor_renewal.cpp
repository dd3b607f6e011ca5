// A vendor-class device that fails: what the command gives, and how the next one finds it.

#include <algorithm>

#include "tests/operations/vendor_fixture.h"

namespace vlp {
namespace {

using operations_test::kAsked;
using operations_test::kDevicePath;
using operations_test::kMutexName;
using operations_test::kOtherSerial;
using operations_test::kPrinterLines;
using operations_test::kSecondPath;
using operations_test::kSerial;
using operations_test::kVendorLines;
using operations_test::VendorTest;
using test::elapsed_ms;
using test::sleep_ms;
using test::spawn;
using Heard = std::vector<std::string>;

class VendorRenewal : public VendorTest {
 protected:
  // Found and in use; then gone, which the next command finds out.
  void OpenAndLose(std::uint32_t mask = kPrinterLines) {
    OpenVendor("", mask);
    Plug();
    ExpectReply();
    EXPECT_TRUE(platform::unplug_usb_device(kDevicePath));
    Forget();
    ExpectFailure(VLPER_SEND);
    EXPECT_EQ(0u, Batches());
  }
};

TEST_F(VendorRenewal, FindsTheDeviceAgainWhereItIsNow) {
  Timed([&] {
    OpenAndLose();
    EXPECT_TRUE(platform::replug_usb_device(kDevicePath, {kSecondPath}));
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "cmd", kAsked, "cmd"}), Said(kSecondPath));
  });
}

TEST_F(VendorRenewal, ReadsTheStatusAnewUnlessItIsYoung) {
  for (const std::uint32_t age : {kStatusIsGoodFor - 1, kStatusIsGoodFor, kStatusIsGoodFor + 1}) {
    SCOPED_TRACE(age);
    SetUp();
    Timed([&] {
      OpenVendor();
      Plug();
      EXPECT_EQ(0, Ask(ChnlKindBdc));
      const std::uint64_t read = elapsed_ms();
      ExpectReply();
      EXPECT_TRUE(platform::unplug_usb_device(kDevicePath));
      ExpectFailure(VLPER_SEND);
      EXPECT_TRUE(platform::replug_usb_device(kDevicePath));
      EXPECT_EQ(1u, Batches());
      ASSERT_GE(read + age, elapsed_ms());
      sleep_ms(static_cast<std::uint32_t>(read + age - elapsed_ms()));
      ExpectReply();
      EXPECT_EQ(age < kStatusIsGoodFor ? 1u : 2u, Batches());
    });
  }
}

TEST_F(VendorRenewal, GoesByTheSerialNumberOfTheNewStatus) {
  Timed([&] {
    OpenAndLose();
    Plug(kOtherSerial, kSecondPath);
    Answer("GetStatus", StatusOf(kOtherSerial));
    sleep_ms(kStatusIsGoodFor);
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "cmd"}), Said(kSecondPath));
  });
}

// The reading is for its own sake: what it gives isn't looked at, only what is held then.
TEST_F(VendorRenewal, TriesTheStatusASecondTimeWhereItFailed) {
  Timed([&] {
    OpenAndLose();
    EXPECT_TRUE(platform::replug_usb_device(kDevicePath));
    sleep_ms(kStatusIsGoodFor);
    Answer("GetStatus", "no status");
    ExpectFailure(VLPER_SEND);
    EXPECT_EQ(2u, Batches());
    Answer("GetStatus", StatusOf(kSerial));
    ExpectReply();
    EXPECT_EQ(3u, Batches());
  });
}

TEST_F(VendorRenewal, IsLoggedLikeThis) {
  Timed([&] {
    OpenAndLose(kPrinterLines | kVendorLines);
    EXPECT_EQ((std::vector<std::string>{"-----", "CPrinterInf::SendCommand Enter | Data(3): cmd",
                                        "*** GenVlAccess::GenVlSendRecv - End.  nRC=-3 ***",
                                        "### CPrinterInf::SendCommand Return : rc = -9"}),
              OwnLines());
    EXPECT_TRUE(platform::replug_usb_device(kDevicePath));
    Forget();
    ExpectReply();
    EXPECT_EQ((std::vector<std::string>{
                  "-----", "CPrinterInf::SendCommand Enter | Data(3): cmd", "-----",
                  "CPrinterInf::GetStatus Enter",
                  "### CPrinterInf::GetStatus Exist Status Return : rc = -5",
                  "GenVlAccess::GenVlAccess - Initialized. DevicePath=(" + kDevicePath + ")",
                  "CPrinterInf::SendCommand Return | Data(5): reply"}),
              OwnLines());
  });
}

TEST_F(VendorRenewal, GivesTheDeviceUpBeforeItReadsTheStatus) {
  Timed([&] {
    OpenAndLose(kPrinterLines | 0x1000);
    EXPECT_TRUE(platform::replug_usb_device(kDevicePath));
    Forget();
    ExpectReply();
    const std::vector<std::string> lines = OwnLines();
    const auto read = std::find(lines.begin(), lines.end(), "CPrinterInf::GetStatus Enter");
    ASSERT_NE(lines.end(), read);
    EXPECT_EQ(1, std::count(lines.begin(), read, "delete CIOAccess"));
  });
}

TEST_F(VendorRenewal, FailsUntilTheDeviceIsBack) {
  Timed([&] {
    OpenAndLose();
    for (int i = 0; i < 3; ++i) ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_TRUE(platform::replug_usb_device(kDevicePath));
    ExpectReply();
    ExpectReply();
    // The status isn't read again once the object was thrown away.
    EXPECT_EQ(0u, Batches());
    EXPECT_EQ((Heard{kAsked, "cmd", kAsked, "cmd", "cmd"}), Said());
  });
}

TEST_F(VendorRenewal, DoesntRepeatTheCommandThatFailed) {
  Timed([&] {
    OpenVendor();
    Plug();
    const std::uint64_t before = elapsed_ms();
    ExpectFailure(VLPER_SEND, "hush");
    EXPECT_LE(before + 10000, elapsed_ms()) << "half of the profile's time";
    EXPECT_GT(before + 11000, elapsed_ms());
    EXPECT_EQ((Heard{kAsked, "hush"}), Said());
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "hush", kAsked, "cmd"}), Said());
  });
}

TEST_F(VendorRenewal, FollowsACommandThatIsTooLong) {
  Timed([&] {
    OpenVendor();
    Plug();
    ExpectFailure(VLPER_SEND, std::string(4097, 'c'));
    EXPECT_EQ((Heard{kAsked}), Said());
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, kAsked, "cmd"}), Said());
  });
}

// --- Another process has the device -----------------------------------------------------------

class VendorBusy : public VendorTest {
 protected:
  // Holds the device's mutex from now for so long.
  static test::TestThread HoldFor(std::uint32_t milliseconds) {
    auto holder = spawn("holder", [=] {
      const HANDLE mutex = CreateMutexA(nullptr, TRUE, kMutexName);
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
      sleep_ms(milliseconds);
      EXPECT_TRUE(ReleaseMutex(mutex));
      EXPECT_TRUE(ReleaseMutex(mutex) || GetLastError() == ERROR_NOT_OWNER);
      EXPECT_TRUE(CloseHandle(mutex));
    });
    test::settle();
    return holder;
  }
};

TEST_F(VendorBusy, IsToldAfterTheProfilesTimeAndTheDeviceStays) {
  Timed([&] {
    OpenVendor("LPT_PacketRcvMaxTime=1234", kPrinterLines | kVendorLines);
    Plug();
    ExpectReply();
    Forget();
    auto holder = HoldFor(3000);
    const std::uint64_t before = elapsed_ms();
    ExpectFailure(VLPER_BUSY);
    EXPECT_EQ(before + 1234, elapsed_ms());
    EXPECT_EQ((std::vector<std::string>{"-----", "CPrinterInf::SendCommand Enter | Data(3): cmd",
                                        "*** GenVlAccess::GenVlSendRecv - End.  nRC=-7 ***",
                                        "### CPrinterInf::SendCommand Return : rc = -12"}),
              OwnLines());
    holder.join();
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "cmd", "cmd"}), Said()) << "not searched for again";
    EXPECT_EQ(0u, Batches());
  });
}

TEST_F(VendorBusy, IsntToldWhereTheDeviceIsLetGoInTime) {
  Timed([&] {
    OpenVendor("LPT_PacketRcvMaxTime=1234");
    Plug();
    ExpectReply();
    auto holder = HoldFor(1233);
    const std::uint64_t before = elapsed_ms();
    ExpectReply();
    EXPECT_LE(before + 1233, elapsed_ms());
    holder.join();
  });
}

// The search can't ask who is busy.
TEST_F(VendorBusy, IsNoDeviceAtTheFirstCommand) {
  Timed([&] {
    OpenVendor("LPT_PacketRcvMaxTime=1234");
    Plug();
    auto holder = HoldFor(2000);
    const std::uint64_t before = elapsed_ms();
    ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_EQ(before + 1234, elapsed_ms());
    holder.join();
    ExpectReply();
  });
}

}  // namespace
}  // namespace vlp
