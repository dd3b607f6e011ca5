#pragma once

#include <windows.h>

namespace monitor {

// Holds a critical section for the length of a block.
class Lock {
 public:
  explicit Lock(CRITICAL_SECTION& section) : section_(section) { EnterCriticalSection(&section_); }
  ~Lock() { LeaveCriticalSection(&section_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  CRITICAL_SECTION& section_;
};

}  // namespace monitor
