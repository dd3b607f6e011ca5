#pragma once

// The log of one printer: a text file, opened and closed for every line, so that a
// line is on disk when the call returns.
//
// Every call accepts a null log and then does nothing. A call whose category is off
// costs one look at the mask. No call changes the thread's last error, throws, or
// fails the work around it. The calls block for the lock and a few short file accesses;
// DbgStampLimit also waits up to 1000 ms for another process that rotates the same file.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "diag/log_format.h"
#include "support/critical_section.h"
#include "support/handles.h"

namespace vlp {

// Categories: one bit of the mask each. A line is written if its bit is set.
inline constexpr std::uint32_t kLogPrinter = 0x1;         // operations of CPrinterInf
inline constexpr std::uint32_t kLogBidi = 0x2;            // exchanges with the spooler
inline constexpr std::uint32_t kLogVendor = 0x100;        // operations of GenVlAccess
inline constexpr std::uint32_t kLogD4 = 0x200;            // commands over the D4 transport
inline constexpr std::uint32_t kLogPort = 0x400;          // transfers, and the bytes read
inline constexpr std::uint32_t kLogPortOutput = 0x800;    // the bytes written
inline constexpr std::uint32_t kLogDevice = 0x1000;       // search, set-up and loss of devices
inline constexpr std::uint32_t kLogUncut = 0x40000000;    // no category: data isn't cut
inline constexpr std::uint32_t kLogObjects = 0x80000000;  // object life and details

// Flags of a line.
inline constexpr std::uint32_t kLogError = 0x1;  // "### " and the last error
inline constexpr std::uint32_t kLogData = 0x2;   // the bytes as they are
inline constexpr std::uint32_t kLogDump = 0x4;   // the bytes in hexadecimal

struct DbgLog {
  // `directory` with its closing backslash. A null name or directory, or a path of
  // 260 bytes and more, makes a log that never writes. `limit` is the size in bytes
  // at which the file is rotated, 0 for never.
  DbgLog(const char* name, const char* directory, std::uint32_t mask, std::uint32_t limit);

  CriticalSection lock;    // a leaf: orders the lines of this process
  std::string fileName;    // empty: none
  std::uint32_t mask = 0;  // final after creation, like all below
  std::uint32_t limitSize = 0;
  std::uint32_t limitEnabled = 0;
  std::string rotatedName;  // empty: none
  KernelHandle mutex;       // keeps two processes from rotating at once
};

// Pairs of a time in ms and a count, for a start and an end; each may be null.
struct DbgTimes {
  const std::uint32_t* startTime = nullptr;
  const std::uint32_t* startCount = nullptr;
  const std::uint32_t* endTime = nullptr;
  const std::uint32_t* endCount = nullptr;
};

// True if a line of this category would be written.
inline bool DbgLogIsOn(const DbgLog* log, std::uint32_t mask) noexcept {
  return log != nullptr && (log->mask & mask) != 0;
}

// Builds one line and appends it: head, text, " : key = value", the last error if
// marked as error, the times. 1 if written, 0 if not. Takes no lock: only for a
// caller that holds `lock`.
std::int32_t DbgWriteLine(DbgLog& log, std::uint32_t flags, const char* text, const char* key,
                          std::int32_t value, const DbgTimes& times = {}) noexcept;

namespace detail {
std::int32_t PutLine(DbgLog& log, std::uint32_t flags, const char* text, const char* key,
                     std::int32_t value, const DbgTimes& times) noexcept;
std::int32_t PutData(DbgLog& log, std::uint32_t flags, const void* buffer, std::uint32_t length,
                     const char* text, const char* key, std::int32_t value,
                     const DbgTimes& times) noexcept;
void PutFormatted(DbgLog& log, const char* format, std::span<const LogArgument> arguments) noexcept;
void PutFormattedW(DbgLog& log, const WCHAR* format,
                   std::span<const LogArgument> arguments) noexcept;
}  // namespace detail

// One line. 0 for a null log, 1 if the category is off, else what DbgWriteLine gives.
// text and key may be null.
inline std::int32_t DbgLogPut(DbgLog* log, std::uint32_t mask, std::uint32_t flags,
                              const char* text, const char* key = nullptr, std::int32_t value = 0,
                              const DbgTimes& times = {}) noexcept {
  if (log == nullptr) return 0;
  if ((log->mask & mask) == 0) return 1;
  return detail::PutLine(*log, flags, text, key, value, times);
}

// One line and behind it `length` bytes as data, as a dump or as both. More than 256
// bytes are cut there unless the mask has kLogUncut; the number printed is the length.
// Returns as DbgLogPut; 0 too for a null buffer with a length.
inline std::int32_t DbgLogData(DbgLog* log, std::uint32_t mask, std::uint32_t flags,
                               const void* buffer, std::uint32_t length, const char* text,
                               const char* key = nullptr, std::int32_t value = 0,
                               const DbgTimes& times = {}) noexcept {
  if (log == nullptr) return 0;
  if ((log->mask & mask) == 0) return 1;
  return detail::PutData(*log, flags, buffer, length, text, key, value, times);
}

// A formatted line of at most 511 characters.
template <typename... Arguments>
void DbgLogPrintf(DbgLog* log, std::uint32_t mask, const char* format,
                  Arguments... arguments) noexcept {
  if (!DbgLogIsOn(log, mask)) return;
  const LogArgument list[] = {LogArgument(arguments)..., LogArgument(0)};
  detail::PutFormatted(*log, format, {list, sizeof...(arguments)});
}

// The same with a wide format and wide texts, written in the ANSI code page.
template <typename... Arguments>
void DbgLogPrintfW(DbgLog* log, std::uint32_t mask, const WCHAR* format,
                   Arguments... arguments) noexcept {
  if (!DbgLogIsOn(log, mask)) return;
  const LogArgument list[] = {LogArgument(arguments)..., LogArgument(0)};
  detail::PutFormattedW(*log, format, {list, sizeof...(arguments)});
}

// Writes the time-stamp line and, if the file has reached its limit, makes it the
// rotated file and starts a fresh one.
void DbgStampLimit(DbgLog* log) noexcept;

}  // namespace vlp
