#pragma once

// The layer's one clock and its timers. Everything here is called with the state
// lock held.

#include <cstdint>
#include <functional>

#include "platform/kernel/api.h"

namespace platform {

using Nanoseconds = uint64_t;
constexpr Nanoseconds kMillisecond = 1'000'000;

// Time on a line without jumps, from an unnamed start.
VLP_PLATFORM_API Nanoseconds now();
inline uint64_t now_ms() { return now() / kMillisecond; }

// What the tick count adds to now_ms().
VLP_PLATFORM_API uint64_t tick_offset_ms();

// A deadline with no thread behind it. The callback runs once, under the state lock,
// at or after the moment; it must not block. In virtual modes the clock stops at it. If
// somebody has to wait for it or cancel it, `debt` says what is left behind when a scenario
// ends before.
using TimerId = uint64_t;
VLP_PLATFORM_API TimerId add_timer(Nanoseconds moment, std::function<void()> callback,
                                   const char* debt = nullptr);
// False if it has run already, or never was.
VLP_PLATFORM_API bool cancel_timer(TimerId timer);

}  // namespace platform
