#pragma once

// A vendor-class printer that this process and a child process use.

#include <windows.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/system/child_process.h"
#include "tests/system/provider.h"
#include "tests/system/vendor_world.h"
#include "tests/system/world.h"

namespace system_test {

class VendorProcesses : public ::testing::Test {
 protected:
  static constexpr DWORD kSleepMs = 5;

  void SetUp() override {
    far_side::reset();
    folder_ = ShareWorld();
  }
  void TearDown() override {
    provider_.reset();
    EXPECT_EQ(far_side::breaches(), std::vector<std::string>{});
    EndSharedWorld();
  }

  void Open(const std::string& profile_lines, std::uint64_t reply_ms = kVendorReplyMs) {
    path_ = MakeVendorWorld(profile_lines, reply_ms);
    provider_ = std::make_unique<Provider>();
    ASSERT_EQ(provider_->Connect(kVendorPrinter).code, 2);
  }

  std::int32_t Send() { return provider_->Command(1, kVendorPrinter, ChnlKindD4, VendorCommand()); }
  void ExpectSent() {
    ASSERT_EQ(Send(), 5);
    EXPECT_EQ(provider_->Take().data, VendorReply());
  }

  // How long so many commands take.
  DWORD MsOf(int commands) {
    const DWORD begin = GetTickCount();
    for (int n = 0; n < commands; ++n) ExpectSent();
    return GetTickCount() - begin;
  }

  std::unique_ptr<ChildProcess> StartHolder(const std::string& how) {
    return Start(how + " " + folder_, "held");
  }
  void LetHolderGo() { far_side::write_file(folder_ + "go", ""); }
  std::unique_ptr<ChildProcess> StartSender(int commands) {
    return Start("send " + folder_ + " " + std::to_string(commands), "ready");
  }

  std::string folder_;
  std::string path_;
  std::unique_ptr<Provider> provider_;

 private:
  // Comes back when the child has told by the file that it has come so far.
  std::unique_ptr<ChildProcess> Start(const std::string& arguments, const std::string& file) {
    auto child = std::make_unique<ChildProcess>(VLP_CHILD_FILE, arguments);
    DWORD waited = 0;
    for (; !far_side::read_file(folder_ + file) && waited < kHangMs; waited += kSleepMs) {
      Sleep(kSleepMs);
    }
    EXPECT_LT(waited, kHangMs) << "the child doesn't come to " << file;
    return child;
  }
};

}  // namespace system_test
