// libFuzzer's entry; FUZZ_TARGET is the target's name.

#include <algorithm>
#include <cstddef>
#include <memory>

#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto block = std::make_unique_for_overwrite<std::uint8_t[]>(size);
  std::copy(data, data + size, block.get());
  fuzz::FUZZ_TARGET({block.get(), size});
  return 0;
}
