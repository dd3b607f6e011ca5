#pragma once

// Which sanitizer this is built with: all that is done many times takes many times as long
// then, and is done less often.

#include <cstdint>

#include "tests/support/virtual_time.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VLP_THREAD_SANITIZER
#elif __has_feature(address_sanitizer)
#define VLP_ADDRESS_SANITIZER
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define VLP_THREAD_SANITIZER
#elif defined(__SANITIZE_ADDRESS__)
#define VLP_ADDRESS_SANITIZER
#endif

namespace test {

#if defined(VLP_THREAD_SANITIZER)
inline constexpr std::uint64_t kTimesLonger = 20;
inline constexpr bool kThreadSanitizer = true;
#elif defined(VLP_ADDRESS_SANITIZER)
inline constexpr std::uint64_t kTimesLonger = 8;
inline constexpr bool kThreadSanitizer = false;
#else
inline constexpr std::uint64_t kTimesLonger = 1;
inline constexpr bool kThreadSanitizer = false;
#endif

// Of a sweep's steps each one, or one of several; no multiple of what is usual in packets.
inline constexpr std::uint64_t kStep = kTimesLonger == 1 ? 1 : kTimesLonger + 3;

// In the order of a seed. ThreadSanitizer looks at threads that run truly at once.
template <typename Body>
void live(std::uint64_t seed, Body body) {
  if (kThreadSanitizer) {
    run_virtual_parallel(body);
  } else {
    run_virtual_serial(seed, body);
  }
}

}  // namespace test
