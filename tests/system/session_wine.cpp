#include <windows.h>

#include "tests/system/session.h"

namespace system_test {

void BeginSession() {}

std::string EndSession() { return {}; }

void LetOthersSettle() {}

std::uint32_t OpenHandles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

}  // namespace system_test
