#pragma once

#include <cstdint>

#include "include/vlpbidi.h"

namespace vlp {

inline constexpr std::uint32_t kMaxNameSize = 260;
inline constexpr std::uint32_t kOperationCount = 7;

// The table as the export hands it out. Its operations are thin front ends: they check
// arguments, find the printer, check its port, ask the printer object, and queue what it
// answers. None of them throws; what runs out of memory gives VLPER_MEMORY.
ProviderTable MakeProviderTable() noexcept;

}  // namespace vlp
