// The form of a line, and how it reaches the file.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "tests/diag/log_fixture.h"

namespace {

using diag_test::kUntouched;
using diag_test::LogTest;
using diag_test::OpenFile;
using vlp::DbgLog;
using vlp::DbgTimes;

using LogLineTest = LogTest;

TEST_F(LogLineTest, CarriesTextKeyAndValue) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, "CPrinterInf::GetStatus Return", "rc", -5);
  EXPECT_EQ("\n> CPrinterInf::GetStatus Return : rc = -5", lines());
}

TEST_F(LogLineTest, TextAndKeyMayBeMissing) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, nullptr);
  vlp::DbgLogPut(&log, 1, 0, nullptr, "rc", 3);
  vlp::DbgLogPut(&log, 1, 0, "text", nullptr, 3);
  vlp::DbgLogPut(&log, 1, 0, "", "", 0);
  EXPECT_EQ("\n> \n>  : rc = 3\n> text\n>  :  = 0", lines());
}

TEST_F(LogLineTest, AFailureIsMarkedAndTellsTheLastErrorOfTheCaller) {
  DbgLog log = open_log(1);
  SetLastError(0);
  vlp::DbgLogPut(&log, 1, vlp::kLogError, "CPrinterInf::GetStatus Return", "rc", -5);
  SetLastError(ERROR_SHARING_VIOLATION);
  vlp::DbgLogPut(&log, 1, vlp::kLogError, "second");
  SetLastError(0xFFFFFFFF);
  vlp::DbgLogPut(&log, 1, vlp::kLogError, nullptr);
  EXPECT_EQ(
      "\n### > CPrinterInf::GetStatus Return : rc = -5 : LastError = 0"
      "\n### > second : LastError = 32"
      "\n### >  : LastError = -1",
      lines());
}

TEST_F(LogLineTest, OnlyTheErrorMarkCountsForALineWithoutData) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, vlp::kLogData | vlp::kLogDump, "text"));
  EXPECT_EQ("\n> text", lines());
}

TEST_F(LogLineTest, ShowsCountsBeforeTimesAndLeavesOutWhatIsNull) {
  DbgLog log = open_log(1);
  const uint32_t start_time = 62003;
  const uint32_t start_count = 7;
  const uint32_t end_time = 7384567;
  const uint32_t end_count = 0xFFFFFFFF;
  struct Case {
    DbgTimes times;
    const char* shown;
  };
  const Case cases[] = {
      {{nullptr, nullptr, nullptr, nullptr}, ""},
      {{&start_time, nullptr, nullptr, nullptr}, " : S  1: 2.003 "},
      {{nullptr, &start_count, nullptr, nullptr}, " : S(7)"},
      {{&start_time, &start_count, nullptr, nullptr}, " : S(7)  1: 2.003 "},
      {{nullptr, nullptr, &end_time, nullptr}, " :  E 123: 4.567 "},
      {{nullptr, nullptr, nullptr, &end_count}, " :  E(-1)"},
      {{nullptr, nullptr, &end_time, &end_count}, " :  E(-1) 123: 4.567 "},
      {{&start_time, &start_count, &end_time, &end_count}, " : S(7)  1: 2.003  E(-1) 123: 4.567 "},
  };
  std::string expected;
  for (const Case& each : cases) {
    vlp::DbgLogPut(&log, 1, 0, "t", nullptr, 0, each.times);
    expected += std::string("\n> t") + each.shown;
  }
  EXPECT_EQ(expected, lines());
}

TEST_F(LogLineTest, PutsItsPiecesInOneOrder) {
  DbgLog log = open_log(1);
  const uint32_t time = 0;
  const uint32_t count = 1;
  SetLastError(5);
  vlp::DbgLogPut(&log, 1, vlp::kLogError, "text", "key", 2, {&time, &count, &time, &count});
  EXPECT_EQ("\n### > text : key = 2 : LastError = 5 : S(1)  0: 0.000  E(1)  0: 0.000 ", lines());
}

