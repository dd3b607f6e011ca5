#pragma once

// The performance counter.

#include <windef.h>

WINBASEAPI BOOL WINAPI QueryPerformanceCounter(LARGE_INTEGER* count);
WINBASEAPI BOOL WINAPI QueryPerformanceFrequency(LARGE_INTEGER* frequency);
