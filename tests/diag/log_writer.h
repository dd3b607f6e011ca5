#pragma once

// What the test of two processes and its second process agree on.

namespace diag_test {

inline constexpr unsigned kSharedLimit = 4000;
inline constexpr int kLinesOfAWriter = 200;

}  // namespace diag_test
