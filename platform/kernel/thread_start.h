#pragma once

// Between the kernel's threads and thread.cpp and module.cpp, which start and end them.

#include "platform/kernel/state.h"

namespace platform {

// Gives a new thread its number, name and place in the list, with a reference. With the lock.
void introduce(Thread& thread);
// Takes an ended thread off the list and out of the schedule. With the lock; the list's reference
// is then the caller's.
void retire(Thread& thread);
// Undoes what introduce and enter_schedule did for a thread that could not start. With the lock.
void withdraw(Thread& thread);
void set_current(Thread* thread);

// The process ends by the calling thread: all others are gone as far as anybody sees.
void end_process_soon();

}  // namespace platform
