#pragma once

// The loader's lock: held while modules come and go and while threads start and end,
// so that waiting for a thread in a module's detach hangs here as it does on Windows.

#include <windef.h>

namespace platform {

class LoaderLock {
 public:
  LoaderLock();
  ~LoaderLock();
  LoaderLock(const LoaderLock&) = delete;
  LoaderLock& operator=(const LoaderLock&) = delete;
};

// Gives one reference of the module back. Takes the loader's lock.
bool free_module(HMODULE module);

}  // namespace platform
