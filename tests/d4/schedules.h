#pragma once

// Conversations in many orders of their threads. Each is told a number, to be different
// with each order also in what it does when.

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"
#include "tests/system/storm_seeds.h"

namespace d4_test {

// Under a sanitizer each order takes many times as long. ThreadSanitizer looks at threads
// that run truly at once.
#if defined(VLP_MEMORY_CANT_FAIL)
inline constexpr std::uint64_t kSeeds = 40;
inline constexpr std::uint64_t kRunsAtOnce = 40;
#elif defined(__SANITIZE_ADDRESS__)
inline constexpr std::uint64_t kSeeds = 100;
inline constexpr std::uint64_t kRunsAtOnce = 20;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr std::uint64_t kSeeds = 100;
inline constexpr std::uint64_t kRunsAtOnce = 20;
#else
inline constexpr std::uint64_t kSeeds = 1000;
inline constexpr std::uint64_t kRunsAtOnce = 40;
#endif
#else
inline constexpr std::uint64_t kSeeds = 1000;
inline constexpr std::uint64_t kRunsAtOnce = 40;
#endif

template <typename Conversation>
void in_many_orders(Conversation conversation, const test::VirtualOptions& options = {}) {
  for (std::uint64_t run = 0; run < kRunsAtOnce && !::testing::Test::HasFailure(); ++run) {
    SCOPED_TRACE("threads at once, run " + std::to_string(run));
    test::run_virtual_parallel([&] { conversation(run); }, options);
  }
  system_test::ForEachSeed(kSeeds, [&](std::uint64_t seed) {
    test::run_virtual_serial(
        seed, [&] { conversation(seed); }, options);
  });
}

}  // namespace d4_test
