#pragma once

// Basic types of the Windows SDK with its exact widths: DWORD and LONG have 32
// bits, WCHAR has 16. Calling-convention macros are empty.

#include <stddef.h>
#include <stdint.h>

#define VOID void
#define CONST const
#define WINAPI
#define APIENTRY WINAPI
#define CALLBACK
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define DECLSPEC_IMPORT
#define FAR
#define IN
#define OUT
#define OPTIONAL

#ifdef __cplusplus
#define EXTERN_C extern "C"
#else
#define EXTERN_C extern
#endif

// The layer's calls are the only symbols that its library exports.
#define WINBASEAPI EXTERN_C __attribute__((visibility("default")))

#define FALSE 0
#define TRUE 1
#define MAX_PATH 260

typedef char CHAR;
typedef unsigned char UCHAR;
typedef unsigned char BYTE;
typedef unsigned char BOOLEAN;
typedef short SHORT;
typedef unsigned short USHORT;
typedef unsigned short WORD;
typedef int INT;
typedef unsigned int UINT;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef int BOOL;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef uint64_t DWORDLONG;
typedef uint64_t DWORD64;
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef ULONG_PTR SIZE_T;
#ifdef __cplusplus
typedef char16_t WCHAR;
#else
typedef uint16_t WCHAR;
#endif

typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef BOOL* LPBOOL;
typedef DWORD* PDWORD;
typedef DWORD* LPDWORD;
typedef LONG* PLONG;
typedef UCHAR* PUCHAR;
typedef ULONG* PULONG;
typedef CHAR* LPSTR;
typedef CHAR* PSTR;
typedef const CHAR* LPCSTR;
typedef WCHAR* LPWSTR;
typedef WCHAR* PWSTR;
typedef const WCHAR* LPCWSTR;
typedef LPCWSTR LPCTSTR;
typedef LPWSTR LPTSTR;
typedef WCHAR TCHAR;

typedef void* HANDLE;
typedef HANDLE* LPHANDLE;
typedef HANDLE* PHANDLE;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef LONG HRESULT;
typedef LONG LSTATUS;
typedef INT_PTR (*FARPROC)(void);

#define TEXT__(text) u##text
#define TEXT(text) TEXT__(text)

#define LOWORD(value) ((WORD)(((DWORD_PTR)(value)) & 0xffff))
#define HIWORD(value) ((WORD)((((DWORD_PTR)(value)) >> 16) & 0xffff))

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME;

typedef union _LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
} LARGE_INTEGER;

typedef struct _SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

typedef struct _GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} GUID;

#include <winnt.h>
