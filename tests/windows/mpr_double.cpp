// Redirected ports, which Wine's own mpr.dll never reports. They stand where Windows keeps
// connections: the key named by the device under HKEY_CURRENT_USER\Network.

#include "tests/windows/registry_reader.h"

#include <windows.h>

#include <cstring>

extern "C" DWORD WINAPI WNetGetConnectionA(LPCSTR local, LPSTR remote, LPDWORD length) {
  if (local == nullptr || length == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  std::string device = local;
  if (!device.empty() && device.back() == ':') {
    device.pop_back();
  }
  const doubles::Key key(HKEY_CURRENT_USER, "Network\\" + device);
  const auto target = device.empty() ? std::nullopt : key.text("RemotePath");
  DWORD result = ERROR_NOT_CONNECTED;
  if (target) {
    const DWORD needed = static_cast<DWORD>(target->size() + 1);
    result = remote != nullptr && *length >= needed ? NO_ERROR : ERROR_MORE_DATA;
    if (result == NO_ERROR) {
      std::memcpy(remote, target->c_str(), needed);
    } else {
      *length = needed;
    }
  }
  if (result != NO_ERROR) {
    SetLastError(result);
  }
  return result;
}
