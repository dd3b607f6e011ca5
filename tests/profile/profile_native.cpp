// The spooler's failures, its answers that no other system gives, and what is left open.

#include <gtest/gtest.h>

#include <windows.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VLP_ALLOCATOR_OF_A_SANITIZER
#endif
#endif
#if defined(VLP_ALLOCATOR_OF_A_SANITIZER)
#include <sanitizer/allocator_interface.h>
#else
#include <malloc.h>
#endif

#include <new>
#include <string>
#include <vector>

#include "platform/faults.h"
#include "platform/kernel/object.h"
#include "profile/model_profile.h"
#include "profile/profile_file.h"
#include "tests/support/far_side.h"
#include "tests/support/fault_memory.h"

namespace {

class ProfileFaultTest : public ::testing::Test {
 protected:
  ProfileFaultTest() {
    far_side::reset();
    far_side::add_model("model driver",
                        "LPT_FlushTimer=7\nLPT_Channel00=1\nLPT_ChnlStsCmd00=1b\n"
                        "LPT_OEMMFG00=A");
    far_side::add_printer({.name = "model", .driver = "model driver"});
  }
  ~ProfileFaultTest() override { platform::clear_faults(); }

  // Each setting is the file's or the default, nothing else. True if all are the file's.
  static bool ExpectReadOrStandard(const vlp::ModelProfile& profile) {
    EXPECT_TRUE(profile.flushTimer == 7 || profile.flushTimer == 2000) << profile.flushTimer;
    EXPECT_TRUE(profile.channelKind[0] <= 1) << profile.channelKind[0];
    const vlp::ByteList& command = profile.channelStatusCmd[0];
    EXPECT_TRUE(command.empty() || command == vlp::ByteList{0x1B});
    EXPECT_TRUE(profile.channelKind[0] == 1 || command.empty());
    EXPECT_TRUE(profile.oemMfg[0].empty() || profile.oemMfg[0] == "A") << profile.oemMfg[0];
    EXPECT_EQ(0U, profile.channelKind[1]);
    EXPECT_EQ(2048U, profile.rcvDatBuffSize);
    EXPECT_EQ(27U, profile.startJobCmd.size());
    return profile.flushTimer == 7 && profile.channelKind[0] == 1 && !command.empty() &&
           !profile.oemMfg[0].empty();
  }
};

TEST_F(ProfileFaultTest, ABareNameOfTheSpoolerIsJoinedWithTheDriversFolder) {
  far_side::add_driver({.name = "bare driver",
                        .driver_path = "C:\\drv\\vldrv.dll",
                        .dependent_files = {"help.hlp", "Model.Lmd"}});
  far_side::add_printer({.name = "bare", .driver = "bare driver"});
  EXPECT_EQ("C:\\drv\\Model.Lmd", vlp::FindProfile("bare"));
  far_side::write_file("C:\\drv\\Model.Lmd", "[ProfileInf]\nLPT_FlushTimer=9\n");
  EXPECT_EQ(9U, vlp::LoadModelProfile("bare").flushTimer);
}

TEST_F(ProfileFaultTest, TheSpoolerIsAskedOnceForTheSizeAndOnceForTheRecord) {
  platform::watch_calls();
  EXPECT_NE("", vlp::FindProfile("model"));
  EXPECT_EQ(1U, platform::calls_of("OpenPrinterA"));
  EXPECT_EQ(2U, platform::calls_of("GetPrinterDriverA"));
  EXPECT_EQ(1U, platform::calls_of("ClosePrinter"));
}

TEST_F(ProfileFaultTest, AnyFailureOfTheSpoolerMeansTheDefaultsAndNothingIsLeftOpen) {
  struct Case {
    const char* call;
    unsigned nth;
    unsigned closes;
  };
  for (const Case& each : {Case{"OpenPrinterA", 1, 0}, Case{"GetPrinterDriverA", 1, 1},
                           Case{"GetPrinterDriverA", 2, 1}}) {
    platform::clear_faults();
    platform::watch_calls();
    platform::fail_call(each.call, each.nth, ERROR_GEN_FAILURE);
    const vlp::ModelProfile profile = vlp::LoadModelProfile("model");
    EXPECT_EQ(1U, platform::faults_met()) << each.call;
    EXPECT_EQ(each.closes, platform::calls_of("ClosePrinter")) << each.call << each.nth;
    EXPECT_EQ(1U, profile.loaded);
    EXPECT_EQ(2000U, profile.flushTimer) << each.call << each.nth;
    EXPECT_EQ(0U, profile.channelKind[0]) << each.call << each.nth;
    EXPECT_EQ("", platform::handle_report());
  }
}

TEST_F(ProfileFaultTest, AnyFailureOfAnySystemCallIsBorne) {
  unsigned nth = 1;
  unsigned lost = 0;
  for (bool met = true; met; ++nth) {
    ASSERT_LT(nth, 500U);
    platform::clear_faults();
    platform::fail_nth_system_call(nth, ERROR_GEN_FAILURE);
    const vlp::ModelProfile profile = vlp::LoadModelProfile("model");
    met = platform::faults_met() != 0;
    const std::string failed = met ? platform::failed_calls()[0] : "none";
    platform::clear_faults();
    SCOPED_TRACE(failed + ", call " + std::to_string(nth));
    EXPECT_EQ(1U, profile.loaded);
    EXPECT_EQ("", platform::handle_report());
    const bool whole = ExpectReadOrStandard(profile);
    if (!whole) ++lost;
    EXPECT_TRUE(met || whole);
  }
  EXPECT_LT(4U, lost);
  EXPECT_GT(nth, 30U);
}

TEST_F(ProfileFaultTest, WithoutMemoryItThrowsAndLeavesNothingOpen) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  unsigned nth = 1;
  for (bool met = true; met; ++nth) {
    ASSERT_LT(nth, 500U);
    platform::clear_faults();
    platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
    bool thrown = false;
    {
      const platform::UnderTest tested;
      try {
        vlp::LoadModelProfile("model");
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    }
    met = platform::faults_met() != 0;
    platform::clear_faults();
    EXPECT_EQ(met, thrown) << nth;
    EXPECT_EQ("", platform::handle_report()) << nth;
  }
  EXPECT_GT(nth, 5U);
}

// What the program has allocated in all, as its allocator counts it.
std::size_t allocated() {
#if defined(VLP_ALLOCATOR_OF_A_SANITIZER)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

// Each list and text of the record is long enough to be allocated.
TEST_F(ProfileFaultTest, ARecordGivesBackAllItsMemory) {
  constexpr std::size_t kChannels = 10;
  constexpr std::size_t kMakers = 5;
  constexpr std::size_t kBytes = 100;
  std::string list = "0";
  for (std::size_t n = 1; n < kBytes; ++n) list += ",0";
  std::string lines = "LPT_StartJobCmd=" + list + "\nLPT_EndJobCmd=" + list;
  for (std::size_t n = 0; n < kChannels; ++n) {
    const std::string number = "0" + std::to_string(n);
    lines += "\nLPT_Channel" + number + "=1\nLPT_ChnlStsCmd" + number + "=" + list;
    if (n < kMakers) lines += "\nLPT_OEMMFG" + number + "=" + std::string(kBytes, 'm');
  }
  far_side::add_model("model driver", lines);
  // Many, since the allocator keeps a few blocks for the next user.
  constexpr std::size_t kRecords = 20;
  constexpr std::size_t kRounds = 4;
  const auto allocated_with_records = [] {
    std::vector<vlp::ModelProfile> records;
    for (std::size_t n = 0; n < kRecords; ++n) records.push_back(vlp::LoadModelProfile("model"));
    return allocated();
  };
  allocated_with_records();
  const std::size_t before = allocated();
  for (std::size_t round = 0; round < kRounds; ++round) {
    EXPECT_LT(before + kRecords / 2 * (kChannels + kMakers + 2) * kBytes, allocated_with_records());
  }
  // Less than one list or text of each record.
  EXPECT_GT(before + kRounds * kRecords * kBytes, allocated());
}

TEST_F(ProfileFaultTest, APrinterNameOfAnyLengthIsBorne) {
  EXPECT_EQ("", vlp::FindProfile(std::string(100000, 'p').c_str()));
}

}  // namespace
