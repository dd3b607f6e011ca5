#pragma once

// Events, mutexes, critical sections, waits and Sleep.

#include <minwinbase.h>

#define INFINITE 0xffffffff
#define WAIT_FAILED ((DWORD)0xffffffff)
#define WAIT_OBJECT_0 ((STATUS_WAIT_0) + 0)
#define WAIT_ABANDONED ((STATUS_ABANDONED_WAIT_0) + 0)
#define WAIT_ABANDONED_0 ((STATUS_ABANDONED_WAIT_0) + 0)

WINBASEAPI HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manual_reset,
                                      BOOL initial_state, LPCSTR name);
WINBASEAPI BOOL WINAPI SetEvent(HANDLE event);
WINBASEAPI BOOL WINAPI ResetEvent(HANDLE event);

WINBASEAPI HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL initial_owner,
                                      LPCSTR name);
WINBASEAPI BOOL WINAPI ReleaseMutex(HANDLE mutex);

WINBASEAPI DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
WINBASEAPI DWORD WINAPI WaitForMultipleObjects(DWORD count, CONST HANDLE* handles, BOOL wait_all,
                                               DWORD milliseconds);

WINBASEAPI VOID WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI BOOL WINAPI InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section,
                                                             DWORD spin_count);
WINBASEAPI VOID WINAPI EnterCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI VOID WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section);
WINBASEAPI VOID WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section);

WINBASEAPI VOID WINAPI Sleep(DWORD milliseconds);
