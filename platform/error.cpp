// The last error of each thread.

#include <errhandlingapi.h>

#include "platform/kernel/call.h"

namespace {
thread_local DWORD last_error = 0;
}  // namespace

namespace platform {

BOOL fail_with(DWORD error) {
  last_error = error;
  return FALSE;
}

}  // namespace platform

DWORD WINAPI GetLastError(VOID) { return last_error; }
VOID WINAPI SetLastError(DWORD error) { last_error = error; }
