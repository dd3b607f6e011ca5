// The end of the length protocol.

#include "operations/answer.h"

#include "include/vlpbidi.h"
#include "tests/support/log_lines.h"

#include <gtest/gtest.h>

#include <array>

namespace vlp {
namespace {

constexpr std::array<std::uint8_t, 4> kData = {'a', 0, 'b', 'c'};

TEST(Answer, FillsABufferOfItsSize) {
  std::array<std::uint8_t, 5> buffer = {1, 1, 1, 1, 1};
  std::uint32_t length = 4;
  EXPECT_EQ(0, AnswerFrom(nullptr, "line", kData, buffer.data(), &length));
  EXPECT_EQ(4u, length);
  EXPECT_EQ((std::array<std::uint8_t, 5>{'a', 0, 'b', 'c', 1}), buffer);
}

TEST(Answer, FillsALargerBufferAndTellsItsLength) {
  std::array<std::uint8_t, 5> buffer = {1, 1, 1, 1, 1};
  std::uint32_t length = 5;
  EXPECT_EQ(0, AnswerFrom(nullptr, "line", kData, buffer.data(), &length));
  EXPECT_EQ(4u, length);
  EXPECT_EQ(1, buffer[4]);
}

TEST(Answer, LeavesASmallerBufferAloneAndTellsTheSizeNeeded) {
  std::array<std::uint8_t, 3> buffer = {1, 1, 1};
  std::uint32_t length = 3;
  EXPECT_EQ(VLPER_BUFFERSIZE, AnswerFrom(nullptr, "line", kData, buffer.data(), &length));
  EXPECT_EQ(4u, length);
  EXPECT_EQ((std::array<std::uint8_t, 3>{1, 1, 1}), buffer);
}

TEST(Answer, NeedsNoBufferForTheSize) {
  std::uint32_t length = 0;
  EXPECT_EQ(VLPER_BUFFERSIZE, AnswerFrom(nullptr, "line", kData, nullptr, &length));
  EXPECT_EQ(4u, length);
}

TEST(Answer, OfNoBytesNeedsNoBuffer) {
  std::uint32_t length = 0;
  EXPECT_EQ(0, AnswerFrom(nullptr, "line", {}, nullptr, &length));
  EXPECT_EQ(0u, length);
  length = 7;
  EXPECT_EQ(0, AnswerFrom(nullptr, "line", {}, nullptr, &length));
  EXPECT_EQ(0u, length);
}

TEST(Answer, LogsItsBytesOrItsCode) {
  far_side::reset();
  const std::string directory = far_side::fresh_log_directory();
  DbgLog log("Printer", directory.c_str(), kLogPrinter, 0);
  constexpr std::array<std::uint8_t, 3> kText = {'a', 'b', 'c'};
  std::array<std::uint8_t, 3> buffer = {};
  std::uint32_t length = 3;
  EXPECT_EQ(0, AnswerFrom(&log, "the line", kText, buffer.data(), &length));
  length = 2;
  EXPECT_EQ(VLPER_BUFFERSIZE, AnswerFrom(&log, "the line", kText, buffer.data(), &length));

  const auto lines = log_lines::read(directory + "Printer.dat");
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("the line", lines[0].shown());
  EXPECT_EQ((std::vector<std::string>{"Data(3): abc"}), lines[0].bytes);
  EXPECT_EQ("### the line : rc = -5", lines[1].shown());
  EXPECT_TRUE(lines[1].bytes.empty());
}

}  // namespace
}  // namespace vlp
