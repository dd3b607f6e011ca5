#pragma once

// What the reports have in common: colours, results and data, for the eye and in JSON.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/json.h"

namespace monitor {

struct Style {
  bool json = false;
  bool colours = false;
};

enum class Colour { kNone, kBold, kGood, kBad };

std::string Painted(std::string_view text, Colour colour, const Style& style);
Colour ColourOf(std::int32_t result);

// The number, with the code's name when it has one.
std::string ResultText(std::int32_t result);

// The same with what it means, for negative results.
std::string FailureText(std::int32_t result);

// A line for the eye: whose request failed, and how.
std::string FailureLine(const std::string& printer, std::int32_t result, const Style& style);

// The members "result" and "code".
JsonObject& AddResult(JsonObject& object, std::int32_t result);

// An object of "hex" and "text".
std::string DataJson(const std::vector<std::uint8_t>& bytes);

// The bytes as text of the machine's code page, in UTF-8, control characters and all.
std::string DataText(const std::vector<std::uint8_t>& bytes);

// "1 byte", "2 bytes" ...
std::string Counted(std::size_t number, const std::string& what);

}  // namespace monitor
