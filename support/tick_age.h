#pragma once

#include <windows.h>

#include <cstdint>

namespace vlp {

// Milliseconds since `tick`, a value of GetTickCount. The difference is unsigned, so
// the counter's wrap after 49.7 days does no harm.
inline std::uint32_t TickAge(std::uint32_t tick) { return GetTickCount() - tick; }

}  // namespace vlp
