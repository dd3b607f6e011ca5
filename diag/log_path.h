#pragma once

// The names that belong to one printer's log. Each fits 260 bytes with its
// terminator; an empty text means that there is none.

#include <string>

namespace vlp {

// directory + cleaned name + ".dat". What a file name can't hold becomes a blank.
std::string DbgBuildPath(const char* directory, const char* name);

// The name of the file before: "_0.dat" in place of what follows the last ".".
std::string RotatedPath(const std::string& file_name);

// The mutex that guards rotation between processes. None without a backslash.
std::string LogMutexName(const std::string& file_name);

}  // namespace vlp
