#pragma once

// The printers of a described machine, for doubles that a tool meets outside of the tests.

#include "platform/function_ref.h"
#include "simulator/hardware.h"

#include <optional>
#include <string>

namespace doubles {

// Gives `take` each description of the folder that the variable VLPBIDI_HARDWARE names, anew
// with every call; a broken one as no keys and the reason.
void read_hardware_folder(
    platform::FunctionRef<void(const std::string& file,
                               const std::optional<simulator::HardwareKeys>& keys,
                               const std::string& error)>
        take);

}  // namespace doubles
