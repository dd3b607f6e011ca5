// A machine that a test describes in code.

#include "tests/platform/own_machine.h"

#include "platform/kernel/object.h"
#include "platform/machine.h"

#include <winnetwk.h>
#include <winspool.h>

#include <string.h>

#include <filesystem>
#include <fstream>

namespace {

using own_machine::untouched;

class DescribedMachine : public own_machine::MachineTest {
 protected:
  ~DescribedMachine() override { EXPECT_EQ("", platform::handle_report()); }
};

struct Answer {
  std::string buffer;
  DRIVER_INFO_6A info = {};
};

Answer driver_of(std::string printer_name) {
  Answer answer;
  HANDLE printer = nullptr;
  EXPECT_TRUE(OpenPrinterA(printer_name.data(), &printer, nullptr));
  DWORD needed = 0;
  GetPrinterDriverA(printer, nullptr, 6, nullptr, 0, &needed);
  answer.buffer.resize(needed);
  EXPECT_TRUE(GetPrinterDriverA(printer, nullptr, 6, reinterpret_cast<LPBYTE>(answer.buffer.data()),
                                needed, &needed));
  memcpy(&answer.info, answer.buffer.data(), sizeof answer.info);
  EXPECT_TRUE(ClosePrinter(printer));
  return answer;
}

TEST_F(DescribedMachine, IsEmptyAtFirst) {
  DWORD needed = 9;
  DWORD count = 9;
  EXPECT_TRUE(EnumPrintersA(PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS, nullptr, 2, nullptr, 0,
                            &needed, &count));
  EXPECT_EQ(0U, needed);
  EXPECT_EQ(0U, count);
  EXPECT_EQ(1252U, GetACP());
  EXPECT_FALSE(platform::machine_error().has_value());
}

TEST_F(DescribedMachine, PrinterAndDriverAreAnsweredAsDescribed) {
  platform::add_driver({.name = "Model", .dependent_files = {{"m.lmd", "C:\\d\\n.lmd"}}});
  platform::add_printer({.name = "Office", .driver = "Model"});
  const Answer answer = driver_of("OFFICE");
  EXPECT_STREQ("Model", answer.info.pName);
  EXPECT_STREQ("C:\\windows\\system32\\spool\\drivers\\x64\\3\\vldrv.dll", answer.info.pDriverPath);
  EXPECT_STREQ("m.lmd", answer.info.pDependentFiles);
  EXPECT_STREQ("C:\\d\\n.lmd", answer.info.pDependentFiles + 6);
  EXPECT_EQ('\0', answer.info.pDependentFiles[18]);
}

TEST_F(DescribedMachine, EmptyListOfDependentFilesIsTwoEmptyTexts) {
  platform::add_driver({.name = "Model", .dependent_files = std::vector<std::string>{}});
  platform::add_printer({.name = "Office", .driver = "Model"});
  const Answer answer = driver_of("Office");
  ASSERT_NE(nullptr, answer.info.pDependentFiles);
  EXPECT_EQ('\0', answer.info.pDependentFiles[0]);
  EXPECT_EQ('\0', answer.info.pDependentFiles[1]);
}

TEST_F(DescribedMachine, PrinterOfAnotherComputerIsListedAsAConnection) {
  platform::add_printer({.name = "Office"});
  platform::add_printer({.name = "\\\\CSR|server\\alias", .attributes = 0x10});
  for (const DWORD flags : {DWORD{PRINTER_ENUM_LOCAL}, DWORD{PRINTER_ENUM_CONNECTIONS}}) {
    BYTE buffer[512] = {};
    DWORD needed = 0;
    DWORD count = 0;
    ASSERT_TRUE(EnumPrintersA(flags, nullptr, 4, buffer, sizeof buffer, &needed, &count));
    ASSERT_EQ(1U, count);
    PRINTER_INFO_4A info = {};
    memcpy(&info, buffer, sizeof info);
    EXPECT_STREQ(flags == PRINTER_ENUM_LOCAL ? "Office" : "\\\\CSR|server\\alias",
                 info.pPrinterName);
  }
}

TEST_F(DescribedMachine, OpenPrinterThatIsRemovedSaysSo) {
  platform::add_printer({.name = "Office"});
  HANDLE printer = nullptr;
  std::string name = "Office";
  ASSERT_TRUE(OpenPrinterA(name.data(), &printer, nullptr));
  platform::remove_printer("office");
  DWORD needed = 7;
  EXPECT_FALSE(GetPrinterA(printer, 2, nullptr, 0, &needed));
  EXPECT_EQ(DWORD{ERROR_PRINTER_DELETED}, GetLastError());
  EXPECT_EQ(7U, needed);
  EXPECT_TRUE(ClosePrinter(printer));
}

TEST_F(DescribedMachine, PublishedTextInPage932HasAnsiSizes) {
  platform::set_ansi_code_page(932);
  platform::add_printer({.name = "Office"});
  platform::set_registry_text(
      "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\Office\\DsSpooler",
      "printerName", "\u3042\u30BD");
  HANDLE printer = nullptr;
  std::string name = "Office";
  ASSERT_TRUE(OpenPrinterA(name.data(), &printer, nullptr));
  BYTE bytes[8] = {};
  DWORD type = 0;
  DWORD needed = 0;
  EXPECT_EQ(DWORD{ERROR_SUCCESS},
            GetPrinterDataExA(printer, "DsSpooler", "printerName", &type, bytes, 5, &needed));
  EXPECT_EQ(5U, needed);
  EXPECT_EQ("82 A0 83 5C 00 ", own_machine::hex({reinterpret_cast<char*>(bytes), 5}));
  EXPECT_TRUE(ClosePrinter(printer));
}

TEST_F(DescribedMachine, FileNamesInPage932AreFoundThroughTheirTrailBytes) {
  platform::set_ansi_code_page(932);
  own_machine::write_file("C:\\\x83\x5C.lmd", "[S]\r\nk=\x83\x5D\r\n");
  char text[8] = {};
  EXPECT_EQ(2U, GetPrivateProfileStringA("S", "k", "", text, 8, "C:\\\x83\x5C.LMD"));
  EXPECT_STREQ("\x83\x5D", text) << "a trail byte that looks like a bracket is none";
}

TEST_F(DescribedMachine, RedirectedPortTellsItsRemoteName) {
  platform::redirect("LPT2:", "\\\\server\\queue");
  char remote[32] = {};
  DWORD length = 3;
  SetLastError(untouched);
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, WNetGetConnectionA("lpt2", remote, &length));
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, GetLastError());
  EXPECT_EQ(15U, length);
  SetLastError(untouched);
  EXPECT_EQ(DWORD{ERROR_SUCCESS}, WNetGetConnectionA("LPT2:", remote, &length));
  EXPECT_EQ(untouched, GetLastError());
  EXPECT_STREQ("\\\\server\\queue", remote);
  platform::redirect("LPT2", "");
  EXPECT_EQ(DWORD{ERROR_NOT_CONNECTED}, WNetGetConnectionA("LPT2", remote, &length));
}

