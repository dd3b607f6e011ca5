// What a log is once it is made, and that it does nothing when it can't.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "tests/diag/log_fixture.h"

namespace {

using diag_test::kUntouched;
using diag_test::LogTest;
using vlp::DbgLog;

class LogObjectTest : public LogTest {
 protected:
  // A printer name of this process alone, since mutexes are the whole machine's.
  static std::string own(const std::string& name) {
    return name + " " + std::to_string(GetCurrentProcessId());
  }
  std::string mutex_name(const std::string& name) const {
    return "Global\\VELNO_VLAPI_DbgMutex_" + name + ".dat";
  }
};

bool mutex_exists(const std::string& name) {
  const vlp::KernelHandle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
  const DWORD error = GetLastError();
  EXPECT_TRUE(static_cast<bool>(mutex)) << "error " << error;
  return error == ERROR_ALREADY_EXISTS;
}

void log_in_every_way(DbgLog* log) {
  vlp::DbgLogPut(log, 0xFFFFFFFF, vlp::kLogError, "text", "rc", -5);
  vlp::DbgLogData(log, 0xFFFFFFFF, vlp::kLogData | vlp::kLogDump, "abc", 3, "text");
  vlp::DbgLogPrintf(log, 0xFFFFFFFF, "number %d", 1);
  vlp::DbgLogPrintfW(log, 0xFFFFFFFF, TEXT("number %d"), 1);
  vlp::DbgStampLimit(log);
}

TEST_F(LogObjectTest, WithoutCategoriesThereIsNeitherFileNorMutex) {
  DbgLog log = open_log(0, 1000, own("no categories").c_str());
  log_in_every_way(&log);
  EXPECT_FALSE(far_side::read_file(directory() + own("no categories") + ".dat").has_value());
  EXPECT_FALSE(static_cast<bool>(log.mutex));
  EXPECT_FALSE(mutex_exists(mutex_name(own("no categories"))));
  EXPECT_EQ(0U, log.limitEnabled);
}

TEST_F(LogObjectTest, EveryCallTakesANullLogAndLeavesTheLastErrorAlone) {
  SetLastError(kUntouched);
  log_in_every_way(nullptr);
  EXPECT_EQ(kUntouched, GetLastError());
  EXPECT_EQ(0, vlp::DbgLogPut(nullptr, 0xFFFFFFFF, 0, "text"));
  EXPECT_EQ(0, vlp::DbgLogData(nullptr, 0xFFFFFFFF, 0, "abc", 3, "text"));
  EXPECT_FALSE(vlp::DbgLogIsOn(nullptr, 0xFFFFFFFF));
}

TEST_F(LogObjectTest, WithoutDirectoryOrNameAllCallsAreHarmless) {
  for (const bool has_name : {true, false}) {
    DbgLog log(has_name ? "printer" : nullptr, has_name ? nullptr : directory().c_str(), 0xFFFFFFFF,
               1);
    EXPECT_EQ("", log.fileName);
    EXPECT_EQ(0U, log.limitEnabled);
    EXPECT_FALSE(static_cast<bool>(log.mutex));
    SetLastError(kUntouched);
    log_in_every_way(&log);
    EXPECT_EQ(kUntouched, GetLastError());
    EXPECT_EQ(0, vlp::DbgLogPut(&log, 1, 0, "text"));
    EXPECT_EQ(0, vlp::DbgLogData(&log, 1, vlp::kLogData, "abc", 3, "text"));
  }
}

TEST_F(LogObjectTest, ANameThatDoesNotFitMakesALogThatNeverWrites) {
  DbgLog log = open_log(1, 1, std::string(300, 'n').c_str());
  EXPECT_EQ("", log.fileName);
  log_in_every_way(&log);
  EXPECT_EQ(0, vlp::DbgLogPut(&log, 1, 0, "text"));
}

TEST_F(LogObjectTest, TheFileAppearsWithTheFirstLine) {
  DbgLog log = open_log(1);
  EXPECT_FALSE(content().has_value());
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "first"));
  EXPECT_EQ("\n> first", lines());
}

TEST_F(LogObjectTest, ALimitMakesTheMutexAndTheRotatedName) {
  DbgLog log = open_log(1, 1234, own("with limit").c_str());
  EXPECT_EQ(1U, log.mask);
  EXPECT_EQ(directory() + own("with limit") + ".dat", log.fileName);
  EXPECT_EQ(directory() + own("with limit") + "_0.dat", log.rotatedName);
  EXPECT_EQ(1234U, log.limitSize);
  EXPECT_EQ(1U, log.limitEnabled);
  EXPECT_TRUE(mutex_exists(mutex_name(own("with limit"))));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(log.mutex.Get(), 0)) << "owned at creation";
  EXPECT_NE(FALSE, ReleaseMutex(log.mutex.Get()));
}

TEST_F(LogObjectTest, TheMutexGoesWithTheLog) {
  { DbgLog log = open_log(1, 1234, own("gone").c_str()); }
  EXPECT_FALSE(mutex_exists(mutex_name(own("gone"))));
}

