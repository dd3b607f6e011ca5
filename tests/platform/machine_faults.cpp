// Every call on the machine that can fail fails when it is told to, in its own way.

#include "tests/platform/own_machine.h"

#include "platform/faults.h"
#include "platform/kernel/object.h"
#include "platform/machine.h"
#include "tests/support/virtual_time.h"

#include <winnetwk.h>
#include <winspool.h>

namespace {

using own_machine::untouched;

constexpr DWORD planted = 1450;

class MachineFaults : public own_machine::MachineTest {
 protected:
  MachineFaults() {
    platform::add_driver({.name = "Model"});
    platform::add_printer({.name = "Office", .driver = "Model"});
    own_machine::write_file("C:\\x.ini", "[S]\r\nk=5\r\n");
  }
  ~MachineFaults() override {
    platform::clear_faults();
    EXPECT_EQ("", platform::handle_report());
  }

  static void arm(const char* call) {
    platform::fail_call(call, 1, planted);
    SetLastError(untouched);
  }
};

TEST_F(MachineFaults, RegistryCallsGiveTheErrorAsTheirResult) {
  HKEY key = HKEY_LOCAL_MACHINE;
  arm("RegOpenKeyExA");
  EXPECT_EQ(LONG{planted}, RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software", 0, KEY_READ, &key));
  EXPECT_EQ(nullptr, key);
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software", 0, KEY_READ, &key));
  arm("RegQueryValueExA");
  DWORD size = 9;
  EXPECT_EQ(LONG{planted}, RegQueryValueExA(key, "x", nullptr, nullptr, nullptr, &size));
  EXPECT_EQ(9U, size);
  arm("RegEnumKeyExA");
  char name[260] = "#";
  size = 260;
  EXPECT_EQ(LONG{planted}, RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ('#', name[0]);
  EXPECT_EQ(untouched, GetLastError());
  arm("RegCloseKey");
  EXPECT_EQ(LONG{planted}, RegCloseKey(key));
  EXPECT_EQ("", platform::handle_report()) << "a close that fails still closes";
}

TEST_F(MachineFaults, FileCallsGiveTheErrorAsLastError) {
  arm("CreateFileA");
  EXPECT_EQ(INVALID_HANDLE_VALUE,
            CreateFileA("C:\\x.ini", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(planted, GetLastError());
  const HANDLE file = CreateFileA("C:\\x.ini", static_cast<DWORD>(GENERIC_READ) | GENERIC_WRITE, 0,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD count = 9;
  char byte = 'x';
  BY_HANDLE_FILE_INFORMATION info = {};
  const auto expect_failure = [](const char* call, auto run) {
    arm(call);
    EXPECT_TRUE(run()) << call;
    EXPECT_EQ(planted, GetLastError()) << call;
  };
  expect_failure("ReadFile", [&] { return !ReadFile(file, &byte, 1, &count, nullptr); });
  expect_failure("WriteFile", [&] { return !WriteFile(file, &byte, 1, &count, nullptr); });
  expect_failure("SetFilePointer", [&] {
    return SetFilePointer(file, 0, nullptr, FILE_END) == INVALID_SET_FILE_POINTER;
  });
  expect_failure("SetEndOfFile", [&] { return !SetEndOfFile(file); });
  expect_failure("GetFileInformationByHandle",
                 [&] { return !GetFileInformationByHandle(file, &info); });
  expect_failure("GetFileSize", [&] { return GetFileSize(file, nullptr) == INVALID_FILE_SIZE; });
  EXPECT_TRUE(CloseHandle(file));
  expect_failure("DeleteFileA", [&] { return !DeleteFileA("C:\\x.ini"); });
  expect_failure("MoveFileA", [&] { return !MoveFileA("C:\\x.ini", "C:\\y.ini"); });
  expect_failure("CreateDirectoryA", [&] { return !CreateDirectoryA("C:\\d", nullptr); });
  EXPECT_EQ("[S]\r\nk=5\r\n", own_machine::read_file("C:\\x.ini"));
}

TEST_F(MachineFaults, ProfileCallsGiveTheDefault) {
  arm("GetPrivateProfileIntA");
  EXPECT_EQ(7U, GetPrivateProfileIntA("S", "k", 7, "C:\\x.ini"));
  arm("GetPrivateProfileStringA");
  char text[8] = {};
  EXPECT_EQ(3U, GetPrivateProfileStringA("S", "k", "def", text, 8, "C:\\x.ini"));
  EXPECT_EQ(5U, GetPrivateProfileIntA("S", "k", 7, "C:\\x.ini"));
}

TEST_F(MachineFaults, SpoolerAndRedirectorCallsFailInTheirWay) {
  HANDLE printer = nullptr;
  std::string name = "Office";
  arm("OpenPrinterA");
  EXPECT_FALSE(OpenPrinterA(name.data(), &printer, nullptr));
  EXPECT_EQ(planted, GetLastError());
  ASSERT_TRUE(OpenPrinterA(name.data(), &printer, nullptr));
  DWORD needed = 9;
  DWORD count = 9;
  arm("GetPrinterA");
  EXPECT_FALSE(GetPrinterA(printer, 2, nullptr, 0, &needed));
  EXPECT_EQ(planted, GetLastError());
  arm("GetPrinterDriverA");
  EXPECT_FALSE(GetPrinterDriverA(printer, nullptr, 6, nullptr, 0, &needed));
  EXPECT_EQ(planted, GetLastError());
  EXPECT_EQ(9U, needed);
  arm("GetPrinterDataExA");
  EXPECT_EQ(planted, GetPrinterDataExA(printer, "K", "v", nullptr, nullptr, 0, &needed));
  EXPECT_EQ(untouched, GetLastError());
  arm("EnumPrintersA");
  EXPECT_FALSE(EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 4, nullptr, 0, &needed, &count));
  EXPECT_EQ(planted, GetLastError());
  arm("ClosePrinter");
  EXPECT_FALSE(ClosePrinter(printer));
  EXPECT_EQ(planted, GetLastError());
  arm("WNetGetConnectionA");
  EXPECT_EQ(planted, WNetGetConnectionA("LPT1", nullptr, &needed));
  EXPECT_EQ(planted, GetLastError());
}

TEST_F(MachineFaults, TextCallsFailWithTheError) {
  WCHAR wide[4] = {};
  arm("MultiByteToWideChar");
  EXPECT_EQ(0, MultiByteToWideChar(CP_ACP, 0, "a", -1, wide, 4));
  EXPECT_EQ(planted, GetLastError());
  char bytes[4] = {};
  arm("WideCharToMultiByte");
  EXPECT_EQ(0, WideCharToMultiByte(CP_ACP, 0, TEXT("a"), -1, bytes, 4, nullptr, nullptr));
  EXPECT_EQ(planted, GetLastError());
}

}  // namespace
