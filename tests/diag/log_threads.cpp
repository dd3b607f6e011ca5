// Many threads of this process and one log.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "tests/diag/log_fixture.h"
#include "tests/diag/log_threads.h"

namespace {

using diag_test::LogTest;

using LogThreadTest = LogTest;

TEST_F(LogThreadTest, EachLineStandsTogetherWithItsData) {
  vlp::DbgLog log = open_log(1);
  diag_test::write_with_threads(log);
  EXPECT_EQ(diag_test::kWholeCensus, diag_test::census(content().value_or("")));
}

TEST_F(LogThreadTest, RotationBetweenTheLinesTearsNoPiece) {
  vlp::DbgLog log = open_log(1, 2000);
  diag_test::write_with_threads(log);
  diag_test::fill(log);
  vlp::DbgStampLimit(&log);
  const std::string rotated = far_side::read_file(rotated_path()).value_or("");
  EXPECT_EQ("", diag_test::torn(content().value_or("")));
  EXPECT_NE("", rotated);
  EXPECT_EQ("", diag_test::torn(rotated));
}

}  // namespace
