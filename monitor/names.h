#pragma once

// Names for the numbers of the library.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "include/vlpbidi.h"

namespace monitor {

// "VLPER_..." for a negative result; null for any other and for a number without a name.
const char* CodeName(std::int32_t result);

// What a negative result means to the person who asked.
const char* CodeMeaning(std::int32_t result);

// The short name of a channel, such as "qpl"; null for a number without one.
const char* KindName(ChannelKind kind);

// The short name, or for a channel without one its number in hexadecimal.
std::string KindText(ChannelKind kind);

// The channel that a person means by a short name or a number, which is decimal or begins
// with 0x; nothing for 0 and for any other word.
std::optional<ChannelKind> KindFrom(std::string_view word);

// "0x" and at least `digits` digits.
std::string Hexadecimal(std::uint32_t number, unsigned digits);

}  // namespace monitor
