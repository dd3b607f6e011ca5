#pragma once

// The parts of the far side that differ between the systems. Private to far_side*.cpp.

#include "platform/function_ref.h"
#include "simulator/port_monitor.h"

#include <string>

namespace far_side {

// Ends the test program with the text.
[[noreturn]] void give_up(const std::string& text);

// Before anything else of a reset.
void reset_system();

// Runs `work` on the port monitor of this process, in which the printers hang.
void with_monitor(platform::FunctionRef<void(simulator::PortMonitor&)> work);

}  // namespace far_side
