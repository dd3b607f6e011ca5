#pragma once

// A folder of its own for each test of the debug log, and what its file says.

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <regex>
#include <string>

#include "diag/dbg_log.h"
#include "tests/support/far_side.h"

namespace diag_test {

// The lines of this thread with each head, once it is found well formed, cut to "> " and
// its line break to "\n". What isn't well formed stays as it is and spoils the comparison.
inline std::string shown(const std::string& content) {
  const std::regex head(
      "\r\n(### )?[0-9]{2,}:[0-5][0-9]\\.[0-9]{3} \\[PID:" + std::to_string(GetCurrentProcessId()) +
      " TID:" + std::to_string(GetCurrentThreadId()) + "\\] : ");
  return std::regex_replace(content, head, "\n$1> ");
}

inline constexpr DWORD kUntouched = 0xBEEF;

class LogTest : public ::testing::Test {
 protected:
  LogTest() {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
  }

  vlp::DbgLog open_log(uint32_t mask, uint32_t limit = 0, const char* name = "printer") const {
    return vlp::DbgLog(name, directory_.c_str(), mask, limit);
  }

  const std::string& directory() const { return directory_; }
  std::string path() const { return directory_ + "printer.dat"; }
  std::string rotated_path() const { return directory_ + "printer_0.dat"; }
  std::optional<std::string> content() const { return far_side::read_file(path()); }
  // Empty too if there is no file.
  std::string lines() const { return shown(content().value_or("")); }

 private:
  std::string directory_;
};

// Keeps a file open as another user of it does.
class OpenFile {
 public:
  OpenFile(const std::string& path, DWORD access, DWORD share)
      : file_(CreateFileA(path.c_str(), access, share, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                          nullptr)) {}
  ~OpenFile() {
    if (is_open()) CloseHandle(file_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool is_open() const { return file_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return file_; }

 private:
  HANDLE file_;
};

}  // namespace diag_test
