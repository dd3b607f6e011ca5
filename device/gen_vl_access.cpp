// Making and ending, opening and closing.

#include "device/gen_vl_access.h"

#include <algorithm>

namespace vlp {
namespace {

constexpr std::uint32_t kDefaultWaitMs = 20000;
constexpr std::uint32_t kDefaultLifeMs = 500;
// INFINITE would be one more.
constexpr std::uint32_t kLongestWaitMs = 0xFFFFFFFE;

const GUID* ClassOf(std::uint32_t search_mode) {
  return search_mode == kSearchSerialNumber ? &kSerialNumberInterface : &kProductInterface;
}

}  // namespace

GenVlAccess::GenVlAccess(const GenVlSettings* settings, DbgLog* log)
    : m_pLog(log),
      m_dwStatusLifeTime(settings != nullptr ? settings->statusNoChkTime / 2 : kDefaultLifeMs),
      m_dwMutexWaitTime(settings != nullptr ? settings->packetRcvMaxTime : kDefaultWaitMs) {}

// Whole before anything can throw, so that the destructor ends what was begun.
GenVlAccess::GenVlAccess(const std::uint8_t* serial, std::uint32_t, std::uint32_t, const char*,
                         const GenVlSettings* settings, DbgLog* log)
    : GenVlAccess(settings, log) {
  if (serial == nullptr) {
    DbgLogPut(m_pLog, kLogVendor, 0, "*** GenVlAccess::GenVlAccess - Param Error ***");
    return;
  }
  if (!MakeParts(settings) || !Search(serial)) return;
  m_bInitialized = 1;
  DbgLogPrintf(m_pLog, kLogVendor, "GenVlAccess::GenVlAccess - Initialized. DevicePath=(%s)",
               m_szDevicePath.data());
}

bool GenVlAccess::MakeParts(const GenVlSettings* settings) {
  m_pWinUSBIO = std::make_unique<CWinUSB_IO>(ClassOf(m_dwSearchMode));
  m_pIOAccess = std::make_unique<CIOAccess>(m_pLog);
  if (!m_pIOAccess->SetWinUSBIO(m_pWinUSBIO.get())) {
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::GenVlAccess - m_pIOAccess create/set failed ***");
    return false;
  }
  m_pD4CmdIO =
      std::make_unique<CD4CmdIO>(m_pLog, m_pIOAccess->Handle(), m_pIOAccess->PortOps(), settings);
  if (!m_pD4CmdIO->IsInitialized()) {
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::GenVlAccess - CD4CmdIO create/init failed ***");
    return false;
  }
  return true;
}

bool GenVlAccess::Search(const std::uint8_t* serial) {
  switch (m_dwSearchMode) {
    case kSearchSerialNumber:
      return SearchSNumDevPath(serial);
    case kSearchProduct:
      return SearchPIDDevPath();
    default:
      return SearchContainerIDDevPath();
  }
}

GenVlAccess::~GenVlAccess() {
  if (m_nOpenCount.load() != 0) {
    const LockGuard open(m_csOpen);
    m_nOpenCount.store(0);
    CloseLast();
  }
  m_StatusSlot.pReply.reset();
  m_FaxSlot.pReply.reset();
  m_hWinUSBMutex.Reset();
  m_pD4CmdIO.reset();
  LeaveUsedPort();
  m_pIOAccess.reset();
  m_pWinUSBIO.reset();
}

// A read thread that couldn't be ended may still be inside the port: what it works on is
// left to it.
void GenVlAccess::LeaveUsedPort() {
  if (m_pIOAccess == nullptr || !XdltPortIsInUse(m_pIOAccess->Handle())) return;
  DbgLogPut(m_pLog, kLogDevice, kLogError, "GenVlAccess::~GenVlAccess - port still in use");
  m_pIOAccess->ForgetLog();
  static_cast<void>(m_pIOAccess.release());
  static_cast<void>(m_pWinUSBIO.release());
}

std::int32_t GenVlAccess::OpenGenVlDevice() {
  if (!m_hWinUSBMutex || m_pWinUSBIO == nullptr || m_pD4CmdIO == nullptr) return GENVL_E_FAILED;
  const LockGuard open(m_csOpen);
  if (++m_nOpenCount >= 2) {
    if (m_dwFatalError.load() == 0) return 0;
    --m_nOpenCount;
    return GENVL_E_FATAL;
  }
  const std::int32_t result = OpenFirst();
  if (result != 0) m_nOpenCount.store(0);
  return result;
}

// A holder of the mutex that died leaves the device usable.
std::int32_t GenVlAccess::OpenFirst() {
  const DWORD waited =
      WaitForSingleObject(m_hWinUSBMutex.Get(), std::min(m_dwMutexWaitTime, kLongestWaitMs));
  if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED) return GENVL_E_MUTEX_TIMEOUT;
  // A link that couldn't be closed still uses the port.
  const bool free = !XdltPortIsInUse(m_pIOAccess->Handle());
  if (free && m_pWinUSBIO->OpenWinUSBDevice(m_szDevicePath.data())) {
    if (m_pD4CmdIO->IsInitialized() && m_pD4CmdIO->D4Open()) {
      m_dwFatalError.store(0);
      return 0;
    }
    m_pWinUSBIO->CloseWinUSBDevice();
  }
  GiveMutexBack();
  return GENVL_E_DEVICE;
}

void GenVlAccess::CloseGenVlDevice() {
  const LockGuard open(m_csOpen);
  if (m_nOpenCount.load() == 0 || --m_nOpenCount != 0) return;
  CloseLast();
}

void GenVlAccess::CloseLast() {
  if (m_pD4CmdIO->IsInitialized()) m_pD4CmdIO->D4Close();
  m_pWinUSBIO->CloseWinUSBDevice();
  GiveMutexBack();
}

// Only the thread that got it can.
void GenVlAccess::GiveMutexBack() {
  if (ReleaseMutex(m_hWinUSBMutex.Get()) != FALSE) return;
  DbgLogPut(m_pLog, kLogDevice, kLogError, "GenVlAccess::GiveMutexBack - ReleaseMutex");
}

}  // namespace vlp
