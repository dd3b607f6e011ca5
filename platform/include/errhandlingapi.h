#pragma once

// The calling thread's last error.

#include <windef.h>

WINBASEAPI DWORD WINAPI GetLastError(VOID);
WINBASEAPI VOID WINAPI SetLastError(DWORD error);
