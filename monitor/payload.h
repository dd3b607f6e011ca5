#pragma once

// The bytes of a command for a printer, from what the person wrote.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/arguments.h"

namespace monitor {

inline constexpr std::size_t kPayloadMost = std::size_t{16} * 1024 * 1024;

// Each gives what is wrong, or an empty text.

// \n \r \t \\ and \xHH stand for one byte each; letters go into the machine's ANSI code page.
std::string BytesFromText(std::string_view utf8, std::vector<std::uint8_t>* bytes);

// Pairs of hexadecimal digits; blanks, tabs and line ends don't count.
std::string BytesFromHex(std::string_view digits, std::vector<std::uint8_t>* bytes);

// What --text, --hex or --file says: at least one byte, at most kPayloadMost.
std::string ReadPayloadBytes(const Arguments& arguments, std::vector<std::uint8_t>* bytes);

}  // namespace monitor