TEST_F(LogObjectTest, WithoutLimitThereIsNoMutex) {
  DbgLog log = open_log(1, 0, own("no limit").c_str());
  EXPECT_EQ(0U, log.limitEnabled);
  EXPECT_EQ("", log.rotatedName);
  EXPECT_FALSE(static_cast<bool>(log.mutex));
  EXPECT_FALSE(mutex_exists(mutex_name(own("no limit"))));
}

TEST_F(LogObjectTest, ADirectoryWithoutBackslashHasNoRotation) {
  DbgLog log("printer", "C:", 1, 1234);
  EXPECT_EQ("C:printer.dat", log.fileName);
  EXPECT_EQ(0U, log.limitEnabled);
  EXPECT_FALSE(static_cast<bool>(log.mutex));
}

TEST_F(LogObjectTest, ARotatedNameThatDoesNotFitMeansNoRotationButALog) {
  const std::string name(259 - directory().size() - 4, 'n');
  DbgLog log = open_log(1, 1234, name.c_str());
  EXPECT_EQ(directory() + name + ".dat", log.fileName);
  EXPECT_EQ("", log.rotatedName);
  EXPECT_EQ(0U, log.limitEnabled);
  EXPECT_EQ(0U, log.limitSize);
}

TEST_F(LogObjectTest, ANameTakenByAnotherKindOfObjectMeansNoRotationButALog) {
  const vlp::KernelHandle event(
      CreateEventA(nullptr, TRUE, FALSE, mutex_name(own("taken")).c_str()));
  ASSERT_TRUE(static_cast<bool>(event));
  DbgLog log = open_log(1, 1, own("taken").c_str());
  EXPECT_FALSE(static_cast<bool>(log.mutex));
  EXPECT_EQ("", log.rotatedName);
  EXPECT_EQ(0U, log.limitEnabled);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "still written"));
  vlp::DbgStampLimit(&log);
  EXPECT_FALSE(far_side::read_file(directory() + own("taken") + "_0.dat").has_value());
}

TEST_F(LogObjectTest, TwoLogsOfOnePrinterShareFileAndMutex) {
  DbgLog one = open_log(1, 1000);
  DbgLog two = open_log(1, 1000);
  EXPECT_EQ(1U, two.limitEnabled);
  vlp::DbgLogPut(&one, 1, 0, "one");
  vlp::DbgLogPut(&two, 1, 0, "two");
  EXPECT_EQ("\n> one\n> two", lines());
}

// --- Categories ----------------------------------------------------------------------------

TEST_F(LogObjectTest, ALinePassesOnlyIfItsCategoryIsOn) {
  constexpr uint32_t kCategories[] = {0x1, 0x2, 0x100, 0x200, 0x400, 0x800, 0x1000, 0x80000000};
  for (const uint32_t on : kCategories) {
    const std::string name = std::to_string(on);
    DbgLog log = open_log(on, 0, name.c_str());
    for (const uint32_t category : kCategories) {
      EXPECT_EQ(on == category, vlp::DbgLogIsOn(&log, category));
      EXPECT_EQ(1, vlp::DbgLogPut(&log, category, 0, "put"));
      EXPECT_EQ(1, vlp::DbgLogData(&log, category, vlp::kLogData, "abc", 3, "data"));
      vlp::DbgLogPrintf(&log, category, "printf");
      vlp::DbgLogPrintfW(&log, category, TEXT("wide"));
    }
    EXPECT_EQ("\n> put\n> data\r\n Data(3): abc\n> printf\n> wide",
              diag_test::shown(far_side::read_file(log.fileName).value_or("")))
        << "category " << on;
  }
}

TEST_F(LogObjectTest, AllCategoriesTogetherLetEveryLineThrough) {
  DbgLog log = open_log(0xFFFFFFFF);
  std::string expected;
  for (uint32_t bit = 1; bit != 0; bit <<= 1) {
    vlp::DbgLogPut(&log, bit, 0, "line");
    expected += "\n> line";
  }
  EXPECT_EQ(expected, lines());
}

TEST_F(LogObjectTest, ALineForAnyCategoryComesIfOneIsOn) {
  DbgLog log = open_log(0x40000000);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "category line"));
  EXPECT_FALSE(content().has_value());
  vlp::DbgLogPrintf(&log, log.mask, "trace line");
  EXPECT_EQ("\n> trace line", lines());
}

TEST_F(LogObjectTest, ACallThatIsOffGivesSuccessAndWritesNothing) {
  DbgLog log = open_log(0x2);
  SetLastError(kUntouched);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 0x1, vlp::kLogError, "off"));
  EXPECT_EQ(1, vlp::DbgLogData(&log, 0x1, vlp::kLogData, nullptr, 3, "off"));
  vlp::DbgLogPrintf(&log, 0x1, "off");
  vlp::DbgLogPrintfW(&log, 0x1, TEXT("off"));
  EXPECT_EQ(kUntouched, GetLastError());
  EXPECT_FALSE(content().has_value());
}

}  // namespace
