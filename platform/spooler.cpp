// The spooler: answers from the registry keys that the system keeps printers, their
// published data and their drivers in.

#include <windows.h>
#include <winspool.h>

#include "platform/kernel/object.h"
#include "platform/machine_state.h"
#include "platform/spooler_keys.h"

#include <string.h>

#include <optional>

namespace platform {
namespace {

constexpr std::u16string_view computer_name_path =
    u"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName";

// An open printer, or the server when `printer` is null.
class PrinterObject final : public Object {
 public:
  static constexpr char kKind[] = "printer";
  explicit PrinterObject(KeyRef printer) : Object(kKind), printer_(std::move(printer)) {}

  const KeyRef& printer() const { return printer_; }

 private:
  KeyRef printer_;
};

// The service answers as late as the machine says.
void await_service() {
  ensure_machine();
  DWORD latency = 0;
  {
    StateGuard guard;
    latency = machine().spooler_latency;
  }
  if (latency != 0) {
    Sleep(latency);
  }
}

// An answer that ends in one block: the fixed records in front, the texts behind them.
// The size that it asks for is that of the wide form, as the system's is, so a caller that
// takes it for the length of the texts is wrong here too.
class Block {
 public:
  explicit Block(const CodePage& page) : page_(page) {}

  // Remembers a text and gives its number; -1 stands for a null pointer.
  int add(const std::u16string& text) {
    texts_.push_back(page_.narrow(text + u'\0'));
    wide_bytes_ += (text.size() + 1) * 2;
    return static_cast<int>(texts_.size()) - 1;
  }
  int add_value(const RegistryKey& key, std::u16string_view name) {
    const RegistryValue* value = key.value(name);
    return value == nullptr || !is_text(value->type) ? -1 : add(text_of(value));
  }

  size_t needed(size_t fixed) const {
    size_t narrow_bytes = 0;
    for (const std::string& text : texts_) {
      narrow_bytes += text.size();
    }
    return fixed + std::max(wide_bytes_, narrow_bytes);
  }

  // Where the texts come to stand behind `fixed` bytes of `buffer`.
  void place(BYTE* buffer, size_t fixed) {
    BYTE* at = buffer + fixed;
    for (const std::string& text : texts_) {
      memcpy(at, text.data(), text.size());
      places_.push_back(reinterpret_cast<LPSTR>(at));
      at += text.size();
    }
  }
  LPSTR at(int number) const { return number < 0 ? nullptr : places_[static_cast<size_t>(number)]; }

