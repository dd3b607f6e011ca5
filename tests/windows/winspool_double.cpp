// A spooler for what Wine's own can't hold: printer names that begin "\\CSR|", and dependent
// files without a folder. It answers from the registry keys that Windows keeps printers in.

#include "tests/support/print_keys.h"
#include "tests/windows/registry_reader.h"

#include <windows.h>

#include <winspool.h>

#include <algorithm>
#include <cstring>

namespace {

using doubles::Key;

struct OpenPrinter {
  bool taken = false;
  std::string name;
};

constexpr size_t most_open_printers = 256;
OpenPrinter open_printers[most_open_printers];
CRITICAL_SECTION table_lock;

BOOL fail_with(DWORD error) {
  SetLastError(error);
  return FALSE;
}

// Handles are small numbers from 1. Gives the name, or nothing for a handle that isn't open.
std::optional<std::string> name_of(HANDLE handle, bool close = false) {
  std::optional<std::string> name;
  const auto number = reinterpret_cast<ULONG_PTR>(handle);
  EnterCriticalSection(&table_lock);
  if (number >= 1 && number <= most_open_printers && open_printers[number - 1].taken) {
    name = open_printers[number - 1].name;
    open_printers[number - 1].taken = !close;
  }
  LeaveCriticalSection(&table_lock);
  return name;
}

HANDLE open_handle(const std::string& name) {
  HANDLE handle = nullptr;
  EnterCriticalSection(&table_lock);
  for (size_t i = 0; i < most_open_printers && handle == nullptr; ++i) {
    if (!open_printers[i].taken) {
      open_printers[i] = {true, name};
      handle = reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(i + 1));
    }
  }
  LeaveCriticalSection(&table_lock);
  return handle;
}

// The texts of one answer: counted first, then laid out behind the fixed part.
class Texts {
 public:
  // `text` may hold NULs; one more ends it. Nothing leaves the field null.
  void add(LPSTR* field, const std::optional<std::string>& text) {
    if (text) {
      texts_.push_back({field, *text});
      bytes_ += text->size() + 1;
    }
  }

  size_t bytes() const { return bytes_; }

  void lay_out(char* place) const {
    for (const auto& [field, text] : texts_) {
      std::memcpy(place, text.c_str(), text.size() + 1);
      *field = place;
      place += text.size() + 1;
    }
  }

 private:
  struct Text {
    LPSTR* field;
    std::string text;
  };
  std::vector<Text> texts_;
  size_t bytes_ = 0;
};

// The two-call protocol: the size always, the answer if it fits.
template <class Info>
BOOL answer(Info& info, const Texts& texts, LPBYTE buffer, DWORD capacity, LPDWORD needed) {
  *needed = static_cast<DWORD>(sizeof(Info) + texts.bytes());
  if (buffer == nullptr || capacity < *needed) {
    return fail_with(ERROR_INSUFFICIENT_BUFFER);
  }
  texts.lay_out(reinterpret_cast<char*>(buffer) + sizeof(Info));
  std::memcpy(buffer, &info, sizeof(Info));
  return TRUE;
}

std::optional<std::string> joined(const std::vector<std::string>& list) {
  std::string text;
  for (const std::string& item : list) {
    text += item + '\0';
  }
  return list.empty() ? std::nullopt : std::optional(text);
}

std::optional<std::string> in_driver_folder(const std::optional<std::string>& file) {
  if (!file || file->find('\\') != std::string::npos) {
    return file;
  }
  return "C:\\windows\\system32\\spool\\drivers\\x64\\3\\" + *file;
}

void fill_printer(PRINTER_INFO_2A& info, Texts& texts, const Key& key, const std::string& name) {
  texts.add(&info.pPrinterName, key.text("Name").value_or(name));
  texts.add(&info.pPortName, key.text("Port"));
  texts.add(&info.pDriverName, key.text("Printer Driver"));
  info.Attributes = key.number("Attributes");
}

}  // namespace

extern "C" {

BOOL WINAPI OpenPrinterA(LPSTR name, LPHANDLE handle, LPPRINTER_DEFAULTSA) {
  if (handle == nullptr || (name != nullptr && *name == '\0')) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *handle = nullptr;
  const std::string wanted = name == nullptr ? "" : name;
  if (name != nullptr && !Key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(wanted))) {
    return fail_with(ERROR_INVALID_PRINTER_NAME);
  }
  *handle = open_handle(wanted);
  return *handle != nullptr ? TRUE : fail_with(ERROR_OUTOFMEMORY);
}

