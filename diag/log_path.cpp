#include "diag/log_path.h"

#include <cstring>
#include <string_view>

#include "support/text.h"

namespace vlp {
namespace {

constexpr std::string_view kForbidden = "\\/:,;*?\"<>|";
constexpr std::string_view kMutexPrefix = "Global\\VELNO_VLAPI_DbgMutex_";

// No trail byte of a double-byte character lies below this one.
constexpr unsigned char kTrailMin = 0x40;

// A trail byte that looks like a forbidden character belongs to its lead byte.
void BlankForbidden(char* name) {
  const std::string_view text(name);
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (CharacterSize(text, at) == 2 && static_cast<unsigned char>(text[at + 1]) >= kTrailMin) {
      ++at;
    } else if (kForbidden.find(text[at]) != std::string_view::npos) {
      name[at] = ' ';
    }
  }
}

}  // namespace

std::string DbgBuildPath(const char* directory, const char* name) {
  if (directory == nullptr || name == nullptr) return {};
  char cleaned[kTextLimit] = {};
  CopyText(cleaned, sizeof(cleaned), name);
  BlankForbidden(cleaned);

  char path[kTextLimit] = {};
  if (!CopyText(path, sizeof(path), directory)) return {};
  if (!AppendText(path, sizeof(path), cleaned)) return {};
  const std::size_t length = std::strlen(path);
  if (length != 0 && path[length - 1] == ':') path[length - 1] = '\0';
  if (!AppendText(path, sizeof(path), ".dat")) return {};
  return path;
}

std::string RotatedPath(const std::string& file_name) {
  const std::size_t dot = FindLastCharacter(file_name, '.');
  if (dot == std::string::npos) return {};
  char path[kTextLimit] = {};
  if (!CopyText(path, sizeof(path), std::string_view(file_name).substr(0, dot))) return {};
  if (!AppendText(path, sizeof(path), "_0.dat")) return {};
  return path;
}

std::string LogMutexName(const std::string& file_name) {
  const std::size_t backslash = FindLastCharacter(file_name, '\\');
  if (backslash == std::string::npos) return {};
  char name[kTextLimit] = {};
  if (!CopyText(name, sizeof(name), kMutexPrefix)) return {};
  if (!AppendText(name, sizeof(name), std::string_view(file_name).substr(backslash + 1))) return {};
  return name;
}

}  // namespace vlp
