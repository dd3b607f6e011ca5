#pragma once

// Bytes and how they are compared, made and shown.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

using Bytes = std::vector<uint8_t>;
using View = std::span<const uint8_t>;

Bytes bytes_of(const std::string& text);

void append(Bytes& bytes, View more);
void append(Bytes& bytes, std::string_view more);

// How data begin, seen against what is wanted: so far the same is `part`.
enum class Match { no, part, whole };
Match match_front(View data, View wanted);
Match match_front(View data, std::string_view wanted);

// How often `wanted` stands in the data, each search going on behind the last find.
size_t count_of(View data, View wanted);

// The letters a to z again and again: for replies of any length.
Bytes pattern(size_t length);

// For breaches: printable text as it stands, other bytes as \xHH, cut after a line's worth.
std::string shown(View bytes);

}  // namespace simulator
