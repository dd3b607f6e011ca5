// Profile files: read anew at each call, so that a changed file counts at once.

#include <windows.h>

#include "platform/drive.h"
#include "platform/ini_text.h"
#include "platform/machine_state.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace platform {
namespace {

constexpr off_t largest_profile = 64 * 1024 * 1024;

// A bare name means the Windows folder.
std::string full_name(const char* file) {
  const std::string name = file == nullptr ? "win.ini" : file;
  return name.find_first_of("\\/") == std::string::npos ? "C:\\windows\\" + name : name;
}

std::optional<std::string> read_profile(const char* file, DWORD& error) {
  const Place place = find_place(full_name(file).c_str());
  error = place.error != ERROR_SUCCESS ? place.error
          : !place.found               ? ERROR_FILE_NOT_FOUND
          : place.is_folder            ? ERROR_ACCESS_DENIED
                                       : ERROR_SUCCESS;
  if (error != ERROR_SUCCESS) {
    return std::nullopt;
  }
  const Descriptor descriptor(openat(place.folder.get(), place.name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  if (!descriptor.valid() || fstat(descriptor.get(), &status) != 0) {
    error = host_error();
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode) || status.st_size > largest_profile) {
    error = ERROR_ACCESS_DENIED;
    return std::nullopt;
  }
  std::string bytes(static_cast<size_t>(status.st_size), '\0');
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = read(descriptor.get(), bytes.data() + done, bytes.size() - done);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      break;
    }
    done += static_cast<size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

std::u16string decoded(const std::string& bytes) {
  if (!bytes.starts_with("\xFF\xFE")) {
    return ansi().widen(bytes);
  }
  const std::vector<uint8_t> data(bytes.begin() + 2, bytes.end());
  return registry_units(data);
}

struct Profile {
  std::vector<IniSection> sections;
  DWORD error = ERROR_SUCCESS;
};

Profile load_profile(const char* file) {
  Profile profile;
  const auto bytes = read_profile(file, profile.error);
  if (bytes) {
    profile.sections = parse_ini(decoded(*bytes));
  }
  return profile;
}

// The value of a key as the calls give it. The last error becomes that of the search;
// callers mustn't read meaning into it.
std::optional<std::u16string> find_value(const char* file, const char* section, const char* key) {
  const Profile profile = load_profile(file);
  SetLastError(profile.error);
  if (profile.error != ERROR_SUCCESS) {
    return std::nullopt;
  }
  const IniSection* found = find_section(profile.sections, ansi().widen(section));
  const IniEntry* entry = found == nullptr ? nullptr : find_entry(*found, ansi().widen(key));
  if (entry == nullptr || !entry->value) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return std::nullopt;
  }
  return std::u16string(unquoted(*entry->value));
}

std::string default_text(const char* text) {
  std::string result = text == nullptr ? "" : text;
  while (result.ends_with(' ')) {
    result.pop_back();
  }
  return result;
}

DWORD copy_out(const std::string& text, char* buffer, DWORD capacity) {
  const size_t length = std::min<size_t>(text.size(), capacity - 1);
  memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return static_cast<DWORD>(length);
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::Fails;

UINT WINAPI GetPrivateProfileIntA(LPCSTR lpAppName, LPCSTR lpKeyName, INT nDefault,
                                  LPCSTR lpFileName) {
  Call call("GetPrivateProfileIntA");
  if (const auto fault = call.fault()) {
    SetLastError(*fault);
    return static_cast<UINT>(nDefault);
  }
  if (lpAppName == nullptr || lpKeyName == nullptr) {
    return static_cast<UINT>(nDefault);
  }
  const auto value = platform::find_value(lpFileName, lpAppName, lpKeyName);
  return value && !value->empty() ? platform::ini_number(*value) : static_cast<UINT>(nDefault);
}

DWORD WINAPI GetPrivateProfileStringA(LPCSTR lpAppName, LPCSTR lpKeyName, LPCSTR lpDefault,
                                      LPSTR lpReturnedString, DWORD nSize, LPCSTR lpFileName) {
  Call call("GetPrivateProfileStringA");
  if (nSize == 0 || lpReturnedString == nullptr) {
    return 0;
  }
  if (const auto fault = call.fault()) {
    SetLastError(*fault);
    return platform::copy_out(platform::default_text(lpDefault), lpReturnedString, nSize);
  }
  // Listing sections or keys is not supplied: it finds nothing.
  if (lpAppName == nullptr || lpKeyName == nullptr) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return platform::copy_out("", lpReturnedString, nSize);
  }
  const auto value = platform::find_value(lpFileName, lpAppName, lpKeyName);
  return platform::copy_out(
      value ? platform::ansi().narrow(*value) : platform::default_text(lpDefault), lpReturnedString,
      nSize);
}
