#pragma once

// Threads and processes.

#include <minwinbase.h>

#define CREATE_SUSPENDED 0x4
#define STACK_SIZE_PARAM_IS_A_RESERVATION 0x10000

typedef struct _PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
} PROCESS_INFORMATION, *PPROCESS_INFORMATION, *LPPROCESS_INFORMATION;

typedef struct _STARTUPINFOA {
  DWORD cb;
  LPSTR lpReserved;
  LPSTR lpDesktop;
  LPSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
} STARTUPINFOA, *LPSTARTUPINFOA;

WINBASEAPI HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack_size,
                                      LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                                      LPDWORD thread_id);
WINBASEAPI DWORD WINAPI ResumeThread(HANDLE thread);
WINBASEAPI BOOL WINAPI TerminateThread(HANDLE thread, DWORD exit_code);
WINBASEAPI BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exit_code);
WINBASEAPI BOOL WINAPI SetThreadPriority(HANDLE thread, int priority);
WINBASEAPI int WINAPI GetThreadPriority(HANDLE thread);
WINBASEAPI HANDLE WINAPI GetCurrentThread(VOID);
WINBASEAPI DWORD WINAPI GetCurrentThreadId(VOID);

WINBASEAPI BOOL WINAPI CreateProcessA(LPCSTR application, LPSTR command_line,
                                      LPSECURITY_ATTRIBUTES process_attributes,
                                      LPSECURITY_ATTRIBUTES thread_attributes, BOOL inherit,
                                      DWORD flags, LPVOID environment, LPCSTR directory,
                                      LPSTARTUPINFOA startup, LPPROCESS_INFORMATION information);
WINBASEAPI BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exit_code);
WINBASEAPI BOOL WINAPI TerminateProcess(HANDLE process, UINT exit_code);
WINBASEAPI HANDLE WINAPI GetCurrentProcess(VOID);
WINBASEAPI DWORD WINAPI GetCurrentProcessId(VOID);
WINBASEAPI __attribute__((noreturn)) VOID WINAPI ExitProcess(UINT exit_code);
