#pragma once

#include <windef.h>

WINBASEAPI VOID WINAPI OutputDebugStringA(LPCSTR text);
