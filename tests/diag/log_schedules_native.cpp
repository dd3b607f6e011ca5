// Threads in every order that the seeds give, and what a call costs that is off.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "platform/faults.h"
#include "tests/diag/log_fixture.h"
#include "tests/diag/log_threads.h"
#include "tests/support/virtual_time.h"

namespace {

using diag_test::LogTest;
using vlp::DbgLog;

using LogScheduleTest = LogTest;

constexpr unsigned kSeeds = 8;

TEST_F(LogScheduleTest, NoScheduleTearsALineFromItsData) {
  test::run_virtual_schedules(kSeeds, [&] {
    far_side::remove_file(path());
    {
      DbgLog log = open_log(1);
      diag_test::write_with_threads(log);
    }
    EXPECT_EQ(diag_test::kWholeCensus, diag_test::census(content().value_or("")));
  });
}

TEST_F(LogScheduleTest, NoScheduleTearsAPieceWhileTheFileIsRotated) {
  test::run_virtual_schedules(kSeeds, [&] {
    far_side::remove_file(path());
    far_side::remove_file(rotated_path());
    {
      DbgLog log = open_log(1, 2000);
      diag_test::write_with_threads(log);
    }
    EXPECT_EQ("", diag_test::torn(content().value_or("")));
    EXPECT_EQ("", diag_test::torn(far_side::read_file(rotated_path()).value_or("")));
  });
}

TEST_F(LogScheduleTest, ALineWaitsForTheOneBeforeIt) {
  test::run_virtual_parallel([&] {
    DbgLog log = open_log(1);
    log.lock.Enter();
    test::TestThread other = test::spawn("other", [&] { vlp::DbgLogPut(&log, 1, 0, "second"); });
    test::settle();
    EXPECT_FALSE(content().has_value());
    vlp::DbgWriteLine(log, 0, "first", nullptr, 0);
    log.lock.Leave();
    other.join();
    const std::string all = content().value_or("");
    EXPECT_LT(all.find("first"), all.find("second"));
    EXPECT_NE(std::string::npos, all.find("second"));
  });
}

TEST_F(LogScheduleTest, ACallThatIsOffMakesNoSystemCallAndTakesNoMemory) {
  DbgLog log = open_log(0x2);
  DbgLog all_off = open_log(0, 1000);
  platform::clear_faults();
  platform::watch_calls();
  {
    const platform::UnderTest tested;
    platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(1, vlp::DbgLogPut(&log, 0x1, vlp::kLogError, "text", "rc", 1));
    EXPECT_EQ(1, vlp::DbgLogData(&log, 0x1, vlp::kLogData | vlp::kLogDump, "abc", 3, "text"));
    vlp::DbgLogPrintf(&log, 0x1, "%s %d", "text", 1);
    vlp::DbgLogPrintfW(&log, 0x1, TEXT("%s %d"), TEXT("text"), 1);
    vlp::DbgStampLimit(&all_off);
    EXPECT_FALSE(vlp::DbgLogIsOn(&log, 0x1));
  }
  const std::vector<std::string> trace = platform::call_trace();
  const unsigned met = platform::faults_met();
  platform::clear_faults();
  EXPECT_TRUE(trace.empty()) << trace.front();
  EXPECT_EQ(0U, met);
}

}  // namespace
