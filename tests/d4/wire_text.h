#pragma once

// What bytes on the wire mean, in words, for failed tests and for tests of what was sent.
// Knows the packets by itself: nothing here comes from the engine.

#include <string>
#include <vector>

#include "tests/d4/wire_build.h"

namespace d4_test {

// "00 1B 7F"; of more than `most` bytes the first ones and how many follow.
std::string hex_text(const Bytes& bytes, std::size_t most = 48);

// One packet: "OpenChannel: socket 0x02, to device 65535, to host 65535". What is wrong with
// it stands behind in brackets: "[length says 9, 8 bytes are there]".
std::string wire_text(const Bytes& packet);

// A run of packets, cut by their length fields; what is no whole packet comes last.
std::vector<std::string> wire_lines(const Bytes& stream);

}  // namespace d4_test
