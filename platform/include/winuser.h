#pragma once

// Upper case in the ANSI code page.

#include <windef.h>

WINBASEAPI LPSTR WINAPI CharUpperA(LPSTR lpsz);
