#include "device/c_io_access.h"

#include <algorithm>

namespace vlp {
namespace {

DbgTimes Between(const std::uint32_t& began, const std::uint32_t& ended) {
  return {.startTime = &began, .endTime = &ended};
}

}  // namespace

CIOAccess* CIOAccess::Self(XdltPortHandle port) {
  // The engine's handles are numbers. NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<CIOAccess*>(port);
}

CIOAccess::CIOAccess(DbgLog* log) : m_pLog(log) {
  m_PortOps.write = &CIOAccess::IOThroughWrite;
  m_PortOps.read = &CIOAccess::IOBufferingRead;
  DbgLogPut(m_pLog, kLogDevice, 0, "new CIOAccess");
}

CIOAccess::~CIOAccess() { DbgLogPut(m_pLog, kLogDevice, 0, "delete CIOAccess"); }

bool CIOAccess::SetWinUSBIO(CWinUSB_IO* device) {
  m_pWinUSBIO = device;
  const bool set = device != nullptr;
  DbgLogPrintf(m_pLog, kLogDevice, "CIOAccess::SetWinUSBIO bRC=%d WinUSBIO_Pointer=0x%X",
               set ? 1 : 0, static_cast<const void*>(device));
  return set;
}

std::uint32_t CIOAccess::IOThroughWrite(XdltPortHandle port, const std::uint8_t* data,
                                        std::uint32_t size, std::uint32_t* written) noexcept {
  CIOAccess* const self = Self(port);
  if (self == nullptr || data == nullptr || written == nullptr || size == 0) return 0;
  if (self->m_pWinUSBIO == nullptr) return 0;
  return self->Write(data, size, written);
}

std::uint32_t CIOAccess::IOBufferingRead(XdltPortHandle port, std::uint8_t* data,
                                         std::uint32_t size, std::uint32_t* got) noexcept {
  CIOAccess* const self = Self(port);
  if (self == nullptr || data == nullptr || got == nullptr || size == 0) return 0;
  if (self->m_pWinUSBIO == nullptr) return 0;
  return self->Read(data, size, got);
}

std::uint32_t CIOAccess::Write(const std::uint8_t* data, std::uint32_t size,
                               std::uint32_t* written) {
  DbgLogData(m_pLog, kLogPortOutput, kLogDump, data, size, "CIOAccess::IOThroughWrite");
  *written = 0;
  const std::uint32_t began = GetTickCount();
  const bool done = m_pWinUSBIO->WritePipe(data, size, written);
  const std::uint32_t ended = GetTickCount();
  if (!done) {
    DbgLogPut(m_pLog, kLogPort, kLogError, "CIOAccess::IOThroughWrite - WritePort", "bRC", 0,
              Between(began, ended));
    return 0;
  }
  DbgLogPut(m_pLog, kLogPort, 0, "CIOAccess::IOThroughWrite - SendData", "bRC", 1,
            {.startTime = &began, .startCount = &size, .endTime = &ended, .endCount = written});
  return 1;
}

std::uint32_t CIOAccess::Read(std::uint8_t* data, std::uint32_t size, std::uint32_t* got) {
  if (m_dwBufferedLen == 0) {
    const bool done = Refill();
    // A read that brought nothing leaves the count as the caller set it.
    if (m_dwBufferedLen == 0) return done ? 1 : 0;
  }
  const std::uint32_t count = std::min(size, m_dwBufferedLen - m_dwBufferedPos);
  std::copy_n(m_pBuffer.begin() + m_dwBufferedPos, count, data);
  m_dwBufferedPos += count;
  if (m_dwBufferedPos == m_dwBufferedLen) {
    m_dwBufferedLen = 0;
    m_dwBufferedPos = 0;
    m_pBuffer.fill(0);
  }
  *got = count;
  return 1;
}

// Asks for a whole buffer, whatever is wanted of it: one transfer may bring several packets.
bool CIOAccess::Refill() {
  const std::uint32_t began = GetTickCount();
  std::uint32_t got = 0;
  const bool done = m_pWinUSBIO->ReadPipe(m_pBuffer.data(), kBufferSize, &got);
  const std::uint32_t ended = GetTickCount();
  if (!done) {
    DbgLogPut(m_pLog, kLogPort, kLogError, "CIOAccess::IOBufferingRead - ReadPort", "bRC", 0,
              Between(began, ended));
    return false;
  }
  got = std::min(got, kBufferSize);
  DbgLogPut(m_pLog, kLogPort, 0, "CIOAccess::IOBufferingRead - ReceiveData", "bRC", 1,
            {.startTime = &began, .startCount = &kBufferSize, .endTime = &ended, .endCount = &got});
  DbgLogData(m_pLog, kLogPort, kLogDump, m_pBuffer.data(), got, "CIOAccess::IOBufferingRead");
  m_dwBufferedLen = got;
  return true;
}

}  // namespace vlp
