#pragma once

#include <minwinbase.h>

WINBASEAPI LPVOID WINAPI VirtualAlloc(LPVOID address, SIZE_T size, DWORD type, DWORD protection);
WINBASEAPI BOOL WINAPI VirtualFree(LPVOID address, SIZE_T size, DWORD type);
