#pragma once

// Conversion between byte text and wide text.

#include <windef.h>

typedef const CHAR* LPCCH;
typedef const WCHAR* LPCWCH;

WINBASEAPI int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCCH lpMultiByteStr,
                                          int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);
WINBASEAPI int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWCH lpWideCharStr,
                                          int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                          LPCCH lpDefaultChar, LPBOOL lpUsedDefaultChar);
