// What the far side has been told is what the system's own calls answer.

#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <winnetwk.h>
#include <winreg.h>
#include <winspool.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using far_side::Feature;

class FarSideWorld : public testing::Test {
 protected:
  void SetUp() override { far_side::reset(); }
};

class Opened {
 public:
  explicit Opened(std::string name) {
    opened_ = OpenPrinterA(name.data(), &handle_, nullptr) != FALSE;
  }
  ~Opened() {
    if (opened_) {
      EXPECT_NE(FALSE, ClosePrinter(handle_));
    }
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

  explicit operator bool() const { return opened_; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_ = nullptr;
  bool opened_ = false;
};

struct PrinterSeen {
  std::optional<std::string> port;
  DWORD attributes = 0;
};

std::optional<PrinterSeen> see(const std::string& name) {
  const Opened printer(name);
  DWORD needed = 0;
  if (!printer || GetPrinterA(printer.get(), 2, nullptr, 0, &needed) != FALSE) {
    return std::nullopt;
  }
  EXPECT_EQ(static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER), GetLastError());
  std::vector<BYTE> buffer(needed);
  if (GetPrinterA(printer.get(), 2, buffer.data(), needed, &needed) == FALSE) {
    return std::nullopt;
  }
  PRINTER_INFO_2A info;
  memcpy(&info, buffer.data(), sizeof info);
  PrinterSeen seen{std::nullopt, info.Attributes};
  if (info.pPortName != nullptr) {
    seen.port = info.pPortName;
  }
  return seen;
}

// Driver path first, dependent files behind it.
std::vector<std::string> driver_files(const std::string& name) {
  const Opened printer(name);
  DWORD needed = 0;
  GetPrinterDriverA(printer.get(), nullptr, 6, nullptr, 0, &needed);
  std::vector<BYTE> buffer(needed);
  if (needed == 0 ||
      GetPrinterDriverA(printer.get(), nullptr, 6, buffer.data(), needed, &needed) == FALSE) {
    return {};
  }
  DRIVER_INFO_6A info;
  memcpy(&info, buffer.data(), sizeof info);
  std::vector<std::string> files = {info.pDriverPath};
  for (const char* file = info.pDependentFiles; file != nullptr && *file != '\0';
       file += files.back().size() + 1) {
    files.emplace_back(file);
  }
  return files;
}

std::string published(const std::string& name, const char* value) {
  const Opened printer(name);
  char data[260] = "";
  DWORD type = 0;
  DWORD needed = 0;
  const DWORD result = GetPrinterDataExA(printer.get(), "DsSpooler", value, &type,
                                         reinterpret_cast<BYTE*>(data), sizeof data, &needed);
  return result == ERROR_SUCCESS ? std::string(data, needed) : "error " + std::to_string(result);
}

TEST_F(FarSideWorld, PrinterIsKnownUntilItIsRemoved) {
  EXPECT_FALSE(see("Printer").has_value());
  far_side::add_printer({.name = "Printer", .port = "USB001", .attributes = 0x40});
  const auto seen = see("Printer");
  ASSERT_TRUE(seen.has_value());
  EXPECT_EQ("USB001", seen->port);
  EXPECT_EQ(0x40U, seen->attributes);
  far_side::remove_printer("Printer");
  EXPECT_FALSE(see("Printer").has_value());
}

TEST_F(FarSideWorld, PortAndAttributesCanChange) {
  far_side::add_printer({.name = "Printer"});
  far_side::set_port("Printer", "LPT1:");
  far_side::set_attributes("Printer", far_side::attribute_network);
  const auto seen = see("Printer");
  ASSERT_TRUE(seen.has_value());
  EXPECT_EQ("LPT1:", seen->port);
  EXPECT_EQ(far_side::attribute_network, seen->attributes);
}

TEST_F(FarSideWorld, ModelIsADriverWithItsProfile) {
  far_side::add_model("VL Model", "LPT_Channel00=0x10010003\nLPT_ChnlMode00=0x7");
  far_side::add_printer({.name = "Printer", .driver = "VL Model"});
  const std::vector<std::string> files = driver_files("Printer");
  ASSERT_EQ(2U, files.size());
  EXPECT_EQ(far_side::driver_directory() + "VL Model.LMD", files[1]);
  EXPECT_EQ("[ProfileInf]\r\nLPT_Channel00=0x10010003\r\nLPT_ChnlMode00=0x7\r\n",
            far_side::read_file(files[1]));
  EXPECT_EQ(0x10010003U, GetPrivateProfileIntA("ProfileInf", "LPT_Channel00", 0, files[1].c_str()));
}

TEST_F(FarSideWorld, PublishedDataAreReadBack) {
  far_side::add_printer(
      {.name = "Printer", .published_name = "queue", .published_ports = {"USB001", "USB002"}});
  EXPECT_EQ(std::string("queue\0", 6), published("Printer", "printerName"));
  EXPECT_EQ(std::string("USB001\0USB002\0\0", 15), published("Printer", "portName"));
  far_side::add_printer({.name = "Printer"});
  EXPECT_EQ("error 2", published("Printer", "printerName"));
}

TEST_F(FarSideWorld, TcpPortIsASubkeyOfThePortMonitor) {
  far_side::add_tcp_port("USB_Office");
  const std::string ports =
      "SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports";
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, ports.c_str(), 0, KEY_READ, &key));
  char name[260] = "";
  DWORD length = sizeof name;
  EXPECT_EQ(ERROR_SUCCESS,
            RegEnumKeyExA(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr));
  EXPECT_STREQ("USB_Office", name);
  RegCloseKey(key);
}