TEST_F(DescribedMachine, TextStoredWithoutItsTerminatorIsGivenWithoutIt) {
  ASSERT_FALSE(
      platform::import_registry("Windows Registry Editor Version 5.00\n"
                                "[HKEY_LOCAL_MACHINE\\Software\\X]\n"
                                "\"t\"=hex(1):61,00,62,00\n\"odd\"=hex(1):61,00,62\n"));
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\X", 0, KEY_READ, &key));
  for (const char* name : {"t", "odd"}) {
    char text[4] = "###";
    DWORD size = 4;
    EXPECT_EQ(ERROR_SUCCESS,
              RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(text), &size));
    EXPECT_EQ(name[0] == 't' ? "ab#" : "a##", std::string(text, 3));
  }
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(key));
}

TEST_F(DescribedMachine, LinksOnTheDriveAreNotFollowed) {
  const std::filesystem::path drive = platform::machine_drive();
  std::filesystem::create_symlink("/etc/hostname", drive / "link.txt");
  std::filesystem::create_directory_symlink("/etc", drive / "folder");
  SetLastError(0);
  EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileA("C:\\link.txt", GENERIC_READ, FILE_SHARE_READ,
                                              nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
  EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileA("C:\\folder\\hostname", GENERIC_READ, FILE_SHARE_READ,
                                              nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, GetLastError());
  EXPECT_EQ(INVALID_HANDLE_VALUE, CreateFileA("C:\\..\\..\\etc\\hostname", GENERIC_READ,
                                              FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
}

TEST_F(DescribedMachine, NewFilesAreOnlyForTheOwnerAndItsGroup) {
  own_machine::write_file("C:\\x.log", "");
  const auto mode = std::filesystem::status(platform::machine_drive() + "/x.log").permissions();
  EXPECT_EQ(std::filesystem::perms::none, mode & std::filesystem::perms::others_all);
  EXPECT_EQ(std::filesystem::perms::none, mode & std::filesystem::perms::group_write);
}

TEST_F(DescribedMachine, TemporaryDriveGoesWithTheMachine) {
  const std::string drive = platform::machine_drive();
  EXPECT_TRUE(std::filesystem::exists(drive));
  platform::reset_machine();
  EXPECT_FALSE(std::filesystem::exists(drive));
}

TEST_F(DescribedMachine, LeakedHandlesAreReportedByKind) {
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software", 0, KEY_READ, &key));
  EXPECT_NE(std::string::npos, platform::handle_report().find("key of RegOpenKeyExA"));
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(key));
  EXPECT_EQ(ERROR_INVALID_HANDLE, RegCloseKey(key));
}

}  // namespace
