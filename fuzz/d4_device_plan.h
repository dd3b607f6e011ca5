#pragma once

// How the simulated D4 device behaves, out of an input.

#include "fuzz/choices.h"
#include "simulator/d4_options.h"

namespace fuzz {

// Takes all that is left: what the device is like, then what it does, one action after
// the other.
simulator::D4Options MakeDevice(Choices& choices);

}  // namespace fuzz
