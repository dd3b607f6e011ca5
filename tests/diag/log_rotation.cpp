// The time-stamp line and the rotation that goes with it.

#include <gtest/gtest.h>

#include <windows.h>

#include <regex>
#include <string>

#include "tests/diag/log_fixture.h"

namespace {

using diag_test::LogTest;
using diag_test::OpenFile;
using diag_test::shown;
using vlp::DbgLog;

class LogRotationTest : public LogTest {
 protected:
  // With stamps, once they are found well formed, shown as "<stamp>".
  static std::string stamps_shown(const std::optional<std::string>& content) {
    if (!content) return "no file";
    const std::regex stamp(
        "----- [0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} -----");
    return std::regex_replace(shown(*content), stamp, "<stamp>");
  }
  std::string current() const { return stamps_shown(far_side::read_file(path())); }
  std::string rotated() const { return stamps_shown(far_side::read_file(rotated_path())); }

  // Bytes of a file that holds one stamp.
  uint32_t stamp_size() const {
    DbgLog log("measure", directory().c_str(), 1, 0);
    vlp::DbgStampLimit(&log);
    return static_cast<uint32_t>(far_side::read_file(log.fileName).value_or("").size());
  }
};

TEST_F(LogRotationTest, AStampIsALineOfItsOwn) {
  DbgLog log = open_log(1);
  vlp::DbgStampLimit(&log);
  vlp::DbgLogPut(&log, 1, 0, "line");
  EXPECT_EQ("\n> <stamp>\n> line", current());
}

TEST_F(LogRotationTest, AStampComesWithAnyBitOfTheMaskAndNotWithoutOne) {
  DbgLog off = open_log(0, 10, "off");
  vlp::DbgStampLimit(&off);
  EXPECT_FALSE(far_side::read_file(off.fileName).has_value());
  for (uint32_t bit = 1; bit != 0; bit <<= 1) {
    DbgLog log = open_log(bit, 0, std::to_string(bit).c_str());
    vlp::DbgStampLimit(&log);
    EXPECT_EQ("\n> <stamp>", stamps_shown(far_side::read_file(log.fileName))) << bit;
  }
}

TEST_F(LogRotationTest, TheFileIsRotatedAtExactlyItsLimit) {
  const uint32_t size = stamp_size();
  for (const uint32_t limit : {size - 1, size, size + 1}) {
    DbgLog log = open_log(1, limit, ("limit " + std::to_string(limit)).c_str());
    vlp::DbgStampLimit(&log);
    const bool rotates = limit <= size;
    EXPECT_EQ(rotates ? "\n> <stamp>" : "no file",
              stamps_shown(far_side::read_file(log.rotatedName)))
        << limit;
    EXPECT_EQ("\n> <stamp>", stamps_shown(far_side::read_file(log.fileName))) << limit;
  }
}

TEST_F(LogRotationTest, HalfAMillionBytesAreKeptForALimitOfHalfAMillion) {
  constexpr uint32_t kLimit = 500000;
  const uint32_t stamp = stamp_size();
  for (const uint32_t before : {kLimit - stamp - 1, kLimit - stamp}) {
    far_side::write_file(path(), std::string(before, 'x'));
    DbgLog log = open_log(1, kLimit);
    vlp::DbgStampLimit(&log);
    EXPECT_EQ(before + stamp == kLimit, far_side::read_file(rotated_path()).has_value()) << before;
  }
}

TEST_F(LogRotationTest, OnlyAStampLooksAtTheSize) {
  DbgLog log = open_log(1, 100);
  for (int i = 0; i < 20; ++i) vlp::DbgLogPut(&log, 1, 0, "a line beyond the limit");
  EXPECT_EQ("no file", rotated());
  vlp::DbgStampLimit(&log);
  EXPECT_NE("no file", rotated());
  EXPECT_EQ("\n> <stamp>", current());
}

TEST_F(LogRotationTest, WithoutLimitTheFileGrows) {
  far_side::write_file(path(), std::string(100000, 'x'));
  DbgLog log = open_log(1, 0);
  vlp::DbgStampLimit(&log);
  EXPECT_EQ(std::string(100000, 'x') + "\n> <stamp>", current());
  EXPECT_EQ("no file", rotated());
}

TEST_F(LogRotationTest, TheRotatedFileOfBeforeGoesAndAFreshOneBeginsWithTheStamp) {
  far_side::write_file(rotated_path(), "oldest");
  DbgLog log = open_log(1, 1);
  vlp::DbgLogPut(&log, 1, 0, "first");
  vlp::DbgStampLimit(&log);
  EXPECT_EQ("\n> first\n> <stamp>", rotated());
  EXPECT_EQ("\n> <stamp>", current());
  vlp::DbgLogPut(&log, 1, 0, "second");
  vlp::DbgStampLimit(&log);
  EXPECT_EQ("\n> <stamp>\n> second\n> <stamp>", rotated());
  EXPECT_EQ("\n> <stamp>", current());
}

TEST_F(LogRotationTest, TheSizeIsComparedWithAllItsBits) {
  {
    const OpenFile file(path(), GENERIC_WRITE, 0);
    ASSERT_TRUE(file.is_open());
    LONG high = 1;
    ASSERT_EQ(16U, SetFilePointer(file.get(), 16, &high, FILE_BEGIN));
    ASSERT_NE(FALSE, SetEndOfFile(file.get()));
  }
  DbgLog log = open_log(1, 1000000);
  vlp::DbgStampLimit(&log);
  EXPECT_EQ("\n> <stamp>", current());
  EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(rotated_path().c_str()));
}

