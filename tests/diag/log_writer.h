#pragma once

// What the test of two processes and its second process agree on.

namespace diag_test {

inline constexpr unsigned kSharedLimit = 4000;
inline constexpr int kLinesOfAWriter = 200;

// How the second process found the mutex: exit codes small enough for any system.
inline constexpr unsigned kMutexFree = 10;
inline constexpr unsigned kMutexHeld = 11;
inline constexpr unsigned kMutexAbandoned = 12;

}  // namespace diag_test
