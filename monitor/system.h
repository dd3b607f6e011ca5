#pragma once

// The edge of the program: what the two systems have under different names.

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace monitor {

// What the command line holds behind the program's name, in UTF-8.
std::vector<std::string> ProgramArguments(int argc, char** argv);

// Writes UTF-8 as it stands, at once.
void WriteOutput(std::string_view text);
void WriteError(std::string_view text);

// Whether standard output is a terminal that understands colours; makes it so if it can.
bool OutputTakesColours();

// The library that lies beside this program.
std::string DefaultProvider();

// Null with the last error set when it can't be loaded.
HMODULE LoadProvider(const std::string& file);

// Makes the described machine in the folder the one that all calls see; an empty name
// stands for the one that is preset. Gives what is wrong, or an empty text.
std::string UseMachine(const std::string& folder);

}  // namespace monitor
