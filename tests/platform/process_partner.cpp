// The other process of the tests of named mutexes: does one thing and ends.

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

// Ways:  exists NAME   exit code: the last error after CreateMutexA
//        die NAME      takes the mutex and ends without releasing it
//        hold NAME MS  takes it, keeps it that long, releases it
//        try NAME      exit code: the result of a wait of no time
//        await NAME SIGN  opens NAME, then SIGN; exit code: the result of a long wait
int main(int count, char** arguments) {
  if (count < 3) return 250;
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, arguments[2]);
  const DWORD error = GetLastError();
  if (mutex == nullptr) return 251;
  if (std::strcmp(arguments[1], "exists") == 0) return static_cast<int>(error);
  if (std::strcmp(arguments[1], "try") == 0) {
    const DWORD result = WaitForSingleObject(mutex, 0);
    return result == WAIT_TIMEOUT ? 2 : static_cast<int>(result);
  }
  if (std::strcmp(arguments[1], "await") == 0) {
    if (count < 4 || CreateMutexA(nullptr, FALSE, arguments[3]) == nullptr) return 253;
    return static_cast<int>(WaitForSingleObject(mutex, 20000));
  }
  if (WaitForSingleObject(mutex, 5000) != WAIT_OBJECT_0) return 252;
  if (std::strcmp(arguments[1], "die") == 0) ExitProcess(7);
  if (count < 4) return 253;
  Sleep(static_cast<DWORD>(std::atoi(arguments[3])));
  ReleaseMutex(mutex);
  CloseHandle(mutex);
  return 0;
}
