// Containers and parents of devices: what the searches by them will compare.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "device/gen_vl_access.h"
#include "device/vendor_path.h"

namespace vlp {
namespace {

constexpr std::string_view kDeviceClasses = "System\\CurrentControlSet\\Control\\DeviceClasses";
constexpr std::string_view kProductClass = "\\{d8965402-43cd-4410-8b2b-fcdaeb81b001}\\";
constexpr std::string_view kEnumKey = "System\\CurrentControlSet\\Enum";

using KeyText = std::array<char, kTextLimit>;

// A value of a key under HKEY_LOCAL_MACHINE: the bytes as they are stored, none on failure.
std::string ReadValue(const char* key_name, const char* value_name) {
  RegistryKey key;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key_name, 0, KEY_READ, key.Receive()) != ERROR_SUCCESS) {
    key.Forget();
    return {};
  }
  KeyText value{};
  DWORD size = static_cast<DWORD>(value.size());
  if (RegQueryValueExA(key.Get(), value_name, nullptr, nullptr,
                       reinterpret_cast<BYTE*>(value.data()), &size) != ERROR_SUCCESS) {
    return {};
  }
  return {value.data(), std::min<std::size_t>(size, value.size())};
}

}  // namespace

bool GenVlAccess::IsSameContainerID() {
  DbgLogPut(m_pLog, kLogDevice, 0, "GenVlAccess::IsSameContainerID - Enter");
  KeyText path = m_szDevicePath;
  std::replace(path.begin(), path.end(), '\\', '#');
  KeyText key{};
  bool same = CopyText(key.data(), key.size(), kDeviceClasses) &&
              AppendText(key.data(), key.size(), kProductClass) &&
              AppendText(key.data(), key.size(), LimitedText(path.data()));
  const std::string instance = same ? ReadValue(key.data(), "DeviceInstance") : std::string();
  same = !instance.empty() && instance.front() != '\0' &&
         CopyText(key.data(), key.size(), kEnumKey) && AppendText(key.data(), key.size(), "\\") &&
         AppendText(key.data(), key.size(), LimitedText(instance.c_str()));
  const std::string container = same ? ReadValue(key.data(), "ContainerID") : std::string();
  same = !container.empty() && container.front() != '\0' &&
         std::equal(container.begin(), container.end(), m_szContainerID.begin());
  DbgLogPrintf(m_pLog, kLogDevice, "GenVlAccess::IsSameContainerID - End bRC=%d", same ? 1 : 0);
  return same;
}

std::uint32_t GenVlAccess::GetParentIDPrefix(const char* path, char* out) {
  if (path == nullptr || out == nullptr) return 0;
  std::fill_n(out, kTextLimit, '\0');
  const UpperPath upper(LimitedText(path));
  std::string_view rest = VendorPart(upper.View());
  const std::size_t begin = rest.find('#');
  if (begin == std::string_view::npos) return 0;
  rest.remove_prefix(begin + 1);
  const std::size_t end = rest.find('#');
  if (end == std::string_view::npos) return 0;
  const std::size_t last = rest.substr(0, end).rfind('&');
  if (last == std::string_view::npos) return 0;
  CopyText(out, kTextLimit, rest.substr(0, last + 1));
  return static_cast<std::uint32_t>(last + 2);
}

}  // namespace vlp
