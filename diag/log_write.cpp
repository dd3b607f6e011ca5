// Lines and data: how they look and how they reach the file.

#include <cstring>
#include <memory>
#include <new>

#include "diag/dbg_log.h"
#include "support/last_error.h"
#include "support/text.h"

namespace vlp {
namespace {

constexpr std::size_t kLineCapacity = 4096;
constexpr std::size_t kPieceCapacity = 2048;
constexpr std::size_t kFormatCapacity = 512;
constexpr std::uint32_t kDataShown = 256;

// A line in the making. Pieces and the line are cut at their capacities.
class Line {
 public:
  template <typename... Arguments>
  void Add(const char* format, Arguments... arguments) {
    const LogArgument list[] = {LogArgument(arguments)..., LogArgument(0)};
    char piece[kPieceCapacity];
    const std::size_t size =
        FormatLog<char>(piece, sizeof(piece), format, {list, sizeof...(arguments)});
    AppendText(text_, sizeof(text_), {piece, size});
  }

  const char* Text() const { return text_; }
  std::uint32_t Size() const { return static_cast<std::uint32_t>(std::strlen(text_)); }

 private:
  char text_[kLineCapacity] = {};
};

struct ClockTime {
  explicit ClockTime(std::uint32_t ms)
      : minutes(ms / 60000), seconds(ms / 1000 % 60), milliseconds(ms % 1000) {}
  std::uint32_t minutes;
  std::uint32_t seconds;
  std::uint32_t milliseconds;
};

void AddTimes(Line& line, const char* sign, const std::uint32_t* time, const std::uint32_t* count) {
  if (time == nullptr && count == nullptr) return;
  line.Add(sign);
  if (count != nullptr) line.Add("(%d)", *count);
  if (time != nullptr) {
    const ClockTime clock(*time);
    line.Add(" %2d:%2d.%03d ", clock.minutes, clock.seconds, clock.milliseconds);
  }
}

// With the high part, so that a file beyond 4 GiB isn't begun anew.
bool MoveToEnd(HANDLE file) {
  LONG high = 0;
  SetLastError(ERROR_SUCCESS);
  return SetFilePointer(file, 0, &high, FILE_END) != INVALID_SET_FILE_POINTER ||
         GetLastError() == ERROR_SUCCESS;
}

std::int32_t AppendToFile(const DbgLog& log, const void* bytes, std::uint32_t size) {
  if (log.fileName.empty() || size == 0) return 0;
  const FileHandle file(CreateFileA(log.fileName.c_str(), GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file || !MoveToEnd(file.Get())) return 0;
  DWORD written = 0;
  const bool whole =
      WriteFile(file.Get(), bytes, size, &written, nullptr) != FALSE && written == size;
  SetEndOfFile(file.Get());
  return whole ? 1 : 0;
}

std::int32_t WriteRaw(const DbgLog& log, const char* title, std::uint32_t length, const void* bytes,
                      std::uint32_t size) {
  Line head;
  head.Add(title, length);
  if (AppendToFile(log, head.Text(), head.Size()) == 0) return 0;
  return AppendToFile(log, bytes, size);
}

std::int32_t WriteDump(const DbgLog& log, std::uint32_t length, const std::uint8_t* bytes,
                       std::uint32_t shown) {
  if (shown > UINT32_MAX / 3) return 0;
  const std::uint32_t size = shown * 3;
  const std::unique_ptr<char[]> text(new (std::nothrow) char[std::size_t{size} + 1]);
  if (text == nullptr) return 0;
  char* to = text.get();
  for (std::uint32_t index = 0; index < shown; ++index, to += 3) {
    const LogArgument byte(bytes[index]);
    FormatLog<char>(to, 4, "%02x ", {&byte, 1});
  }
  return WriteRaw(log, "\r\n Dump(%d): ", length, text.get(), size);
}

}  // namespace

std::int32_t DbgWriteLine(DbgLog& log, std::uint32_t flags, const char* text, const char* key,
                          std::int32_t value, const DbgTimes& times) noexcept {
  const DWORD last_error = GetLastError();
  const bool error = (flags & kLogError) != 0;
  const ClockTime now(GetTickCount());
  Line line;
  line.Add(
      error ? "\r\n### %02d:%02d.%03d [PID:%u TID:%u] : " : "\r\n%02d:%02d.%03d [PID:%u TID:%u] : ",
      now.minutes, now.seconds, now.milliseconds, GetCurrentProcessId(), GetCurrentThreadId());
  if (text != nullptr) line.Add("%s", text);
  if (key != nullptr) line.Add(" : %s = %d", key, value);
  if (error) line.Add(" : LastError = %d", last_error);
  if (times.startTime != nullptr || times.startCount != nullptr || times.endTime != nullptr ||
      times.endCount != nullptr) {
    line.Add(" : ");
    AddTimes(line, "S", times.startTime, times.startCount);
    AddTimes(line, " E", times.endTime, times.endCount);
  }
  return AppendToFile(log, line.Text(), line.Size());
}

namespace detail {

std::int32_t PutLine(DbgLog& log, std::uint32_t flags, const char* text, const char* key,
                     std::int32_t value, const DbgTimes& times) noexcept {
  const LastErrorKeeper caller;
  const LockGuard guard(log.lock);
  SetLastError(caller.Kept());
  return DbgWriteLine(log, flags, text, key, value, times);
}

std::int32_t PutData(DbgLog& log, std::uint32_t flags, const void* buffer, std::uint32_t length,
                     const char* text, const char* key, std::int32_t value,
                     const DbgTimes& times) noexcept {
  const LastErrorKeeper caller;
  const LockGuard guard(log.lock);
  SetLastError(caller.Kept());
  std::int32_t result = DbgWriteLine(log, flags, text, key, value, times);
  if (result == 0 || length == 0) return result;
  if (buffer == nullptr) return 0;

  const bool cut = length > kDataShown && (log.mask & kLogUncut) == 0;
  const std::uint32_t shown = cut ? kDataShown : length;
  if ((flags & kLogData) != 0) result = WriteRaw(log, "\r\n Data(%d): ", length, buffer, shown);
  if (result != 0 && (flags & kLogDump) != 0) {
    result = WriteDump(log, length, static_cast<const std::uint8_t*>(buffer), shown);
  }
  return result;
}

void PutFormatted(DbgLog& log, const char* format,
                  std::span<const LogArgument> arguments) noexcept {
  char text[kFormatCapacity];
  FormatLog<char>(text, kFormatCapacity, format, arguments);
  PutLine(log, 0, text, nullptr, 0, {});
}

void PutFormattedW(DbgLog& log, const WCHAR* format,
                   std::span<const LogArgument> arguments) noexcept {
  const LastErrorKeeper caller;
  WCHAR wide[kFormatCapacity];
  const std::size_t size = FormatLog<WCHAR>(wide, kFormatCapacity, format, arguments);
  char text[kFormatCapacity] = {};
  // A text that grows beyond the buffer in a double-byte code page is cut there.
  WideCharToMultiByte(CP_ACP, 0, wide, static_cast<int>(size), text, kFormatCapacity - 1, nullptr,
                      nullptr);
  text[kFormatCapacity - 1] = '\0';
  SetLastError(caller.Kept());
  PutLine(log, 0, text, nullptr, 0, {});
}

}  // namespace detail
}  // namespace vlp
