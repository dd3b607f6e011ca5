#pragma once

// What the tests of the loading calls and their sample module agree on.

#include <windows.h>

namespace test {

// Told of each DllMain call: reason, whether `reserved` is set, the module's handle.
using DllMainWatch = void (*)(DWORD reason, bool reserved, HMODULE module);
using SetWatch = void (*)(DllMainWatch watch);
using GetAttachCount = int (*)();

// Starts a worker that holds a reference of the module, waits for the event and
// leaves by FreeLibraryAndExitThread. Gives the thread's handle.
using StartWorker = HANDLE (*)(HANDLE stop);

}  // namespace test