BOOL WINAPI ClosePrinter(HANDLE handle) {
  return name_of(handle, true) ? TRUE : fail_with(ERROR_INVALID_HANDLE);
}

BOOL WINAPI GetPrinterA(HANDLE handle, DWORD level, LPBYTE buffer, DWORD capacity, LPDWORD needed) {
  const auto name = name_of(handle);
  if (!name || level != 2) {
    return fail_with(!name ? ERROR_INVALID_HANDLE : ERROR_INVALID_LEVEL);
  }
  const Key key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(*name));
  PRINTER_INFO_2A info{};
  Texts texts;
  fill_printer(info, texts, key, *name);
  return answer(info, texts, buffer, capacity, needed);
}

BOOL WINAPI GetPrinterDriverA(HANDLE handle, LPSTR, DWORD level, LPBYTE buffer, DWORD capacity,
                              LPDWORD needed) {
  const auto name = name_of(handle);
  if (!name || level != 6) {
    return fail_with(!name ? ERROR_INVALID_HANDLE : ERROR_INVALID_LEVEL);
  }
  const Key printer(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(*name));
  const std::string driver = printer.text("Printer Driver").value_or(std::string());
  const Key key(HKEY_LOCAL_MACHINE, print_keys::DriverKey(driver));
  if (driver.empty() || !key) {
    *needed = 0;
    return fail_with(ERROR_UNKNOWN_PRINTER_DRIVER);
  }
  DRIVER_INFO_6A info{};
  info.cVersion = 3;
  Texts texts;
  texts.add(&info.pName, driver);
  texts.add(&info.pEnvironment, "Windows x64");
  texts.add(&info.pDriverPath, in_driver_folder(key.text("Driver")));
  texts.add(&info.pDataFile, in_driver_folder(key.text("Data File")));
  texts.add(&info.pConfigFile, in_driver_folder(key.text("Configuration File")));
  texts.add(&info.pDependentFiles, joined(key.texts("Dependent Files")));
  return answer(info, texts, buffer, capacity, needed);
}

DWORD WINAPI GetPrinterDataExA(HANDLE handle, LPCSTR key_name, LPCSTR value, LPDWORD type,
                               LPBYTE data, DWORD capacity, LPDWORD needed) {
  const auto name = name_of(handle);
  if (!name) {
    return ERROR_INVALID_HANDLE;
  }
  const Key key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(*name) + "\\" + key_name);
  if (!key) {
    return ERROR_FILE_NOT_FOUND;
  }
  *needed = data == nullptr ? 0 : capacity;
  const auto result =
      static_cast<DWORD>(RegQueryValueExA(key.get(), value, nullptr, type, data, needed));
  // The registry calls a size query a success; the spooler doesn't.
  return result == ERROR_SUCCESS && data == nullptr ? ERROR_MORE_DATA : result;
}

BOOL WINAPI EnumPrintersA(DWORD, LPSTR, DWORD level, LPBYTE buffer, DWORD capacity, LPDWORD needed,
                          LPDWORD returned) {
  *returned = 0;
  if (level != 2) {
    return fail_with(ERROR_INVALID_LEVEL);
  }
  const std::vector<std::string> names = Key(HKEY_LOCAL_MACHINE, print_keys::kPrinters).subkeys();
  std::vector<PRINTER_INFO_2A> infos(names.size());
  Texts texts;
  for (size_t i = 0; i < names.size(); ++i) {
    const Key key(HKEY_LOCAL_MACHINE, std::string(print_keys::kPrinters) + "\\" + names[i]);
    fill_printer(infos[i], texts, key, names[i]);
  }
  const size_t fixed = names.size() * sizeof(PRINTER_INFO_2A);
  *needed = static_cast<DWORD>(fixed + texts.bytes());
  if (*needed != 0 && (buffer == nullptr || capacity < *needed)) {
    return fail_with(ERROR_INSUFFICIENT_BUFFER);
  }
  if (!names.empty()) {
    texts.lay_out(reinterpret_cast<char*>(buffer) + fixed);
    std::memcpy(buffer, infos.data(), fixed);
  }
  *returned = static_cast<DWORD>(names.size());
  return TRUE;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    InitializeCriticalSection(&table_lock);
  }
  return TRUE;
}

}  // extern "C"
