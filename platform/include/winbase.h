#pragma once

// What the SDK keeps here: names of error and wait results, memory, strings.

#include <minwinbase.h>

typedef HANDLE HLOCAL;
typedef HANDLE HGLOBAL;

#define THREAD_PRIORITY_LOWEST THREAD_BASE_PRIORITY_MIN
#define THREAD_PRIORITY_BELOW_NORMAL (THREAD_PRIORITY_LOWEST + 1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_HIGHEST THREAD_BASE_PRIORITY_MAX
#define THREAD_PRIORITY_ABOVE_NORMAL (THREAD_PRIORITY_HIGHEST - 1)
#define THREAD_PRIORITY_ERROR_RETURN (0x7fffffff)
#define THREAD_PRIORITY_TIME_CRITICAL THREAD_BASE_PRIORITY_LOWRT
#define THREAD_PRIORITY_IDLE THREAD_BASE_PRIORITY_IDLE

WINBASEAPI HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size);
WINBASEAPI HLOCAL WINAPI LocalFree(HLOCAL memory);
WINBASEAPI HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T size);
WINBASEAPI HGLOBAL WINAPI GlobalFree(HGLOBAL memory);

WINBASEAPI int WINAPI lstrlenA(LPCSTR text);
WINBASEAPI int WINAPI lstrlenW(LPCWSTR text);

// --- Profile files and MoveFileA: platform/profile.cpp, platform/file.cpp -----------------

WINBASEAPI UINT WINAPI GetPrivateProfileIntA(LPCSTR lpAppName, LPCSTR lpKeyName, INT nDefault,
                                             LPCSTR lpFileName);
WINBASEAPI DWORD WINAPI GetPrivateProfileStringA(LPCSTR lpAppName, LPCSTR lpKeyName,
                                                 LPCSTR lpDefault, LPSTR lpReturnedString,
                                                 DWORD nSize, LPCSTR lpFileName);
WINBASEAPI BOOL WINAPI MoveFileA(LPCSTR lpExistingFileName, LPCSTR lpNewFileName);
