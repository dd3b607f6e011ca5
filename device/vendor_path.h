#pragma once

// What a device path tells of its device.

#include <array>
#include <cstddef>
#include <string_view>

#include "support/text.h"

namespace vlp {

// Before the four digits of the product identifier.
inline constexpr std::string_view kVendorMark = "VID_0FF7&PID_";
static_assert(kVendorMark.size() == 13);

// The path in upper case, cut at the limit of names.
class UpperPath {
 public:
  explicit UpperPath(std::string_view path) {
    CopyText(text_.data(), text_.size(), path);
    for (char& character : text_) {
      if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 0x20);
    }
  }

  const char* Text() const { return text_.data(); }
  std::string_view View() const { return text_.data(); }

 private:
  std::array<char, kTextLimit> text_{};
};

// From the first mark to the end; empty without it.
inline std::string_view VendorPart(std::string_view upper_path) {
  const std::size_t mark = upper_path.find(kVendorMark);
  return mark == std::string_view::npos ? std::string_view() : upper_path.substr(mark);
}

}  // namespace vlp