TEST_F(LogLineTest, BeginsWithALineBreakAndEndsWithout) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, "text");
  const std::string all = content().value_or("");
  EXPECT_EQ("\r\n", all.substr(0, 2));
  EXPECT_EQ("text", all.substr(all.size() - 4));
}

TEST_F(LogLineTest, IsTheTextAsItStandsWithItsPercentSigns) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, "100%s %d %n", "50%x", 1);
  EXPECT_EQ("\n> 100%s %d %n : 50%x = 1", lines());
}

TEST_F(LogLineTest, APieceIsCutAt2047Bytes) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, std::string(2047, 'a').c_str());
  vlp::DbgLogPut(&log, 1, 0, std::string(2048, 'b').c_str(), "rc", 1);
  vlp::DbgLogPut(&log, 1, 0, std::string(100000, 'c').c_str());
  EXPECT_EQ("\n> " + std::string(2047, 'a') + "\n> " + std::string(2047, 'b') + " : rc = 1" +
                "\n> " + std::string(2047, 'c'),
            lines());
}

TEST_F(LogLineTest, ALongKeyIsCutWithItsPieceAndLosesItsValue) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, nullptr, std::string(3000, 'k').c_str(), 1);
  EXPECT_EQ("\n>  : " + std::string(2044, 'k'), lines());
}

TEST_F(LogLineTest, ALineIsCutAt4095Bytes) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, std::string(2047, 't').c_str(),
                              std::string(2035, 'k').c_str(), 1));
  const std::string all = content().value_or("");
  ASSERT_EQ(4095U, all.size());
  const size_t head = all.find("] : ") + 4;
  EXPECT_EQ(std::string(2047, 't') + " : " + std::string(4095 - head - 2047 - 3, 'k'),
            all.substr(head));
  vlp::DbgLogPut(&log, 1, 0, "next");
  EXPECT_EQ(4095U, content().value_or("").find("\r\n", 2));
}

TEST_F(LogLineTest, IsAppendedToWhatTheFileHolds) {
  far_side::write_file(path(), "earlier");
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, "one");
  vlp::DbgLogPut(&log, 1, 0, "two");
  EXPECT_EQ("earlier\n> one\n> two", lines());
}

TEST_F(LogLineTest, TheFileIsClosedBehindEachLine) {
  DbgLog log = open_log(1);
  vlp::DbgLogPut(&log, 1, 0, "line");
  vlp::DbgLogData(&log, 1, vlp::kLogData | vlp::kLogDump, "abc", 3, "line");
  const OpenFile alone(path(), GENERIC_READ | GENERIC_WRITE, 0);
  EXPECT_TRUE(alone.is_open()) << "error " << GetLastError();
}

TEST_F(LogLineTest, AReaderThatSharesReadingAndWritingDoesNotDisturb) {
  DbgLog log = open_log(1);
  const OpenFile reader(path(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  ASSERT_TRUE(reader.is_open());
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "line"));
  EXPECT_EQ("\n> line", lines());
}

TEST_F(LogLineTest, AnotherWriterCostsTheLineAndNothingElse) {
  DbgLog log = open_log(1);
  {
    const OpenFile writer(path(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_TRUE(writer.is_open());
    SetLastError(kUntouched);
    EXPECT_EQ(0, vlp::DbgLogPut(&log, 1, 0, "lost"));
    EXPECT_EQ(0, vlp::DbgLogData(&log, 1, vlp::kLogData, "abc", 3, "lost"));
    EXPECT_EQ(kUntouched, GetLastError());
  }
  EXPECT_EQ("", lines());
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "kept"));
  EXPECT_EQ("\n> kept", lines());
}

TEST_F(LogLineTest, AMissingDirectoryCostsTheLineAndNothingElse) {
  DbgLog log("printer", (directory() + "missing\\").c_str(), 1, 1000);
  SetLastError(kUntouched);
  EXPECT_EQ(0, vlp::DbgLogPut(&log, 1, 0, "lost"));
  EXPECT_EQ(0, vlp::DbgLogData(&log, 1, vlp::kLogData, "abc", 3, "lost"));
  vlp::DbgLogPrintf(&log, 1, "lost");
  vlp::DbgLogPrintfW(&log, 1, TEXT("lost"));
  vlp::DbgStampLimit(&log);
  EXPECT_EQ(kUntouched, GetLastError());
  EXPECT_FALSE(far_side::read_file(directory() + "missing\\printer.dat").has_value());
}

