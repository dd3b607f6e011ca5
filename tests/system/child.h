#pragma once

// What the tests and their child process agree on.

#include <cstdint>

namespace system_test {

inline constexpr const char* kChildPrinter = "Child";
inline constexpr std::uint32_t kChildLogSize = 20000;

// Whether processes see each other's registry and the devices on the USB.
bool WorldIsShared();

}  // namespace system_test
