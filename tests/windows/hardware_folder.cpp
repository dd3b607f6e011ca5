#include "tests/windows/hardware_folder.h"

#include <windows.h>

namespace doubles {
namespace {

std::string whole_file(const std::string& path) {
  const HANDLE file =
      CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return {};
  }
  std::string text(65537, '\0');  // one more than a description may have
  DWORD size = 0;
  ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &size, nullptr);
  CloseHandle(file);
  text.resize(size);
  return text;
}

}  // namespace

void read_hardware_folder(
    platform::FunctionRef<void(const std::string& file,
                               const std::optional<simulator::HardwareKeys>& keys,
                               const std::string& error)>
        take) {
  char folder[MAX_PATH] = "";
  const DWORD length = GetEnvironmentVariableA("VLPBIDI_HARDWARE", folder, sizeof folder);
  if (length == 0 || length >= sizeof folder) {
    return;
  }
  const std::string begin = std::string(folder) + "\\";
  WIN32_FIND_DATAA entry;
  const HANDLE search = FindFirstFileA((begin + "*.ini").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return;
  }
  do {
    std::string error;
    const auto keys = simulator::read_hardware(whole_file(begin + entry.cFileName), error);
    take(entry.cFileName, keys, error);
  } while (FindNextFileA(search, &entry) != 0);
  FindClose(search);
}

}  // namespace doubles
