#pragma once

// Virtual time: how a test takes the clock and the schedule into its hand. In use
// through tests/support/virtual_time.h.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/kernel/api.h"

namespace platform {

enum class Mode {
  real,      // the monotonic clock, the system's scheduler
  parallel,  // the clock jumps when no thread can run; threads run truly at once
  serial,    // as parallel, but one thread at a time holds the baton; a seed decides
};

struct ScenarioOptions {
  Mode mode = Mode::parallel;
  uint64_t seed = 0;
  uint64_t tick_start_ms = 3'600'000;  // what GetTickCount64 gives at the start
};

// The calling thread becomes the first thread of a scenario. Only threads that it
// and its threads create may call the layer until the scenario ends.
VLP_PLATFORM_API void begin_scenario(const ScenarioOptions& options);

// Lets the other threads run as far as they come without the clock moving, then goes back to
// real mode. Gives what was left behind, one a line: threads with their call, open
// handles, locks that are held, timers that somebody should have waited for or killed. Empty
// if all is well. Left threads stay where they are for ever.
VLP_PLATFORM_API std::string end_scenario();

VLP_PLATFORM_API Mode current_mode();

// Returns when every other thread of the scenario is blocked; the clock doesn't move.
VLP_PLATFORM_API void settle();

// Virtual time since the scenario began.
VLP_PLATFORM_API uint64_t elapsed_ms();

// How often a blocked thread was made to go on, all threads together, or the one
// with that identifier.
VLP_PLATFORM_API uint64_t wake_count();
VLP_PLATFORM_API uint64_t wake_count(uint32_t thread_id);

// Serial mode: who got the baton, when and in which call, since the scenario began.
VLP_PLATFORM_API std::vector<std::string> schedule_trace();

// A name for the calling thread in reports.
VLP_PLATFORM_API void name_this_thread(const std::string& name);

// Locks (critical sections and mutexes) that the thread holds; that any holds.
VLP_PLATFORM_API std::vector<std::string> locks_held_by(uint32_t thread_id);
VLP_PLATFORM_API bool any_lock_held();

}  // namespace platform
