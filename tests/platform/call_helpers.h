#pragma once

// Small things that the tests of the calls share; ordinary SDK code.

#include <windows.h>

#include <functional>

namespace test {

constexpr DWORD kUntouched = 0xBEEF;  // a last error that no call gives

// The handle is closed at the end of its scope.
class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  operator HANDLE() const { return handle_; }

 private:
  HANDLE handle_;
};

// Whether Wine stands in for Windows. Where it differs from the documentation, a test says so
// and holds it to the difference, so that the day it goes is noticed.
inline bool is_wine() {
  const HMODULE system = LoadLibraryA("ntdll.dll");
  if (system == nullptr) return false;
  const bool found = GetProcAddress(system, "wine_get_version") != nullptr;
  FreeLibrary(system);
  return found;
}

using Work = std::function<DWORD()>;

inline DWORD WINAPI run_work(LPVOID parameter) { return (*static_cast<Work*>(parameter))(); }

// A thread that runs the work, which has to outlive it.
inline HANDLE start_thread(Work& work, DWORD flags = 0) {
  return CreateThread(nullptr, 0, run_work, &work, flags, nullptr);
}

// Runs the work on a thread of its own and gives the thread's exit code.
inline DWORD on_other_thread(Work work) {
  const Handle thread(start_thread(work));
  WaitForSingleObject(thread, INFINITE);
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  return code;
}

inline HANDLE new_event(bool manual, bool set) {
  return CreateEventA(nullptr, manual ? TRUE : FALSE, set ? TRUE : FALSE, nullptr);
}

inline DWORD look(HANDLE handle) { return WaitForSingleObject(handle, 0); }

}  // namespace test
