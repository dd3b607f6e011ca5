// An in-process COM server with the three bidi classes, over the simulated printers. It
// finds a printer's port in the spooler's own keys, and the printer at that port among those
// that a test has plugged or in the descriptions of the folder that VLPBIDI_HARDWARE names.

#include "platform/bidi_objects.h"
#include "tests/support/print_keys.h"
#include "tests/windows/hardware_folder.h"
#include "tests/windows/registry_reader.h"

#include <windows.h>

#include <new>

namespace {

HINSTANCE this_module = nullptr;
CRITICAL_SECTION monitor_lock;
simulator::PortMonitor* monitor = nullptr;  // lives from attach to the process's end

std::optional<std::string> narrowed(const std::u16string& text) {
  if (text.empty() || text.size() > MAX_PATH) {
    return std::nullopt;
  }
  const auto* units = reinterpret_cast<const WCHAR*>(text.data());
  char narrow[2 * MAX_PATH + 1];
  const int length = WideCharToMultiByte(CP_ACP, 0, units, static_cast<int>(text.size()), narrow,
                                         sizeof narrow, nullptr, nullptr);
  return length == 0 ? std::nullopt
                     : std::optional(std::string(narrow, static_cast<size_t>(length)));
}

// Plugs what the descriptions put at `port`. A broken one is reported once it is looked at.
void plug_described(const std::string& port) {
  doubles::read_hardware_folder([&](const std::string& file,
                                    const std::optional<simulator::HardwareKeys>& keys,
                                    const std::string& why) {
    std::string error = why;
    const auto options = keys ? simulator::describe_printer(*keys, error) : std::nullopt;
    platform::with_port_monitor([&](simulator::PortMonitor& target) {
      if (!options) {
        target.breach(file + ": " + error);
      } else if (lstrcmpiA(options->port.c_str(), port.c_str()) == 0 && !target.plugged(port)) {
        target.plug(*options);
      }
    });
  });
}

void plug_described_once(const std::string& port) {
  bool plugged = false;
  platform::with_port_monitor(
      [&](simulator::PortMonitor& target) { plugged = target.plugged(port); });
  if (!plugged) {
    plug_described(port);
  }
}

// An interface of COM has no destructor slot, and the factories are never destroyed by one.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class Factory final : public IClassFactory {
 public:
  explicit Factory(const CLSID& clsid) : clsid_(clsid) {}

  HRESULT WINAPI QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG WINAPI AddRef() override { return 2; }  // lives as long as the module
  ULONG WINAPI Release() override { return 1; }
  HRESULT WINAPI CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    return platform::create_bidi_object(clsid_, outer, iid, object);
  }
  HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

 private:
  CLSID clsid_;
};

constexpr CLSID spl_class{
    0x2A614240, 0xA4C5, 0x4C33, {0xBD, 0x87, 0x1B, 0xC7, 0x09, 0x33, 0x16, 0x39}};
constexpr CLSID request_class{
    0xB9162A23, 0x45F9, 0x47CC, {0x80, 0xF5, 0xFE, 0x0F, 0xE9, 0xB9, 0xE1, 0xA2}};
constexpr CLSID container_class{
    0xFC5B8A24, 0xDB05, 0x4A01, {0x83, 0x88, 0x22, 0xED, 0xF6, 0xC2, 0xBB, 0xBA}};
Factory factories[] = {Factory(spl_class), Factory(request_class), Factory(container_class)};
const CLSID factory_classes[] = {spl_class, request_class, container_class};

bool set_text(HKEY key, const char* name, const std::string& text) {
  return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>(text.size() + 1)) == ERROR_SUCCESS;
}

bool register_class(const char* clsid, const std::string& file) {
  const std::string path = std::string("Software\\Classes\\CLSID\\") + clsid + "\\InprocServer32";
  HKEY key = nullptr;
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const bool done = set_text(key, nullptr, file) && set_text(key, "ThreadingModel", "Both");
  RegCloseKey(key);
  return done;
}

}  // namespace

namespace platform {

void with_port_monitor(FunctionRef<void(simulator::PortMonitor&)> work) {
  EnterCriticalSection(&monitor_lock);
  work(*monitor);
  LeaveCriticalSection(&monitor_lock);
}

HRESULT run_bidi_call(const char*, FunctionRef<HRESULT()> body, OnFault) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

std::optional<std::string> find_bidi_port(const std::u16string& printer) {
  const std::optional<std::string> name = narrowed(printer);
  if (!name) {
    return std::nullopt;
  }
  const doubles::Key key(HKEY_LOCAL_MACHINE, print_keys::PrinterKey(*name));
  if (!key) {
    return std::nullopt;
  }
  const std::string port = key.text("Port").value_or(std::string());
  plug_described_once(port);
  return port;
}

}  // namespace platform

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  for (size_t i = 0; i < 3; ++i) {
    if (clsid == factory_classes[i]) {
      return factories[i].QueryInterface(iid, object);
    }
  }
  *object = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}

// The record of what was seen has to outlive the objects.
extern "C" HRESULT WINAPI DllCanUnloadNow() { return S_FALSE; }

// Makes this file the server of the three classes: for regsvr32, and for the far side.
extern "C" HRESULT WINAPI DllRegisterServer() {
  char file[MAX_PATH] = "";
  const DWORD length = GetModuleFileNameA(this_module, file, sizeof file);
  if (length == 0 || length >= sizeof file) {
    return E_FAIL;
  }
  for (const char* clsid :
       {"{2A614240-A4C5-4C33-BD87-1BC709331639}", "{B9162A23-45F9-47CC-80F5-FE0FE9B9E1A2}",
        "{FC5B8A24-DB05-4A01-8388-22EDF6C2BBBA}"}) {
    if (!register_class(clsid, file)) {
      return E_FAIL;
    }
  }
  return S_OK;
}

extern "C" simulator::PortMonitor* BidiDoubleEnter() {
  EnterCriticalSection(&monitor_lock);
  return monitor;
}

extern "C" void BidiDoubleLeave() { LeaveCriticalSection(&monitor_lock); }

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    this_module = module;
    InitializeCriticalSection(&monitor_lock);
    monitor = new (std::nothrow) simulator::PortMonitor;
    return monitor != nullptr ? TRUE : FALSE;
  }
  return TRUE;
}
