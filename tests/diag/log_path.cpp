// The names of a log's file, its rotated file and its mutex.

#include "diag/log_path.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vlp::DbgBuildPath;
using vlp::LogMutexName;
using vlp::RotatedPath;

constexpr const char* kPrefix = "Global\\VELNO_VLAPI_DbgMutex_";

TEST(LogPath, CleansThePrinterNameAndPutsItBetweenDirectoryAndEnding) {
  EXPECT_EQ("C:\\log\\  srv hp 1.dat", DbgBuildPath("C:\\log\\", "\\\\srv\\hp:1"));
}

TEST(LogPath, BlanksExactlyWhatAFileNameCannotHold) {
  const std::string forbidden = "\\/:,;*?\"<>|";
  for (int code = 1; code < 128; ++code) {
    const char character = static_cast<char>(code);
    const bool bad = forbidden.find(character) != std::string::npos;
    const std::string name = {'a', character, 'b'};
    EXPECT_EQ("C:\\" + (bad ? std::string("a b") : name) + ".dat",
              DbgBuildPath("C:\\", name.c_str()))
        << "character " << code;
  }
}

TEST(LogPath, InsertsNoSeparator) {
  EXPECT_EQ("C:\\logprinter.dat", DbgBuildPath("C:\\log", "printer"));
}

TEST(LogPath, NeedsNameAndDirectory) {
  EXPECT_EQ("", DbgBuildPath(nullptr, "printer"));
  EXPECT_EQ("", DbgBuildPath("C:\\log\\", nullptr));
  EXPECT_EQ("", DbgBuildPath(nullptr, nullptr));
}

TEST(LogPath, EmptyTextsAreNamesToo) {
  EXPECT_EQ("C:\\log\\.dat", DbgBuildPath("C:\\log\\", ""));
  EXPECT_EQ("printer.dat", DbgBuildPath("", "printer"));
}

TEST(LogPath, LosesAColonAtTheEnd) {
  EXPECT_EQ("C.dat", DbgBuildPath("C:", ""));
  EXPECT_EQ("C:printer.dat", DbgBuildPath("C:", "printer"));
  EXPECT_EQ("C:\\ .dat", DbgBuildPath("C:\\", ":"));
}

TEST(LogPath, TakesAtMost259Bytes) {
  const std::string directory = "C:\\log\\";
  const std::string fits(259 - directory.size() - 4, 'n');
  EXPECT_EQ(directory + fits + ".dat", DbgBuildPath(directory.c_str(), fits.c_str()));
  EXPECT_EQ("", DbgBuildPath(directory.c_str(), (fits + "n").c_str()));
}

TEST(LogPath, EachPartMayBeTheOneThatDoesNotFit) {
  const std::string long_directory(259, 'd');
  EXPECT_EQ("", DbgBuildPath(long_directory.c_str(), ""));          // the ending
  EXPECT_EQ("", DbgBuildPath(long_directory.c_str(), "n"));         // the name
  EXPECT_EQ("", DbgBuildPath((long_directory + "d").c_str(), ""));  // the directory
  EXPECT_EQ("", DbgBuildPath(std::string(5000, 'd').c_str(), "n"));
  EXPECT_EQ(std::string(255, 'd') + ".dat", DbgBuildPath(std::string(255, 'd').c_str(), ""));
  EXPECT_EQ("", DbgBuildPath(std::string(256, 'd').c_str(), ""));
}

TEST(LogPath, ANameBeyondTheLimitIsCutBeforeItIsFoundTooLong) {
  EXPECT_EQ("", DbgBuildPath("", std::string(259, 'n').c_str()));
  EXPECT_EQ("", DbgBuildPath("", std::string(100000, 'n').c_str()));
}

TEST(LogRotatedPath, ReplacesWhatFollowsTheLastDot) {
  EXPECT_EQ("C:\\log\\printer_0.dat", RotatedPath("C:\\log\\printer.dat"));
  EXPECT_EQ("C:\\log\\a.b_0.dat", RotatedPath("C:\\log\\a.b.dat"));
  EXPECT_EQ("C:\\x_0.dat", RotatedPath("C:\\x.y\\printer"));
}

TEST(LogRotatedPath, NeedsADot) {
  EXPECT_EQ("", RotatedPath("C:\\log\\printer"));
  EXPECT_EQ("", RotatedPath(""));
}

TEST(LogRotatedPath, TakesAtMost259Bytes) {
  const std::string fits = std::string(253, 'n');
  EXPECT_EQ(fits + "_0.dat", RotatedPath(fits + ".dat"));
  EXPECT_EQ("", RotatedPath(fits + "n.dat"));
}

TEST(LogMutexName, CarriesWhatStandsBehindTheLastBackslash) {
  EXPECT_EQ(std::string(kPrefix) + "  srv hp 1.dat", LogMutexName("C:\\log\\  srv hp 1.dat"));
  EXPECT_EQ(std::string(kPrefix) + "b.dat", LogMutexName("a\\b.dat"));
}

TEST(LogMutexName, NeedsABackslash) {
  EXPECT_EQ("", LogMutexName("printer.dat"));
  EXPECT_EQ("", LogMutexName("/var/log/printer.dat"));
}

TEST(LogMutexName, TakesAtMost259Bytes) {
  const std::string fits(259 - std::string(kPrefix).size(), 'n');
  EXPECT_EQ(kPrefix + fits, LogMutexName("C:\\" + fits));
  EXPECT_EQ("", LogMutexName("C:\\" + fits + "n"));
}

}  // namespace
