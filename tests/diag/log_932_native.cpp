// A log whose printer has a name of double-byte characters. Wine can't make such a file
// unless the host has a locale for it.

#include <gtest/gtest.h>

#include <string>

#include "tests/diag/log_fixture.h"

namespace {

using Log932FileTest = diag_test::LogTest;

TEST_F(Log932FileTest, ALogWritesAndRotates) {
  far_side::set_code_page(932);
  const std::string name = "\x95\x5C";  // its second byte is that of a backslash
  vlp::DbgLog log = open_log(1, 1, name.c_str());
  EXPECT_EQ(directory() + name + ".dat", log.fileName);
  EXPECT_TRUE(static_cast<bool>(log.mutex));
  EXPECT_EQ(1, vlp::DbgLogPut(&log, 1, 0, "line"));
  vlp::DbgStampLimit(&log);
  EXPECT_TRUE(far_side::read_file(directory() + name + "_0.dat").has_value());
}

}  // namespace
