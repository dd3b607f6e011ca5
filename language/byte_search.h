#pragma once

// Finding and removing in buffers. Nothing is read beyond the length given.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "support/bytes.h"

namespace vlp {

// Position directly behind the first match; none if there is no match or if needle or
// data is empty.
std::optional<std::size_t> MemFindAfter(Bytes needle, Bytes data);

// Removes the first item that begins with `head` and ends with the first terminator
// behind it; without a terminator everything from the head on. Returns the new length:
// the old one if there is no head in the data or `head` is null, 0 for a head that is
// empty or begins with NUL.
std::size_t RemoveField(Bytes head, std::uint8_t terminator, std::span<std::uint8_t> data);

// The same for the last item.
std::size_t RemoveLastField(Bytes head, std::uint8_t terminator, std::span<std::uint8_t> data);

// How often the needle occurs, each search going on directly behind the last match.
std::size_t CountMatches(Bytes needle, Bytes data);

}  // namespace vlp