TEST_F(LogRotationTest, WhileAnotherHasTheFileOpenTheCheckIsLeftForTheNextTime) {
  DbgLog log = open_log(1, 1);
  {
    const OpenFile reader(path(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_TRUE(reader.is_open());
    vlp::DbgStampLimit(&log);
    EXPECT_EQ("\n> <stamp>", current());
    EXPECT_EQ("no file", rotated());
  }
  vlp::DbgStampLimit(&log);
  EXPECT_EQ("\n> <stamp>\n> <stamp>", rotated());
}

TEST_F(LogRotationTest, WithoutAFileThereIsNothingToRotate) {
  const std::string missing = directory() + "missing\\";
  DbgLog log("printer", missing.c_str(), 1, 1);
  EXPECT_EQ(1U, log.limitEnabled);
  vlp::DbgStampLimit(&log);
  EXPECT_FALSE(far_side::read_file(missing + "printer.dat").has_value());
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(log.mutex.Get(), 0));
  ReleaseMutex(log.mutex.Get());
}

TEST_F(LogRotationTest, AFailedMoveIsToldInTheFileThatStays) {
  // A folder in the way can be neither deleted as a file nor replaced.
  ASSERT_NE(FALSE, CreateDirectoryA(rotated_path().c_str(), nullptr));
  DbgLog log = open_log(1, 1);
  for (int i = 0; i < 2; ++i) vlp::DbgStampLimit(&log);
  const std::string told = "\n> *****DbgLimitSizeProc: MoveFile failed. LastError=" +
                           std::to_string(ERROR_ALREADY_EXISTS) + "*****";
  EXPECT_EQ("\n> <stamp>" + told + "\n> <stamp>" + told, current());
  RemoveDirectoryA(rotated_path().c_str());
  vlp::DbgStampLimit(&log);
  EXPECT_EQ("\n> <stamp>", current());
}

TEST_F(LogRotationTest, TheMutexIsFreeBehindEachStamp) {
  DbgLog log = open_log(1, 1);
  vlp::DbgStampLimit(&log);
  EXPECT_EQ(FALSE, ReleaseMutex(log.mutex.Get()));
  EXPECT_EQ(static_cast<DWORD>(ERROR_NOT_OWNER), GetLastError());
}

}  // namespace
