// Exact times in heads and stamps, by the virtual clock.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "tests/diag/log_fixture.h"
#include "tests/support/virtual_time.h"

namespace {

using diag_test::LogTest;
using vlp::DbgLog;

class LogTimeTest : public LogTest {
 protected:
  std::string head_at(uint64_t tick, uint32_t flags = 0) const {
    far_side::remove_file(path());
    std::string head;
    test::run_virtual_parallel(
        [&] {
          DbgLog log = open_log(1);
          vlp::DbgLogPut(&log, 1, flags, "");
          head = "\r\n" + std::string(flags != 0 ? "### " : "");
          const std::string ids = " [PID:" + std::to_string(GetCurrentProcessId()) +
                                  " TID:" + std::to_string(GetCurrentThreadId()) + "] : ";
          const std::string all = content().value_or("");
          const size_t at = all.find(ids);
          ASSERT_NE(std::string::npos, at) << all;
          ASSERT_EQ(head, all.substr(0, head.size()));
          head = all.substr(head.size(), at - head.size());
        },
        {.tick_start_ms = tick});
    return head;
  }
};

TEST_F(LogTimeTest, MinutesAreNotReducedToHours) {
  EXPECT_EQ("00:00.000", head_at(0));
  EXPECT_EQ("12:34.567", head_at((12 * 60 + 34) * 1000 + 567));
  EXPECT_EQ("59:59.999", head_at(3'599'999));
  EXPECT_EQ("60:00.000", head_at(3'600'000));
  EXPECT_EQ("99:59.999", head_at(5'999'999));
  EXPECT_EQ("125:03.004", head_at((125 * 60 + 3) * 1000 + 4));
  EXPECT_EQ("1440:00.000", head_at(86'400'000));
  EXPECT_EQ("71582:47.295", head_at(0xFFFFFFFF));
  EXPECT_EQ("00:00.000", head_at(0x100000000));
}

TEST_F(LogTimeTest, AFailureHasTheSameTimesBehindItsMark) {
  EXPECT_EQ("125:03.004", head_at((125 * 60 + 3) * 1000 + 4, vlp::kLogError));
}

TEST_F(LogTimeTest, AWholeFailureLineReadsAsItShould) {
  test::run_virtual_parallel(
      [&] {
        DbgLog log = open_log(1);
        SetLastError(0);
        vlp::DbgLogPut(&log, 1, vlp::kLogError, "CPrinterInf::GetStatus Return", "rc", -5);
        EXPECT_EQ("\r\n### 12:34.567 [PID:" + std::to_string(GetCurrentProcessId()) +
                      " TID:" + std::to_string(GetCurrentThreadId()) +
                      "] : CPrinterInf::GetStatus Return : rc = -5 : LastError = 0",
                  content());
      },
      {.tick_start_ms = 754'567});
}

TEST_F(LogTimeTest, TheTimeOfALineIsThatOfItsWriting) {
  test::run_virtual_parallel(
      [&] {
        DbgLog log = open_log(1);
        vlp::DbgLogPut(&log, 1, 0, "one");
        test::sleep_ms(61'001);
        vlp::DbgLogPrintf(&log, 1, "two");
        const std::string all = content().value_or("");
        EXPECT_EQ(0U, all.find("\r\n00:05.000 ")) << all;
        EXPECT_NE(std::string::npos, all.find("\r\n01:06.001 ")) << all;
      },
      {.tick_start_ms = 5000});
}

TEST_F(LogTimeTest, AStampShowsTheLocalTimeWithLeadingZeros) {
  test::run_virtual_parallel([&] {
    DbgLog log = open_log(1);
    SYSTEMTIME start{};
    GetLocalTime(&start);
    ASSERT_EQ(2024, start.wYear);
    ASSERT_EQ(10, start.wHour);
    vlp::DbgStampLimit(&log);
    test::sleep_ms(3'600'000u * 24 * 20 + 61'007);  // to the 4th of April, 10:01:01.007
    vlp::DbgStampLimit(&log);
    EXPECT_EQ(
        "\n> ----- 2024/03/15 10:00:00.000 -----"
        "\n> ----- 2024/04/04 10:01:01.007 -----",
        lines());
  });
}

}  // namespace
