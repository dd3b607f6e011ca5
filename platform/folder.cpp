// Folders on drive C:.

#include <windows.h>

#include "platform/drive.h"
#include "platform/kernel/call.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t folder_mode = 0750;

}  // namespace

using platform::Call;
using platform::fail_with;
using platform::find_place;
using platform::Place;

BOOL WINAPI CreateDirectoryA(LPCSTR lpPathName, LPSECURITY_ATTRIBUTES) {
  Call call("CreateDirectoryA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Place place = find_place(lpPathName);
  if (place.error != ERROR_SUCCESS || place.found) {
    return fail_with(place.error != ERROR_SUCCESS ? place.error : ERROR_ALREADY_EXISTS);
  }
  if (mkdirat(place.folder.get(), place.name.c_str(), folder_mode) != 0) {
    return fail_with(platform::host_error());
  }
  return TRUE;
}

BOOL WINAPI RemoveDirectoryA(LPCSTR lpPathName) {
  Call call("RemoveDirectoryA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Place place = find_place(lpPathName);
  if (place.error != ERROR_SUCCESS || !place.found) {
    return fail_with(place.error != ERROR_SUCCESS ? place.error : ERROR_FILE_NOT_FOUND);
  }
  if (!place.is_folder) {
    return fail_with(ERROR_DIRECTORY);
  }
  if (unlinkat(place.folder.get(), place.name.c_str(), AT_REMOVEDIR) != 0) {
    return fail_with(platform::host_error());
  }
  return TRUE;
}
