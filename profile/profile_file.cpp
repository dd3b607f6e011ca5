#include "profile/profile_file.h"

#include <windows.h>

#include <cstring>
#include <string_view>

#include "support/spooler.h"
#include "support/text.h"

namespace vlp {
namespace {

constexpr std::size_t kEndingSize = 4;

bool EndsInLmd(std::string_view name) {
  if (name.size() < kEndingSize) return false;
  char ending[kEndingSize + 1] = {};
  CopyText(ending, sizeof(ending), name.substr(name.size() - kEndingSize));
  CharUpperA(ending);
  return std::strcmp(ending, ".LMD") == 0;
}

// The name beside the driver, or the bare name where that can't be formed.
std::string BesideDriver(std::string_view driver_path, std::string_view name) {
  const std::size_t backslash = FindLastCharacter(driver_path, '\\');
  if (backslash == std::string_view::npos) return std::string(name);
  char path[kTextLimit] = {};
  if (!CopyText(path, sizeof(path), driver_path.substr(0, backslash + 1)) ||
      !AppendText(path, sizeof(path), name)) {
    return std::string(name);
  }
  return path;
}

}  // namespace

std::string ChooseProfile(const char* driver_path, const char* dependent_files) {
  if (dependent_files == nullptr) return {};
  for (const char* at = dependent_files;;) {
    const std::string_view name = LimitedText(at);
    // An over-long name measures as empty too: nothing behind it can be trusted.
    if (name.empty()) return {};
    if (EndsInLmd(name)) {
      // Shorter than the limit with its terminator.
      if (name.size() + 1 >= kTextLimit) return {};
      if (FindCharacter(name, '\\') != std::string_view::npos) return std::string(name);
      return BesideDriver(LimitedText(driver_path), name);
    }
    at += name.size() + 1;
  }
}

std::string FindProfile(const char* printer_name) {
  const PrinterHandle printer = OpenPrinterByName(printer_name);
  if (!printer) return {};
  const auto driver =
      ReadSpoolerRecord<DRIVER_INFO_6A>([&printer](BYTE* buffer, DWORD size, DWORD* needed) {
        return GetPrinterDriverA(printer.Get(), nullptr, 6, buffer, size, needed);
      });
  if (driver == nullptr) return {};
  return ChooseProfile(driver[0].pDriverPath, driver[0].pDependentFiles);
}

}  // namespace vlp
