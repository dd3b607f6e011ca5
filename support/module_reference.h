#pragma once

#include <windows.h>

namespace vlp {

// Adds a reference to this module, for a thread that it starts: code that could be
// unmapped under the thread would crash, and unloading would have to wait for its end under
// the loader lock, which the end itself needs. Null on failure. The thread gives it back
// with FreeLibraryAndExitThread, its starter with FreeLibrary if there is no thread.
HMODULE AddModuleReference();

}  // namespace vlp
