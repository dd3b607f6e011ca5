#pragma once

// Network redirector.

#include <windef.h>

#define WN_SUCCESS 0

WINBASEAPI DWORD WINAPI WNetGetConnectionA(LPCSTR lpLocalName, LPSTR lpRemoteName,
                                           LPDWORD lpnLength);
