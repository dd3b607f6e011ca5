#pragma once

// Control of the bidi double from the test program that loads it. Both are always built
// together, by one compiler and over one heap, so C++ objects may cross.

#include "simulator/port_monitor.h"

namespace doubles {

inline constexpr const char* bidi_double_file = "bidi_double.dll";

// Enters the double's lock and gives its port monitor; every enter needs its leave, by the
// same thread. In between the thread mustn't block.
using BidiDoubleEnter = simulator::PortMonitor*();
using BidiDoubleLeave = void();
// Makes the file from which it was loaded the server of the three classes; an HRESULT.
using BidiDoubleRegister = long();
inline constexpr const char* bidi_double_register = "DllRegisterServer";
inline constexpr const char* bidi_double_enter = "BidiDoubleEnter";
inline constexpr const char* bidi_double_leave = "BidiDoubleLeave";

}  // namespace doubles
