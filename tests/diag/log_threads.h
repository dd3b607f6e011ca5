#pragma once

// Threads that write into one log, and a look at what came of it.

#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <cstdint>
#include <iterator>
#include <regex>
#include <string>

#include "diag/dbg_log.h"

namespace diag_test {

inline constexpr int kLogThreads = 3;
inline constexpr int kLinesPerThread = 10;

struct LogThread {
  vlp::DbgLog* log = nullptr;
  char letter = 'a';
};

inline DWORD WINAPI write_lines(void* argument) {
  const auto& thread = *static_cast<const LogThread*>(argument);
  const std::string bytes(40, thread.letter);
  for (int i = 0; i < kLinesPerThread; ++i) {
    SetLastError(static_cast<DWORD>(i));
    vlp::DbgLogData(thread.log, 1, vlp::kLogData | vlp::kLogDump, bytes.data(), 40,
                    std::string(1, thread.letter).c_str());
    vlp::DbgLogPrintf(thread.log, 1, "%s", bytes.c_str());
    if (i % 5 == 4) vlp::DbgStampLimit(thread.log);
    if (GetLastError() != static_cast<DWORD>(i)) return 1;
  }
  return 0;
}

// Each thread's exit code is 0 if it found its last error unchanged.
inline void write_with_threads(vlp::DbgLog& log) {
  std::array<LogThread, kLogThreads> threads;
  std::array<HANDLE, kLogThreads> handles{};
  for (size_t i = 0; i < threads.size(); ++i) {
    threads[i] = {&log, static_cast<char>('a' + i)};
    handles[i] = CreateThread(nullptr, 0, write_lines, &threads[i], 0, nullptr);
    ASSERT_NE(nullptr, handles[i]);
  }
  for (const HANDLE handle : handles) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, INFINITE));
    DWORD code = 99;
    EXPECT_NE(FALSE, GetExitCodeThread(handle, &code));
    EXPECT_EQ(0U, code) << "a last error was changed";
    CloseHandle(handle);
  }
}

// What of a log that nobody rotated isn't a whole line with all its data, and how many of
// these there are: kWholeCensus if nothing was lost, torn or mixed.
inline std::string census(std::string content) {
  int count = 0;
  const auto take = [&](const std::string& pattern) {
    const std::regex piece(pattern);
    count += static_cast<int>(
        std::distance(std::sregex_iterator(content.begin(), content.end(), piece), {}));
    content = std::regex_replace(content, piece, "");
  };
  const std::string head = "\r\n[0-9:.]+ \\[PID:[0-9]+ TID:[0-9]+\\] : ";
  take(head + "----- [0-9/:. ]+ -----");
  for (int i = 0; i < kLogThreads; ++i) {
    const char letter = static_cast<char>('a' + i);
    const std::string bytes(40, letter);
    std::string dump;
    for (int n = 0; n < 40; ++n) dump += std::string("6") + static_cast<char>('1' + i) + " ";
    take(head + letter + "\r\n Data\\(40\\): " + bytes + "\r\n Dump\\(40\\): " + dump);
    take(head + bytes);
  }
  return std::to_string(count) + content;
}

inline constexpr const char* kWholeCensus = "66";  // 3 threads: 20 lines and 2 stamps each

// Of a log that was rotated meanwhile: what isn't a whole piece. A line's data may lie in
// the next file, even without their title, what met the look at the size is lost, and a move that
// met a line fails and says so.
inline std::string torn(std::string content) {
  const std::string before = content;
  const std::string head = "\r\n[0-9:.]+ \\[PID:[0-9]+ TID:[0-9]+\\] : ";
  for (const std::string& piece :
       {head + "----- [0-9/:. ]+ -----", head + "(a{40}|b{40}|c{40})",
        head + "\\*{5}DbgLimitSizeProc: MoveFile failed\\. LastError=32\\*{5}",
        std::string("\r\n Data\\(40\\): (a{40}|b{40}|c{40})?"),
        std::string("\r\n Dump\\(40\\): ((61 ){40}|(62 ){40}|(63 ){40})?"), head + "[abc]"}) {
    content = std::regex_replace(content, std::regex(piece), "");
  }
  std::smatch first;
  const std::regex bytes("a{40}|b{40}|c{40}|(61 ){40}|(62 ){40}|(63 ){40}");
  if (std::regex_search(before, first, bytes, std::regex_constants::match_continuous)) {
    content.erase(0, static_cast<size_t>(first.length()));
  }
  return content;
}

// Whole lines that fill a log beyond its limit, so that the next stamp rotates it for sure.
inline void fill(vlp::DbgLog& log) {
  const std::string text(40, 'a');
  for (std::uint32_t size = 0; size < log.limitSize; size += 40) {
    vlp::DbgLogPut(&log, 1, 0, text.c_str());
  }
}

}  // namespace diag_test
