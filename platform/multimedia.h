#pragma once

// What tests decide about the multimedia timer.

#include <cstdint>

#include "platform/kernel/api.h"

namespace platform {

// The finest period that timeGetDevCaps reports, in ms: 1 at first. Shorter periods and
// delays are refused from now on. Stays until it is set again.
VLP_PLATFORM_API void set_timer_period_min(uint32_t milliseconds);

// How often a period was begun and not yet ended.
VLP_PLATFORM_API uint32_t timer_periods_begun();

}  // namespace platform
