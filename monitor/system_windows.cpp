#include "monitor/system.h"

#include <shellapi.h>

#include "monitor/text.h"

namespace monitor {
namespace {

bool Write(DWORD stream, std::string_view text) {
  const HANDLE output = GetStdHandle(stream);
  DWORD mode = 0;
  DWORD written = 0;
  if (GetConsoleMode(output, &mode) != FALSE) {
    const WideText wide = WidenUtf8(text);
    return WriteConsoleW(output, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr) !=
           FALSE;
  }
  while (!text.empty()) {
    if (WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ==
            FALSE ||
        written == 0) {
      return false;
    }
    text.remove_prefix(written);
  }
  return true;
}

std::string FileProblem(const std::string& path, DWORD error) {
  return "can't read " + Harmless(path) + " (error " + std::to_string(error) + ")";
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

bool WriteOutput(std::string_view text) { return Write(STD_OUTPUT_HANDLE, text); }

bool WriteError(std::string_view text) { return Write(STD_ERROR_HANDLE, text); }

bool OutputTakesColours() {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(output, &mode) != FALSE &&
         SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
}

ScreenSize TerminalSize() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == FALSE) return {};
  // What is in sight; the buffer may be longer.
  const int columns = info.srWindow.Right - info.srWindow.Left + 1;
  const int rows = info.srWindow.Bottom - info.srWindow.Top + 1;
  if (columns <= 0 || rows <= 0) return {};
  return {static_cast<unsigned>(columns), static_cast<unsigned>(rows)};
}

std::string ReadWholeFile(const std::string& path, std::size_t most,
                          std::vector<std::uint8_t>* bytes) {
  const HANDLE file =
      CreateFileW(WidenUtf8(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file == INVALID_HANDLE_VALUE) return FileProblem(path, GetLastError());
  std::vector<std::uint8_t> piece(65536);
  std::string wrong;
  bytes->clear();
  for (;;) {
    DWORD read = 0;
    if (ReadFile(file, piece.data(), static_cast<DWORD>(piece.size()), &read, nullptr) == FALSE) {
      wrong = FileProblem(path, GetLastError());
    }
    if (read == 0 || !wrong.empty()) break;
    bytes->insert(bytes->end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(read));
    if (bytes->size() > most) break;
  }
  CloseHandle(file);
  return wrong;
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
