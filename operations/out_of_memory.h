#pragma once

#include <cstdint>
#include <new>

#include "include/vlpbidi.h"

namespace vlp {

// Runs one worker of an operation; out of memory is a code like any other, so that the
// operation ends in its line of the log.
template <typename Work>
std::int32_t MemoryAsCode(Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return VLPER_MEMORY;
  }
}

}  // namespace vlp
