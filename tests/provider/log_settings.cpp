// The log's settings as the registry holds them.

#include "provider/log_settings_reader.h"

#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace vlp {
namespace {

class LogSettingsTest : public ::testing::Test {
 protected:
  void SetUp() override { far_side::reset(); }
  void TearDown() override { far_side::set_log({}); }

  // A value of any type, behind set_log().
  static void SetRaw(const char* name, DWORD type, const std::string& data) {
    HKEY key = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Software\\VELNO\\VLPrinter4\\LogEnv", 0, nullptr,
                              0, KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr, &key, nullptr));
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                             static_cast<DWORD>(data.size())));
    RegCloseKey(key);
  }
};

TEST_F(LogSettingsTest, AreEmptyWhereNothingIsSaid) {
  const LogSettings settings = ReadLogSettings();
  EXPECT_EQ(0u, settings.logFlag);
  EXPECT_EQ(std::nullopt, settings.logPath);
  EXPECT_EQ(0u, settings.maxLogSize);
}

TEST_F(LogSettingsTest, AreReadFromTheThirtyTwoBitView) {
  far_side::set_log({.flag = 0x80000003, .path = "C:\\log\\", .max_size = 5000});
  const LogSettings settings = ReadLogSettings();
  EXPECT_EQ(0x80000003u, settings.logFlag);
  ASSERT_TRUE(settings.logPath);
  EXPECT_STREQ("C:\\log\\", settings.logPath->c_str());
  EXPECT_EQ(5000u, settings.maxLogSize);
}

// As stored, terminator and all.
TEST_F(LogSettingsTest, PathIsKeptAsStored) {
  far_side::set_log({.path = "C:\\log\\"});
  EXPECT_EQ(std::string("C:\\log\\\0", 8), ReadLogSettings().logPath);
}

struct SizeCase {
  std::optional<std::uint32_t> bidi;
  std::optional<std::uint32_t> debug;
  std::uint32_t size;
};

TEST_F(LogSettingsTest, SizeIsTheOwnOneOrElseTheGeneralOne) {
  const SizeCase cases[] = {
      {std::nullopt, std::nullopt, 0},
      {std::nullopt, 0, 0},
      {std::nullopt, 300, 300},
      {0, std::nullopt, 0},
      {0, 0, 0},
      {0, 300, 300},
      {200, std::nullopt, 200},
      {200, 0, 200},
      {200, 300, 200},
      {0xFFFFFFFF, 300, 0xFFFFFFFF},
      {0, 0xFFFFFFFF, 0xFFFFFFFF},
  };
  for (const SizeCase& each : cases) {
    far_side::set_log({.max_size = each.bidi, .debug_max_size = each.debug});
    EXPECT_EQ(each.size, ReadLogSettings().maxLogSize)
        << each.bidi.value_or(1) << " " << each.debug.value_or(1);
  }
}

TEST_F(LogSettingsTest, EachValueStandsForItself) {
  far_side::set_log({.flag = 7});
  EXPECT_EQ(7u, ReadLogSettings().logFlag);
  EXPECT_EQ(std::nullopt, ReadLogSettings().logPath);
  far_side::set_log({.path = "C:\\log\\"});
  EXPECT_EQ(0u, ReadLogSettings().logFlag);
  EXPECT_TRUE(ReadLogSettings().logPath);
}

TEST_F(LogSettingsTest, TypesOfNumbersDontCount) {
  SetRaw("Bidi_LogFlag", REG_BINARY, std::string("\x01\x02\x03\x04", 4));
  EXPECT_EQ(0x04030201u, ReadLogSettings().logFlag);
}

TEST_F(LogSettingsTest, LongerNumbersCountAsMissing) {
  SetRaw("Bidi_LogFlag", REG_QWORD, std::string("\x01\0\0\0\0\0\0\0", 8));
  SetRaw("Bidi_MaxLogSize", REG_SZ, "12345");
  const LogSettings settings = ReadLogSettings();
  EXPECT_EQ(0u, settings.logFlag);
  EXPECT_EQ(0u, settings.maxLogSize);
}

TEST_F(LogSettingsTest, ShorterNumbersFillTheLowBytes) {
  SetRaw("Bidi_LogFlag", REG_BINARY, std::string("\x01\x02", 2));
  EXPECT_EQ(0x0201u, ReadLogSettings().logFlag);
}

TEST_F(LogSettingsTest, PathOfTheLongestLengthIsRead) {
  const std::string path = "C:\\" + std::string(255, 'd') + "\\";
  ASSERT_EQ(259u, path.size());
  far_side::set_log({.path = path});
  ASSERT_TRUE(ReadLogSettings().logPath);
  EXPECT_EQ(path, ReadLogSettings().logPath->c_str());
}

TEST_F(LogSettingsTest, LongerPathCountsAsMissing) {
  far_side::set_log({.path = "C:\\" + std::string(256, 'd') + "\\"});
  EXPECT_EQ(std::nullopt, ReadLogSettings().logPath);
  far_side::set_log({.path = std::string(5000, 'd')});
  EXPECT_EQ(std::nullopt, ReadLogSettings().logPath);
}

TEST_F(LogSettingsTest, PathOfAllBytesWithoutATerminatorIsBounded) {
  SetRaw("Bidi_LogPath", REG_BINARY, std::string(260, 'd'));
  const LogSettings settings = ReadLogSettings();
  ASSERT_TRUE(settings.logPath);
  EXPECT_EQ(std::string(260, 'd'), *settings.logPath);
  EXPECT_EQ('\0', settings.logPath->c_str()[260]);
}

TEST_F(LogSettingsTest, TellTheSystemsVersion) {
  OSVERSIONINFOEXA version{};
  version.dwOSVersionInfoSize = sizeof(version);
  ASSERT_NE(FALSE, GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)));
  const LogSettings settings = ReadLogSettings();
  EXPECT_GE(settings.osMajorVersion, 5u);
  EXPECT_EQ(version.dwMajorVersion, settings.osMajorVersion);
  EXPECT_EQ(version.dwMinorVersion, settings.osMinorVersion);
  EXPECT_EQ(version.wServicePackMajor, settings.servicePackMajor);
}

}  // namespace
}  // namespace vlp
