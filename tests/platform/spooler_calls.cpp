// The spooler as ordinary SDK code meets it: printers described in the registry alone.

#include "tests/platform/own_machine.h"

#include <winspool.h>

#include <string.h>

#include <algorithm>
#include <optional>

namespace {

using own_machine::hex;
using own_machine::is_layer;
using own_machine::set_number;
using own_machine::set_text;
using own_machine::set_value;
using own_machine::untouched;

const std::string printers = "SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\";
const std::string drivers =
    "SYSTEM\\CurrentControlSet\\Control\\Print\\Environments\\Windows x64\\Drivers\\Version-3\\";

void add_printer(const std::string& name, const char* port, const std::string& driver,
                 DWORD attributes) {
  set_text(printers + name, "Name", name);
  if (port != nullptr) {
    set_text(printers + name, "Port", port);
  }
  set_text(printers + name, "Printer Driver", driver);
  set_text(printers + name, "Print Processor", "wineps");
  set_text(printers + name, "Datatype", "RAW");
  set_number(printers + name, "Attributes", attributes);
}

void add_driver(const std::string& name, const char* path,
                const std::optional<std::string>& dependent_files) {
  set_text(drivers + name, "Driver", path);
  set_text(drivers + name, "Data File", "sc.dat");
  set_text(drivers + name, "Configuration File", "scui.dll");
  set_number(drivers + name, "Version", 3);
  if (dependent_files) {
    set_value(drivers + name, "Dependent Files", REG_MULTI_SZ, *dependent_files);
  }
}

// An open printer that closes itself.
class Printer {
 public:
  explicit Printer(std::string name) {
    EXPECT_TRUE(OpenPrinterA(name.data(), &handle_, nullptr)) << name;
  }
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;
  ~Printer() { EXPECT_TRUE(ClosePrinter(handle_)); }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_ = nullptr;
};

DWORD open_error(const char* name) {
  std::string text = name;
  HANDLE handle = INVALID_HANDLE_VALUE;
  SetLastError(untouched);
  EXPECT_FALSE(OpenPrinterA(text.data(), &handle, nullptr)) << name;
  EXPECT_EQ(nullptr, handle);
  return GetLastError();
}

class SpoolerCalls : public own_machine::MachineTest {
 protected:
  SpoolerCalls() {
    add_driver("SC Driver", "SCDRV.DLL", std::string("C:\\sc\\M.lmd\0sub\\N.lmd\0\0", 24));
    add_driver("SC Abs", "C:\\sc\\ABS.DLL", std::nullopt);
    add_printer("SC One", "USB001", "SC Driver", 0x40);
    add_printer("SC Net", "USB002", "SC Abs", 0x10);
    add_printer("SC NoPort", nullptr, "SC Driver", 0);
    add_printer("SC NoDriver", "LPT1:", "SC Missing", 0);
    const std::string published = printers + "SC One\\DsSpooler";
    set_text(published, "printerName", "queue");
    set_value(published, "portName", REG_MULTI_SZ, std::string("USB001\0USB002\0\0", 15));
    set_text(published, "empty", "");
    set_number(published, "number", 7);
    set_value(published, "bytes", REG_BINARY, std::string("\1\2\3", 3));
    set_text(published, "accents", "\xE9\xE8");
  }
};

TEST_F(SpoolerCalls, PrinterOpensByItsNameWithoutCase) {
  HANDLE handle = nullptr;
  std::string name = "sc ONE";
  SetLastError(untouched);
  EXPECT_TRUE(OpenPrinterA(name.data(), &handle, nullptr));
  EXPECT_EQ(untouched, GetLastError());
  EXPECT_TRUE(ClosePrinter(handle));
}

TEST_F(SpoolerCalls, UnknownNameFailsWith1801AndANullHandle) {
  EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, open_error("SC None"));
  EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, open_error("\\\\srv\\q"));
  EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, open_error("USB001"));
  EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, open_error(std::string(300, 'p').c_str()));
}

