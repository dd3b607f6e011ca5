#include "platform/machine.h"

#include "platform/machine_state.h"
#include "platform/usb_state.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <system_error>

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr uintmax_t largest_hardware_file = 1024 * 1024;
constexpr size_t most_hardware_files = 1000;
constexpr const char16_t* code_page_key = u"SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";

// Lives as long as the process, so that calls made while it ends still find it; the
// temporary folder alone is removed.
struct Holder {
  std::unique_ptr<Machine> current;
  uint64_t generation = 0;
  std::mutex loading;
};

Holder& holder() {
  static Holder& instance = *new Holder;
  return instance;
}

// Takes the temporary folder along when the process ends.
struct Sweeper {
  ~Sweeper() {
    TemporaryFolder last;
    StateGuard guard;
    if (holder().current != nullptr) {
      last = std::move(holder().current->temporary);
    }
  }
};

void put_in_force(std::unique_ptr<Machine> machine) {
  static const Sweeper sweeper;
  std::unique_ptr<Machine> old;
  {
    StateGuard guard;
    machine->generation = ++holder().generation;
    old = std::move(holder().current);
    holder().current = std::move(machine);
    plug_described_usb();
  }
}

std::optional<std::string> read_whole(const fs::path& path, uintmax_t limit) {
  std::error_code error;
  const uintmax_t size = fs::file_size(path, error);
  if (error || size > limit || !fs::is_regular_file(path, error)) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file) {
    return std::nullopt;
  }
  return text.str();
}

std::optional<std::string> parse_hardware(const std::string& file, const std::string& text,
                                          HardwareRecord& record) {
  std::string error;
  const auto keys = simulator::read_hardware(text, error);
  if (keys) {
    const auto options = simulator::describe_printer(*keys, error);
    const auto usb = options ? simulator::describe_usb(*keys, error) : std::nullopt;
    if (usb) {
      record = {file, *keys, *options, *usb};
      return std::nullopt;
    }
  }
  return "hardware/" + file + ": " + error;
}

bool same_port(const std::string& left, const std::string& right) {
  return upper(widen_utf8(left)) == upper(widen_utf8(right));
}

// A path that both name, or nothing.
std::optional<std::string> same_usb_path(const HardwareRecord& left, const HardwareRecord& right) {
  for (const std::string& path : left.usb.paths) {
    for (const std::string& other : right.usb.paths) {
      if (same_port(path, other)) {
        return path;
      }
    }
  }
  return std::nullopt;
}

std::optional<std::string> load_hardware(const fs::path& folder, Machine& machine) {
  std::error_code error;
  if (!fs::exists(folder, error)) {
    return std::nullopt;
  }
  std::vector<fs::path> files;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    if (at->path().extension() == ".ini") {
      files.push_back(at->path());
    }
  }
  if (error || files.size() > most_hardware_files) {
    return folder.string() + ": can't be listed, or holds too many files";
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    const auto text = read_whole(file, largest_hardware_file);
    if (!text) {
      return file.string() + ": can't be read";
    }
    HardwareRecord record;
    if (auto wrong = parse_hardware(file.filename().string(), *text, record)) {
      return wrong;
    }
    for (const HardwareRecord& other : machine.hardware) {
      if (same_port(other.printer.port, record.printer.port)) {
        return "hardware/" + record.file + ": port " + record.printer.port +
               " is already that of hardware/" + other.file;
      }
      if (const auto path = same_usb_path(other, record)) {
        return "hardware/" + record.file + ": " + *path + " is already that of hardware/" +
               other.file;
      }
    }
    machine.hardware.push_back(std::move(record));
  }
  return std::nullopt;
}

std::optional<std::string> import_into(RegistryTree& tree, const std::string& text) {
  const auto result = read_reg_file(text);
  if (const auto* wrong = std::get_if<RegFileError>(&result)) {
    return "line " + std::to_string(wrong->line) + ": " + wrong->text;
  }
  tree.apply(std::get<std::vector<RegEntry>>(result));
  return std::nullopt;
}

std::optional<std::string> load_into(const fs::path& folder, Machine& machine) {
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    return folder.string() + ": there is no such machine folder";
  }
  const fs::path registry = folder / "machine.reg";
  if (!fs::exists(registry, error)) {
    return folder.string() + ": holds no machine.reg, so it isn't a machine folder";
  }
  const auto text = read_whole(registry, uintmax_t{32} * 1024 * 1024);
  if (!text) {
    return registry.string() + ": can't be read, or is larger than 32 MiB";
  }
  if (const auto wrong = import_into(machine.registry, *text)) {
    return registry.string() + ", " + *wrong;
  }
  const fs::path drive = folder / "drive_c";
  if (!fs::is_directory(drive, error)) {
    return folder.string() + ": holds no drive_c folder";
  }
  machine.drive = drive.string();
  return load_hardware(folder / "hardware", machine);
}

std::unique_ptr<Machine> machine_from(const std::string& folder) {
  auto machine = std::make_unique<Machine>();
  if (auto wrong = load_into(folder, *machine)) {
    machine = std::make_unique<Machine>();
    machine->error = std::move(wrong);
  }
  return machine;
}

