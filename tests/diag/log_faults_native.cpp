// Each system call of a log made to fail: the line is lost, the work goes on, and the
// last error stays.

#include <gtest/gtest.h>

#include <windows.h>

#include <functional>
#include <string>

#include "platform/faults.h"
#include "tests/diag/log_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace {

using diag_test::kUntouched;
using diag_test::LogTest;
using vlp::DbgLog;

class LogFaultTest : public LogTest {
 protected:
  ~LogFaultTest() override { platform::clear_faults(); }

  // Runs one logging call with the nth call of that name failing; what it gives.
  int32_t with_fault(const char* call, unsigned nth, const std::function<int32_t()>& work) {
    platform::clear_faults();
    platform::fail_call(call, nth, ERROR_WRITE_FAULT);
    SetLastError(kUntouched);
    int32_t result = 0;
    {
      const platform::UnderTest tested;
      result = work();
    }
    EXPECT_EQ(kUntouched, GetLastError()) << call;
    EXPECT_EQ(1U, platform::faults_met()) << call;
    platform::clear_faults();
    return result;
  }

  static int32_t put_line(DbgLog& log) { return vlp::DbgLogPut(&log, 1, 0, "line"); }
  static int32_t put_data(DbgLog& log) {
    return vlp::DbgLogData(&log, 1, vlp::kLogData | vlp::kLogDump, "abc", 3, "line");
  }
  static int32_t stamp(DbgLog& log) {
    vlp::DbgStampLimit(&log);
    return 0;
  }
  bool has_rotated() const { return far_side::read_file(rotated_path()).has_value(); }
};

TEST_F(LogFaultTest, ALineWhoseFileCannotBeOpenedIsLost) {
  DbgLog log = open_log(1);
  EXPECT_EQ(0, with_fault("CreateFileA", 1, [&] { return put_line(log); }));
  EXPECT_FALSE(content().has_value());
}

TEST_F(LogFaultTest, ALineThatCannotBeWrittenIsAFailure) {
  DbgLog log = open_log(1);
  EXPECT_EQ(0, with_fault("WriteFile", 1, [&] { return put_line(log); }));
  EXPECT_EQ("", lines());
}

TEST_F(LogFaultTest, WhereTheEndCannotBeFoundNothingIsOverwritten) {
  far_side::write_file(path(), "a long line of earlier days");
  DbgLog log = open_log(1);
  EXPECT_EQ(0, with_fault("SetFilePointer", 1, [&] { return put_line(log); }));
  EXPECT_EQ("a long line of earlier days", content());
}

TEST_F(LogFaultTest, AWrittenLineIsWrittenEvenIfTheEndCannotBeSet) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, with_fault("SetEndOfFile", 1, [&] { return put_line(log); }));
  EXPECT_EQ("\n> line", lines());
}

TEST_F(LogFaultTest, DataStopsAtTheFirstPieceThatFails) {
  const std::string pieces[] = {"\n> line", "\r\n Data(3): ", "abc", "\r\n Dump(3): ", "61 62 63 "};
  for (const char* call : {"CreateFileA", "WriteFile"}) {
    std::string expected;
    for (unsigned nth = 1; nth <= 5; ++nth) {
      far_side::remove_file(path());
      DbgLog log = open_log(1);
      EXPECT_EQ(0, with_fault(call, nth, [&] { return put_data(log); })) << call << nth;
      EXPECT_EQ(expected, lines()) << call << nth;
      expected += pieces[nth - 1];
    }
  }
}

TEST_F(LogFaultTest, ADumpWithoutMemoryIsLeftOut) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  DbgLog log = open_log(1);
  EXPECT_EQ(0, with_fault("operator new", 1, [&] { return put_data(log); }));
  EXPECT_EQ("\n> line\r\n Data(3): abc", lines());
}

TEST_F(LogFaultTest, WithoutItsMutexALogHasNoRotation) {
  platform::fail_call("CreateMutexA", 1, ERROR_ACCESS_DENIED);
  DbgLog log = open_log(1, 1);
  EXPECT_EQ(1U, platform::faults_met());
  platform::clear_faults();
  EXPECT_EQ(0U, log.limitEnabled);
  EXPECT_EQ("", log.rotatedName);
  EXPECT_EQ(1, put_line(log));
  stamp(log);
  EXPECT_FALSE(has_rotated());
}

