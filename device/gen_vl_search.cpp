// The search for the device that is meant, among those that are plugged in.

#include <algorithm>
#include <array>
#include <optional>

#include "device/gen_vl_access.h"
#include "device/vendor_path.h"

namespace vlp {
namespace {

constexpr std::size_t kProductDigits = 4;

// 0 for anything but four digits in upper case.
std::uint32_t ProductNumber(std::string_view digits) {
  if (digits.size() < kProductDigits) return 0;
  std::uint32_t number = 0;
  for (const char digit : digits.substr(0, kProductDigits)) {
    if (digit >= '0' && digit <= '9') {
      number = number * 16 + static_cast<std::uint32_t>(digit - '0');
    } else if (digit >= 'A' && digit <= 'F') {
      number = number * 16 + static_cast<std::uint32_t>(digit - 'A' + 10);
    } else {
      return 0;
    }
  }
  return number;
}

}  // namespace

bool GenVlAccess::GetGenVlDevPath(std::uint32_t index) {
  m_dwDevicePathLen = 0;
  m_szDevicePath.fill('\0');
  if (!m_pWinUSBIO->GetDevicePath(index, m_szDevicePath.data())) {
    DbgLogPrintf(m_pLog, kLogDevice,
                 "*** GenVlAccess::GetGenVlDevPath - GetDevicePath failed. dwIndex=%d LastError=%d "
                 "***",
                 index, GetLastError());
    return false;
  }
  const std::size_t length = MeasureText(m_szDevicePath.data());
  if (length != 0) m_dwDevicePathLen = static_cast<std::uint32_t>(length + 1);
  return true;
}

// The lowest index wins; devices behind it aren't asked.
bool GenVlAccess::SearchSNumDevPath(const std::uint8_t* serial) {
  DbgLogPut(m_pLog, kLogDevice, 0, "GenVlAccess::SearchSNumDevPath - Enter");
  if (serial == nullptr) return false;
  std::copy_n(serial, kSerialLength, m_SerialNumber.begin());
  bool found = false;
  for (std::uint32_t index = 0; !found && GetGenVlDevPath(index); ++index) {
    found = HasSerialNumber();
  }
  DbgLogPrintf(m_pLog, kLogDevice, "GenVlAccess::SearchSNumDevPath  - End.  bRC=%d", found ? 1 : 0);
  return found;
}

// Asks the device at the path. Whatever goes wrong with it, the next one may be meant.
bool GenVlAccess::HasSerialNumber() {
  if (!CreateGenVlMutex()) {
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::SearchSNumDevPath - CreateGenVlMutex failed. ***");
    return false;
  }
  if (!GetD4Status()) {
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::SearchSNumDevPath - GetD4Status failed. ***");
    return false;
  }
  const std::optional<SerialNumber> serial =
      GetSerialFromStatus({m_StatusData.data(), m_dwStatusLen});
  if (serial && std::equal(serial->begin(), serial->end(), m_SerialNumber.begin())) return true;
  DbgLogPrintf(m_pLog, kLogDevice, "    Serial No. is unmatched. DevicePath=(%s)",
               m_szDevicePath.data());
  return false;
}

// By path alone: no device is opened.
bool GenVlAccess::SearchPIDDevPath() {
  DbgLogPut(m_pLog, kLogDevice, 0, "GenVlAccess::SearchPIDDevPath - Enter");
  if (m_dwPID == 0) return false;
  std::uint32_t pass_over = m_dwPIDIndex;
  bool found = false;
  for (std::uint32_t index = 0; !found && GetGenVlDevPath(index); ++index) {
    if (ProductOfPath() != m_dwPID) continue;
    found = pass_over == 0;
    if (!found) --pass_over;
  }
  if (found && !CreateGenVlMutex()) {
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::SearchPIDDevPath - CreateGenVlMutex failed. ***");
    found = false;
  }
  DbgLogPrintf(m_pLog, kLogDevice, "GenVlAccess::SearchPIDDevPath  - End.  bRC=%d", found ? 1 : 0);
  return found;
}

std::uint32_t GenVlAccess::ProductOfPath() {
  std::array<char, kTextLimit> vendor{};
  std::uint32_t length = 0;
  if (!GetVelnoVendorStr(vendor.data(), static_cast<std::uint32_t>(vendor.size()), &length)) {
    return 0;
  }
  return ProductNumber(std::string_view(vendor.data()).substr(kVendorMark.size()));
}

// No caller names a container or a parent yet.
bool GenVlAccess::SearchContainerIDDevPath() {
  DbgLogPut(m_pLog, kLogDevice, 0, "GenVlAccess::SearchContainerIDDevPath - Enter");
  return false;
}

bool GenVlAccess::SearchParentIDPrefixDevPath() {
  DbgLogPut(m_pLog, kLogDevice, 0, "GenVlAccess::SearchParentIDPrefixDevPath - Enter");
  return false;
}

}  // namespace vlp
