// Two real processes and one log.

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdlib>
#include <optional>
#include <regex>
#include <string>

#include "tests/diag/log_fixture.h"
#include "tests/diag/log_writer.h"
#include "tests/diag/shared_world.h"

namespace {

using diag_test::OpenFile;
using vlp::DbgLog;

class LogProcessTest : public ::testing::Test {
 protected:
  LogProcessTest() {
    diag_test::make_shared_world();
    directory_ = far_side::fresh_log_directory();
  }

  std::string path() const { return directory_ + "printer.dat"; }
  std::string rotated_path() const { return directory_ + "printer_0.dat"; }
  const char* directory() const { return directory_.c_str(); }

  // The second process; its caller waits for it.
  vlp::KernelHandle start(const std::string& work) const {
    char own[1024] = "";
    GetModuleFileNameA(nullptr, own, sizeof(own));
    const std::string program = own;
    std::string line = "\"" + program.substr(0, program.find_last_of("/\\") + 1) +
                       VLP_LOG_WRITER "\" " + directory_ + " " + work;
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information{};
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &information) == FALSE) {
      ADD_FAILURE() << line << ": error " << GetLastError();
      return {};
    }
    CloseHandle(information.hThread);
    return vlp::KernelHandle(information.hProcess);
  }

  static DWORD end_of(const vlp::KernelHandle& process) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process.Get(), 60000));
    DWORD code = STILL_ACTIVE;
    EXPECT_NE(FALSE, GetExitCodeProcess(process.Get(), &code));
    return code;
  }
  DWORD run(const std::string& work) const { return end_of(start(work)); }

 private:
  std::string directory_;
};

TEST_F(LogProcessTest, BothAppendToOneFile) {
  DbgLog log("printer", directory(), 1, 0);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "of this process"));
  EXPECT_EQ(1U, run("put"));
  const std::string all = far_side::read_file(path()).value_or("");
  EXPECT_LT(all.find("of this process"), all.find("of another process"));
  EXPECT_NE(std::string::npos, all.find("of another process"));
}

TEST_F(LogProcessTest, WhenBothWriteAtOnceTheSecondLosesItsLineAndNothingElse) {
  {
    // As a line in the making has it open.
    const OpenFile writing(path(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ);
    ASSERT_TRUE(writing.is_open());
    EXPECT_EQ(0U, run("put"));
  }
  EXPECT_EQ("", far_side::read_file(path()));
  EXPECT_EQ(1U, run("put"));
}

TEST_F(LogProcessTest, TheyShareTheMutexOfTheirLog) {
  DbgLog log("printer", directory(), 1, diag_test::kSharedLimit);
  ASSERT_TRUE(static_cast<bool>(log.mutex));
  EXPECT_EQ(diag_test::kMutexFree, run("mutex"));
  // The process before ended with the mutex in its hands.
  EXPECT_EQ(static_cast<DWORD>(WAIT_ABANDONED), WaitForSingleObject(log.mutex.Get(), 0));
  EXPECT_EQ(diag_test::kMutexHeld, run("mutex"));
  ReleaseMutex(log.mutex.Get());
}

TEST_F(LogProcessTest, AProcessThatEndedWithTheMutexCostsOnePass) {
  far_side::write_file(path(), std::string(diag_test::kSharedLimit, 'x'));
  DbgLog log("printer", directory(), 1, diag_test::kSharedLimit);
  EXPECT_EQ(diag_test::kMutexFree, run("mutex"));
  vlp::DbgStampLimit(&log);
  EXPECT_FALSE(far_side::read_file(rotated_path()).has_value());
  vlp::DbgStampLimit(&log);
  EXPECT_TRUE(far_side::read_file(rotated_path()).has_value());
}

TEST_F(LogProcessTest, WritingAndRotatingAtOnceTearsNoLine) {
  const vlp::KernelHandle one = start("many a");
  const vlp::KernelHandle two = start("many b");
  EXPECT_EQ(0U, end_of(one));
  EXPECT_EQ(0U, end_of(two));
  // Their last move may have failed on the other's line; now there is nobody else.
  DbgLog log("printer", directory(), 1, diag_test::kSharedLimit);
  for (int i = 0; i < 100; ++i) vlp::DbgLogPut(&log, 1, 0, std::string(60, 'a').c_str());
  vlp::DbgStampLimit(&log);
  const std::optional<std::string> rotated = far_side::read_file(rotated_path());
  ASSERT_TRUE(rotated.has_value());
  EXPECT_LE(diag_test::kSharedLimit, rotated->size());
  const std::regex line(
      "\r\n[0-9]+:[0-9]{2}\\.[0-9]{3} \\[PID:[0-9]+ TID:[0-9]+\\] : "
      "(a{60}|b{60}|----- [0-9/]+ [0-9:.]+ -----|"
      "\\*\\*\\*\\*\\*DbgLimitSizeProc: MoveFile failed\\. LastError=[0-9]+\\*\\*\\*\\*\\*)");
  EXPECT_EQ("", std::regex_replace(*rotated, line, ""));
  EXPECT_EQ("", std::regex_replace(far_side::read_file(path()).value_or(""), line, ""));
}

}  // namespace
