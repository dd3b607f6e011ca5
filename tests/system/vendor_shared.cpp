// Two processes on the very same device.

#include <algorithm>

#include "tests/support/log_lines.h"
#include "tests/system/vendor_processes.h"

namespace system_test {
namespace {

constexpr std::uint32_t kLogTransfers = 0x400;

class VendorShared : public VendorProcesses {
 protected:
  std::size_t FailedReads() const {
    return log_lines::starting(folder_ + kVendorPrinter + ".dat",
                               "CIOAccess::IOBufferingRead - ReadPort")
        .size();
  }
  // Commands that have come to the device, from whomever.
  std::ptrdiff_t Commands() const {
    const std::vector<far_side::UsbPacket> packets = far_side::usb_packets(path_);
    const far_side::Bytes text = VendorCommand();
    return std::count_if(packets.begin(), packets.end(), [&](const far_side::UsbPacket& packet) {
      return packet.side == far_side::D4Side::host &&
             std::search(packet.bytes.begin(), packet.bytes.end(), text.begin(), text.end()) !=
                 packet.bytes.end();
    });
  }
  // Until the device has so many of them.
  void AwaitCommands(std::ptrdiff_t count) const {
    DWORD waited = 0;
    for (; Commands() < count && waited < kHangMs; waited += kSleepMs) Sleep(kSleepMs);
    ASSERT_EQ(Commands(), count);
  }
};

// The device knows one link at a time, and each is whole: there would be a breach otherwise.
TEST_F(VendorShared, EachCommandOfTwoProcessesHasALinkOfItsOwn) {
  constexpr int commands = 10;
  Open({});
  const auto other = StartSender(commands);
  for (int n = 0; n < commands; ++n) ExpectSent();
  EXPECT_EQ(other->ExitCode(), 0);
  EXPECT_EQ(Commands(), 2 * commands);
  EXPECT_EQ(far_side::usb_traffic(path_).links, 2U * (commands + 1)) << "a search each";
}

TEST_F(VendorShared, ACommandWaitsForTheReplyToTheOtherProcesses) {
  constexpr std::uint64_t reply_ms = 500;
  Open({}, reply_ms);
  ExpectSent();
  const DWORD alone = MsOf(1);
  const auto other = StartSender(1);
  AwaitCommands(3);
  EXPECT_GE(MsOf(1), alone + reply_ms / 2) << "the other's and its own";
  EXPECT_EQ(other->ExitCode(), 0);
  EXPECT_EQ(Commands(), 4);
}

// In the middle of a link, with the device open and its mutex held.
TEST_F(VendorShared, OneThatDiesInItsCommandLeavesTheDeviceToTheOther) {
  Open({}, 500);
  ExpectSent();
  const auto other = StartSender(1);
  AwaitCommands(2);
  other->Kill();
  ExpectSent();
  EXPECT_EQ(Commands(), 3);
  EXPECT_EQ(far_side::usb_traffic(path_).links, 5U) << "no new search";
  ExpectSent();
}

// The other process's read, which waits in this one, ends with the device.
TEST_F(VendorShared, ADeviceThatIsUnpluggedFailsTheOtherProcessesCommand) {
  far_side::set_log({.flag = kLogTransfers, .path = folder_, .max_size = 1000000});
  Open("LPT_PacketRcvMaxTime=2000\n", 500);
  const auto other = StartSender(1);
  AwaitCommands(1);
  EXPECT_EQ(FailedReads(), 0U);
  far_side::unplug_usb(path_);
  EXPECT_EQ(other->ExitCode(), 100 - VLPER_SEND);
  EXPECT_GE(FailedReads(), 1U);
}

}  // namespace
}  // namespace system_test
