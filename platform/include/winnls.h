#pragma once

// The machine's ANSI code page.

#include <windef.h>

#define CP_ACP 0
#define CP_UTF8 65001

#define MB_ERR_INVALID_CHARS 0x00000008
#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400

WINBASEAPI UINT WINAPI GetACP(void);
WINBASEAPI BOOL WINAPI IsDBCSLeadByte(BYTE TestChar);
