#pragma once

// Events for the layer's own use: a timer or the far side of a device sets one. With the state
// lock.

#include "platform/kernel/object.h"

namespace platform {

// A new event, for add_handle_locked.
VLP_PLATFORM_API Object* make_event(bool manual, bool set);

// Sets an event, as SetEvent does.
VLP_PLATFORM_API void set_event(Object& event);

// The same by a timer that fires: nothing that the thread under whose hand it fires has done
// is ordered by it.
VLP_PLATFORM_API void set_event_by_clock(Object& event);

// The event of a handle, or null. With the state lock.
VLP_PLATFORM_API Object* lookup_event(HANDLE handle);

}  // namespace platform
