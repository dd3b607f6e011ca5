#pragma once

// Orders of threads, each named by a seed. The environment can name one to be seen again.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

namespace test {

inline constexpr const char* kSeedVariable = "VLPBIDI_SEED";

inline std::optional<std::uint64_t> given_seed() {
  const char* const given = std::getenv(kSeedVariable);
  if (given == nullptr) return std::nullopt;
  return std::strtoull(given, nullptr, 0);
}

// Runs the body with the seeds below `count`, or with the one that is given, up to the
// first that fails.
template <typename Body>
void for_each_seed(std::uint64_t count, Body body) {
  const std::optional<std::uint64_t> given = given_seed();
  const std::uint64_t first = given.value_or(0);
  const std::uint64_t last = given.value_or(count - 1);
  for (std::uint64_t seed = first; seed <= last; ++seed) {
    SCOPED_TRACE(std::string(kSeedVariable) + "=" + std::to_string(seed));
    body(seed);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace test
