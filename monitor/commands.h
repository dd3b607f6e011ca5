#pragma once

// What the program does once it knows what is wanted.

#include "monitor/arguments.h"

namespace monitor {

inline constexpr int kExitNegative = 1;
inline constexpr int kExitWrongUse = 2;
inline constexpr int kExitInterrupted = 130;

// Runs the command, writes its answer, and gives the exit status of the program.
int RunCommand(const Arguments& arguments);

// Writes "vlpmon: " and the text as an error and gives the status of wrong use.
int Complain(const std::string& text);

}  // namespace monitor
