#pragma once

// Critical sections, for the calls and for the loader's own lock. With the state lock.

#include <minwinbase.h>

#include "platform/kernel/state.h"

namespace platform {

// Makes or removes the queue that a section needs.
void init_section(CRITICAL_SECTION& section, DWORD spin_count);
void delete_section(CRITICAL_SECTION& section);

// Recursive; waits its turn, first come first served. A thread that is terminated meanwhile
// comes back without it.
void enter_section(CRITICAL_SECTION& section, Thread& thread);
bool owns_section(CRITICAL_SECTION& section, const Thread& thread);
bool try_enter_section(CRITICAL_SECTION& section, Thread& thread);
void leave_section(CRITICAL_SECTION& section, Thread& thread);

}  // namespace platform
