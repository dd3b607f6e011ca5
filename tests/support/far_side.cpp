// What is said in the same calls on both systems: the layer's machine is told by the
// registry and by files just as Windows is.

#include "tests/support/far_side.h"

#include "support/text.h"
#include "tests/support/far_side_system.h"
#include "tests/support/print_keys.h"

#include <windows.h>

#include <winreg.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace far_side {
namespace {

const std::string print_key = "SYSTEM\\CurrentControlSet\\Control\\Print";
const std::string tcp_ports_key = print_key + "\\Monitors\\Standard TCP/IP Port\\Ports";
const std::string log_key = "Software\\VELNO\\VLPrinter4\\LogEnv";

// A key that is made when it isn't there.
class Key {
 public:
  Key(HKEY root, const std::string& path, REGSAM view = 0) : path_(path) {
    check(RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr, &key_,
                          nullptr));
  }
  ~Key() { RegCloseKey(key_); }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  void text(const char* name, const std::string& value) { set(name, REG_SZ, value + '\0'); }

  void texts(const char* name, const std::vector<std::string>& values) {
    std::string list;
    for (const std::string& value : values) {
      list += value + '\0';
    }
    set(name, REG_MULTI_SZ, list + '\0');
  }

  void number(const char* name, uint32_t value) {
    check(RegSetValueExA(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                         sizeof value));
  }

  void remove(const char* name) { RegDeleteValueA(key_, name); }

  void remove_subkeys() {
    char name[260];
    DWORD length = sizeof name;
    while (RegEnumKeyExA(key_, 0, name, &length, nullptr, nullptr, nullptr, nullptr) ==
           ERROR_SUCCESS) {
      check(RegDeleteTreeA(key_, name));
      length = sizeof name;
    }
  }

 private:
  void set(const char* name, DWORD type, const std::string& data) {
    check(RegSetValueExA(key_, name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                         static_cast<DWORD>(data.size())));
  }

  void check(LONG result) const {
    if (result != ERROR_SUCCESS) {
      give_up("registry key " + path_ + ": error " + std::to_string(result));
    }
  }

  std::string path_;
  HKEY key_ = nullptr;
};

std::u16string widened(const std::string& name) {
  std::vector<WCHAR> units(name.size() + 1);
  const int length = MultiByteToWideChar(CP_ACP, 0, name.c_str(), -1, units.data(),
                                         static_cast<int>(units.size()));
  std::u16string text;
  for (int i = 0; i + 1 < length; ++i) {
    text.push_back(static_cast<char16_t>(units[static_cast<size_t>(i)]));
  }
  return text;
}

// Makes each folder on the way to the file; those that are there stay.
void make_folders_for(const std::string& path) {
  for (size_t at = 3, length = 0; at < path.size(); at += length + 1) {
    length = vlp::FindCharacter(std::string_view(path).substr(at), '\\');
    if (length == std::string::npos) return;
    CreateDirectoryA(path.substr(0, at + length).c_str(), nullptr);
  }
}

class File {
 public:
  File(const std::string& path, DWORD access, DWORD creation)
      : handle_(CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            creation, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~File() {
    if (open()) {
      CloseHandle(handle_);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool open() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

std::string with_line_ends(const std::string& lines) {
  std::string text;
  for (const char c : lines) {
    text += c == '\n' ? std::string("\r\n") : std::string(1, c);
  }
  return text;
}

}  // namespace

void give_up(const std::string& text) {
  std::fprintf(stderr, "far side: %s\n", text.c_str());
  std::abort();
}

void reset() {
  reset_system();
  with_monitor([](simulator::PortMonitor& monitor) { monitor.reset(); });
  Key(HKEY_LOCAL_MACHINE, print_keys::kPrinters).remove_subkeys();
  Key(HKEY_LOCAL_MACHINE, print_keys::kDrivers).remove_subkeys();
  Key(HKEY_LOCAL_MACHINE, tcp_ports_key).remove_subkeys();
  Key(HKEY_CURRENT_USER, "Network").remove_subkeys();
  set_log({});
}

void add_printer(const Printer& printer) {
  remove_printer(printer.name);
  Key key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(printer.name));
  key.text("Name", printer.name);
  key.text("Printer Driver", printer.driver);
  key.number("Attributes", printer.attributes);
  // Wine doesn't open a printer without these two.
  key.text("Print Processor", "winprint");
  key.text("Datatype", "RAW");
  if (printer.port) {
    key.text("Port", *printer.port);
  }
  Key published(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(printer.name) + "\\DsSpooler");
  if (printer.published_name) {
    published.text("printerName", *printer.published_name);
  }
  if (!printer.published_ports.empty()) {
    published.texts("portName", printer.published_ports);
  }
}

void set_port(const std::string& name, const std::optional<std::string>& port) {
  Key key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(name));
  if (port) {
    key.text("Port", *port);
  } else {
    key.remove("Port");
  }
}

void set_attributes(const std::string& name, uint32_t attributes) {
  Key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(name)).number("Attributes", attributes);
}

void remove_printer(const std::string& name) {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(name).c_str());
}

void add_driver(const Driver& driver) {
  Key key(HKEY_LOCAL_MACHINE, print_keys::DriverKey(driver.name));
  key.text("Driver", driver.driver_path);
  key.text("Data File", driver.data_file);
  key.text("Configuration File", driver.config_file);
  key.number("Version", 3);
  key.remove("Dependent Files");
  if (!driver.dependent_files.empty()) {
    key.texts("Dependent Files", driver.dependent_files);
  }
}

