// The time-stamp line and the rotation that goes with it.

#include "diag/dbg_log.h"
#include "support/last_error.h"

namespace vlp {
namespace {

constexpr DWORD kMutexWaitMs = 1000;

// Comes if any category is on, as it marks a point in time for all of them.
void WriteStamp(DbgLog& log) {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  DbgLogPrintf(&log, log.mask, "----- %u/%02u/%02u %02u:%02u:%02u.%03u -----", now.wYear,
               now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
}

// Opened alone: while another thread or process writes, the check is left for the next
// time.
bool HasReachedLimit(const DbgLog& log) {
  const FileHandle file(CreateFileA(log.fileName.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return false;
  BY_HANDLE_FILE_INFORMATION information{};
  if (GetFileInformationByHandle(file.Get(), &information) == FALSE) return false;
  const std::uint64_t size =
      (std::uint64_t{information.nFileSizeHigh} << 32) | information.nFileSizeLow;
  return size >= log.limitSize;
}

void DbgLimitSizeProc(DbgLog& log) {
  if (!HasReachedLimit(log)) return;
  DeleteFileA(log.rotatedName.c_str());
  if (MoveFileA(log.fileName.c_str(), log.rotatedName.c_str()) == FALSE) {
    const DWORD error = GetLastError();
    DbgLogPrintf(&log, log.mask, "*****DbgLimitSizeProc: MoveFile failed. LastError=%u*****",
                 error);
    return;
  }
  WriteStamp(log);
}

}  // namespace

void DbgStampLimit(DbgLog* log) noexcept {
  if (log == nullptr || log->mask == 0) return;
  const LastErrorKeeper caller;
  WriteStamp(*log);
  if (log->limitEnabled == 0 || !log->mutex) return;
  const DWORD wait = WaitForSingleObject(log->mutex.Get(), kMutexWaitMs);
  if (wait == WAIT_OBJECT_0) DbgLimitSizeProc(*log);
  // An abandoned mutex is ours as well and would stay so for ever.
  if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) ReleaseMutex(log->mutex.Get());
}

}  // namespace vlp
