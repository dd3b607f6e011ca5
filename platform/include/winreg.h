#pragma once

// Registry: the machine's tree. Every call gives its error as the result and leaves
// the last error alone.

#include <windef.h>

typedef DWORD ACCESS_MASK;
typedef ACCESS_MASK REGSAM;

#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_CREATE_LINK 0x0020
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F

#define REG_OPTION_NON_VOLATILE 0
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_DWORD_BIG_ENDIAN 5
#define REG_MULTI_SZ 7
#define REG_QWORD 11

WINBASEAPI LONG WINAPI RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                                     PHKEY phkResult);
WINBASEAPI LONG WINAPI RegCloseKey(HKEY hKey);
WINBASEAPI LONG WINAPI RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved,
                                        LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
WINBASEAPI LONG WINAPI RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName,
                                     LPDWORD lpReserved, LPSTR lpClass, LPDWORD lpcchClass,
                                     FILETIME* lpftLastWriteTime);
WINBASEAPI LONG WINAPI RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR lpClass,
                                       DWORD dwOptions, REGSAM samDesired,
                                       LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                                       LPDWORD lpdwDisposition);
WINBASEAPI LONG WINAPI RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD Reserved, DWORD dwType,
                                      const BYTE* lpData, DWORD cbData);
WINBASEAPI LONG WINAPI RegDeleteValueA(HKEY hKey, LPCSTR lpValueName);
WINBASEAPI LONG WINAPI RegDeleteKeyExA(HKEY hKey, LPCSTR lpSubKey, REGSAM samDesired,
                                       DWORD Reserved);
WINBASEAPI LONG WINAPI RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey);
