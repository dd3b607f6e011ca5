#pragma once

// The edge of the program: what the two systems have under different names.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/screen_size.h"

namespace monitor {

// What the command line holds behind the program's name, in UTF-8.
std::vector<std::string> ProgramArguments(int argc, char** argv);

// Writes UTF-8 as it stands, at once, and under no lock of this program's.
// False when nobody takes it any more.
bool WriteOutput(std::string_view text);
bool WriteError(std::string_view text);

// Whether standard output is a terminal that understands colours and the moving of the
// cursor; makes it so if it can.
bool OutputTakesColours();

// The present size of the terminal at standard output; a usual one if it has none.
ScreenSize TerminalSize();

// The bytes of a file of the person's own, whose name is in UTF-8. Reads no further once there
// are more than `most`. Gives what is wrong, or an empty text.
std::string ReadWholeFile(const std::string& path, std::size_t most,
                          std::vector<std::uint8_t>* bytes);

// The library that lies beside this program.
std::string DefaultProvider();

// Null with the last error set when it can't be loaded.
HMODULE LoadProvider(const std::string& file);

// Makes the described machine in the folder the one that all calls see; an empty name
// stands for the one that is preset. Gives what is wrong, or an empty text.
std::string UseMachine(const std::string& folder);

}  // namespace monitor
