#pragma once

// Bounded formatting of our own: the runtimes disagree on what wide "%s" means, on
// cutting, and on the size of a wide character.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace vlp {

// One argument of a log line: a number of up to 32 bits, a pointer or handle (its low
// 32 bits), or a text of the format's own width, which may be null.
class LogArgument {
 public:
  // Arguments of a log line are written as they are.
  // NOLINTBEGIN(google-explicit-constructor)
  template <typename Number>
  requires(std::is_integral_v<Number> && sizeof(Number) <= 4) LogArgument(Number number)
      : number_(static_cast<std::uint32_t>(number)) {}
  LogArgument(const char* text) : narrow_(text != nullptr ? text : "(null)") {}
  LogArgument(const WCHAR* text) : wide_(text != nullptr ? text : TEXT("(null)")) {}
  LogArgument(const void* pointer)
      : number_(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer))) {}
  // NOLINTEND(google-explicit-constructor)

  std::uint32_t Number() const { return number_; }
  template <typename Character>
  const Character* Text() const {
    if constexpr (std::is_same_v<Character, char>) {
      return narrow_;
    } else {
      return wide_;
    }
  }

 private:
  std::uint32_t number_ = 0;
  const char* narrow_ = nullptr;
  const WCHAR* wide_ = nullptr;
};

// Formats into `capacity` characters, cut there, always with a terminator if capacity
// isn't 0. Returns the length without it. Understands %d, %u, %x, %X with a width and
// a leading 0, %s for a text of the format's width, and %%. What has no argument, or
// an argument of another sort, gives nothing.
template <typename Character>
std::size_t FormatLog(Character* out, std::size_t capacity, const Character* format,
                      std::span<const LogArgument> arguments);

extern template std::size_t FormatLog<char>(char*, std::size_t, const char*,
                                            std::span<const LogArgument>);
extern template std::size_t FormatLog<WCHAR>(WCHAR*, std::size_t, const WCHAR*,
                                             std::span<const LogArgument>);

}  // namespace vlp
