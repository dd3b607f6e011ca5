#pragma once

// Orders of threads, each named by a seed. The environment can name one to be seen again.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace system_test {

inline constexpr const char* kSeedVariable = "VLPBIDI_SEED";

inline bool SeedIsGiven() { return std::getenv(kSeedVariable) != nullptr; }

// Runs the body with the seeds below `count`, or with the one that is given, up to the
// first that fails.
template <typename Body>
void ForEachSeed(std::uint64_t count, Body body) {
  const char* const given = std::getenv(kSeedVariable);
  const std::uint64_t first = given != nullptr ? std::strtoull(given, nullptr, 0) : 0;
  const std::uint64_t last = given != nullptr ? first : count - 1;
  for (std::uint64_t seed = first; seed <= last; ++seed) {
    SCOPED_TRACE(std::string(kSeedVariable) + "=" + std::to_string(seed));
    body(seed);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace system_test