TEST_F(LogLineTest, TheLastErrorStaysOnEveryWay) {
  DbgLog log = open_log(1, 100);
  for (int round = 0; round < 3; ++round) {  // a new file, an old one, and rotation
    for (const DWORD error : {DWORD{0}, DWORD{5}, DWORD{0xFFFFFFFF}}) {
      SetLastError(error);
      vlp::DbgLogPut(&log, 1, vlp::kLogError, "text", "rc", -5);
      EXPECT_EQ(error, GetLastError());
      vlp::DbgLogData(&log, 1, vlp::kLogData | vlp::kLogDump, "abc", 3, "text");
      EXPECT_EQ(error, GetLastError());
      vlp::DbgLogData(&log, 1, vlp::kLogData, "abc", 0, "text");
      EXPECT_EQ(error, GetLastError());
      vlp::DbgLogData(&log, 1, vlp::kLogData, nullptr, 3, "text");
      EXPECT_EQ(error, GetLastError());
      vlp::DbgLogPrintf(&log, 1, "%d", 1);
      EXPECT_EQ(error, GetLastError());
      vlp::DbgLogPrintfW(&log, 1, TEXT(""));
      EXPECT_EQ(error, GetLastError());
      vlp::DbgLogPrintfW(&log, 1, TEXT("%d"), 1);
      EXPECT_EQ(error, GetLastError());
      vlp::DbgStampLimit(&log);
      EXPECT_EQ(error, GetLastError());
    }
  }
  EXPECT_TRUE(far_side::read_file(rotated_path()).has_value());
}

TEST_F(LogLineTest, ALogBeyond4GigabytesIsAppendedTo) {
  {
    const OpenFile file(path(), GENERIC_WRITE, 0);
    ASSERT_TRUE(file.is_open());
    LONG high = 1;
    ASSERT_EQ(16U, SetFilePointer(file.get(), 16, &high, FILE_BEGIN));
    ASSERT_NE(FALSE, SetEndOfFile(file.get()));
  }
  DbgLog log = open_log(1);
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "at the end"));
  const OpenFile file(path(), GENERIC_READ, FILE_SHARE_READ);
  ASSERT_TRUE(file.is_open());
  LONG high = 1;
  ASSERT_EQ(16U, SetFilePointer(file.get(), 16, &high, FILE_BEGIN));
  char bytes[200] = {};
  DWORD count = 0;
  ASSERT_NE(FALSE, ReadFile(file.get(), bytes, sizeof(bytes), &count, nullptr));
  EXPECT_EQ("\n> at the end", diag_test::shown({bytes, count}));
}

TEST_F(LogLineTest, TheHeadTellsTheMinutesSinceTheSystemStarted) {
  DbgLog log = open_log(1);
  const DWORD before = GetTickCount();
  vlp::DbgLogPut(&log, 1, 0, "text");
  const DWORD after = GetTickCount();
  std::smatch head;
  const std::string all = content().value_or("");
  ASSERT_TRUE(std::regex_search(all, head, std::regex("^\r\n([0-9]+):([0-9]+)\\.([0-9]+) ")));
  const DWORD shown = static_cast<DWORD>(std::stoul(head[1]) * 60000 + std::stoul(head[2]) * 1000 +
                                         std::stoul(head[3]));
  EXPECT_LE(shown - before, after - before) << all;
}

// A caller that holds the lock may write its line without the gate.
TEST_F(LogLineTest, TheBareWriterLooksAtNoCategory) {
  DbgLog log = open_log(0x2);
  const vlp::LockGuard guard(log.lock);
  EXPECT_EQ(1, vlp::DbgWriteLine(log, 0, "bare", "rc", 1));
  EXPECT_EQ("\n> bare : rc = 1", lines());
}

}  // namespace
