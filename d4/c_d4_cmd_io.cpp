#include "d4/c_d4_cmd_io.h"

#include <windows.h>

#include <algorithm>

#include "diag/dbg_log.h"
#include "support/tick_age.h"
#include "support/waits.h"

namespace vlp {
namespace {

constexpr DWORD kOpenRetryMs = 50;    // before a caller may try to open a channel again
constexpr DWORD kWriteRetryMs = 500;  // before a refused write is made again
constexpr DWORD kReadRetryMs = 100;   // between size queries without back-off, and fetches
constexpr std::uint32_t kPollBacksOff = 1;
constexpr unsigned kHeaderSize = 6;

// More than those that end the engine's link: one that is free, and a channel that the
// device closed, are of no use to a command either.
bool IsLost(std::int32_t result) {
  return IsLinkLost(result) || result == XDLT_ERR_NOLINK || result == XDLT_ERR_NOCHANNEL;
}

bool RefuseArguments() {
  SetLastError(ERROR_SUCCESS);
  return false;
}

std::uint8_t SocketOf(const D4ChannelEntry& entry) {
  return static_cast<std::uint8_t>(entry.socket);
}

std::uint16_t PayloadOf(std::uint16_t packetSize) {
  return static_cast<std::uint16_t>(packetSize - kHeaderSize);
}

}  // namespace

CD4CmdIO::CD4CmdIO(DbgLog* log, XdltPortHandle portHandle, XdltPortOps* portOps,
                   const GenVlSettings* settings) noexcept
    : m_portHandle(portHandle),
      m_portOps(portOps),
      m_log(log),
      m_timerEvent(CreateAutoResetEvent()) {
  if (settings != nullptr) {
    m_retryMode = settings->d4RetryMode;
    m_retryTiming = settings->d4RetryTiming;
    m_retryMax = settings->d4RetryMax;
    m_packetRcvMaxTime = settings->packetRcvMaxTime;
  }
  m_commandLimit = m_packetRcvMaxTime / 2;
  m_initialized = static_cast<std::uint32_t>(XdltInitialize(log));
}

CD4CmdIO::~CD4CmdIO() {
  if (Link() != nullptr) D4Close();
  if (m_initialized != 0) XdltUninitialize();
}

bool CD4CmdIO::IsOver(std::uint32_t startTick) const noexcept {
  return TickAge(startTick) >= m_commandLimit;
}

bool CD4CmdIO::NoteLostLink(std::int32_t result) noexcept {
  if (!IsLost(result)) return false;
  m_fatalError.store(1, std::memory_order_relaxed);
  return true;
}

void CD4CmdIO::LogEnd(const char* text, bool done) noexcept {
  DbgLogPut(m_log, kLogD4, done ? 0 : kLogError, text, "bRC", done ? 1 : 0);
}

void CD4CmdIO::LogEngineCall(const char* text, const char* key, std::int32_t result,
                             std::uint32_t startTick) noexcept {
  const std::uint32_t endTick = GetTickCount();
  DbgLogPut(m_log, kLogD4, result < 0 ? kLogError : 0, text, key, result,
            {.startTime = &startTick, .endTime = &endTick});
}

void CD4CmdIO::LogEngineData(const char* text, const std::uint8_t* bytes, std::uint32_t count,
                             std::int32_t result, std::uint32_t startTick) noexcept {
  const std::uint32_t endTick = GetTickCount();
  DbgLogData(m_log, kLogD4, kLogDump | (result < 0 ? kLogError : 0), bytes, count, text, "nDltRc",
             result, {.startTime = &startTick, .endTime = &endTick});
}

// --- Link ---------------------------------------------------------------------------------

bool CD4CmdIO::D4Open() noexcept {
  if (m_initialized == 0) return false;
  const LockGuard guard(m_linkLock);
  m_portOps->keepPriority = 1;
  m_portOps->skipDummyRead = 0;
  XdltLink* link = nullptr;
  const std::uint32_t tick = GetTickCount();
  const std::int32_t result = XDLT_Open(m_portHandle, m_portOps, &link);
  LogEngineCall("CD4CmdIO::D4Open - XDLT_Open", "nDltRc", result, tick);
  if (result != 0) return false;
  XdltParameters retry{
      .kind = kSetRetryTiming, .timing = m_retryTiming, .mode = m_retryMode, .maximum = m_retryMax};
  XDLT_SetParameters(link, &retry);
  m_fatalError.store(0, std::memory_order_relaxed);
  m_link.store(link, std::memory_order_release);
  return true;
}

bool CD4CmdIO::D4Close() noexcept {
  if (m_initialized == 0) return true;
  const LockGuard guard(m_linkLock);
  for (D4ChannelEntry& entry : m_channels) {
    if (entry.isOpen.load(std::memory_order_acquire) != 0) D4CloseChnl(&entry);
  }
  const std::uint32_t tick = GetTickCount();
  const std::int32_t result = XDLT_Close(Link());
  m_link.store(nullptr, std::memory_order_release);
  LogEngineCall("CD4CmdIO::D4Close - XDLT_Close", "nDltRc", result, tick);
  return result == 0;
}

// --- Channels -----------------------------------------------------------------------------

D4ChannelEntry* CD4CmdIO::FindEntry(std::uint32_t channelId) noexcept {
  for (std::uint32_t i = 0; i < m_channelCount; ++i) {
    if (m_channels[i].channelId == channelId) return &m_channels[i];
  }
  return nullptr;
}

D4ChannelEntry* CD4CmdIO::D4OpenChnl(std::uint32_t channelId) noexcept {
  DbgLogPut(m_log, kLogD4, 0, "CD4CmdIO::D4OpenChnl - Enter");
  D4ChannelEntry* const entry = OpenedEntry(channelId);
  LogEnd("CD4CmdIO::D4OpenChnl - End", entry != nullptr);
  return entry;
}

D4ChannelEntry* CD4CmdIO::OpenedEntry(std::uint32_t channelId) noexcept {
  if (FatalError() != 0) {
    DbgLogPut(m_log, kLogDevice, 0, "*****CD4CmdIO::D4OpenChnl - already FatalError! *****");
    SetLastError(ERROR_SUCCESS);
    return nullptr;
  }
  D4ChannelEntry* const entry = FindEntry(channelId);
  if (entry == nullptr) {
    SetLastError(ERROR_SUCCESS);
    return nullptr;
  }
  std::int32_t opened = 0;
  {
    const LockGuard guard(m_openLock);
    if (entry->isOpen.load(std::memory_order_acquire) != 0) return entry;
    opened = OpenChnlProc(entry);
  }
  if (opened == 0) Sleep(kOpenRetryMs);
  return opened == 1 ? entry : nullptr;
}

std::int32_t CD4CmdIO::OpenChnlProc(D4ChannelEntry* entry) noexcept {
  if (entry == nullptr) return -1;
  const std::uint32_t tick = GetTickCount();
  const std::int32_t result = XDLT_OpenChannel(Link(), SocketOf(*entry));
  LogEngineCall("CD4CmdIO::OpenChnlProc - XDLT_OpenChannel", "nRC", result, tick);
  if (result == 0) {
    XdltParameters sizes{.kind = kAskPacketSizes, .socket = SocketOf(*entry)};
    XDLT_SetParameters(Link(), &sizes);
    entry->writePacketSize.store(sizes.writePacketSize, std::memory_order_relaxed);
    entry->readPacketSize.store(sizes.readPacketSize, std::memory_order_relaxed);
    entry->isOpen.store(1, std::memory_order_release);
    return 1;
  }
  return NoteLostLink(result) ? -1 : 0;
}

bool CD4CmdIO::D4CloseChnl(D4ChannelEntry* entry) noexcept {
  DbgLogPut(m_log, kLogD4, 0, "CD4CmdIO::D4CloseChnl - Enter");
  const bool done = CloseEntry(entry);
  LogEnd("CD4CmdIO::D4CloseChnl - End", done);
  return done;
}

bool CD4CmdIO::CloseEntry(D4ChannelEntry* entry) noexcept {
  if (entry == nullptr) return RefuseArguments();
  if (entry->isOpen.load(std::memory_order_acquire) == 0) return true;
  const LockGuard guard(m_linkLock);
  // Somebody else may have closed it while this thread waited.
  if (entry->isOpen.load(std::memory_order_acquire) == 0) return true;
  const std::uint32_t tick = GetTickCount();
  const std::int32_t result = XDLT_CloseChannel(Link(), SocketOf(*entry));
  entry->isOpen.store(0, std::memory_order_release);
  LogEngineCall("CD4CmdIO::D4CloseChnl - XDLT_CloseChannel", "nDltRc", result, tick);
  return result == 0;
}

bool CD4CmdIO::D4GetPacketSize(std::uint32_t channelId, std::uint32_t* sizes) noexcept {
  DbgLogPut(m_log, kLogD4, 0, "CD4CmdIO::D4GetPacketSize - Enter");
  const bool done = TellPacketSize(channelId, sizes);
  LogEnd("CD4CmdIO::D4GetPacketSize - End", done);
  return done;
}

bool CD4CmdIO::TellPacketSize(std::uint32_t channelId, std::uint32_t* sizes) noexcept {
  if (channelId == 0 || sizes == nullptr) return RefuseArguments();
  const D4ChannelEntry* const entry = D4OpenChnl(channelId);
  if (entry == nullptr) return false;
  const std::uint16_t write = PayloadOf(entry->writePacketSize.load(std::memory_order_relaxed));
  const std::uint16_t read = PayloadOf(entry->readPacketSize.load(std::memory_order_relaxed));
  *sizes = static_cast<std::uint32_t>(read) << 16 | write;
  DbgLogPrintf(m_log, kLogD4, "    wWritePacketSize=%d wReadPacketSize=%d", write, read);
  return true;
}

// --- Commands -----------------------------------------------------------------------------

bool CD4CmdIO::D4CmdProc(std::uint32_t channelId, const std::uint8_t* command, std::uint32_t count,
                         std::uint8_t* answer, std::uint32_t capacity,
                         std::uint32_t* answerCount) noexcept {
  DbgLogPut(m_log, kLogD4, 0, "CD4CmdIO::D4CmdProc - Enter");
  const bool done = Exchange(channelId, command, count, answer, capacity, answerCount);
  LogEnd("CD4CmdIO::D4CmdProc - End", done);
  return done;
}

bool CD4CmdIO::Exchange(std::uint32_t channelId, const std::uint8_t* command, std::uint32_t count,
                        std::uint8_t* answer, std::uint32_t capacity,
                        std::uint32_t* answerCount) noexcept {
  if (channelId == 0 || command == nullptr || count == 0 || answer == nullptr || capacity == 0 ||
      answerCount == nullptr) {
    return RefuseArguments();
  }
  *answerCount = 0;
  D4ChannelEntry* const entry = D4OpenChnl(channelId);
  if (entry == nullptr) return false;
  const std::uint32_t startTick = GetTickCount();
  const LockGuard guard(m_commandLock);
  return D4WriteCmd(entry, command, count, startTick) &&
         D4ReadCmd(entry, answer, capacity, answerCount, startTick);
}

bool CD4CmdIO::D4WriteCmd(D4ChannelEntry* entry, const std::uint8_t* bytes, std::uint32_t count,
                          std::uint32_t startTick) noexcept {
  DbgLogPut(m_log, kLogD4, 0, "CD4CmdIO::D4WriteCmd - Enter");
  const bool done = WriteAll(entry, bytes, count, startTick);
  LogEnd("CD4CmdIO::D4WriteCmd - End", done);
  return done;
}

bool CD4CmdIO::WriteAll(D4ChannelEntry* entry, const std::uint8_t* bytes, std::uint32_t count,
                        std::uint32_t startTick) noexcept {
  if (entry == nullptr || bytes == nullptr || count == 0) return RefuseArguments();
  if (entry->isOpen.load(std::memory_order_acquire) == 0) return RefuseArguments();
  while (!IsOver(startTick)) {
    std::uint32_t sent = count;
    const std::uint32_t tick = GetTickCount();
    const std::int32_t result = XDLT_Write(Link(), SocketOf(*entry), bytes, &sent);
    LogEngineData("CD4CmdIO::D4WriteCmd - XDLT_Write", bytes, count, result, tick);
    if (result > 0) return true;
    if (NoteLostLink(result)) return false;
    Sleep(kWriteRetryMs);
  }
  return false;
}

bool CD4CmdIO::D4ReadCmd(D4ChannelEntry* entry, std::uint8_t* buffer, std::uint32_t capacity,
                         std::uint32_t* count, std::uint32_t startTick) noexcept {
  DbgLogPut(m_log, kLogD4, 0, "CD4CmdIO::D4ReadCmd - Enter");
  const bool done = ReadAnswer(entry, buffer, capacity, count, startTick);
  LogEnd("CD4CmdIO::D4ReadCmd - End", done);
  return done;
}

bool CD4CmdIO::ReadAnswer(D4ChannelEntry* entry, std::uint8_t* buffer, std::uint32_t capacity,
                          std::uint32_t* count, std::uint32_t startTick) noexcept {
  if (entry == nullptr || buffer == nullptr || capacity == 0 || count == nullptr) {
    return RefuseArguments();
  }
  *count = 0;
  if (entry->isOpen.load(std::memory_order_acquire) == 0) return RefuseArguments();
  const std::uint32_t size = AwaitAnswer(*entry, startTick);
  if (size == 0) return false;
  if (size > capacity) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return false;
  }
  return Fetch(*entry, buffer, size, count, startTick);
}

