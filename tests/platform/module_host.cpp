// A host program of a module: shows what the module's DllMain hears at its end.

#include <windows.h>

#include <cstdio>
#include <cstring>

#include "tests/platform/sample_module.h"

namespace {

template <class Function>
Function function(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

HANDLE worker = nullptr;

void watch(DWORD reason, bool reserved, HMODULE) {
  if (reason != DLL_PROCESS_DETACH) return;
  std::printf("detach reserved=%s", reserved ? "set" : "null");
  // At the end of the process the other threads are gone and their handles show it.
  if (worker != nullptr) std::printf(" worker=%u", WaitForSingleObject(worker, INFINITE));
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  const char* way = count > 1 ? arguments[1] : "";
  const HMODULE module = LoadLibraryA("platform_sample_module.so");
  if (module == nullptr) return 2;
  function<test::SetWatch>(module, "SampleSetWatch")(watch);
  if (std::strcmp(way, "exit_with_live_thread") == 0) {
    worker = function<test::StartWorker>(
        module, "SampleStartWorker")(CreateEventA(nullptr, FALSE, FALSE, nullptr));
  }
  if (std::strcmp(way, "unload") == 0) FreeLibrary(module);
  std::puts("end of main");
  std::fflush(stdout);
  return 0;
}
