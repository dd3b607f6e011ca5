// Files on drive C:.

#include <windows.h>

#include "platform/drive.h"
#include "platform/kernel/call.h"
#include "platform/kernel/object.h"
#include "platform/share_locks.h"
#include "platform/usb_state.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace platform {
namespace {

constexpr mode_t file_mode = 0640;
constexpr mode_t read_only_mode = 0440;
constexpr int most_tries = 100;

// An open file. Position and size are the host's.
class FileObject final : public Object {
 public:
  static constexpr char kKind[] = "file";
  FileObject(Descriptor descriptor, const FileRights& access)
      : Object(kKind), descriptor_(std::move(descriptor)), access_(access) {}

  int descriptor() const { return descriptor_.get(); }
  const FileRights& access() const { return access_; }

 private:
  Descriptor descriptor_;
  FileRights access_;
};

HANDLE no_file(DWORD error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

struct Opening {
  DWORD error = ERROR_SUCCESS;
  Descriptor descriptor;
  bool existed = false;
  bool again = false;  // somebody was in between; look anew
};

Opening failed_opening(DWORD error) {
  Opening opening;
  opening.error = error;
  return opening;
}

Opening look_anew() {
  Opening opening;
  opening.again = true;
  return opening;
}

// What opening something that stands there, or doesn't, comes to before the host is asked.
DWORD refusal(const Place& place, DWORD disposition, bool writes) {
  if (!place.found) {
    const bool must_exist = disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING;
    return must_exist ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
  }
  if (disposition == CREATE_NEW) {
    return ERROR_FILE_EXISTS;
  }
  const bool empties = disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
  return place.is_folder || (place.read_only && (writes || empties)) ? ERROR_ACCESS_DENIED
                                                                     : ERROR_SUCCESS;
}

Opening try_open(const Place& place, const FileRights& access, const FileRights& share,
                 DWORD disposition, bool read_only) {
  const DWORD refused = refusal(place, disposition, access.write);
  if (refused != ERROR_SUCCESS) {
    return failed_opening(refused);
  }
  const bool empties = disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
  const bool writes = access.write || empties;
  int flags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (writes ? O_RDWR : O_RDONLY);
  if (!place.found) {
    flags = O_NOFOLLOW | O_CLOEXEC | O_RDWR | O_CREAT | O_EXCL;
  }
  Opening opening;
  opening.existed = place.found;
  opening.descriptor = Descriptor(openat(place.folder.get(), place.name.c_str(), flags,
                                         read_only ? read_only_mode : file_mode));
  if (!opening.descriptor.valid()) {
    return errno == (place.found ? ENOENT : EEXIST) ? look_anew() : failed_opening(host_error());
  }
  const int descriptor = opening.descriptor.get();
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    return failed_opening(ERROR_ACCESS_DENIED);
  }
  opening.error = lock_shares(descriptor, access, share);
  if (opening.error != ERROR_SUCCESS) {
    return opening;
  }
  if (fstat(descriptor, &status) != 0 || status.st_nlink == 0) {
    return look_anew();  // deleted between opening and locking
  }
  if (empties && place.found && ftruncate(descriptor, 0) != 0) {
    return failed_opening(host_error());
  }
  return opening;
}

// Registers for a moment as one who deletes or renames, so that those who don't share that
// keep the file.
DWORD removal_refusal(const Place& place) {
  const Descriptor descriptor(openat(place.folder.get(), place.name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!descriptor.valid()) {
    return host_error();
  }
  FileRights access;
  access.remove = true;
  return lock_shares(descriptor.get(), access, {true, true, true});
}

FILETIME filetime(const timespec& time) {
  constexpr int64_t from_1601_to_1970 = 11644473600;
  const auto units =
      static_cast<uint64_t>((time.tv_sec + from_1601_to_1970) * 10000000 + time.tv_nsec / 100);
  return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

DWORD attributes_of(bool is_folder, bool read_only) {
  return is_folder ? FILE_ATTRIBUTE_DIRECTORY
                   : FILE_ATTRIBUTE_ARCHIVE | (read_only ? DWORD{FILE_ATTRIBUTE_READONLY} : 0);
}

std::optional<uint64_t> size_of(HANDLE handle) {
  const Ref<FileObject> file(handle);
  struct stat status = {};
  if (!file || fstat(file->descriptor(), &status) != 0) {
    SetLastError(file ? host_error() : ERROR_INVALID_HANDLE);
    return std::nullopt;
  }
  return static_cast<uint64_t>(status.st_size);
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::FileObject;
using platform::find_place;
using platform::Place;
using platform::Ref;

HANDLE WINAPI CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                          LPSECURITY_ATTRIBUTES, DWORD dwCreationDisposition,
                          DWORD dwFlagsAndAttributes, HANDLE) {
  Call call("CreateFileA");
  if (const auto fault = call.fault()) {
    return platform::no_file(*fault);
  }
  const platform::FileRights access = platform::rights_of_access(dwDesiredAccess);
  if (dwCreationDisposition < CREATE_NEW || dwCreationDisposition > TRUNCATE_EXISTING ||
      (dwCreationDisposition == TRUNCATE_EXISTING && !access.write)) {
    return platform::no_file(ERROR_INVALID_PARAMETER);
  }
  if (const auto device =
          platform::open_usb_path(lpFileName, dwDesiredAccess, dwFlagsAndAttributes)) {
    return *device;
  }
  const platform::FileRights share = platform::rights_of_share(dwShareMode);
  const bool read_only = (dwFlagsAndAttributes & FILE_ATTRIBUTE_READONLY) != 0;
  for (int tries = 0; tries < platform::most_tries; ++tries) {
    const Place place = find_place(lpFileName);
    if (place.error != ERROR_SUCCESS) {
      return platform::no_file(place.error);
    }
    platform::Opening opening =
        platform::try_open(place, access, share, dwCreationDisposition, read_only);
    if (opening.again) {
      continue;
    }
    if (opening.error != ERROR_SUCCESS) {
      return platform::no_file(opening.error);
    }
    const HANDLE handle =
        platform::add_handle(new FileObject(std::move(opening.descriptor), access), "CreateFileA");
    const bool tells =
        dwCreationDisposition == OPEN_ALWAYS || dwCreationDisposition == CREATE_ALWAYS;
    SetLastError(tells && opening.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
  }
  return platform::no_file(ERROR_ACCESS_DENIED);
}

BOOL WINAPI ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
                     LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped) {
  Call call("ReadFile");
  if (lpNumberOfBytesRead == nullptr || lpOverlapped != nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *lpNumberOfBytesRead = 0;
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<FileObject> file(hFile);
  if (!file) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (!file->access().read) {
    return fail_with(ERROR_ACCESS_DENIED);
  }
  DWORD done = 0;
  while (done < nNumberOfBytesToRead) {
    const ssize_t got =
        read(file->descriptor(), static_cast<char*>(lpBuffer) + done, nNumberOfBytesToRead - done);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return fail_with(platform::host_error());
    }
    if (got == 0) {
      break;
    }
    done += static_cast<DWORD>(got);
  }
  *lpNumberOfBytesRead = done;
  return TRUE;
}

BOOL WINAPI WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                      LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) {
  Call call("WriteFile");
  if (lpNumberOfBytesWritten == nullptr || lpOverlapped != nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  *lpNumberOfBytesWritten = 0;
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<FileObject> file(hFile);
  if (!file) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (!file->access().write) {
    return fail_with(ERROR_ACCESS_DENIED);
  }
  while (*lpNumberOfBytesWritten < nNumberOfBytesToWrite) {
    const ssize_t put =
        write(file->descriptor(), static_cast<const char*>(lpBuffer) + *lpNumberOfBytesWritten,
              nNumberOfBytesToWrite - *lpNumberOfBytesWritten);
    if (put < 0 && errno == EINTR) {
      continue;
    }
    if (put < 0) {
      return fail_with(platform::host_error());
    }
    *lpNumberOfBytesWritten += static_cast<DWORD>(put);
  }
  return TRUE;
}

DWORD WINAPI SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh,
                            DWORD dwMoveMethod) {
  Call call("SetFilePointer");
  const auto failure = [](DWORD error) {
    SetLastError(error);
    return INVALID_SET_FILE_POINTER;
  };
  if (const auto fault = call.fault()) {
    return failure(*fault);
  }
  const Ref<FileObject> file(hFile);
  if (!file) {
    return failure(ERROR_INVALID_HANDLE);
  }
  if (dwMoveMethod > FILE_END) {
    return failure(ERROR_INVALID_PARAMETER);
  }
  int64_t distance = lDistanceToMove;
  if (lpDistanceToMoveHigh != nullptr) {
    distance = static_cast<int64_t>(
        static_cast<uint64_t>(static_cast<uint32_t>(*lpDistanceToMoveHigh)) << 32 |
        static_cast<uint32_t>(lDistanceToMove));
  }
  struct stat status = {};
  const off_t here = lseek(file->descriptor(), 0, SEEK_CUR);
  if (here < 0 || fstat(file->descriptor(), &status) != 0) {
    return failure(platform::host_error());
  }
  const int64_t base = dwMoveMethod == FILE_BEGIN     ? 0
                       : dwMoveMethod == FILE_CURRENT ? here
                                                      : status.st_size;
  int64_t target = 0;
  if (__builtin_add_overflow(base, distance, &target)) {
    return failure(ERROR_INVALID_PARAMETER);
  }
  if (target < 0) {
    return failure(ERROR_NEGATIVE_SEEK);
  }
  if (lpDistanceToMoveHigh == nullptr && target > INT64_C(0xFFFFFFFF)) {
    return failure(ERROR_INVALID_PARAMETER);
  }
  if (lseek(file->descriptor(), target, SEEK_SET) < 0) {
    return failure(platform::host_error());
  }
  const auto low = static_cast<DWORD>(target & 0xFFFFFFFF);
  if (lpDistanceToMoveHigh != nullptr) {
    *lpDistanceToMoveHigh = static_cast<LONG>(target >> 32);
  }
  if (low == INVALID_SET_FILE_POINTER) {
    SetLastError(ERROR_SUCCESS);  // only this tells it from a failure
  }
  return low;
}

BOOL WINAPI SetEndOfFile(HANDLE hFile) {
  Call call("SetEndOfFile");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<FileObject> file(hFile);
  if (!file) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (!file->access().write) {
    return fail_with(ERROR_ACCESS_DENIED);
  }
  const off_t here = lseek(file->descriptor(), 0, SEEK_CUR);
  if (here < 0 || ftruncate(file->descriptor(), here) != 0) {
    return fail_with(platform::host_error());
  }
  return TRUE;
}

BOOL WINAPI GetFileInformationByHandle(HANDLE hFile,
                                       LPBY_HANDLE_FILE_INFORMATION lpFileInformation) {
  Call call("GetFileInformationByHandle");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<FileObject> file(hFile);
  struct stat status = {};
  if (!file) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (fstat(file->descriptor(), &status) != 0) {
    return fail_with(platform::host_error());
  }
  const auto size = static_cast<uint64_t>(status.st_size);
  *lpFileInformation = {};
  lpFileInformation->dwFileAttributes =
      platform::attributes_of(false, (status.st_mode & 0222) == 0);
  lpFileInformation->ftCreationTime = platform::filetime(status.st_ctim);
  lpFileInformation->ftLastAccessTime = platform::filetime(status.st_atim);
  lpFileInformation->ftLastWriteTime = platform::filetime(status.st_mtim);
  lpFileInformation->dwVolumeSerialNumber = static_cast<DWORD>(status.st_dev);
  lpFileInformation->nFileSizeHigh = static_cast<DWORD>(size >> 32);
  lpFileInformation->nFileSizeLow = static_cast<DWORD>(size);
  lpFileInformation->nNumberOfLinks = static_cast<DWORD>(status.st_nlink);
  lpFileInformation->nFileIndexHigh = static_cast<DWORD>(status.st_ino >> 32);
  lpFileInformation->nFileIndexLow = static_cast<DWORD>(status.st_ino);
  return TRUE;
}

DWORD WINAPI GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
  Call call("GetFileSize");
  if (const auto fault = call.fault()) {
    SetLastError(*fault);
    return INVALID_FILE_SIZE;
  }
  const auto size = platform::size_of(hFile);
  if (!size) {
    return INVALID_FILE_SIZE;
  }
  if (lpFileSizeHigh != nullptr) {
    *lpFileSizeHigh = static_cast<DWORD>(*size >> 32);
  }
  const auto low = static_cast<DWORD>(*size);
  if (low == INVALID_FILE_SIZE) {
    SetLastError(ERROR_SUCCESS);
  }
  return low;
}

BOOL WINAPI GetFileSizeEx(HANDLE hFile, LARGE_INTEGER* lpFileSize) {
  Call call("GetFileSizeEx");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const auto size = platform::size_of(hFile);
  if (!size) {
    return FALSE;
  }
  lpFileSize->QuadPart = static_cast<LONGLONG>(*size);
  return TRUE;
}

BOOL WINAPI DeleteFileA(LPCSTR lpFileName) {
  Call call("DeleteFileA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Place place = find_place(lpFileName);
  if (place.error != ERROR_SUCCESS) {
    return fail_with(place.error);
  }
  if (!place.found) {
    return fail_with(ERROR_FILE_NOT_FOUND);
  }
  if (place.is_folder || place.read_only) {
    return fail_with(ERROR_ACCESS_DENIED);
  }
  const DWORD refused = platform::removal_refusal(place);
  if (refused != ERROR_SUCCESS) {
    return fail_with(refused);
  }
  return unlinkat(place.folder.get(), place.name.c_str(), 0) == 0
             ? TRUE
             : fail_with(platform::host_error());
}

BOOL WINAPI MoveFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName) {
  Call call("MoveFileA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Place from = find_place(lpExistingFileName);
  const Place to = find_place(lpNewFileName);
  if (from.error != ERROR_SUCCESS || !from.found) {
    return fail_with(from.error != ERROR_SUCCESS ? from.error : ERROR_FILE_NOT_FOUND);
  }
  if (to.error != ERROR_SUCCESS) {
    return fail_with(to.error);
  }
  const DWORD refused = from.is_folder ? ERROR_SUCCESS : platform::removal_refusal(from);
  if (refused != ERROR_SUCCESS) {
    return fail_with(refused);
  }
  if (to.found && platform::same_file(from, to)) {
    return TRUE;  // the names differ in case alone; the host keeps the old spelling
  }
  if (to.found) {
    return fail_with(ERROR_ALREADY_EXISTS);
  }
  if (renameat2(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(),
                RENAME_NOREPLACE) != 0) {
    return fail_with(platform::host_error());
  }
  return TRUE;
}

DWORD WINAPI GetFileAttributesA(LPCSTR lpFileName) {
  Call call("GetFileAttributesA");
  const auto failure = [](DWORD error) {
    SetLastError(error);
    return INVALID_FILE_ATTRIBUTES;
  };
  if (const auto fault = call.fault()) {
    return failure(*fault);
  }
  const Place place = find_place(lpFileName);
  if (place.error != ERROR_SUCCESS || !place.found) {
    return failure(place.error != ERROR_SUCCESS ? place.error : ERROR_FILE_NOT_FOUND);
  }
  return platform::attributes_of(place.is_folder, place.read_only);
}
