#include "platform/drive.h"

#include "platform/machine_state.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace platform {
namespace {

constexpr size_t longest_path = 259;
constexpr int folder_flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool is_slash(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool is_forbidden(char16_t unit) {
  return unit < 0x20 || std::u16string_view(u"<>:\"|?*").find(unit) != std::u16string_view::npos;
}

// Splits what follows the drive into names; false when one of them can't be a name.
bool split(std::u16string_view path, std::vector<std::u16string>& names) {
  for (size_t start = 0; start < path.size();) {
    size_t end = start;
    while (end < path.size() && !is_slash(path[end])) {
      if (is_forbidden(path[end])) {
        return false;
      }
      ++end;
    }
    std::u16string name(path.substr(start, end - start));
    start = end + 1;
    if (name == u"..") {
      if (!names.empty()) {
        names.pop_back();
      }
      continue;
    }
    while (!name.empty() && (name.back() == u'.' || name.back() == u' ')) {
      name.pop_back();
    }
    if (!name.empty()) {
      names.push_back(std::move(name));
    }
  }
  return true;
}

// The host's name of the entry that a Windows name means: the same one if it is there, else
// the first in alphabetical order that differs in case alone; empty if there is none.
std::string host_name(int folder, const std::u16string& name) {
  const std::string exact = narrow_utf8(name);
  struct stat status = {};
  if (fstatat(folder, exact.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    return exact;
  }
  const int listing = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (listing < 0) {
    return {};
  }
  DIR* entries = fdopendir(listing);
  if (entries == nullptr) {
    close(listing);
    return {};
  }
  const std::u16string wanted = upper(name);
  std::string found;
  while (const dirent* entry = readdir(entries)) {
    const std::string_view candidate = entry->d_name;
    if (upper(widen_utf8(candidate)) == wanted && (found.empty() || candidate < found)) {
      found = candidate;
    }
  }
  closedir(entries);
  return found;
}

Place nowhere(DWORD error) {
  Place place;
  place.error = error;
  return place;
}

void look(Place& place) {
  struct stat status = {};
  if (fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    place.found = true;
    place.is_folder = S_ISDIR(status.st_mode);
    place.read_only = (status.st_mode & 0222) == 0;
  }
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

Descriptor::~Descriptor() {
  if (number_ >= 0) {
    close(number_);
  }
}

int Descriptor::release() {
  const int number = number_;
  number_ = -1;
  return number;
}

DWORD host_error() {
  switch (errno) {
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EEXIST:
      return ERROR_ALREADY_EXISTS;
    case ENOTEMPTY:
      return ERROR_DIR_NOT_EMPTY;
    case ENOSPC:
    case EDQUOT:
      return ERROR_DISK_FULL;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case ENAMETOOLONG:
      return ERROR_INVALID_NAME;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    case EIO:
      return ERROR_IO_DEVICE;
    case EROFS:
      return ERROR_WRITE_PROTECT;
    default:
      return ERROR_ACCESS_DENIED;
  }
}

bool same_file(const Place& left, const Place& right) {
  struct stat a = {};
  struct stat b = {};
  return fstatat(left.folder.get(), left.name.c_str(), &a, AT_SYMLINK_NOFOLLOW) == 0 &&
         fstatat(right.folder.get(), right.name.c_str(), &b, AT_SYMLINK_NOFOLLOW) == 0 &&
         a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

Place find_place(const char* path) {
  if (path == nullptr || *path == '\0') {
    return nowhere(ERROR_PATH_NOT_FOUND);
  }
  const std::u16string wide = ansi().widen(path);
  if (is_slash(wide[0]) && wide.size() > 1 && is_slash(wide[1])) {
    const bool device = wide.size() > 2 && (wide[2] == u'?' || wide[2] == u'.');
    return nowhere(device ? ERROR_FILE_NOT_FOUND : ERROR_BAD_NETPATH);
  }
  const bool absolute = wide.size() > 2 && wide[1] == u':' && is_slash(wide[2]);
  if (!absolute || upper(wide[0]) != u'C') {
    return nowhere(ERROR_PATH_NOT_FOUND);
  }
  if (wide.size() > longest_path) {
    return nowhere(ERROR_FILENAME_EXCED_RANGE);
  }
  std::vector<std::u16string> names;
  if (!split(std::u16string_view(wide).substr(3), names)) {
    return nowhere(ERROR_INVALID_NAME);
  }
  const std::string drive = machine_drive();
  Place place;
  place.folder = Descriptor(open(drive.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (drive.empty() || !place.folder.valid()) {
    return nowhere(ERROR_PATH_NOT_FOUND);
  }
  if (names.empty()) {
    place.name = ".";
    look(place);
    return place;
  }
  for (size_t i = 0; i + 1 < names.size(); ++i) {
    const std::string name = host_name(place.folder.get(), names[i]);
    Descriptor next(name.empty() ? -1 : openat(place.folder.get(), name.c_str(), folder_flags));
    if (!next.valid()) {
      return nowhere(ERROR_PATH_NOT_FOUND);
    }
    place.folder = std::move(next);
  }
  place.name = host_name(place.folder.get(), names.back());
  if (place.name.empty()) {
    place.name = narrow_utf8(names.back());
  }
  look(place);
  return place;
}

}  // namespace platform
