#pragma once

// Conversations in many orders of their threads. Each is told a number, to be different
// with each order also in what it does when.

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/sanitized.h"
#include "tests/support/seeds.h"
#include "tests/support/virtual_time.h"

namespace d4_test {

inline constexpr std::uint64_t kSeeds = 1000 / test::kTimesLonger;
inline constexpr std::uint64_t kRunsAtOnce = 40;

// For conversations that take several times as long as the others.
inline constexpr std::uint64_t kFewSeeds = kSeeds * 3 / 10;

template <typename Conversation>
void in_many_orders(Conversation conversation, std::uint64_t seeds = kSeeds,
                    const test::VirtualOptions& options = {}) {
  const std::uint64_t runs_at_once = test::given_seed() ? 0 : kRunsAtOnce;
  for (std::uint64_t run = 0; run < runs_at_once && !::testing::Test::HasFailure(); ++run) {
    SCOPED_TRACE("threads at once, run " + std::to_string(run));
    test::run_virtual_parallel([&] { conversation(run); }, options);
  }
  test::for_each_seed(seeds, [&](std::uint64_t seed) {
    test::run_virtual_serial(
        seed, [&] { conversation(seed); }, options);
  });
}

}  // namespace d4_test