TEST_F(LogFaultTest, WithoutASecurityDescriptorALogHasNoRotation) {
  for (const char* call : {"InitializeSecurityDescriptor", "SetSecurityDescriptorDacl"}) {
    platform::clear_faults();
    platform::fail_call(call, 1, ERROR_INVALID_PARAMETER);
    DbgLog log = open_log(1, 1);
    EXPECT_EQ(1U, platform::faults_met()) << call;
    EXPECT_EQ(0U, log.limitEnabled) << call;
    EXPECT_FALSE(static_cast<bool>(log.mutex)) << call;
  }
}

TEST_F(LogFaultTest, AFailedWaitSkipsThePass) {
  DbgLog log = open_log(1, 1);
  with_fault("WaitForSingleObject", 1, [&] { return stamp(log); });
  EXPECT_FALSE(has_rotated());
  stamp(log);
  EXPECT_TRUE(has_rotated());
}

TEST_F(LogFaultTest, AFileThatCannotBeLookedAtIsNotRotated) {
  DbgLog log = open_log(1, 1);
  with_fault("CreateFileA", 2, [&] { return stamp(log); });
  EXPECT_FALSE(has_rotated());
  with_fault("GetFileInformationByHandle", 1, [&] { return stamp(log); });
  EXPECT_FALSE(has_rotated());
}

TEST_F(LogFaultTest, AFailedMoveIsToldWithItsErrorAndTheOldFileIsGone) {
  far_side::write_file(rotated_path(), "oldest");
  DbgLog log = open_log(1, 1);
  with_fault("MoveFileA", 1, [&] { return stamp(log); });
  EXPECT_FALSE(has_rotated());
  EXPECT_NE(std::string::npos,
            lines().find("\n> *****DbgLimitSizeProc: MoveFile failed. LastError=29*****"));
}

TEST_F(LogFaultTest, TheRotatedFileThatCannotBeDeletedStays) {
  far_side::write_file(rotated_path(), "oldest");
  DbgLog log = open_log(1, 1);
  with_fault("DeleteFileA", 1, [&] { return stamp(log); });
  EXPECT_EQ("oldest", far_side::read_file(rotated_path()));
  EXPECT_NE(std::string::npos, lines().find("MoveFile failed. LastError=183"));
}

TEST_F(LogFaultTest, AMutexThatCannotBeGivenBackChangesNoLastError) {
  DbgLog log = open_log(1, 1);
  with_fault("ReleaseMutex", 1, [&] { return stamp(log); });
  EXPECT_TRUE(has_rotated());
  ReleaseMutex(log.mutex.Get());
}

// Every call in turn, memory included: nothing is thrown, changed, left open or locked.
TEST_F(LogFaultTest, NoFailureReachesTheWorkAround) {
  unsigned nth = 1;
  for (bool met = true; met; ++nth) {
    ASSERT_LT(nth, 200U) << "the sweep doesn't end";
    test::run_virtual_parallel([&] {
      far_side::remove_file(path());
      far_side::write_file(rotated_path(), "oldest");
      DbgLog log = open_log(1, 1);
      platform::clear_faults();
      platform::fail_nth_call(nth, ERROR_GEN_FAILURE);
      SetLastError(kUntouched);
      {
        const platform::UnderTest tested;
        put_line(log);
        put_data(log);
        vlp::DbgLogPrintf(&log, 1, "%d", 1);
        vlp::DbgLogPrintfW(&log, 1, TEXT("%s"), TEXT("wide"));
        stamp(log);
      }
      EXPECT_EQ(kUntouched, GetLastError()) << nth;
      met = platform::faults_met() != 0;
      const auto failed = platform::failed_calls();
      platform::clear_faults();
      // A mutex that couldn't be given back is still the thread's.
      if (met && failed.front() == "ReleaseMutex") ReleaseMutex(log.mutex.Get());
      EXPECT_TRUE(platform::locks_held_by(GetCurrentThreadId()).empty()) << nth;
    });
  }
  EXPECT_GT(nth, 30U);
}

}  // namespace
