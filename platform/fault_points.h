#pragma once

// Between the kernel and the faults: what a call's entrance asks.

#include <windef.h>

#include <optional>

#include "platform/kernel/call.h"

namespace platform {

// Counts a call that is met, and gives the error that it is to fail with. With the state lock.
std::optional<DWORD> note_call(const char* name, Fails fails);

// Whether faults, counts or a trace want to know of calls. With the state lock.
bool faults_watch();

// Whether this allocation is to fail. Without the lock.
VLP_PLATFORM_API bool allocation_fails();

// A thread that is created inherits whether its creator is under test.
bool under_test();
void set_under_test(bool tested);

}  // namespace platform