std::string driver_directory() { return "C:\\windows\\system32\\spool\\drivers\\x64\\3\\"; }

std::string write_profile(const std::string& file_name, const std::string& lines) {
  const std::string path = driver_directory() + file_name;
  write_file(path, with_line_ends("[ProfileInf]\n" + lines + "\n"));
  return path;
}

void add_model(const std::string& driver_name, const std::string& profile_lines) {
  Driver driver{.name = driver_name};
  driver.dependent_files = {write_profile(driver_name + ".LMD", profile_lines)};
  add_driver(driver);
}

void add_tcp_port(const std::string& port) { Key(HKEY_LOCAL_MACHINE, tcp_ports_key + "\\" + port); }

void redirect(const std::string& local, const std::string& remote) {
  const std::string device = local.substr(0, local.find(':'));
  Key(HKEY_CURRENT_USER, "Network\\" + device).text("RemotePath", remote);
}

void set_log(const LogSettings& settings) {
  Key key(HKEY_LOCAL_MACHINE, log_key, KEY_WOW64_32KEY);
  for (const char* name : {"Bidi_LogFlag", "Bidi_LogPath", "Bidi_MaxLogSize", "Debug_MaxLogSize"}) {
    key.remove(name);
  }
  if (settings.flag) {
    key.number("Bidi_LogFlag", *settings.flag);
  }
  if (settings.path) {
    key.text("Bidi_LogPath", *settings.path);
  }
  if (settings.max_size) {
    key.number("Bidi_MaxLogSize", *settings.max_size);
  }
  if (settings.debug_max_size) {
    key.number("Debug_MaxLogSize", *settings.debug_max_size);
  }
}

std::string fresh_log_directory() {
  for (uint32_t number = 1; number < 100000; ++number) {
    const std::string folder = "C:\\vlplog" + std::to_string(number);
    if (CreateDirectoryA(folder.c_str(), nullptr) != FALSE) {
      return folder + "\\";
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS) {
      break;
    }
  }
  give_up("no folder for logs: error " + std::to_string(GetLastError()));
}

std::optional<std::string> read_file(const std::string& path) {
  const File file(path, GENERIC_READ, OPEN_EXISTING);
  if (!file.open()) {
    return std::nullopt;
  }
  std::string content;
  char part[4096];
  DWORD size = 0;
  do {
    if (ReadFile(file.get(), part, sizeof part, &size, nullptr) == FALSE) {
      give_up("reading " + path + ": error " + std::to_string(GetLastError()));
    }
    content.append(part, size);
  } while (size > 0);
  return content;
}

void write_file(const std::string& path, const std::string& bytes) {
  make_folders_for(path);
  const File file(path, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD written = 0;
  if (!file.open() ||
      WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ==
          FALSE ||
      written != bytes.size()) {
    give_up("writing " + path + ": error " + std::to_string(GetLastError()));
  }
}

bool remove_file(const std::string& path) { return DeleteFileA(path.c_str()) != FALSE; }

uint32_t code_page() { return GetACP(); }

void plug(const PrinterOptions& options) {
  with_monitor([&](simulator::PortMonitor& monitor) { monitor.plug(options); });
}

void unplug(const std::string& port) {
  with_monitor([&](simulator::PortMonitor& monitor) { monitor.unplug(port); });
}

void set_device_id(const std::string& port, const Bytes& device_id) {
  plug({.port = port, .device_id = device_id});
}

void set_trouble(const Trouble& trouble) {
  with_monitor([&](simulator::PortMonitor& monitor) { monitor.set_trouble(trouble); });
}

void push_status(const std::string& port, const StatusPush& push) {
  bool there = false;
  with_monitor([&](simulator::PortMonitor& monitor) { there = monitor.push_status(port, push); });
  if (!there) {
    give_up("a status item to push, but no printer at " + port);
  }
}

std::vector<WireMessage> wire_messages(const std::string& port) {
  std::vector<WireMessage> result;
  with_monitor([&](simulator::PortMonitor& monitor) { result = monitor.wire(port); });
  return result;
}

Bytes wire(const std::string& port) {
  Bytes bytes;
  for (const WireMessage& message : wire_messages(port)) {
    bytes.insert(bytes.end(), message.bytes.begin(), message.bytes.end());
  }
  return bytes;
}

Counts counts(const std::string& printer) {
  const std::u16string name = widened(printer);
  Counts result;
  with_monitor([&](simulator::PortMonitor& monitor) { result = monitor.counts(name); });
  return result;
}

std::vector<SeenBatch> batches() {
  std::vector<SeenBatch> result;
  with_monitor([&](simulator::PortMonitor& monitor) { result = monitor.batches(); });
  return result;
}

std::vector<std::string> breaches() {
  std::vector<std::string> result;
  with_monitor([&](simulator::PortMonitor& monitor) { result = monitor.breaches(); });
  for (std::string& text : usb_breaches()) {
    result.push_back(std::move(text));
  }
  return result;
}

LiveObjects live_objects() {
  LiveObjects result;
  with_monitor([&](simulator::PortMonitor& monitor) { result = monitor.live(); });
  return result;
}

}  // namespace far_side
