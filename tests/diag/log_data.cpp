// Data and dumps behind a line.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "tests/diag/log_fixture.h"

namespace {

using diag_test::LogTest;
using diag_test::shown;
using vlp::DbgLog;
using vlp::kLogData;
using vlp::kLogDump;

using LogDataTest = LogTest;

std::string bytes_of(size_t count) {
  std::string bytes;
  for (size_t i = 0; i < count; ++i) bytes.push_back(static_cast<char>('!' + i % 90));
  return bytes;
}

std::string dump_of(const std::string& bytes) {
  const char* const digits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += {digits[value >> 4], digits[value & 15], ' '};
  }
  return text;
}

int32_t put(DbgLog& log, uint32_t flags, const std::string& bytes) {
  return vlp::DbgLogData(&log, 1, flags, bytes.data(), static_cast<uint32_t>(bytes.size()), "line");
}

TEST_F(LogDataTest, TheDataFlagWritesTheBytesAsTheyAre) {
  DbgLog log = open_log(1);
  const std::string bytes("a\0b\r\n\xFF%s", 8);
  EXPECT_EQ(1, put(log, kLogData, bytes));
  EXPECT_EQ("\n> line\r\n Data(8): " + bytes, lines());
}

TEST_F(LogDataTest, TheDumpFlagWritesTwoLowerCaseDigitsAndABlankEach) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, put(log, kLogDump, std::string("\0\x1B\xAF\xff", 4)));
  EXPECT_EQ("\n> line\r\n Dump(4): 00 1b af ff ", lines());
}

TEST_F(LogDataTest, BothFlagsWriteBothDataFirst) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, put(log, kLogData | kLogDump, "AB"));
  EXPECT_EQ("\n> line\r\n Data(2): AB\r\n Dump(2): 41 42 ", lines());
}

TEST_F(LogDataTest, WithoutEitherFlagOnlyTheLineComes) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, put(log, 0, "AB"));
  EXPECT_EQ("\n> line", lines());
}

TEST_F(LogDataTest, TheLineHasAllPiecesOfAnyLine) {
  DbgLog log = open_log(1);
  const uint32_t time = 1000;
  const uint32_t count = 2;
  SetLastError(5);
  vlp::DbgLogData(&log, 1, vlp::kLogError | kLogData, "x", 1, "text", "rc", -1,
                  {&time, &count, &time, &count});
  EXPECT_EQ(
      "\n### > text : rc = -1 : LastError = 5 : S(2)  0: 1.000  E(2)  0: 1.000 \r\n Data(1): x",
      lines());
}

TEST_F(LogDataTest, MoreThan256BytesAreCutThereButTheNumberIsTheLength) {
  for (const size_t length : {1U, 255U, 256U, 257U, 300U, 5000U}) {
    const std::string name = std::to_string(length);
    DbgLog log = open_log(1, 0, name.c_str());
    const std::string bytes = bytes_of(length);
    const std::string kept = bytes.substr(0, 256);
    EXPECT_EQ(1, put(log, kLogData | kLogDump, bytes));
    EXPECT_EQ(
        "\n> line\r\n Data(" + name + "): " + kept + "\r\n Dump(" + name + "): " + dump_of(kept),
        shown(far_side::read_file(log.fileName).value_or("")));
  }
}

TEST_F(LogDataTest, TheModifierOfTheMaskLetsAllBytesThrough) {
  for (const size_t length : {1U, 256U, 257U, 300U, 5000U}) {
    const std::string name = std::to_string(length);
    DbgLog log = open_log(1 | vlp::kLogUncut, 0, name.c_str());
    const std::string bytes = bytes_of(length);
    EXPECT_EQ(1, put(log, kLogData | kLogDump, bytes));
    EXPECT_EQ(
        "\n> line\r\n Data(" + name + "): " + bytes + "\r\n Dump(" + name + "): " + dump_of(bytes),
        shown(far_side::read_file(log.fileName).value_or("")));
  }
}

TEST_F(LogDataTest, NoBytesMeanOnlyTheLine) {
  DbgLog log = open_log(1);
  EXPECT_EQ(1, vlp::DbgLogData(&log, 1, kLogData | kLogDump, "abc", 0, "empty"));
  EXPECT_EQ(1, vlp::DbgLogData(&log, 1, kLogData | kLogDump, nullptr, 0, "null"));
  EXPECT_EQ("\n> empty\n> null", lines());
}

TEST_F(LogDataTest, ANullBufferWithALengthFailsBehindTheLine) {
  DbgLog log = open_log(1);
  EXPECT_EQ(0, vlp::DbgLogData(&log, 1, kLogData | kLogDump, nullptr, 3, "line"));
  EXPECT_EQ("\n> line", lines());
}

}  // namespace
