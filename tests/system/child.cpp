// A process of its own for what a test can't do in its own: end with the library loaded,
// unload it under a living worker, write a log beside another process. Its exit code says
// how it went; 0 is well.

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/far_side.h"
#include "tests/system/child.h"
#include "tests/system/library.h"

namespace {

using far_side::bytes_of;

// Names the line that found something wrong.
void Expect(bool right, const char* what) {
  if (right) return;
  std::fprintf(stderr, "child: %s\n", what);
  std::fflush(stderr);
  std::_Exit(1);
}

HMODULE Load(const ProviderTable** table) {
  const HMODULE module = LoadLibraryA(system_test::LibraryFile());
  Expect(module != nullptr, "the library isn't loaded");
  VlpGetProviderInfoCall info = nullptr;
  const FARPROC address = GetProcAddress(module, "VLPGetProviderInfo");
  std::memcpy(&info, &address, sizeof(info));
  Expect(info != nullptr && info(table) == 0, "there is no table");
  return module;
}

void AddPrinter() {
  far_side::add_printer({.name = system_test::kChildPrinter, .port = "USB001"});
  far_side::set_device_id("USB001", bytes_of("CMD:BDC;"));
}

DWORD WINAPI TakeForEver(void* argument) {
  const auto* table = static_cast<const ProviderTable*>(argument);
  std::uint32_t id = 0;
  std::uint8_t buffer[1024];
  std::uint32_t size = sizeof(buffer);
  table->GetResult(&id, buffer, &size);
  return 0;
}

DWORD WINAPI AskForEver(void* argument) {
  const auto* table = static_cast<const ProviderTable*>(argument);
  for (;;) table->GetDeviceID(1, system_test::kChildPrinter);
}

void StartThread(LPTHREAD_START_ROUTINE start, const ProviderTable* table) {
  void* argument = const_cast<ProviderTable*>(table);
  const HANDLE thread = CreateThread(nullptr, 0, start, argument, 0, nullptr);
  Expect(thread != nullptr, "no thread");
  CloseHandle(thread);
}

bool IsInMemory(const ProviderTable* table) {
  HMODULE module = nullptr;
  VlpGetConnectInf inside = table->GetConnectInf;
  LPCSTR address = nullptr;
  std::memcpy(&address, &inside, sizeof(address));
  return GetModuleHandleExA(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             address, &module) != FALSE;
}

// Forgets Terminate. The worker keeps the library in memory, and the process ends well.
void UnloadWithoutTerminate() {
  AddPrinter();
  const ProviderTable* table = nullptr;
  const HMODULE module = Load(&table);
  Expect(table->GetDeviceID(1, system_test::kChildPrinter) == 0, "no device ID");
  Expect(FreeLibrary(module) != FALSE, "the library isn't freed");
  Expect(IsInMemory(table), "a library with a living worker left memory");
  // What stays is whole: it can be taken up again, with all that it knew.
  const ProviderTable* again = nullptr;
  Load(&again);
  Expect(again == table, "another library was loaded");
  std::uint32_t id = 0;
  std::uint8_t buffer[1024];
  std::uint32_t size = sizeof(buffer);
  Expect(again->GetResult(&id, buffer, &size) == 8 && id == 1, "the result is gone");
}

void UnloadUnused() {
  const ProviderTable* table = nullptr;
  const HMODULE module = Load(&table);
  VlpGetConnectInf inside = table->GetConnectInf;
  Expect(inside != nullptr && FreeLibrary(module) != FALSE, "the library isn't freed");
}

// Ends with the library loaded, a worker alive, one thread in GetResult and one asking.
void EndInUse() {
  AddPrinter();
  const ProviderTable* table = nullptr;
  Load(&table);
  Expect(table->GetDeviceID(1, system_test::kChildPrinter) == 0, "no device ID");
  StartThread(&TakeForEver, table);
  StartThread(&TakeForEver, table);
  StartThread(&AskForEver, table);
}

// Ends while the spooler holds a call back for good.
void EndInASpoolerCall() {
  AddPrinter();
  const HANDLE started = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const HANDLE gate = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  far_side::plug(
      {.port = "USB001", .device_id = bytes_of("CMD:BDC;"), .started = started, .gate = gate});
  const ProviderTable* table = nullptr;
  Load(&table);
  StartThread(&AskForEver, table);
  Expect(WaitForSingleObject(started, 60000) == WAIT_OBJECT_0, "no call came to the spooler");
}

// Stamps the log of a printer `times` times, beside another process that does the same.
void StampLog(const std::string& folder, int times) {
  if (!system_test::WorldIsShared()) {
    far_side::add_printer({.name = system_test::kChildPrinter, .port = "USB001"});
    far_side::set_log({.flag = 1, .path = folder, .max_size = system_test::kChildLogSize});
  }
  const ProviderTable* table = nullptr;
  const HMODULE module = Load(&table);
  const std::uint8_t command[] = "a command of some length that fills the log";
  for (int time = 0; time < times; ++time) {
    Expect(table->GetStatus(1, system_test::kChildPrinter, ChnlKindBdc) == VLPER_NOCHANNEL,
           "the status says something else");
    Expect(table->SendCommand(1, system_test::kChildPrinter, ChnlKindBdc, command,
                              sizeof(command)) == VLPER_NOCHANNEL,
           "the command says something else");
  }
  Expect(table->Terminate() == 0, "Terminate fails");
  Expect(FreeLibrary(module) != FALSE, "the library isn't freed");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  if (what == "stamp-log" && count > 3) {
    StampLog(arguments[2], std::atoi(arguments[3]));
    return 0;
  }
  far_side::reset();
  if (what == "unload-without-terminate") {
    UnloadWithoutTerminate();
  } else if (what == "unload-unused") {
    UnloadUnused();
  } else if (what == "end-in-use") {
    EndInUse();
  } else if (what == "end-in-a-spooler-call") {
    EndInASpoolerCall();
  } else {
    return 2;
  }
  return 0;
}
