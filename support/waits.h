#pragma once

// Waits and signals that must not get lost.

#include <windows.h>

#include "support/handles.h"

namespace vlp {

inline KernelHandle CreateAutoResetEvent(bool signalled = false) {
  return KernelHandle(CreateEventA(nullptr, FALSE, signalled ? TRUE : FALSE, nullptr));
}

// True if the object was signalled within the limit. A wait that fails counts as one
// that ran out.
inline bool IsSignalled(HANDLE object, DWORD limit_ms) {
  return WaitForSingleObject(object, limit_ms) == WAIT_OBJECT_0;
}

// Waits without limit. Giving up a wait that failed would take what a thread works on
// from under it, so it is made again.
inline void WaitToTheEnd(HANDLE object) {
  while (WaitForSingleObject(object, INFINITE) == WAIT_FAILED && object != nullptr) Sleep(1);
}

// Whoever waits for a signal that failed would wait in vain, so it is made again.
inline void Signal(HANDLE event) {
  while (event != nullptr && SetEvent(event) == FALSE) Sleep(1);
}

}  // namespace vlp
