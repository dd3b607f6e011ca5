#pragma once

#include <windef.h>

#define CTRL_C_EVENT 0
#define CTRL_BREAK_EVENT 1
#define CTRL_CLOSE_EVENT 2

typedef BOOL(WINAPI* PHANDLER_ROUTINE)(DWORD event);

WINBASEAPI BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add);
