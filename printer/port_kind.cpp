#include "printer/port_kind.h"

#include <windows.h>

#include <winnetwk.h>

#include "support/handles.h"
#include "support/text.h"

namespace vlp {
namespace {

using PortName = char[kTextLimit];

constexpr PortName LocalPortPrefixes[] = {
    "VLUSB", "USB", "VL1394_", "VLS_LPT", "BILPT", "VL1394D3_", "LPT",
};

constexpr const char* kTcpIpPortsKey =
    "SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports";

bool IsRemoteClientPort(std::string_view remote) {
  return remote.starts_with("\\\\Client") && remote.find("\\LPT") != std::string_view::npos;
}

}  // namespace

bool HasLocalPrefix(const std::string& port) {
  for (const PortName& prefix : LocalPortPrefixes) {
    if (BeginsInAnyCase(port, LimitedText(prefix))) return true;
  }
  return false;
}

bool IsTcpIpPort(std::string_view port) {
  RegistryKey ports;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kTcpIpPortsKey, 0, KEY_READ, ports.Receive()) !=
      ERROR_SUCCESS) {
    return false;
  }
  for (DWORD index = 0;; ++index) {
    PortName name = {};
    DWORD size = sizeof(name);
    if (RegEnumKeyExA(ports.Get(), index, name, &size, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return false;
    }
    if (LimitedText(name) == port) return true;
  }
}

bool IsNetworkLpt(const std::string& port) {
  if (!port.starts_with("LPT")) return false;
  PortName remote = {};
  DWORD size = sizeof(remote);
  if (WNetGetConnectionA(port.c_str(), remote, &size) != NO_ERROR) return false;
  return !IsRemoteClientPort(LimitedText(remote));
}

}  // namespace vlp
