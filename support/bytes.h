#pragma once

// Runs of bytes, and numbers in them. The order stands in each name.

#include <cstdint>
#include <span>
#include <vector>

namespace vlp {

using Bytes = std::span<const std::uint8_t>;

// The two bytes at `from`, which must be there.
inline std::uint16_t LoadLittle16(const std::uint8_t* from) {
  return static_cast<std::uint16_t>(from[0] | from[1] << 8);
}

inline std::uint16_t LoadBig16(const std::uint8_t* from) {
  return static_cast<std::uint16_t>(from[0] << 8 | from[1]);
}

// Into the two bytes at `to`, which must be there.
inline void StoreBig16(std::uint8_t* to, std::uint16_t value) {
  to[0] = static_cast<std::uint8_t>(value >> 8);
  to[1] = static_cast<std::uint8_t>(value);
}

inline void AppendLittle32(std::vector<std::uint8_t>& to, std::uint32_t value) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    to.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

inline void AppendBytes(std::vector<std::uint8_t>& to, Bytes bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

}  // namespace vlp