// The size of what waits; 0 if the time is over or the link lost.
std::uint32_t CD4CmdIO::AwaitAnswer(const D4ChannelEntry& entry, std::uint32_t startTick) noexcept {
  std::uint32_t wait = m_retryTiming;
  while (!IsOver(startTick)) {
    std::uint32_t size = 0;
    const std::uint32_t tick = GetTickCount();
    const std::int32_t result = XDLT_Read(Link(), SocketOf(entry), nullptr, &size);
    LogEngineCall("CD4CmdIO::D4ReadCmd - XDLT_Read Get buffer size", "nReadSize", result, tick);
    if (result > 0) return static_cast<std::uint32_t>(result);
    if (NoteLostLink(result)) return 0;
    WaitForPoll(wait, startTick);
  }
  return 0;
}

void CD4CmdIO::WaitForPoll(std::uint32_t& wait, std::uint32_t startTick) noexcept {
  if (m_retryMode != kPollBacksOff) {
    Sleep(kReadRetryMs);
    return;
  }
  // A profile may ask for days. Nothing is gained behind the limit, where the command fails.
  const std::uint32_t age = TickAge(startTick);
  const std::uint32_t left = age < m_commandLimit ? m_commandLimit - age : 0;
  XdltWaitMs(m_timerEvent.Get(), std::min(wait, left));
  wait = wait < m_retryMax / 2 ? wait * 2 : m_retryMax;
}

bool CD4CmdIO::Fetch(const D4ChannelEntry& entry, std::uint8_t* buffer, std::uint32_t size,
                     std::uint32_t* count, std::uint32_t startTick) noexcept {
  while (!IsOver(startTick)) {
    std::uint32_t got = size;
    const std::uint32_t tick = GetTickCount();
    const std::int32_t result = XDLT_Read(Link(), SocketOf(entry), buffer, &got);
    const std::uint32_t fetched = result > 0 ? static_cast<std::uint32_t>(result) : 0;
    LogEngineData("CD4CmdIO::D4ReadCmd - XDLT_Read", buffer, fetched, result, tick);
    if (result > 0) {
      *count = fetched;
      return true;
    }
    if (NoteLostLink(result)) return false;
    Sleep(kReadRetryMs);
  }
  return false;
}

}  // namespace vlp
