#pragma once

// Modules. A path is an ordinary path of this system.

#include <windef.h>

#define GET_MODULE_HANDLE_EX_FLAG_PIN (0x1)
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT (0x2)
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS (0x4)

WINBASEAPI HMODULE WINAPI LoadLibraryA(LPCSTR path);
WINBASEAPI BOOL WINAPI FreeLibrary(HMODULE module);
WINBASEAPI __attribute__((noreturn)) VOID WINAPI FreeLibraryAndExitThread(HMODULE module,
                                                                          DWORD exit_code);
WINBASEAPI FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
WINBASEAPI BOOL WINAPI GetModuleHandleExA(DWORD flags, LPCSTR name, HMODULE* module);
WINBASEAPI DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR name, DWORD size);