TEST_F(SpoolerCalls, NoNameOpensTheServerAndNoHandleIsAWrongParameter) {
  HANDLE handle = nullptr;
  EXPECT_TRUE(OpenPrinterA(nullptr, &handle, nullptr));
  EXPECT_TRUE(ClosePrinter(handle));
  std::string name = "SC One";
  SetLastError(untouched);
  EXPECT_FALSE(OpenPrinterA(name.data(), nullptr, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST_F(SpoolerCalls, NameWithBackslashesIsKeptUnderCommas) {
  // Wine takes "\\CSR|server" for a server's name, so only the layer can hold it.
  if (!is_layer()) {
    EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, open_error("\\\\CSR|server\\alias"));
    return;
  }
  set_text(printers + ",,CSR|server,alias", "Name", "\\\\CSR|server\\alias");
  set_text(printers + ",,CSR|server,alias", "Port", "USB009");
  const Printer printer("\\\\csr|SERVER\\alias");
  DWORD needed = 0;
  GetPrinterA(printer.get(), 2, nullptr, 0, &needed);
  std::string buffer(needed, '\0');
  ASSERT_TRUE(
      GetPrinterA(printer.get(), 2, reinterpret_cast<LPBYTE>(buffer.data()), needed, &needed));
  PRINTER_INFO_2A info = {};
  memcpy(&info, buffer.data(), sizeof info);
  EXPECT_STREQ("\\\\CSR|server\\alias", info.pPrinterName);
  EXPECT_STREQ("USB009", info.pPortName);
}

TEST_F(SpoolerCalls, ClosedOrForeignHandleIsRefused) {
  SetLastError(untouched);
  EXPECT_FALSE(ClosePrinter(nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
  DWORD needed = 5;
  SetLastError(untouched);
  EXPECT_FALSE(GetPrinterA(nullptr, 2, nullptr, 0, &needed));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
  EXPECT_EQ(5U, needed);
}

TEST_F(SpoolerCalls, PrinterInfoTellsItsSizeFirst) {
  const Printer printer("SC One");
  DWORD needed = 0;
  SetLastError(untouched);
  EXPECT_FALSE(GetPrinterA(printer.get(), 2, nullptr, 0, &needed));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  ASSERT_LT(sizeof(PRINTER_INFO_2A), needed);
  std::string buffer(needed + 16, '#');
  DWORD again = 0;
  SetLastError(untouched);
  EXPECT_FALSE(
      GetPrinterA(printer.get(), 2, reinterpret_cast<LPBYTE>(buffer.data()), needed - 1, &again));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  EXPECT_EQ(needed, again);
  SetLastError(untouched);
  ASSERT_TRUE(
      GetPrinterA(printer.get(), 2, reinterpret_cast<LPBYTE>(buffer.data()), needed, &again));
  EXPECT_EQ(untouched, GetLastError());
  EXPECT_EQ(std::string(16, '#'), buffer.substr(needed));
  PRINTER_INFO_2A info = {};
  memcpy(&info, buffer.data(), sizeof info);
  EXPECT_STREQ("SC One", info.pPrinterName);
  EXPECT_STREQ("USB001", info.pPortName);
  EXPECT_STREQ("SC Driver", info.pDriverName);
  EXPECT_EQ(nullptr, info.pServerName);
}

TEST_F(SpoolerCalls, UnknownLevelIsRefusedAndLeavesTheSize) {
  const Printer printer("SC One");
  DWORD needed = 5;
  SetLastError(untouched);
  EXPECT_FALSE(GetPrinterA(printer.get(), 99, nullptr, 0, &needed));
  EXPECT_EQ(DWORD{ERROR_INVALID_LEVEL}, GetLastError());
  EXPECT_EQ(5U, needed);
}

std::string printer_info(const char* name, PRINTER_INFO_2A& info) {
  const Printer printer(name);
  DWORD needed = 0;
  GetPrinterA(printer.get(), 2, nullptr, 0, &needed);
  std::string buffer(needed, '\0');
  EXPECT_TRUE(
      GetPrinterA(printer.get(), 2, reinterpret_cast<LPBYTE>(buffer.data()), needed, &needed));
  memcpy(&info, buffer.data(), sizeof info);
  return buffer;
}

TEST_F(SpoolerCalls, PrinterWithoutAPortHasANullPort) {
  if (!is_layer()) {  // Wine doesn't open such a printer at all
    EXPECT_NE(untouched, open_error("SC NoPort"));
    return;
  }
  PRINTER_INFO_2A info = {};
  const std::string buffer = printer_info("SC NoPort", info);
  EXPECT_EQ(nullptr, info.pPortName);
}

TEST_F(SpoolerCalls, AttributesOfAConnectionComeThrough) {
  PRINTER_INFO_2A info = {};
  const std::string buffer = printer_info("SC Net", info);
  EXPECT_NE(0U, info.Attributes & 0x10);
}

TEST_F(SpoolerCalls, DriverInfoTellsItsSizeFirst) {
  const Printer printer("SC One");
  DWORD needed = 0;
  SetLastError(untouched);
  EXPECT_FALSE(GetPrinterDriverA(printer.get(), nullptr, 6, nullptr, 0, &needed));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  std::string buffer(needed, '\0');
  DWORD again = 0;
  SetLastError(untouched);
  EXPECT_FALSE(GetPrinterDriverA(printer.get(), nullptr, 6, reinterpret_cast<LPBYTE>(buffer.data()),
                                 needed - 1, &again));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  ASSERT_TRUE(GetPrinterDriverA(printer.get(), nullptr, 6, reinterpret_cast<LPBYTE>(buffer.data()),
                                needed, &again));
  DRIVER_INFO_6A info = {};
  memcpy(&info, buffer.data(), sizeof info);
  EXPECT_STREQ("SC Driver", info.pName);
  EXPECT_EQ(3U, info.cVersion);
  const std::string path = info.pDriverPath;
  EXPECT_EQ("\\SCDRV.DLL", path.substr(path.rfind('\\'))) << "a bare name gets a folder";
  EXPECT_EQ("C:\\", path.substr(0, 3));
  ASSERT_NE(nullptr, info.pDependentFiles);
  EXPECT_STREQ("C:\\sc\\M.lmd", info.pDependentFiles);
  EXPECT_STREQ("sub\\N.lmd", info.pDependentFiles + 12);
  EXPECT_EQ('\0', info.pDependentFiles[22]);
}

TEST_F(SpoolerCalls, BareDependentFileStaysBare) {
  add_driver("SC Bare", "SCDRV.DLL", std::string("M.lmd\0\0", 7));
  add_printer("SC Bare", "USB003", "SC Bare", 0);
  const Printer printer("SC Bare");
  DWORD needed = 0;
  GetPrinterDriverA(printer.get(), nullptr, 6, nullptr, 0, &needed);
  std::string buffer(needed, '\0');
  ASSERT_TRUE(GetPrinterDriverA(printer.get(), nullptr, 6, reinterpret_cast<LPBYTE>(buffer.data()),
                                needed, &needed));
  DRIVER_INFO_6A info = {};
  memcpy(&info, buffer.data(), sizeof info);
  // What Windows gives isn't documented; the layer keeps the text so that callers meet
  // bare names too, Wine puts the drivers' folder in front.
  EXPECT_STREQ(is_layer() ? "M.lmd" : "C:\\windows\\system32\\spool\\drivers\\x64\\3\\M.lmd",
               info.pDependentFiles);
}

TEST_F(SpoolerCalls, DriverWithoutDependentFilesHasANullList) {
  const Printer printer("SC Net");
  DWORD needed = 0;
  GetPrinterDriverA(printer.get(), nullptr, 6, nullptr, 0, &needed);
  std::string buffer(needed, '\0');
  ASSERT_TRUE(GetPrinterDriverA(printer.get(), nullptr, 6, reinterpret_cast<LPBYTE>(buffer.data()),
                                needed, &needed));
  DRIVER_INFO_6A info = {};
  memcpy(&info, buffer.data(), sizeof info);
  EXPECT_STREQ("C:\\sc\\ABS.DLL", info.pDriverPath) << "a path stays as it is";
  EXPECT_EQ(nullptr, info.pDependentFiles);
}

TEST_F(SpoolerCalls, UnknownDriverFailsWith1797AndLeavesTheSize) {
  const Printer printer("SC NoDriver");
  DWORD needed = 0;
  SetLastError(untouched);
  EXPECT_FALSE(GetPrinterDriverA(printer.get(), nullptr, 6, nullptr, 0, &needed));
  EXPECT_EQ(DWORD{ERROR_UNKNOWN_PRINTER_DRIVER}, GetLastError());
  EXPECT_EQ(0U, needed);
}

struct Data {
  DWORD result;
  DWORD type;
  DWORD needed;
  std::string bytes;
};

Data data_of(HANDLE printer, const char* key, const char* value, DWORD capacity) {
  Data data = {0, 77, 99, std::string(32, '#')};
  data.result =
      GetPrinterDataExA(printer, key, value, &data.type,
                        reinterpret_cast<LPBYTE>(data.bytes.data()), capacity, &data.needed);
  return data;
}

TEST_F(SpoolerCalls, PrinterDataIsGivenAsStoredWithItsSize) {
  const Printer printer("SC One");
  struct Row {
    const char* name;
    DWORD type;
    std::string bytes;
  };
  const std::vector<Row> rows = {{"printerName", REG_SZ, std::string("queue", 6)},
                                 {"portName", REG_MULTI_SZ, std::string("USB001\0USB002\0\0", 15)},
                                 {"empty", REG_SZ, std::string(1, '\0')},
                                 {"number", REG_DWORD, std::string("\7\0\0\0", 4)},
                                 {"bytes", REG_BINARY, "\1\2\3"},
                                 {"accents", REG_SZ, std::string("\xE9\xE8", 3)},
                                 {"PRINTERNAME", REG_SZ, std::string("queue", 6)}};
  SetLastError(untouched);
  for (const Row& row : rows) {
    const auto exact = static_cast<DWORD>(row.bytes.size());
    const Data data = data_of(printer.get(), "DsSpooler", row.name, exact);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, data.result) << row.name;
    EXPECT_EQ(row.type, data.type) << row.name;
    EXPECT_EQ(exact, data.needed) << row.name;
    EXPECT_EQ(hex(row.bytes + std::string(32 - exact, '#')), hex(data.bytes)) << row.name;
    const Data small = data_of(printer.get(), "DsSpooler", row.name, exact - 1);
    EXPECT_EQ(DWORD{ERROR_MORE_DATA}, small.result) << row.name;
    EXPECT_EQ(exact, small.needed) << row.name;
  }
  EXPECT_EQ(untouched, GetLastError());
}

TEST_F(SpoolerCalls, PrinterDataWithoutABufferTellsTheSizeWhateverTheCapacity) {
  const Printer printer("SC One");
  for (const DWORD capacity : {0U, 260U}) {
    DWORD type = 77;
    DWORD needed = 99;
    EXPECT_EQ(DWORD{ERROR_MORE_DATA},
              GetPrinterDataExA(printer.get(), "DsSpooler", "printerName", &type, nullptr,
                                static_cast<DWORD>(capacity), &needed));
    EXPECT_EQ(6U, needed);
  }
}

TEST_F(SpoolerCalls, AbsentDataIsNotFoundAndAMissingKeyLeavesTheSize) {
  const Printer printer("SC One");
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, data_of(printer.get(), "DsSpooler", "absent", 32).result);
  const Data missing = data_of(printer.get(), "NoKey", "x", 32);
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, missing.result);
  EXPECT_EQ(99U, missing.needed);
}

TEST_F(SpoolerCalls, PrinterDataOfAWrongHandleIsRefused) {
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, data_of(nullptr, "DsSpooler", "printerName", 32).result);
}

