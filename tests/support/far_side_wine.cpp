#include "tests/support/far_side.h"
#include "tests/support/far_side_system.h"
#include "tests/windows/bidi_double.h"
#include "tests/windows/winusb_double.h"

#include <windows.h>

#include <cstring>

namespace far_side {
namespace {

struct Double {
  doubles::BidiDoubleEnter* enter = nullptr;
  doubles::BidiDoubleLeave* leave = nullptr;
  doubles::BidiDoubleRegister* register_server = nullptr;
};

// A GetProcAddress result as the function that it is.
template <class Function>
Function* entry_of(HMODULE module, const char* name) {
  const FARPROC address = GetProcAddress(module, name);
  if (address == nullptr) {
    give_up(std::string("the double has no ") + name);
  }
  Function* function = nullptr;
  static_assert(sizeof function == sizeof address);
  std::memcpy(&function, &address, sizeof function);
  return function;
}

// The program lies either above the doubles' folder or in it.
std::string double_path() {
  char program[MAX_PATH] = "";
  GetModuleFileNameA(nullptr, program, sizeof program);
  const std::string path = program;
  const std::string folder = path.substr(0, path.rfind('\\') + 1);
  for (const char* below : {"", "doubles\\"}) {
    std::string candidate = folder + below + doubles::bidi_double_file;
    if (GetFileAttributesA(candidate.c_str()) != INVALID_FILE_ATTRIBUTES) {
      return candidate;
    }
  }
  give_up("no " + std::string(doubles::bidi_double_file) + " near " + path);
}

// Loaded for good: what it has seen has to outlive the objects.
const Double& bidi_double() {
  static const Double loaded = [] {
    const std::string path = double_path();
    const HMODULE module = LoadLibraryA(path.c_str());
    if (module == nullptr) {
      give_up("loading " + path + ": error " + std::to_string(GetLastError()));
    }
    return Double{entry_of<doubles::BidiDoubleEnter>(module, doubles::bidi_double_enter),
                  entry_of<doubles::BidiDoubleLeave>(module, doubles::bidi_double_leave),
                  entry_of<doubles::BidiDoubleRegister>(module, doubles::bidi_double_register)};
  }();
  return loaded;
}

// A system library that this program has from its own folder is a double.
bool is_double(const char* library) {
  char program[MAX_PATH] = "";
  char loaded[MAX_PATH] = "";
  const HMODULE module = GetModuleHandleA(library);
  if (module == nullptr || GetModuleFileNameA(module, loaded, sizeof loaded) == 0) {
    return false;
  }
  GetModuleFileNameA(nullptr, program, sizeof program);
  const std::string folder(program, static_cast<size_t>(std::strrchr(program, '\\') - program));
  return lstrcmpiA(std::string(loaded).substr(0, folder.size()).c_str(), folder.c_str()) == 0;
}

// Null in a program that has the system's own winusb.dll. Its path tells nothing: Wine names
// its own library by a file that lies beside the program.
const doubles::WinusbControl* find_usb_control() {
  static const doubles::WinusbControl* const control = []() -> const doubles::WinusbControl* {
    const HMODULE module = LoadLibraryA("winusb.dll");
    if (module == nullptr || GetProcAddress(module, doubles::winusb_double_control) == nullptr) {
      return nullptr;
    }
    return entry_of<doubles::WinusbDoubleControl>(module, doubles::winusb_double_control)();
  }();
  return control;
}

const doubles::WinusbControl& usb_control() {
  const doubles::WinusbControl* control = find_usb_control();
  if (control == nullptr) {
    give_up("devices on the USB need the winusb.dll double");
  }
  return *control;
}

}  // namespace

bool serves(Feature feature) {
  switch (feature) {
    case Feature::csr_names:
    case Feature::bare_dependent_files:
    case Feature::portless_printers:
      return is_double("winspool.drv");
    case Feature::redirected_ports:
      return is_double("mpr.dll");
    case Feature::usb_devices:
      return find_usb_control() != nullptr;
    case Feature::task_memory_count:
    case Feature::both_code_pages:
      return false;
  }
  return false;
}

void reset_system() {
  if (FAILED(bidi_double().register_server())) {
    give_up("the bidi double can't be registered");
  }
  if (const doubles::WinusbControl* usb = find_usb_control()) {
    usb->reset();
  }
}

void plug_usb_path(const std::string& path, const simulator::PrinterOptions& printer,
                   const simulator::D4Options& d4) {
  if (!usb_control().plug(path, printer, d4)) {
    give_up("the winusb double can't plug in " + path);
  }
}

bool unplug_usb_path(const std::string& path) { return usb_control().unplug(path); }

bool replug_usb_path(const std::string& path, const std::string& new_path) {
  return usb_control().replug(path, new_path);
}

bool with_usb_path(const std::string& path,
                   platform::FunctionRef<void(simulator::UsbPrinter&, uint64_t now_ms)> work) {
  return usb_control().work(path, work);
}

std::vector<std::string> usb_breaches() {
  const doubles::WinusbControl* usb = find_usb_control();
  return usb == nullptr ? std::vector<std::string>() : usb->breaches();
}

void with_monitor(platform::FunctionRef<void(simulator::PortMonitor&)> work) {
  const Double& loaded = bidi_double();
  simulator::PortMonitor* monitor = loaded.enter();
  work(*monitor);
  loaded.leave();
}

// The code page belongs to the process's environment.
bool set_code_page(uint32_t wanted) { return wanted == code_page(); }

uint32_t task_blocks() { give_up("task memory isn't counted here"); }

}  // namespace far_side
