// Modules: loading, references, names, functions.

#include <dlfcn.h>
#include <libloaderapi.h>
#include <link.h>
#include <unistd.h>
#include <winerror.h>

#include <climits>
#include <cstring>
#include <string>

#include "platform/kernel/call.h"
#include "platform/kernel/module_life.h"
#include "platform/loader.h"
#include "platform/sections.h"

namespace platform {
namespace {

CRITICAL_SECTION& loader_section() {
  static CRITICAL_SECTION* const made = [] {
    auto* section = new CRITICAL_SECTION;
    init_section(*section, 0);
    return section;
  }();
  return *made;
}

std::string program_path() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string();
}

std::string directory_of(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

// A bare name is looked for beside the program first, then where the system looks.
std::string path_to_load(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  const std::string beside = directory_of(program_path()) + name;
  return access(beside.c_str(), F_OK) == 0 ? beside : name;
}

link_map* map_of(HMODULE module) { return reinterpret_cast<link_map*>(module); }
HMODULE module_of(void* handle) { return static_cast<HMODULE>(handle); }

// Whether the handle is one of a loaded module; stray handles must not reach the system's loader.
bool is_module(HMODULE module) {
  void* program = dlopen(nullptr, RTLD_NOW | RTLD_NOLOAD);
  bool found = false;
  for (const link_map* map = static_cast<link_map*>(program); map != nullptr; map = map->l_next) {
    found = found || map == map_of(module);
  }
  dlclose(program);
  return found;
}

void* open_again(const link_map& map, int flags) {
  const char* path = *map.l_name != '\0' ? map.l_name : nullptr;
  return dlopen(path, RTLD_NOW | RTLD_NOLOAD | flags);
}

// The loaded module that an address or a name tells of, with one more reference, or null.
void* find_module(DWORD flags, LPCSTR name) {
  const int pin = (flags & GET_MODULE_HANDLE_EX_FLAG_PIN) != 0 ? RTLD_NODELETE : 0;
  if (name == nullptr) return dlopen(nullptr, RTLD_NOW | RTLD_NOLOAD);
  if ((flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) == 0) {
    return dlopen(path_to_load(name).c_str(), RTLD_NOW | RTLD_NOLOAD | pin);
  }
  Dl_info info;
  link_map* map = nullptr;
  void* extra = nullptr;
  if (dladdr1(name, &info, &extra, RTLD_DL_LINKMAP) == 0 || extra == nullptr) return nullptr;
  map = static_cast<link_map*>(extra);
  return open_again(*map, pin);
}

DWORD copy_name(const std::string& path, LPSTR name, DWORD size) {
  if (size == 0) {
    fail_with(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (path.size() < size) {
    std::memcpy(name, path.c_str(), path.size() + 1);
    return static_cast<DWORD>(path.size());
  }
  std::memcpy(name, path.data(), size - 1);
  name[size - 1] = '\0';
  fail_with(ERROR_INSUFFICIENT_BUFFER);
  return size;
}

}  // namespace

LoaderLock::LoaderLock() {
  Thread& thread = self();
  const StateGuard guard;
  enter_section(loader_section(), thread);
}

LoaderLock::~LoaderLock() {
  Thread& thread = self();
  const StateGuard guard;
  if (owns_section(loader_section(), thread)) leave_section(loader_section(), thread);
}

bool free_module(HMODULE module) {
  const LoaderLock lock;
  return is_module(module) && dlclose(module) == 0;
}

}  // namespace platform

using platform::Call;
using platform::fail_with;

HMODULE WINAPI LoadLibraryA(LPCSTR path) {
  const Call call("LoadLibraryA");
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  if (path == nullptr) return fail_with(ERROR_INVALID_PARAMETER), nullptr;
  const platform::LoaderLock lock;
  void* handle = dlopen(platform::path_to_load(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return fail_with(ERROR_MOD_NOT_FOUND), nullptr;
  if (platform::module_refused()) {
    dlclose(handle);
    return fail_with(ERROR_DLL_INIT_FAILED), nullptr;
  }
  return platform::module_of(handle);
}

BOOL WINAPI FreeLibrary(HMODULE module) {
  const Call call("FreeLibrary");
  if (!platform::free_module(module)) return fail_with(ERROR_INVALID_HANDLE);
  if (call.fault()) return fail_with(*call.fault());
  return TRUE;
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
  const Call call("GetProcAddress");
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  const platform::LoaderLock lock;
  if (!platform::is_module(module)) return fail_with(ERROR_MOD_NOT_FOUND), nullptr;
  void* found = dlsym(module, name);
  if (found == nullptr) return fail_with(ERROR_PROC_NOT_FOUND), nullptr;
  return reinterpret_cast<FARPROC>(found);
}

BOOL WINAPI GetModuleHandleExA(DWORD flags, LPCSTR name, HMODULE* module) {
  const Call call("GetModuleHandleExA");
  if (module == nullptr) return fail_with(ERROR_INVALID_PARAMETER);
  *module = nullptr;
  if (call.fault()) return fail_with(*call.fault());
  constexpr DWORD kExclusive =
      GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if ((flags & kExclusive) == kExclusive) return fail_with(ERROR_INVALID_PARAMETER);
  const platform::LoaderLock lock;
  void* handle = platform::find_module(flags, name);
  if (handle == nullptr) return fail_with(ERROR_MOD_NOT_FOUND);
  if ((flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) != 0) dlclose(handle);
  *module = platform::module_of(handle);
  return TRUE;
}

DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR name, DWORD size) {
  const Call call("GetModuleFileNameA");
  if (call.fault()) return fail_with(*call.fault()), 0;
  std::string path;
  if (module == nullptr) {
    path = platform::program_path();
  } else {
    const platform::LoaderLock lock;
    if (!platform::is_module(module)) return fail_with(ERROR_MOD_NOT_FOUND), 0;
    path = platform::map_of(module)->l_name;
    if (path.empty()) path = platform::program_path();
  }
  return platform::copy_name(path, name, size);
}
