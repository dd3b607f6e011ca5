// Two processes on one vendor-class printer, in real time: only one at a time has its device.

#include <windows.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>

#include "tests/system/child_process.h"
#include "tests/system/provider.h"
#include "tests/system/vendor_world.h"
#include "tests/system/world.h"

namespace system_test {
namespace {

constexpr DWORD kSleepMs = 5;

class VendorProcesses : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    folder_ = ShareWorld();
    // Mutexes of these tests only.
    shared_ = ::testing::TempDir() + "vlp_vendor_XXXXXX";
    ASSERT_NE(mkdtemp(shared_.data()), nullptr);
    setenv("VLPBIDI_SHARED_DIR", shared_.c_str(), 1);
  }
  void TearDown() override {
    provider_.reset();
    EXPECT_EQ(far_side::breaches(), std::vector<std::string>{});
    unsetenv("VLPBIDI_SHARED_DIR");
    EndSharedWorld();
    EXPECT_EQ(system(("rm -rf '" + shared_ + "'").c_str()), 0);
  }

  void Open(const std::string& profile_lines) {
    path_ = MakeVendorWorld(profile_lines);
    provider_ = std::make_unique<Provider>();
    ASSERT_EQ(provider_->Connect(kVendorPrinter).code, 2);
  }

  std::int32_t Send() {
    return provider_->Command(1, kVendorPrinter, ChnlKindD4,
                              far_side::bytes_of(std::string("ec\x01\x00", 4) + "x"));
  }
  void ExpectSent() {
    ASSERT_EQ(Send(), 5);
    EXPECT_EQ(provider_->Take().data, far_side::bytes_of("x"));
  }

  std::unique_ptr<ChildProcess> StartHolder(const std::string& how) {
    auto child = std::make_unique<ChildProcess>(VLP_CHILD_FILE, how + " " + folder_);
    DWORD waited = 0;
    for (; !far_side::read_file(folder_ + "held") && waited < kHangMs; waited += kSleepMs) {
      Sleep(kSleepMs);
    }
    EXPECT_LT(waited, kHangMs) << "nobody holds the device";
    return child;
  }
  void LetHolderGo() { far_side::write_file(folder_ + "go", ""); }

  std::string folder_;
  std::string shared_;
  std::string path_;
  std::unique_ptr<Provider> provider_;
};

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
  EXPECT_EQ(provider_->Take().data, far_side::bytes_of("x"));
  ExpectSent();
}

TEST_F(VendorProcesses, OneThatDiedBeforeTheSearchIsNoMatter) {
  const auto holder = StartHolder("hold-and-die");
  Open({});
  LetHolderGo();
  EXPECT_EQ(holder->ExitCode(), 0);
  ExpectSent();
}

// Each of these has the device for as long as a reply takes, the search included.
TEST_F(VendorProcesses, BothSendCommandsButNeverAtOnce) {
  constexpr int commands = 10;
  Open({});
  const DWORD begin = GetTickCount();
  const ChildProcess other(VLP_CHILD_FILE, "send " + std::to_string(commands));
  for (int n = 0; n < commands; ++n) ExpectSent();
  EXPECT_EQ(other.ExitCode(), 0);
  EXPECT_GE(GetTickCount() - begin, 2 * (commands + 1) * kVendorReplyMs);
}

}  // namespace
}  // namespace system_test
