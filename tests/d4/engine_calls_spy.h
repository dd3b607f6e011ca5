#pragma once

// Stands between the engine and the layer for a few calls whose arguments or answers no
// test could see or choose otherwise. The program is linked with --wrap for each.

#include <windows.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace d4_test {

struct MadeThread {
  SIZE_T stack_size;
  DWORD flags;
};

// Threads made by whoever, since the last call.
std::vector<MadeThread> take_made_threads();

// None: the layer's own.
struct CounterAnswers {
  std::optional<std::int64_t> frequency = {};
  bool frequency_fails = false;
  std::optional<std::int64_t> count = {};
};
void set_counter(const CounterAnswers& answers);

}  // namespace d4_test
