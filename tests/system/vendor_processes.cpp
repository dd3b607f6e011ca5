// Two processes on one vendor-class printer, in real time: only one at a time has its device.

#include "tests/system/vendor_processes.h"

namespace system_test {
namespace {

TEST_F(VendorProcesses, OneThatHoldsTheDeviceMakesTheOtherBusyUntilItLetsGo) {
  Open("LPT_PacketRcvMaxTime=1500\n");
  ExpectSent();
  const auto holder = StartHolder("hold");
  EXPECT_EQ(Send(), VLPER_BUSY);
  const std::uint64_t links = far_side::usb_traffic(path_).links;
  LetHolderGo();
  EXPECT_EQ(holder->ExitCode(), 0);
  ExpectSent();
  EXPECT_EQ(far_side::usb_traffic(path_).links, links + 1) << "no new search";
}

TEST_F(VendorProcesses, OneThatDiesWithTheDeviceLeavesItToTheOther) {
  Open({});
  ExpectSent();
  const auto holder = StartHolder("hold-and-die");
  std::int32_t code = 0;
  const std::uint64_t links = far_side::usb_traffic(path_).links;
  Thread waiting([&] { code = Send(); });
  Sleep(static_cast<DWORD>(4 * kVendorReplyMs));
  EXPECT_FALSE(waiting.HasEnded());
  EXPECT_EQ(far_side::usb_traffic(path_).links, links);
  LetHolderGo();
  EXPECT_EQ(holder->ExitCode(), 0);
  waiting.Join();
  ASSERT_EQ(code, 5);
  EXPECT_EQ(provider_->Take().data, VendorReply());
  ExpectSent();
}

TEST_F(VendorProcesses, OneThatDiedBeforeTheSearchIsNoMatter) {
  const auto holder = StartHolder("hold-and-die");
  Open({});
  LetHolderGo();
  EXPECT_EQ(holder->ExitCode(), 0);
  ExpectSent();
}

// One process alone sets the measure: at once, both would take no longer than that. The other may
// have begun a little before the time is taken.
TEST_F(VendorProcesses, BothSendCommandsButNeverAtOnce) {
  constexpr int commands = 10;
  Open({});
  ExpectSent();
  const DWORD alone = MsOf(commands);
  EXPECT_GE(alone, commands * kVendorReplyMs);
  const auto other = StartSender(commands);
  const DWORD begin = GetTickCount();
  MsOf(commands);
  EXPECT_EQ(other->ExitCode(), 0);
  EXPECT_GE(GetTickCount() - begin, alone + alone / 2);
}

}  // namespace
}  // namespace system_test
