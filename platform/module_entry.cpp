// Linked into a module: tells its DllMain of loading and unloading, as Windows does.

#include <dlfcn.h>
#include <link.h>
#include <windef.h>

#include "platform/kernel/module_life.h"

EXTERN_C BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

// Any address within this module.
const char anchor = 0;

HINSTANCE this_module() {
  Dl_info info;
  void* map = nullptr;
  if (dladdr1(&anchor, &info, &map, RTLD_DL_LINKMAP) == 0) return nullptr;
  return static_cast<HINSTANCE>(map);
}

__attribute__((constructor)) void attach() {
  platform::module_attach_begins();
  bool accepted = false;
  {
    const platform::ModuleCode code;
    accepted = DllMain(this_module(), DLL_PROCESS_ATTACH, nullptr) != FALSE;
  }
  platform::module_attach_ends(accepted);
}

__attribute__((destructor)) void detach() {
  const platform::ModuleCode code;
  LPVOID process_ends = platform::process_ends() ? const_cast<char*>(&anchor) : nullptr;
  DllMain(this_module(), DLL_PROCESS_DETACH, process_ends);
}

}  // namespace
