// The network redirector: which local device names stand for something on another computer.
// The registry's key HKEY_CURRENT_USER\Network\LPT1, value RemotePath, says it, as the
// system keeps redirected drives.

#include <windows.h>
#include <winnetwk.h>

#include "platform/machine_state.h"
#include "platform/spooler_keys.h"

#include <string.h>

namespace platform {
namespace {

// "LPT1" to "LPT9" and drives; `known` tells whether such a device is there at all.
bool is_device(const std::u16string& name, bool& known) {
  const std::u16string device = upper(name.substr(0, name.find(u':')));
  const bool port =
      device.size() == 4 && device.starts_with(u"LPT") && device[3] >= u'1' && device[3] <= u'9';
  const bool drive = device.size() == 1 && device[0] >= u'A' && device[0] <= u'Z';
  const size_t colon = name.find(u':');
  known = port || (drive && device[0] == u'C');
  return (port && (colon == name.npos || colon + 1 == name.size())) ||
         (drive && colon != name.npos && colon + 1 == name.size());
}

// Reports by result and by the last error.
DWORD refuse(DWORD error) {
  SetLastError(error);
  return error;
}

}  // namespace
}  // namespace platform

DWORD WINAPI WNetGetConnectionA(LPCSTR lpLocalName, LPSTR lpRemoteName, LPDWORD lpnLength) {
  platform::Call call("WNetGetConnectionA");
  if (const auto fault = call.fault()) {
    return platform::refuse(*fault);
  }
  if (lpLocalName == nullptr || lpnLength == nullptr) {
    return platform::refuse(ERROR_INVALID_ADDRESS);
  }
  const std::u16string local = platform::ansi().widen(lpLocalName);
  bool known = false;
  if (!platform::is_device(local, known)) {
    return platform::refuse(ERROR_BAD_DEVICE);
  }
  std::u16string remote;
  {
    platform::StateGuard guard;
    const platform::RegistryTree& tree = platform::machine().registry;
    const platform::KeyRef key = tree.find(tree.current_user(), platform::redirection_path(local));
    remote = key == nullptr ? u"" : platform::text_of(key->value(u"RemotePath"));
  }
  if (remote.empty()) {
    return platform::refuse(known ? ERROR_NOT_CONNECTED : ERROR_BAD_DEVICE);
  }
  const std::string bytes = platform::ansi().narrow(remote + u'\0');
  const DWORD capacity = *lpnLength;
  if (lpRemoteName == nullptr || capacity < bytes.size()) {
    *lpnLength = static_cast<DWORD>(bytes.size());
    return platform::refuse(ERROR_MORE_DATA);
  }
  memcpy(lpRemoteName, bytes.data(), bytes.size());
  return ERROR_SUCCESS;
}
