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

// Runs the body with the seeds below `count`, or with the one that is given, as long as
// nothing has failed.
template <typename Body>
void for_each_seed(std::uint64_t count, Body body) {
  const std::optional<std::uint64_t> given = given_seed();
  const std::uint64_t first = given.value_or(0);
  const std::uint64_t runs = given ? 1 : count;
  for (std::uint64_t run = 0; run < runs && !::testing::Test::HasFailure(); ++run) {
    const std::uint64_t seed = first + run;
    SCOPED_TRACE(std::string(kSeedVariable) + "=" + std::to_string(seed));
    body(seed);
  }
}

}  // namespace test
