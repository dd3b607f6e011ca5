#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace vlp {

// Narrow text of the ANSI code page as wide text. What can't be converted is replaced
// as the system does it. Throws when memory runs out, the one thing that makes the
// conversion fail.
std::basic_string<WCHAR> ToWide(std::string_view text);

}  // namespace vlp