std::vector<std::string> listed(DWORD level) {
  DWORD needed = 0;
  DWORD count = 0;
  SetLastError(untouched);
  EXPECT_FALSE(EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, level, nullptr, 0, &needed, &count));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  std::string buffer(needed, '\0');
  EXPECT_TRUE(EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, level,
                            reinterpret_cast<LPBYTE>(buffer.data()), needed, &needed, &count));
  std::vector<std::string> names;
  for (DWORD i = 0; i < count; ++i) {
    if (level == 2) {
      PRINTER_INFO_2A info = {};
      memcpy(&info, buffer.data() + i * sizeof info, sizeof info);
      names.push_back(std::string(info.pPrinterName) + " at " +
                      (info.pPortName == nullptr ? "nothing" : info.pPortName));
    } else {
      PRINTER_INFO_4A info = {};
      memcpy(&info, buffer.data() + i * sizeof info, sizeof info);
      names.push_back(info.pPrinterName);
    }
  }
  return names;
}

TEST_F(SpoolerCalls, ListHoldsEveryPrinterOfTheComputer) {
  const std::vector<std::string> names = listed(4);
  const std::vector<std::string> full = listed(2);
  EXPECT_EQ(names.size(), full.size());
  for (const char* name : {"SC One", "SC Net", "SC NoPort", "SC NoDriver"}) {
    EXPECT_EQ(1, std::count(names.begin(), names.end(), name)) << name;
  }
  EXPECT_EQ(1, std::count(full.begin(), full.end(), "SC One at USB001"));
}

}  // namespace
