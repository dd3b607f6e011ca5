#pragma once

// The targets. Each takes any bytes, in a block of exactly their size, and stops the
// program if what came out can't be right.

#include <cstdint>
#include <span>

namespace fuzz {

using Input = std::span<const std::uint8_t>;

void separation(Input input);
void status(Input input);
void serial(Input input);
void device_id(Input input);
void hex_list(Input input);
void profile(Input input);
void registry(Input input);
void d4_bytes(Input input);
void d4_actions(Input input);
void device_path(Input input);
void device_search(Input input);

// Stops the program, with the text, unless the claim holds.
void claim(bool holds, const char* text);

}  // namespace fuzz
