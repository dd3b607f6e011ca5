// CWinUSB_IO::GetDevicePath, and the classes in which devices are looked for.

#include "device/c_winusb_io.h"

#include <setupapi.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace vlp {
namespace {

using Detail = SP_DEVICE_INTERFACE_DETAIL_DATA_A;

// No path is nearly as long; what the system tells drives no allocation beyond this.
constexpr DWORD kMostDetail = 0x10000;

struct DeviceSetTraits {
  using Handle = HDEVINFO;
  static void Close(HDEVINFO set) {
    const LastErrorKeeper keeper;
    SetupDiDestroyDeviceInfoList(set);
  }
};
using DeviceSet = Owned<DeviceSetTraits>;

struct DetailTraits {
  using Handle = Detail*;
  static void Close(Detail* detail) {
    const LastErrorKeeper keeper;
    LocalFree(detail);
  }
};
using OwnedDetail = Owned<DetailTraits>;

// False if it doesn't fit with its terminator, or has none.
bool CopyPath(const Detail& detail, DWORD size, char* path) {
  const std::size_t room = std::min<std::size_t>(size - offsetof(Detail, DevicePath), kTextLimit);
  const std::string_view held(detail.DevicePath, room);
  const std::size_t length = held.find('\0');
  if (length == std::string_view::npos) return false;
  return CopyText(path, kTextLimit, held.substr(0, length));
}

bool ReadPath(HDEVINFO set, SP_DEVICE_INTERFACE_DATA& interface_data, char* path) {
  DWORD size = 0;
  SetupDiGetDeviceInterfaceDetailA(set, &interface_data, nullptr, 0, &size, nullptr);
  if (size < sizeof(Detail) || size > kMostDetail) return false;
  const OwnedDetail detail(static_cast<Detail*>(LocalAlloc(LPTR, size)));
  if (!detail) return false;
  detail.Get()->cbSize = sizeof(Detail);
  if (SetupDiGetDeviceInterfaceDetailA(set, &interface_data, detail.Get(), size, nullptr,
                                       nullptr) == FALSE) {
    return false;
  }
  return CopyPath(*detail.Get(), size, path);
}

}  // namespace

const GUID kSerialNumberInterface = {
    0xB1CEB704, 0xC9BA, 0x4369, {0x82, 0xB7, 0xAF, 0x7E, 0xE7, 0x54, 0x09, 0x9F}};
const GUID kProductInterface = {
    0xD8965402, 0x43CD, 0x4410, {0x8B, 0x2B, 0xFC, 0xDA, 0xEB, 0x81, 0xB0, 0x01}};

bool CWinUSB_IO::GetDevicePath(std::uint32_t index, char* path) const {
  if (path == nullptr || m_pGuid == nullptr) {
    SetLastError(0);
    return false;
  }
  std::fill_n(path, kTextLimit, '\0');
  const HDEVINFO listed =
      SetupDiGetClassDevsA(m_pGuid, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  if (listed == nullptr || listed == INVALID_HANDLE_VALUE) return false;
  const DeviceSet set(listed);
  SP_DEVICE_INTERFACE_DATA interface_data{};
  interface_data.cbSize = sizeof(interface_data);
  if (SetupDiEnumDeviceInterfaces(set.Get(), nullptr, m_pGuid, index, &interface_data) == FALSE) {
    return false;
  }
  if (ReadPath(set.Get(), interface_data, path)) return true;
  std::fill_n(path, kTextLimit, '\0');
  return false;
}

}  // namespace vlp
