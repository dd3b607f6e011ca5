#include "monitor/system.h"

#include <shellapi.h>

#include "monitor/text.h"

namespace monitor {
namespace {

void Write(DWORD stream, std::string_view text) {
  const HANDLE output = GetStdHandle(stream);
  DWORD mode = 0;
  DWORD written = 0;
  if (GetConsoleMode(output, &mode) != FALSE) {
    const WideText wide = WidenUtf8(text);
    WriteConsoleW(output, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
    return;
  }
  while (!text.empty() && WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written,
                                    nullptr) != FALSE) {
    if (written == 0) return;
    text.remove_prefix(written);
  }
}

}  // namespace

std::vector<std::string> ProgramArguments(int, char**) {
  std::vector<std::string> arguments;
  int count = 0;
  WCHAR** const list = CommandLineToArgvW(GetCommandLineW(), &count);
  if (list == nullptr) return arguments;
  for (int index = 1; index < count; ++index) arguments.push_back(NarrowUtf8(list[index]));
  LocalFree(list);
  return arguments;
}

void WriteOutput(std::string_view text) { Write(STD_OUTPUT_HANDLE, text); }

void WriteError(std::string_view text) { Write(STD_ERROR_HANDLE, text); }

bool OutputTakesColours() {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(output, &mode) != FALSE &&
         SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

std::string DefaultProvider() {
  WideText path(32768, 0);
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  path.resize(path.rfind(TEXT('\\')) + 1);
  return NarrowUtf8(path) + "VlpBidi.dll";
}

HMODULE LoadProvider(const std::string& file) { return LoadLibraryW(WidenUtf8(file).c_str()); }

std::string UseMachine(const std::string& folder) {
  return folder.empty() ? "" : "--machine: this computer is the machine, no other can be named";
}

}  // namespace monitor
