#include <windows.h>

#include "tests/system/session.h"

namespace system_test {

// The library under test brings these two along. Loaded once for all tests, so that it
// can be asked beforehand whether they are doubles, and so that no handle of theirs comes
// and goes with the library.
void BeginSession() {
  static const HMODULE held[] = {LoadLibraryA("winspool.drv"), LoadLibraryA("mpr.dll")};
  static_cast<void>(held);
}

std::string EndSession() { return {}; }

void LetOthersSettle() {}

std::uint32_t OpenHandles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

}  // namespace system_test