std::string default_folder() {
  const char* named = getenv("VLPBIDI_MACHINE");
  if (named != nullptr && *named != '\0') {
    return named;
  }
  Dl_info info = {};
  if (dladdr(reinterpret_cast<const void*>(&default_folder), &info) == 0) {
    return "machines/demo";
  }
  return (fs::path(info.dli_fname).parent_path() / "machines" / "demo").string();
}

// Key for a full name such as "HKEY_LOCAL_MACHINE\Software\X". Under the lock.
KeyRef made_key(const std::string& full_name) {
  const std::u16string name = widen_utf8(full_name);
  const size_t slash = std::min(name.find(u'\\'), name.size());
  RegistryTree& tree = machine().registry;
  const bool user = name.substr(0, slash) == u"HKEY_CURRENT_USER";
  bool made = false;
  return tree.create(user ? tree.current_user() : tree.local_machine(), name.substr(slash), false,
                     made);
}

}  // namespace

TemporaryFolder::~TemporaryFolder() {
  if (!path_.empty()) {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
}

void ensure_machine() {
  {
    StateGuard guard;
    if (holder().current != nullptr) {
      return;
    }
  }
  std::lock_guard<std::mutex> lock(holder().loading);
  {
    StateGuard guard;
    if (holder().current != nullptr) {
      return;
    }
  }
  put_in_force(machine_from(default_folder()));
}

Machine& machine() { return *holder().current; }

const CodePage& ansi() {
  ensure_machine();
  bool japanese = false;
  {
    StateGuard guard;
    const RegistryTree& tree = machine().registry;
    const KeyRef key = tree.find(tree.local_machine(), code_page_key);
    japanese = key != nullptr && text_of(key->value(u"ACP")) == u"932";
  }
  return code_page(japanese ? 932 : 1252);
}

std::optional<std::string> load_machine(const std::string& folder) {
  put_in_force(machine_from(folder));
  return machine_error();
}

void reset_machine() {
  auto machine = std::make_unique<Machine>();
  std::string folder = (fs::temp_directory_path() / "vlpbidi-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) {
    machine->error = folder + ": can't make a temporary folder";
  } else {
    machine->temporary = TemporaryFolder(folder);
    machine->drive = folder;
    std::error_code ignored;
    fs::create_directories(folder + "/windows/system32/spool/drivers/x64/3", ignored);
  }
  put_in_force(std::move(machine));
  set_ansi_code_page(1252);
}

std::optional<std::string> machine_error() {
  ensure_machine();
  StateGuard guard;
  return machine().error;
}

uint64_t machine_generation() {
  ensure_machine();
  StateGuard guard;
  return machine().generation;
}

std::string machine_drive() {
  ensure_machine();
  StateGuard guard;
  return machine().drive;
}

std::vector<HardwareRecord> machine_hardware() {
  ensure_machine();
  StateGuard guard;
  return machine().hardware;
}

std::optional<HardwareRecord> hardware_at(const std::string& port) {
  for (HardwareRecord& record : machine_hardware()) {
    if (same_port(record.printer.port, port)) {
      return std::move(record);
    }
  }
  return std::nullopt;
}

std::optional<std::string> add_hardware(const std::string& file, const std::string& text) {
  HardwareRecord record;
  if (auto wrong = parse_hardware(file, text, record)) {
    return wrong;
  }
  ensure_machine();
  StateGuard guard;
  std::vector<HardwareRecord>& all = machine().hardware;
  std::erase_if(all, [&record](const HardwareRecord& other) {
    return same_port(other.printer.port, record.printer.port);
  });
  all.push_back(record);
  plug_described_usb(record);
  machine().generation = ++holder().generation;
  return std::nullopt;
}

void set_registry_text(const std::string& key, const std::string& name, const std::string& text) {
  std::u16string units = widen_utf8(text);
  units += u'\0';
  ensure_machine();
  StateGuard guard;
  const KeyRef place = made_key(key);
  if (place != nullptr) {
    machine().registry.set(place, widen_utf8(name), REG_SZ, registry_text(units));
  }
}

void set_registry_number(const std::string& key, const std::string& name, DWORD number) {
  ensure_machine();
  StateGuard guard;
  const KeyRef place = made_key(key);
  if (place != nullptr) {
    machine().registry.set(
        place, widen_utf8(name), REG_DWORD,
        {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
         static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)});
  }
}

std::optional<std::string> import_registry(const std::string& text) {
  ensure_machine();
  StateGuard guard;
  return import_into(machine().registry, text);
}

void set_ansi_code_page(UINT number) {
  set_registry_text("HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage", "ACP",
                    std::to_string(number));
}

void set_spooler_latency(DWORD milliseconds) {
  ensure_machine();
  StateGuard guard;
  machine().spooler_latency = milliseconds;
}

}  // namespace platform

extern "C" const char* VlpPlatformMachineError(void) {
  thread_local std::string text;
  const auto error = platform::machine_error();
  text = error.value_or(std::string());
  return error ? text.c_str() : nullptr;
}

extern "C" const char* VlpPlatformSetMachine(const char* folder) {
  platform::load_machine(folder == nullptr ? std::string() : std::string(folder));
  return VlpPlatformMachineError();
}
