// The machine-wide mutex that guards one device, named by its path.

#include <algorithm>
#include <string_view>

#include "device/gen_vl_access.h"
#include "device/vendor_path.h"

namespace vlp {
namespace {

constexpr std::string_view kMutexPrefix = "Global\\VELNO_Printer_VendorClassVL_";
static_assert(kMutexPrefix.size() == 35);

constexpr const char* kNameFailed =
    "*** GenVlAccess::CreateGenVlMutex - SetGenVlMutexName() failed. ***";

}  // namespace

bool GenVlAccess::GetVelnoVendorStr(char* buffer, std::uint32_t capacity, std::uint32_t* length) {
  if (buffer == nullptr || length == nullptr) return false;
  *length = 0;
  std::fill_n(buffer, capacity, '\0');
  const std::string_view path = LimitedText(m_szDevicePath.data());
  if (path.empty() || m_dwDevicePathLen == 0) return false;
  const UpperPath upper(path);
  const std::string_view vendor = VendorPart(upper.View());
  if (vendor.empty()) {
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::GetVelnoVendorStr - DevicePath is not subject. ***");
    DbgLogPrintf(m_pLog, kLogDevice, "  %s", upper.Text());
    return false;
  }
  const std::size_t stored = std::min<std::size_t>(capacity, vendor.size() + 1);
  *length = static_cast<std::uint32_t>(stored);
  if (stored != 0) std::copy_n(vendor.begin(), stored - 1, buffer);
  return true;
}

bool GenVlAccess::SetGenVlMutexName() {
  m_szMutexName.fill('\0');
  if (m_szDevicePath[0] == '\0') return false;
  std::copy(kMutexPrefix.begin(), kMutexPrefix.end(), m_szMutexName.begin());
  char* const tail = m_szMutexName.data() + kMutexPrefix.size();
  std::uint32_t length = 0;
  const auto room = static_cast<std::uint32_t>(m_szMutexName.size() - kMutexPrefix.size());
  if (!GetVelnoVendorStr(tail, room, &length)) return false;
  // The name may hold the one backslash of its prefix only.
  std::replace(tail, tail + room, '\\', '_');
  return true;
}

bool GenVlAccess::CreateGenVlMutex() {
  m_hWinUSBMutex.Reset();
  if (!SetGenVlMutexName()) {
    DbgLogPut(m_pLog, kLogDevice, 0, kNameFailed);
    return false;
  }
  // A null access list: processes of any account share the device.
  SECURITY_DESCRIPTOR descriptor;
  if (InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) == FALSE ||
      SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE) == FALSE) {
    return false;
  }
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), &descriptor, TRUE};
  m_hWinUSBMutex.Reset(CreateMutexA(&attributes, FALSE, m_szMutexName.data()));
  const DWORD error = GetLastError();
  if (!m_hWinUSBMutex) {
    DbgLogPrintf(m_pLog, kLogDevice, "*** GenVlAccess::CreateGenVlMutex - failed. LastError=%d ***",
                 error);
    return false;
  }
  DbgLogPrintf(m_pLog, kLogDevice,
               "GenVlAccess::CreateGenVlMutex - success. hWinUSBMutex=0x%X LastError=%d",
               static_cast<const void*>(m_hWinUSBMutex.Get()), error);
  return true;
}

}  // namespace vlp
