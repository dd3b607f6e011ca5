#pragma once

// An input taken apart from its front. Behind its end there are zeros.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "fuzz/targets.h"

namespace fuzz {

class Choices {
 public:
  explicit Choices(Input input) : left_(input) {}

  bool Empty() const { return left_.empty(); }
  Input Rest() const { return left_; }

  std::uint8_t Byte() {
    const Input taken = Bytes(1);
    return taken.empty() ? std::uint8_t{0} : taken[0];
  }
  std::uint16_t Word() {
    const unsigned high = Byte();
    return static_cast<std::uint16_t>(high << 8 | Byte());
  }
  // At most `most` bytes.
  Input Bytes(std::size_t most) {
    const Input taken = left_.first(std::min(most, left_.size()));
    left_ = left_.subspan(taken.size());
    return taken;
  }
  template <typename Value, std::size_t kCount>
  Value OneOf(const std::array<Value, kCount>& values) {
    return values[Byte() % kCount];
  }

 private:
  Input left_;
};

}  // namespace fuzz
