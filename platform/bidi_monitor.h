#pragma once

// For tests and tools: the simulated printers of this process and what they have seen.

#include "platform/function_ref.h"
#include "simulator/port_monitor.h"

#include <cstdint>

namespace platform {

// Runs `work` on the port monitor while nothing else does; `work` must not block nor call
// the layer. What the devices on the USB hold against the host since the last time joins the
// breaches first. For code outside the layer; memory that it allocates is no fault point.
__attribute__((visibility("default"))) void control_port_monitor(
    FunctionRef<void(simulator::PortMonitor&)> work);

// Blocks from CoTaskMemAlloc that nobody has freed.
__attribute__((visibility("default"))) uint32_t live_task_blocks();

}  // namespace platform
