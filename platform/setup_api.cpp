// Lists of device interfaces.

#include <windows.h>

#include <setupapi.h>

#include "platform/machine_state.h"
#include "platform/usb_state.h"

#include <stdio.h>
#include <string.h>

namespace platform {
namespace {

constexpr DWORD supplied_flags = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;

// What was there when the list was made; it doesn't change with the bus.
class DeviceSet final : public Object {
 public:
  static constexpr char kKind[] = "device information set";
  DeviceSet(const GUID& interface_class, std::vector<std::u16string> paths)
      : Object(kKind), interface_class_(interface_class), paths_(std::move(paths)) {}

  const GUID& interface_class() const { return interface_class_; }
  const std::vector<std::u16string>& paths() const { return paths_; }

 private:
  GUID interface_class_;
  std::vector<std::u16string> paths_;
};

std::u16string class_key(const GUID& guid) {
  char text[40];
  snprintf(text, sizeof text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", guid.Data1,
           guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
           guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  return widen_utf8(text);
}

HDEVINFO no_set(DWORD error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

bool is_set(HANDLE handle) {
  const Ref<DeviceSet> set(handle);
  return static_cast<bool>(set);
}

// The text of an entry of the list, or nothing if the record was not made by it.
std::optional<std::u16string> text_of_entry(const DeviceSet& set,
                                            const SP_DEVICE_INTERFACE_DATA* data) {
  if (data == nullptr || data->cbSize != sizeof *data || data->Reserved == 0 ||
      data->Reserved > set.paths().size()) {
    return std::nullopt;
  }
  return set.paths()[data->Reserved - 1];
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::DeviceSet;
using platform::fail_with;
using platform::Ref;

HDEVINFO WINAPI SetupDiGetClassDevsA(CONST GUID* ClassGuid, LPCSTR Enumerator, HWND, DWORD Flags) {
  const Call call("SetupDiGetClassDevsA");
  if (const auto fault = call.fault()) {
    return platform::no_set(*fault);
  }
  if (ClassGuid == nullptr) {
    return platform::no_set(ERROR_INVALID_PARAMETER);
  }
  if (Flags != platform::supplied_flags || Enumerator != nullptr) {
    return platform::no_set(ERROR_NOT_SUPPORTED);
  }
  platform::ensure_machine();
  const platform::StateGuard guard;
  auto set = std::make_unique<DeviceSet>(
      *ClassGuid, platform::present_usb_paths(platform::class_key(*ClassGuid)));
  return platform::add_handle_locked(set.release(), "SetupDiGetClassDevsA");
}

BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
                                        CONST GUID* InterfaceClassGuid, DWORD MemberIndex,
                                        PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData) {
  const Call call("SetupDiEnumDeviceInterfaces");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  if (InterfaceClassGuid == nullptr || DeviceInterfaceData == nullptr ||
      DeviceInterfaceData->cbSize != sizeof *DeviceInterfaceData) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  const Ref<DeviceSet> set(DeviceInfoSet);
  if (!set) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (DeviceInfoData != nullptr) {
    return fail_with(ERROR_NOT_SUPPORTED);
  }
  const bool same_class =
      memcmp(InterfaceClassGuid, &set->interface_class(), sizeof *InterfaceClassGuid) == 0;
  if (!same_class || MemberIndex >= set->paths().size()) {
    return fail_with(ERROR_NO_MORE_ITEMS);
  }
  DeviceInterfaceData->InterfaceClassGuid = *InterfaceClassGuid;
  DeviceInterfaceData->Flags = SPINT_ACTIVE;
  DeviceInterfaceData->Reserved = ULONG_PTR{MemberIndex} + 1;
  return TRUE;
}

BOOL WINAPI SetupDiGetDeviceInterfaceDetailA(
    HDEVINFO DeviceInfoSet, PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData,
    PSP_DEVICE_INTERFACE_DETAIL_DATA_A DeviceInterfaceDetailData,
    DWORD DeviceInterfaceDetailDataSize, PDWORD RequiredSize, PSP_DEVINFO_DATA DeviceInfoData) {
  const Call call("SetupDiGetDeviceInterfaceDetailA");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  const Ref<DeviceSet> set(DeviceInfoSet);
  if (!set) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  const auto text = platform::text_of_entry(*set, DeviceInterfaceData);
  if (!text) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  if (DeviceInfoData != nullptr) {
    return fail_with(ERROR_NOT_SUPPORTED);
  }
  // The number says which form of the record the caller was compiled with, not how much room
  // there is.
  const bool wrong_form =
      DeviceInterfaceDetailData == nullptr
          ? DeviceInterfaceDetailDataSize != 0
          : DeviceInterfaceDetailDataSize < sizeof(DWORD) + 1 ||
                DeviceInterfaceDetailData->cbSize != sizeof *DeviceInterfaceDetailData;
  if (wrong_form) {
    return fail_with(ERROR_INVALID_USER_BUFFER);
  }
  const std::string path = platform::ansi().narrow(*text + u'\0');
  const size_t needed = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) + path.size();
  if (RequiredSize != nullptr) {
    *RequiredSize = static_cast<DWORD>(needed);
  }
  if (DeviceInterfaceDetailDataSize < needed) {
    return fail_with(ERROR_INSUFFICIENT_BUFFER);
  }
  memcpy(&DeviceInterfaceDetailData->DevicePath[0], path.data(), path.size());
  return TRUE;
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet) {
  const Call call("SetupDiDestroyDeviceInfoList");
  if (!platform::is_set(DeviceInfoSet) || !platform::drop_handle(DeviceInfoSet)) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  return TRUE;
}
