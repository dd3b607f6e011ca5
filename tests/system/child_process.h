#pragma once

#include <windows.h>
#include <gtest/gtest.h>

#include <string>

namespace system_test {

// Far above what any child takes; only a hang comes here.
inline constexpr DWORD kHangMs = 120000;

// A program that lies beside this one, started with these arguments.
class ChildProcess {
 public:
  ChildProcess(const std::string& file, const std::string& arguments) {
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string own = path;
    const std::string folder = own.substr(0, own.find_last_of("/\\") + 1);
    std::string line = "\"" + folder + file + "\" " + arguments;
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process) == FALSE) {
      ADD_FAILURE() << line << ": error " << GetLastError();
      return;
    }
    CloseHandle(process.hThread);
    process_ = process.hProcess;
  }
  ~ChildProcess() {
    if (process_ != nullptr) CloseHandle(process_);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Wherever it is. It is gone when this returns.
  void Kill() const {
    EXPECT_NE(TerminateProcess(process_, 99), FALSE);
    EXPECT_EQ(ExitCode(), 99);
  }

  // -1 for a child that hangs; it is ended then.
  int ExitCode() const {
    if (WaitForSingleObject(process_, kHangMs) != WAIT_OBJECT_0) {
      TerminateProcess(process_, 99);
      return -1;
    }
    DWORD code = 0;
    EXPECT_NE(GetExitCodeProcess(process_, &code), FALSE);
    return static_cast<int>(code);
  }

 private:
  HANDLE process_ = nullptr;
};

}  // namespace system_test