TEST_F(FarSideWorld, LogSettingsStandInThe32BitView) {
  const std::string folder = far_side::fresh_log_directory();
  far_side::set_log({.flag = 3, .path = folder, .max_size = 1000});
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\VELNO\\VLPrinter4\\LogEnv",
                                         0, KEY_READ | KEY_WOW64_32KEY, &key));
  DWORD flag = 0;
  DWORD size = sizeof flag;
  EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(key, "Bidi_LogFlag", nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(&flag), &size));
  EXPECT_EQ(3U, flag);
  char path[260] = "";
  size = sizeof path;
  EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(key, "Bidi_LogPath", nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(path), &size));
  EXPECT_EQ(folder, path);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND,
            RegQueryValueExA(key, "Debug_MaxLogSize", nullptr, nullptr, nullptr, &size));
  RegCloseKey(key);
}

TEST_F(FarSideWorld, EachLogFolderIsNewAndFilesInItCanBeReadAndRemoved) {
  const std::string first = far_side::fresh_log_directory();
  EXPECT_NE(first, far_side::fresh_log_directory());
  EXPECT_EQ(std::nullopt, far_side::read_file(first + "a.dat"));
  const std::string content(10000, 'x');
  far_side::write_file(first + "a.dat", content);
  EXPECT_EQ(content, far_side::read_file(first + "a.dat"));
  EXPECT_TRUE(far_side::remove_file(first + "a.dat"));
  EXPECT_FALSE(far_side::remove_file(first + "a.dat"));
}

TEST_F(FarSideWorld, CodePageIsTheOneInForce) {
  EXPECT_EQ(GetACP(), far_side::code_page());
  EXPECT_TRUE(far_side::set_code_page(far_side::code_page()));
  if (far_side::serves(Feature::both_code_pages)) {
    EXPECT_TRUE(far_side::set_code_page(932));
    EXPECT_EQ(932U, GetACP());
  } else {
    EXPECT_FALSE(far_side::set_code_page(GetACP() == 932 ? 1252 : 932));
  }
}

// What Wine's own libraries can't hold. Where they are in place the answer says so, so that a
// newer Wine that can is noticed.

TEST_F(FarSideWorld, CsrNamesNeedASpoolerThatHoldsThem) {
  far_side::add_printer({.name = "\\\\CSR|srv\\alias", .published_name = "queue"});
  EXPECT_EQ(far_side::serves(Feature::csr_names), see("\\\\CSR|srv\\alias").has_value());
  if (far_side::serves(Feature::csr_names)) {
    EXPECT_EQ(std::string("queue\0", 6), published("\\\\CSR|srv\\alias", "printerName"));
  }
}

TEST_F(FarSideWorld, PrintersWithoutPortNeedASpoolerThatOpensThem) {
  far_side::add_printer({.name = "Printer", .port = std::nullopt});
  EXPECT_EQ(far_side::serves(Feature::portless_printers), see("Printer").has_value());
  far_side::set_port("Printer", "USB001");
  ASSERT_TRUE(see("Printer").has_value());
  EXPECT_EQ("USB001", see("Printer")->port);
  far_side::set_port("Printer", std::nullopt);
  if (far_side::serves(Feature::portless_printers)) {
    EXPECT_EQ(std::nullopt, see("Printer")->port);
  }
}

TEST_F(FarSideWorld, BareDependentFilesNeedASpoolerThatLeavesThem) {
  far_side::add_driver({.name = "Bare", .dependent_files = {"X.LMD", "sub\\Y.LMD"}});
  far_side::add_printer({.name = "Printer", .driver = "Bare"});
  const std::vector<std::string> files = driver_files("Printer");
  ASSERT_EQ(3U, files.size());
  EXPECT_EQ(far_side::serves(Feature::bare_dependent_files), files[1] == "X.LMD") << files[1];
  EXPECT_EQ(far_side::serves(Feature::bare_dependent_files), files[2] == "sub\\Y.LMD") << files[2];
}

TEST_F(FarSideWorld, RedirectedPortsNeedARedirectorThatKnowsThem) {
  far_side::redirect("LPT1:", "\\\\server\\queue");
  char remote[260] = "";
  DWORD length = sizeof remote;
  const DWORD result = WNetGetConnectionA("LPT1:", remote, &length);
  EXPECT_EQ(far_side::serves(Feature::redirected_ports), result == NO_ERROR) << result;
  if (result == NO_ERROR) {
    EXPECT_STREQ("\\\\server\\queue", remote);
  }
  length = sizeof remote;
  EXPECT_NE(static_cast<DWORD>(NO_ERROR), WNetGetConnectionA("LPT2:", remote, &length));
}

TEST_F(FarSideWorld, ResetEmptiesTheWorld) {
  far_side::add_printer({.name = "Printer"});
  far_side::add_tcp_port("USB_Office");
  far_side::redirect("LPT1:", "\\\\server\\queue");
  far_side::plug({.port = "USB001"});
  far_side::reset();
  EXPECT_FALSE(see("Printer").has_value());
  char remote[260] = "";
  DWORD length = sizeof remote;
  EXPECT_NE(static_cast<DWORD>(NO_ERROR), WNetGetConnectionA("LPT1:", remote, &length));
  HKEY key = nullptr;
  const LONG gone = RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                                  "SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard "
                                  "TCP/IP Port\\Ports\\USB_Office",
                                  0, KEY_READ, &key);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, gone);
}

}  // namespace
