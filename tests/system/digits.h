#pragma once

#include <gmock/gmock.h>

#include <string>

namespace system_test {

// The text with each run of digits as a single 9, for lines whose numbers differ from run
// to run. GoogleTest's own patterns have no form for digits that works everywhere.
inline std::string WithoutNumbers(const std::string& text) {
  std::string shape;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      shape += c;
    } else if (shape.empty() || shape.back() != '9') {
      shape += '9';
    }
  }
  return shape;
}

inline auto LooksLike(const std::string& shape) {
  return ::testing::ResultOf(&WithoutNumbers, ::testing::StrEq(shape));
}

inline constexpr const char* kStampShape = "----- 9/9/9 9:9:9.9 -----";

}  // namespace system_test
