#pragma once

// For the entry source that is linked into each module.

#include "platform/kernel/api.h"

namespace platform {

// Round a module's attach. One that refuses makes LoadLibraryA fail and unload it.
VLP_PLATFORM_API void module_attach_begins();
VLP_PLATFORM_API void module_attach_ends(bool accepted);

// While it lives the thread runs a module's own code, though a call of the loader led
// there: what it calls is a call of its own, which may fail.
class VLP_PLATFORM_API ModuleCode {
 public:
  ModuleCode();
  ~ModuleCode();
  ModuleCode(const ModuleCode&) = delete;
  ModuleCode& operator=(const ModuleCode&) = delete;

 private:
  const char* loader_call_;
};

// Whether a module refused on this thread since the last look.
bool module_refused();

// Whether a module's end is the process's end, and not an unloading.
VLP_PLATFORM_API bool process_ends();

}  // namespace platform
