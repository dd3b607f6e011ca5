#include "provider/log_settings_reader.h"

#include <windows.h>

#include "support/handles.h"
#include "support/text.h"

namespace vlp {
namespace {

constexpr const char* kLogKey = "Software\\VELNO\\VLPrinter4\\LogEnv";

// Value types don't count: the first four bytes are the number. A longer value counts
// as missing.
std::uint32_t ReadNumber(HKEY key, const char* name) {
  std::uint32_t number = 0;
  DWORD size = sizeof(number);
  const LSTATUS rc =
      RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
  return rc == ERROR_SUCCESS ? number : 0;
}

std::optional<std::string> ReadPath(HKEY key, const char* name) {
  char text[kTextLimit] = {};
  DWORD size = sizeof(text);
  const LSTATUS rc =
      RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
  if (rc != ERROR_SUCCESS || size > sizeof(text)) return std::nullopt;
  // As stored; the string adds a terminator where the value has none.
  return std::string(text, size);
}

// To read the view of 32-bit programs, which is where the settings stand on both kinds.
constexpr REGSAM kAccess = KEY_READ | KEY_WOW64_32KEY;
static_assert(kAccess == 0x20219);

void ReadKey(LogSettings& settings) {
  RegistryKey key;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kLogKey, 0, kAccess, key.Receive()) != ERROR_SUCCESS) {
    return;
  }
  settings.logFlag = ReadNumber(key.Get(), "Bidi_LogFlag");
  settings.logPath = ReadPath(key.Get(), "Bidi_LogPath");
  const std::uint32_t debug_size = ReadNumber(key.Get(), "Debug_MaxLogSize");
  const std::uint32_t bidi_size = ReadNumber(key.Get(), "Bidi_MaxLogSize");
  settings.maxLogSize = bidi_size != 0 ? bidi_size : debug_size;
}

void ReadVersion(LogSettings& settings) {
  OSVERSIONINFOEXA version{};
  version.dwOSVersionInfoSize = sizeof(version);
  static_assert(sizeof(version) == 156);
  if (GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)) == FALSE) return;
  settings.osMajorVersion = version.dwMajorVersion;
  settings.osMinorVersion = version.dwMinorVersion;
  settings.servicePackMajor = version.wServicePackMajor;
}

}  // namespace

LogSettings ReadLogSettings() {
  LogSettings settings;
  ReadKey(settings);
  ReadVersion(settings);
  return settings;
}

}  // namespace vlp
