// Names in a code page whose characters may end in a byte that looks like a path sign.
// The program runs under code page 932.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "diag/log_path.h"
#include "tests/diag/log_fixture.h"

namespace {

constexpr const char* kHyo = "\x95\x5C";   // its second byte is that of a backslash
constexpr const char* kPipe = "\x83\x7C";  // and this one's of a bar

class Log932Test : public diag_test::LogTest {
 protected:
  Log932Test() { EXPECT_TRUE(far_side::set_code_page(932)) << "no code page 932"; }
};

TEST_F(Log932Test, TrailBytesAreNotBlanked) {
  EXPECT_EQ(std::string("C:\\") + kHyo + kPipe + " \x95\x5C.dat",
            vlp::DbgBuildPath("C:\\", (std::string(kHyo) + kPipe + "\\" + kHyo).c_str()));
}

TEST_F(Log932Test, WhatCannotBeATrailByteIsBlankedBehindALeadByteToo) {
  EXPECT_EQ("C:\\\x95 \x95 .dat", vlp::DbgBuildPath("C:\\", "\x95/\x95:"));
}

TEST_F(Log932Test, ALoneLeadByteAtTheEndStays) {
  EXPECT_EQ("C:\\n\x95.dat", vlp::DbgBuildPath("C:\\", "n\x95"));
}

TEST_F(Log932Test, TrailBytesDoNotEndAFolderName) {
  EXPECT_EQ(std::string("Global\\VELNO_VLAPI_DbgMutex_") + kHyo + ".dat",
            vlp::LogMutexName(std::string("C:\\") + kHyo + ".dat"));
  EXPECT_EQ("", vlp::LogMutexName(std::string(kHyo) + ".dat"));
  EXPECT_EQ(std::string("C:\\") + kHyo + "_0.dat",
            vlp::RotatedPath(std::string("C:\\") + kHyo + ".dat"));
}

// Whether a half character stands at the end is the system's affair.
TEST_F(Log932Test, AWideLineThatGrowsBeyondTheBufferIsCutThere) {
  vlp::DbgLog log = open_log(1);
  const std::basic_string<WCHAR> text(500, WCHAR{0x8868});  // two bytes each in this code page
  SetLastError(diag_test::kUntouched);
  vlp::DbgLogPrintfW(&log, 1, TEXT("%s"), text.c_str());
  EXPECT_EQ(diag_test::kUntouched, GetLastError());
  std::string expected = "\n> ";
  for (int i = 0; i < 255; ++i) expected += kHyo;
  const std::string all = lines();
  EXPECT_EQ(expected, all.substr(0, expected.size()));
  EXPECT_LE(all.size(), expected.size() + 1);
}

}  // namespace
