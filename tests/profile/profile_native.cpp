// The spooler's failures, its answers that no other system gives, and what is left open.

#include <gtest/gtest.h>

#include <windows.h>

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
  for (bool met = true; met; ++nth) {
    ASSERT_LT(nth, 500U);
    platform::clear_faults();
    platform::fail_nth_system_call(nth, ERROR_GEN_FAILURE);
    const vlp::ModelProfile profile = vlp::LoadModelProfile("model");
    met = platform::faults_met() != 0;
    platform::clear_faults();
    EXPECT_EQ(1U, profile.loaded);
    EXPECT_EQ("", platform::handle_report()) << nth;
  }
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

TEST_F(ProfileFaultTest, APrinterNameOfAnyLengthIsBorne) {
  EXPECT_EQ("", vlp::FindProfile(std::string(100000, 'p').c_str()));
}

}  // namespace
