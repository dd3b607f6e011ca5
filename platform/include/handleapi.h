#pragma once

#include <windef.h>

WINBASEAPI BOOL WINAPI CloseHandle(HANDLE handle);
