// Loading, finding and leaving modules.

#include <windows.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/platform/call_helpers.h"
#include "tests/platform/sample_module.h"
#include "tests/support/system_time.h"

namespace {

using test::Handle;
using test::kUntouched;
using test::new_event;
using test::run_timed;

template <class Function>
Function function(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

int detaches = 0;
bool detach_reserved = true;
HMODULE detach_module = nullptr;

void watch(DWORD reason, bool reserved, HMODULE module) {
  if (reason != DLL_PROCESS_DETACH) return;
  ++detaches;
  detach_reserved = reserved;
  detach_module = module;
}

HMODULE load_watched() {
  HMODULE module = LoadLibraryA(VLP_SAMPLE_MODULE);
  if (module != nullptr) function<test::SetWatch>(module, "SampleSetWatch")(watch);
  detaches = 0;
  return module;
}

TEST(Modules, ALoadedModuleWasAttachedOnceAndGivesItsFunctions) {
  const HMODULE module = LoadLibraryA(VLP_SAMPLE_MODULE);
  ASSERT_NE(module, nullptr) << GetLastError();
  EXPECT_EQ(function<test::GetAttachCount>(module, "SampleAttachCount")(), 1);
  SetLastError(kUntouched);
  EXPECT_EQ(GetProcAddress(module, "NotThere"), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
  EXPECT_TRUE(FreeLibrary(module));
}

TEST(Modules, AMissingFileIsAMissingModule) {
  SetLastError(kUntouched);
  EXPECT_EQ(LoadLibraryA("no_such_module_at_all"), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(Modules, AModuleThatRefusesToAttachIsNotLoaded) {
  SetEnvironmentVariableA("VLP_SAMPLE_REFUSES", "1");
  SetLastError(kUntouched);
  EXPECT_EQ(LoadLibraryA(VLP_SAMPLE_MODULE), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_DLL_INIT_FAILED});
  SetEnvironmentVariableA("VLP_SAMPLE_REFUSES", nullptr);
}

TEST(Modules, TheLastReferenceUnloadsWithReservedNull) {
  const HMODULE module = load_watched();
  ASSERT_NE(module, nullptr);
  const HMODULE again = LoadLibraryA(VLP_SAMPLE_MODULE);
  EXPECT_EQ(again, module);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(detaches, 0);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(detaches, 1);
  EXPECT_FALSE(detach_reserved);
  EXPECT_EQ(detach_module, module);
}

TEST(Modules, AnAddressTellsItsModuleWithOrWithoutAReference) {
  const HMODULE module = load_watched();
  ASSERT_NE(module, nullptr);
  const auto address = reinterpret_cast<LPCSTR>(
      reinterpret_cast<void*>(GetProcAddress(module, "SampleAttachCount")));
  HMODULE found = nullptr;
  EXPECT_TRUE(GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      address, &found));
  EXPECT_EQ(found, module);
  found = nullptr;
  EXPECT_TRUE(GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, address, &found));
  EXPECT_EQ(found, module);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(detaches, 0) << "the found reference keeps it";
  EXPECT_TRUE(FreeLibrary(found));
  EXPECT_EQ(detaches, 1);
}

TEST(Modules, AnAddressOfNoModuleIsRefused) {
  HMODULE found = reinterpret_cast<HMODULE>(&found);
  int local = 0;
  SetLastError(kUntouched);
  EXPECT_FALSE(GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                  reinterpret_cast<LPCSTR>(&local), &found));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
  EXPECT_EQ(found, nullptr);
}

TEST(Modules, AWorkerKeepsItsModuleLoadedAndItsEndUnloadsIt) {
  run_timed([] {
    const Handle stop(new_event(false, false));
    const HMODULE module = load_watched();
    ASSERT_NE(module, nullptr);
    const Handle worker(function<test::StartWorker>(module, "SampleStartWorker")(stop));
    ASSERT_NE(static_cast<HANDLE>(worker), nullptr);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(WaitForSingleObject(worker, 50), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(detaches, 0);
    SetEvent(stop);
    EXPECT_EQ(WaitForSingleObject(worker, 10000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeThread(worker, &code);
    EXPECT_EQ(code, 33u);
    EXPECT_EQ(detaches, 1);
    EXPECT_FALSE(detach_reserved);
  });
}

TEST(Modules, TheFileNameIsCutToTheBuffer) {
  char whole[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, whole, MAX_PATH);
  ASSERT_GT(length, 4u);
  EXPECT_EQ(std::string(whole).size(), length);
  char part[4];
  EXPECT_EQ(GetModuleFileNameA(nullptr, part, sizeof part), 4u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(std::string(part, 3), std::string(whole, 3));
  // The documentation counts a terminating null within the size; Wine leaves it out.
  EXPECT_EQ(part[3], test::is_wine() ? whole[3] : '\0');
}

TEST(Modules, AModulesFileNameEndsWithItsName) {
  const HMODULE module = LoadLibraryA(VLP_SAMPLE_MODULE);
  ASSERT_NE(module, nullptr);
  char path[MAX_PATH];
  ASSERT_GT(GetModuleFileNameA(module, path, MAX_PATH), 0u);
  const std::string name = std::string(path);
  const std::string wanted = VLP_SAMPLE_MODULE;
  ASSERT_GE(name.size(), wanted.size());
  EXPECT_EQ(name.substr(name.size() - wanted.size()), wanted);
  EXPECT_TRUE(FreeLibrary(module));
}

}  // namespace
