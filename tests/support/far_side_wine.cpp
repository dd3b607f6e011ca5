#include "tests/support/far_side.h"
#include "tests/support/far_side_system.h"
#include "tests/windows/bidi_double.h"

#include <windows.h>

#include <cstring>

namespace far_side {
namespace {

struct Double {
  doubles::BidiDoubleEnter* enter = nullptr;
  doubles::BidiDoubleLeave* leave = nullptr;
};

// A GetProcAddress result as the function that it is.
template <class Function>
Function* entry_of(HMODULE module, const char* name) {
  const FARPROC address = GetProcAddress(module, name);
  if (address == nullptr) {
    give_up(std::string("the bidi double has no ") + name);
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
                  entry_of<doubles::BidiDoubleLeave>(module, doubles::bidi_double_leave)};
  }();
  return loaded;
}

void set_text(HKEY key, const char* name, const std::string& text) {
  const LONG result =
      RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                     static_cast<DWORD>(text.size() + 1));
  if (result != ERROR_SUCCESS) {
    give_up("registering the bidi double: error " + std::to_string(result));
  }
}

void register_bidi_double() {
  const std::string path = double_path();
  for (const char* clsid :
       {"{2A614240-A4C5-4C33-BD87-1BC709331639}", "{B9162A23-45F9-47CC-80F5-FE0FE9B9E1A2}",
        "{FC5B8A24-DB05-4A01-8388-22EDF6C2BBBA}"}) {
    const std::string name = std::string("Software\\Classes\\CLSID\\") + clsid + "\\InprocServer32";
    HKEY key = nullptr;
    const LONG result = RegCreateKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, nullptr, 0,
                                        KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (result != ERROR_SUCCESS) {
      give_up("registering the bidi double: error " + std::to_string(result));
    }
    set_text(key, nullptr, path);
    set_text(key, "ThreadingModel", "Both");
    RegCloseKey(key);
  }
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

}  // namespace

bool serves(Feature feature) {
  switch (feature) {
    case Feature::csr_names:
    case Feature::bare_dependent_files:
    case Feature::portless_printers:
      return is_double("winspool.drv");
    case Feature::redirected_ports:
      return is_double("mpr.dll");
    case Feature::task_memory_count:
    case Feature::both_code_pages:
      return false;
  }
  return false;
}

void reset_system() { register_bidi_double(); }

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
