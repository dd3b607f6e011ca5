// What needs a process of its own, or two: ends and unloadings that the library can't
// prepare for, and one log that two processes write and rotate.

#include <windows.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/support/far_side.h"
#include "tests/system/child.h"
#include "tests/system/child_process.h"
#include "tests/system/digits.h"
#include "tests/system/world.h"

namespace system_test {
namespace {

class Child : public ChildProcess {
 public:
  explicit Child(const std::string& arguments) : ChildProcess(VLP_CHILD_FILE, arguments) {}
};

TEST(Processes, UnloadWithoutTerminateAndEnd) {
  EXPECT_EQ(Child("unload-without-terminate").ExitCode(), 0);
}

TEST(Processes, UnloadALibraryThatWasNotUsed) { EXPECT_EQ(Child("unload-unused").ExitCode(), 0); }

TEST(Processes, EndWithTheLibraryInUse) {
  for (int time = 0; time < 5; ++time) EXPECT_EQ(Child("end-in-use").ExitCode(), 0);
}

TEST(Processes, EndDuringASpoolerCall) { EXPECT_EQ(Child("end-in-a-spooler-call").ExitCode(), 0); }

TEST(Processes, AreToldWrongUse) { EXPECT_EQ(Child("nonsense").ExitCode(), 2); }

class SharedLog : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    folder_ = ShareWorld();
  }
  void TearDown() override { EndSharedWorld(); }

  std::string Content(const std::string& file) {
    return far_side::read_file(folder_ + file).value_or(std::string());
  }

  std::string folder_;
};

// Every line begins with its head, or is the title of a command's bytes. Title and bytes are
// two writes, so another process may come between them: the bytes then end its line, or are
// missing because it had the file open.
void ExpectWholeLines(const std::string& text, std::set<std::string>* processes) {
  for (std::size_t at = 0; at < text.size();) {
    ASSERT_EQ(text.compare(at, 2, "\r\n"), 0) << "a line doesn't begin at " << at;
    const std::size_t end = std::min(text.find("\r\n", at + 2), text.size());
    const std::string line = text.substr(at + 2, end - at - 2);
    at = end;
    if (line.starts_with(" Data(44): ")) {
      const std::string bytes = line.substr(std::string(" Data(44): ").size());
      EXPECT_TRUE(bytes.empty() || bytes.starts_with("a command of some length")) << line;
      continue;
    }
    const std::string head = WithoutNumbers(line.substr(line.starts_with("### ") ? 4 : 0));
    EXPECT_TRUE(head.starts_with("9:9.9 [PID:9 TID:9] : ")) << line;
    const std::size_t process = line.find("PID:");
    if (process != std::string::npos) {
      processes->insert(line.substr(process, line.find(' ', process) - process));
    }
  }
}

TEST_F(SharedLog, IsRotatedByTwoProcessesAndStaysWhole) {
  std::set<std::string> processes;
  {
    const std::string arguments = "stamp-log " + folder_ + " 300";
    const Child first(arguments);
    const Child second(arguments);
    EXPECT_EQ(first.ExitCode(), 0);
    EXPECT_EQ(second.ExitCode(), 0);
  }
  const std::string now = Content("Child.dat");
  const std::string before = Content("Child_0.dat");
  ASSERT_FALSE(before.empty()) << "the log was never rotated";
  EXPECT_GE(before.size(), kChildLogSize / 2);
  // Between two looks at the size each process logs less than this.
  EXPECT_LT(before.size(), kChildLogSize / 2 + 4000);
  EXPECT_LT(now.size(), kChildLogSize / 2 + 4000);
  ExpectWholeLines(now, &processes);
  ExpectWholeLines(before, &processes);
  EXPECT_GE(processes.size(), 1U);
}

TEST_F(SharedLog, IsRotatedByOneProcessAsWell) {
  EXPECT_EQ(Child("stamp-log " + folder_ + " 100").ExitCode(), 0);
  std::set<std::string> processes;
  const std::string before = Content("Child_0.dat");
  EXPECT_GE(before.size(), kChildLogSize / 2);
  EXPECT_LT(before.size(), kChildLogSize / 2 + 2000);
  ExpectWholeLines(before, &processes);
  ExpectWholeLines(Content("Child.dat"), &processes);
  EXPECT_EQ(processes.size(), 1U);
}

// A process that died while it held the log's lock holds up nobody for good.
TEST_F(SharedLog, GoesOnBehindAnotherProcessesLock) {
  far_side::write_file(folder_ + "Child.dat", "\r\n" + std::string(15000, '.'));
  const HANDLE mutex = CreateMutexA(nullptr, TRUE, "Global\\VELNO_VLAPI_DbgMutex_Child.dat");
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(Child("stamp-log " + folder_ + " 1").ExitCode(), 0);
  EXPECT_TRUE(Content("Child_0.dat").empty()) << "rotated without the lock";
  EXPECT_NE(ReleaseMutex(mutex), FALSE);
  EXPECT_EQ(Child("stamp-log " + folder_ + " 1").ExitCode(), 0);
  EXPECT_FALSE(Content("Child_0.dat").empty());
  CloseHandle(mutex);
}

}  // namespace
}  // namespace system_test
