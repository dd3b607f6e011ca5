#pragma once

// Names for the numbers of the library.

#include <cstdint>
#include <string>

#include "include/vlpbidi.h"

namespace monitor {

// "VLPER_..." for a negative result; null for any other and for a number without a name.
const char* CodeName(std::int32_t result);

// What a negative result means to the person who asked.
const char* CodeMeaning(std::int32_t result);

// The short name of a channel, such as "qpl"; null for a number without one.
const char* KindName(ChannelKind kind);

// "0x" and at least `digits` digits.
std::string Hexadecimal(std::uint32_t number, unsigned digits);

}  // namespace monitor
