#pragma once

// Narrow texts with the limit that every name here has.

#include <cstddef>
#include <string>
#include <string_view>

namespace vlp {

// Bytes of a name buffer, terminator included.
inline constexpr std::size_t kTextLimit = 260;

// Length of a text in bytes. A null text and a text without a terminator in its
// first `limit` bytes have length 0.
std::size_t MeasureText(const char* text, std::size_t limit = kTextLimit);

// The measured text, as a view on the caller's bytes.
std::string_view LimitedText(const char* text, std::size_t limit = kTextLimit);

// Copies into `capacity` bytes, always with a terminator if capacity isn't 0; what
// is too long is cut. False if anything was cut.
bool CopyText(char* to, std::size_t capacity, std::string_view from);

// Like CopyText, behind the text that stands in `to` already.
bool AppendText(char* to, std::size_t capacity, std::string_view from);

// Whether the text begins with an upper-case prefix when its own case doesn't count.
bool BeginsInAnyCase(std::string_view text, std::string_view prefix);

// Position of the first or last `wanted`, an ASCII character, in ANSI text; trail
// bytes of double-byte characters don't count. npos if there is none.
std::size_t FindCharacter(std::string_view text, char wanted);
std::size_t FindLastCharacter(std::string_view text, char wanted);

// Bytes of the character at `position`: 2 for a lead byte with something behind it.
std::size_t CharacterSize(std::string_view text, std::size_t position);

}  // namespace vlp
