// A module whose DllMain reports, and whose worker keeps it loaded.

#include "tests/platform/sample_module.h"

#if defined(_WIN32)
#define SAMPLE_EXPORT extern "C" __declspec(dllexport)
#else
#define SAMPLE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

test::DllMainWatch watcher = nullptr;
int attached = 0;

DWORD WINAPI finish_at_once(LPVOID) { return 0; }

DWORD WINAPI work(LPVOID stop) {
  HMODULE module = nullptr;
  GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCSTR>(&attached), &module);
  WaitForSingleObject(stop, INFINITE);
  FreeLibraryAndExitThread(module, 33);
}

}  // namespace

SAMPLE_EXPORT void SampleSetWatch(test::DllMainWatch watch);
SAMPLE_EXPORT int SampleAttachCount();
SAMPLE_EXPORT HANDLE SampleStartWorker(HANDLE stop);

void SampleSetWatch(test::DllMainWatch watch) { watcher = watch; }
int SampleAttachCount() { return attached; }

HANDLE SampleStartWorker(HANDLE stop) {
  HMODULE module = nullptr;
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                          reinterpret_cast<LPCSTR>(&attached), &module)) {
    return nullptr;
  }
  return CreateThread(nullptr, 0, work, stop, 0, nullptr);
}

// The mistake that hangs: the detach waits for a thread that can't start or end meanwhile.
static void wait_at_detach() {
  char wanted[2];
  if (GetEnvironmentVariableA("VLP_SAMPLE_WAITS_AT_DETACH", wanted, sizeof wanted) == 0) return;
  const HANDLE thread = CreateThread(nullptr, 0, finish_at_once, nullptr, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_ATTACH) ++attached;
  if (watcher != nullptr) watcher(reason, reserved != nullptr, module);
  if (reason == DLL_PROCESS_DETACH) wait_at_detach();
  char refused[2];
  return reason != DLL_PROCESS_ATTACH ||
         GetEnvironmentVariableA("VLP_SAMPLE_REFUSES", refused, sizeof refused) == 0;
}
