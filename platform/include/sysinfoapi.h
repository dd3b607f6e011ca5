#pragma once

// Clocks and the system's version.

#include <minwinbase.h>

WINBASEAPI DWORD WINAPI GetTickCount(VOID);
WINBASEAPI ULONGLONG WINAPI GetTickCount64(VOID);
WINBASEAPI VOID WINAPI GetLocalTime(LPSYSTEMTIME time);
WINBASEAPI BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA information);
