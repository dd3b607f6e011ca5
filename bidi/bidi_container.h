#pragma once

// What one exchange carries: schemas with their input and room for their answers.

#include <windows.h>

#include <cstdint>
#include <vector>

namespace vlp {

// One item of a call. Nothing is owned: texts and buffers are the caller's and must
// live until the call returns.
struct BidiRequestEntry {
  const WCHAR* schema = nullptr;
  const std::uint8_t* input = nullptr;  // may be null
  std::uint32_t inputSize = 0;          // bytes; 0: the request carries no input
  std::uint8_t* output = nullptr;       // null: no answer is wanted
  std::uint32_t* length = nullptr;      // in: capacity of output; out: bytes stored
};

// A batch. Rows correspond by position to the requests that are made of them.
struct BidiContainer {
  explicit BidiContainer(std::uint32_t row_capacity) : capacity(row_capacity), rows(row_capacity) {}

  // False when all rows are taken.
  bool Add(const BidiRequestEntry& entry) {
    if (count == capacity) return false;
    rows[count++] = entry;
    return true;
  }

  std::uint32_t capacity;
  std::uint32_t count = 0;
  std::vector<BidiRequestEntry> rows;  // `capacity` of them
};

}  // namespace vlp