 private:
  const CodePage& page_;
  std::vector<std::string> texts_;
  size_t wide_bytes_ = 0;
  std::vector<LPSTR> places_;
};

std::u16string name_of(const RegistryKey& key) {
  const std::u16string name = text_of(key.value(u"Name"));
  if (!name.empty()) {
    return name;
  }
  std::u16string from_key = key.name;
  for (char16_t& unit : from_key) {
    unit = from_key.starts_with(u",,") && unit == u',' ? u'\\' : unit;
  }
  return from_key;
}

// Under the lock. "\\computer\name" of the own computer is "name".
KeyRef find_printer(const std::u16string& name) {
  const RegistryTree& tree = machine().registry;
  const KeyRef whole = tree.find(tree.local_machine(), printer_path(name));
  const size_t slash = name.starts_with(u"\\\\") ? name.find(u'\\', 2) : std::u16string::npos;
  if (whole != nullptr || slash == std::u16string::npos) {
    return whole;
  }
  const KeyRef computer = tree.find(tree.local_machine(), computer_name_path);
  const std::u16string own = computer == nullptr ? u"" : text_of(computer->value(u"ComputerName"));
  if (own.empty() || upper(name.substr(2, slash - 2)) != upper(own)) {
    return nullptr;
  }
  const std::u16string rest = name.substr(slash + 1);
  return rest.empty() ? nullptr : tree.find(tree.local_machine(), printer_path(rest));
}

// Null for an unknown name; no name is the server. Counting references of keys must not
// order the caller's threads, hence Unseen.
HANDLE open_printer(const char* ansi_name) {
  const std::u16string name = ansi_name == nullptr ? u"" : ansi().widen(ansi_name);
  const Unseen unseen;
  KeyRef printer;
  if (ansi_name != nullptr) {
    StateGuard guard;
    printer = name.empty() ? nullptr : find_printer(name);
    if (printer == nullptr) {
      return nullptr;
    }
  }
  return add_handle(new PrinterObject(std::move(printer)), "OpenPrinterA");
}

struct PrinterTexts {
  int name, share, port, driver, comment, location, separator, processor, datatype, parameters;
};

PrinterTexts collect(Block& block, const RegistryKey& key) {
  return {block.add(name_of(key)),
          block.add_value(key, u"Share Name"),
          block.add_value(key, u"Port"),
          block.add_value(key, u"Printer Driver"),
          block.add_value(key, u"Description"),
          block.add_value(key, u"Location"),
          block.add_value(key, u"Separator File"),
          block.add_value(key, u"Print Processor"),
          block.add_value(key, u"Datatype"),
          block.add_value(key, u"Parameters")};
}

PRINTER_INFO_2A info_of(const Block& block, const PrinterTexts& texts, const RegistryKey& key) {
  PRINTER_INFO_2A info = {};
  info.pPrinterName = block.at(texts.name);
  info.pShareName = block.at(texts.share);
  info.pPortName = block.at(texts.port);
  info.pDriverName = block.at(texts.driver);
  info.pComment = block.at(texts.comment);
  info.pLocation = block.at(texts.location);
  info.pSepFile = block.at(texts.separator);
  info.pPrintProcessor = block.at(texts.processor);
  info.pDatatype = block.at(texts.datatype);
  info.pParameters = block.at(texts.parameters);
  info.Attributes = number_of(key.value(u"Attributes"), 0);
  info.Priority = number_of(key.value(u"Priority"), 1);
  info.Status = number_of(key.value(u"Status"), 0);
  return info;
}

// A copy of the printer's values, made under the lock.
struct PrinterCopy {
  DWORD error = ERROR_SUCCESS;
  RegistryKey values;
  std::optional<RegistryKey> driver;
};

RegistryKey values_of(const RegistryKey& key) {
  RegistryKey copy;
  copy.name = key.name;
  copy.values = key.values;
  return copy;
}

PrinterCopy copy_printer(HANDLE handle) {
  const Ref<PrinterObject> object(handle);
  PrinterCopy copy;
  if (!object || object->printer() == nullptr) {
    copy.error = ERROR_INVALID_HANDLE;
    return copy;
  }
  StateGuard guard;
  if (object->printer()->deleted) {
    copy.error = ERROR_PRINTER_DELETED;
    return copy;
  }
  copy.values = values_of(*object->printer());
  const RegistryTree& tree = machine().registry;
  const std::u16string driver = text_of(copy.values.value(u"Printer Driver"));
  const KeyRef key =
      driver.empty() ? nullptr : tree.find(tree.local_machine(), driver_path(driver));
  if (key != nullptr) {
    copy.driver = values_of(*key);
  }
  return copy;
}

// Whether the buffer holds the answer; sets what is needed.
bool fits(size_t needed, const BYTE* buffer, DWORD capacity, LPDWORD tell) {
  *tell = static_cast<DWORD>(needed);
  if (buffer == nullptr || capacity < needed) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return false;
  }
  return true;
}

// Names without a folder lie in the folder of the drivers.
int add_driver_file(Block& block, const RegistryKey& driver, std::u16string_view value_name) {
  const RegistryValue* value = driver.value(value_name);
  const std::u16string name = text_of(value);
  if (name.empty()) {
    return -1;
  }
  const bool bare = name.find(u'\\') == std::u16string::npos;
  return block.add(bare ? std::u16string(driver_folder) + name : name);
}

// The list as the registry has it, so that bare names reach the caller; closed by an empty
// text. No value is a null pointer.
int add_dependent_files(Block& block, const RegistryKey& driver) {
  const RegistryValue* value = driver.value(u"Dependent Files");
  if (value == nullptr || !is_text(value->type)) {
    return -1;
  }
  std::u16string list = registry_units(value->data);
  while (!list.empty() && list.back() == u'\0') {
    list.pop_back();
  }
  list += u'\0';
  return block.add(list);
}

struct ListedPrinter {
  RegistryKey values;
  PrinterTexts texts = {};
};

// The printers that the flags ask for: those of other computers carry their computer's name.
std::vector<ListedPrinter> list_printers(DWORD flags) {
  ensure_machine();
  std::vector<ListedPrinter> list;
  StateGuard guard;
  const RegistryTree& tree = machine().registry;
  const KeyRef folder = tree.find(tree.local_machine(), printers_path);
  if (folder == nullptr) {
    return list;
  }
  for (const auto& [key_name, key] : folder->keys) {
    const bool connection = name_of(*key).starts_with(u"\\\\");
    if ((flags & (connection ? PRINTER_ENUM_CONNECTIONS : PRINTER_ENUM_LOCAL)) != 0) {
      list.push_back({values_of(*key)});
    }
  }
  return list;
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::Fails;
using platform::StateGuard;

BOOL WINAPI EnumPrintersA(DWORD Flags, LPSTR Name, DWORD Level, LPBYTE pPrinterEnum, DWORD cbBuf,
                          LPDWORD pcbNeeded, LPDWORD pcReturned) {
  Call call("EnumPrintersA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  if (pcbNeeded == nullptr || pcReturned == nullptr || (Name != nullptr && *Name != '\0')) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  if (Level != 2 && Level != 4) {
    return fail_with(ERROR_INVALID_LEVEL);
  }
  platform::await_service();
  *pcReturned = 0;
  std::vector<platform::ListedPrinter> printers = platform::list_printers(Flags);
  platform::Block block(platform::ansi());
  for (platform::ListedPrinter& printer : printers) {
    printer.texts =
        Level == 2
            ? platform::collect(block, printer.values)
            : platform::PrinterTexts{
                  block.add(platform::name_of(printer.values)), -1, -1, -1, -1, -1, -1, -1, -1, -1};
  }
  const size_t record = Level == 2 ? sizeof(PRINTER_INFO_2A) : sizeof(PRINTER_INFO_4A);
  const size_t fixed = record * printers.size();
  const size_t needed = printers.empty() ? 0 : block.needed(fixed);
  if (needed == 0) {
    *pcbNeeded = 0;
    return TRUE;
  }
  if (!platform::fits(needed, pPrinterEnum, cbBuf, pcbNeeded)) {
    return FALSE;
  }
  block.place(pPrinterEnum, fixed);
  for (size_t i = 0; i < printers.size(); ++i) {
    const PRINTER_INFO_2A all = platform::info_of(block, printers[i].texts, printers[i].values);
    PRINTER_INFO_4A some = {};
    some.pPrinterName = all.pPrinterName;
    some.Attributes = all.Attributes;
    memcpy(pPrinterEnum + i * record, Level == 2 ? static_cast<const void*>(&all) : &some, record);
  }
  *pcReturned = static_cast<DWORD>(printers.size());
  return TRUE;
}

BOOL WINAPI OpenPrinterA(LPSTR pPrinterName, LPHANDLE phPrinter, LPPRINTER_DEFAULTSA) {
  Call call("OpenPrinterA");
  if (phPrinter == nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *phPrinter = nullptr;
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  platform::await_service();
  const HANDLE opened = platform::open_printer(pPrinterName);
  *phPrinter = opened;
  return opened == nullptr ? fail_with(ERROR_INVALID_PRINTER_NAME) : TRUE;
}

BOOL WINAPI ClosePrinter(HANDLE hPrinter) {
  Call call("ClosePrinter");
  if (!platform::Ref<platform::PrinterObject>(hPrinter)) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  platform::drop_handle(hPrinter);
  const auto fault = call.fault();
  return fault ? fail_with(*fault) : TRUE;
}

BOOL WINAPI GetPrinterA(HANDLE hPrinter, DWORD Level, LPBYTE pPrinter, DWORD cbBuf,
                        LPDWORD pcbNeeded) {
  Call call("GetPrinterA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  if (pcbNeeded == nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  platform::await_service();
  const platform::PrinterCopy copy = platform::copy_printer(hPrinter);
  if (copy.error != ERROR_SUCCESS) {
    return fail_with(copy.error);
  }
  if (Level != 2) {
    return fail_with(ERROR_INVALID_LEVEL);
  }
  platform::Block block(platform::ansi());
  const platform::PrinterTexts texts = platform::collect(block, copy.values);
  constexpr size_t fixed = sizeof(PRINTER_INFO_2A);
  if (!platform::fits(block.needed(fixed), pPrinter, cbBuf, pcbNeeded)) {
    return FALSE;
  }
  block.place(pPrinter, fixed);
  const PRINTER_INFO_2A info = platform::info_of(block, texts, copy.values);
  memcpy(pPrinter, &info, fixed);
  return TRUE;
}

BOOL WINAPI GetPrinterDriverA(HANDLE hPrinter, LPSTR pEnvironment, DWORD Level, LPBYTE pDriverInfo,
                              DWORD cbBuf, LPDWORD pcbNeeded) {
  Call call("GetPrinterDriverA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  constexpr std::u16string_view environment = u"Windows x64";
  const std::u16string asked = pEnvironment == nullptr ? u"" : platform::ansi().widen(pEnvironment);
  if (pcbNeeded == nullptr ||
      (!asked.empty() && platform::upper(asked) != platform::upper(environment))) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  platform::await_service();
  const platform::PrinterCopy copy = platform::copy_printer(hPrinter);
  if (copy.error != ERROR_SUCCESS) {
    return fail_with(copy.error);
  }
  if (Level != 6) {
    return fail_with(ERROR_INVALID_LEVEL);
  }
  if (!copy.driver) {
    return fail_with(ERROR_UNKNOWN_PRINTER_DRIVER);
  }
  const platform::RegistryKey& driver = *copy.driver;
  platform::Block block(platform::ansi());
  const int name = block.add(driver.name);
  const int place = block.add(std::u16string(environment));
  const int path = platform::add_driver_file(block, driver, u"Driver");
  const int data = platform::add_driver_file(block, driver, u"Data File");
  const int config = platform::add_driver_file(block, driver, u"Configuration File");
  const int help = platform::add_driver_file(block, driver, u"Help File");
  const int dependent = platform::add_dependent_files(block, driver);
  const int monitor = block.add_value(driver, u"Monitor");
  const int datatype = block.add_value(driver, u"Datatype");
  constexpr size_t fixed = sizeof(DRIVER_INFO_6A);
  if (!platform::fits(block.needed(fixed), pDriverInfo, cbBuf, pcbNeeded)) {
    return FALSE;
  }
  block.place(pDriverInfo, fixed);
  DRIVER_INFO_6A info = {};
  info.cVersion = platform::number_of(driver.value(u"Version"), 3);
  info.pName = block.at(name);
  info.pEnvironment = block.at(place);
  info.pDriverPath = block.at(path);
  info.pDataFile = block.at(data);
  info.pConfigFile = block.at(config);
  info.pHelpFile = block.at(help);
  info.pDependentFiles = block.at(dependent);
  info.pMonitorName = block.at(monitor);
  info.pDefaultDataType = block.at(datatype);
  memcpy(pDriverInfo, &info, fixed);
  return TRUE;
}

DWORD WINAPI GetPrinterDataExA(HANDLE hPrinter, LPCSTR pKeyName, LPCSTR pValueName, LPDWORD pType,
                               LPBYTE pData, DWORD nSize, LPDWORD pcbNeeded) {
  Call call("GetPrinterDataExA");
  if (const auto fault = call.fault()) {
    return *fault;
  }
  if (pKeyName == nullptr || *pKeyName == '\0' || pValueName == nullptr || pcbNeeded == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  platform::await_service();
  const std::u16string key_name = platform::ansi().widen(pKeyName);
  const std::u16string value_name = platform::ansi().widen(pValueName);
  const platform::Ref<platform::PrinterObject> object(hPrinter);
  if (!object || object->printer() == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  platform::RegistryValue value;
  {
    StateGuard guard;
    const platform::KeyRef& printer = object->printer();
    if (printer->deleted) {
      return ERROR_PRINTER_DELETED;
    }
    const platform::KeyRef key = platform::machine().registry.find(printer, key_name);
    const platform::RegistryValue* found = key == nullptr ? nullptr : key->value(value_name);
    if (found == nullptr) {
      return ERROR_FILE_NOT_FOUND;
    }
    value = *found;
  }
  const std::string bytes = platform::is_text(value.type)
                                ? platform::ansi().narrow(platform::registry_units(value.data))
                                : std::string(value.data.begin(), value.data.end());
  *pcbNeeded = static_cast<DWORD>(bytes.size());
  if (pType != nullptr) {
    *pType = value.type;
  }
  if (pData == nullptr || nSize < bytes.size()) {
    return ERROR_MORE_DATA;
  }
  memcpy(pData, bytes.data(), bytes.size());
  return ERROR_SUCCESS;
}
