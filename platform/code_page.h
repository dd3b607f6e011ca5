#pragma once

// Text conversion by table, without the C library's locale: code pages 1252 and 932,
// UTF-8, and upper case. Pure functions; nothing here takes the layer's lock.

#include <windef.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// One ANSI code page, both directions. Bytes and pairs that it doesn't define stand as the
// system treats them: C1 controls in 1252, U+30FB in 932.
class CodePage {
 public:
  static constexpr char16_t undefined = 0xFFFF;
  static constexpr uint16_t not_there = 0xFFFF;

  UINT number() const { return number_; }
  bool is_lead(uint8_t byte) const { return !pairs_.empty() && lead_[byte]; }

  // `bad`, if given, tells whether anything stood there that the page doesn't define.
  std::u16string widen(std::string_view text, bool* bad = nullptr) const;

  // The bytes of one unit, one byte below 256, else lead byte high; `not_there` when it
  // doesn't fit the page.
  uint16_t bytes_of(char16_t unit) const { return back_[unit]; }

  // What doesn't fit becomes `substitute`; `lost`, if given, tells whether that happened.
  std::string narrow(std::u16string_view text, std::string_view substitute = "?",
                     bool* lost = nullptr) const;

  // Upper case in place, byte for byte: trail bytes keep their meaning.
  void raise(char* text, size_t length) const;

 private:
  friend const CodePage& code_page(UINT number);
  explicit CodePage(UINT number);
  void fill_1252();
  void fill_932();
  void set(uint16_t bytes, char16_t unit);

  UINT number_;
  std::array<char16_t, 256> single_ = {};
  std::array<bool, 256> lead_ = {};
  std::vector<char16_t> pairs_;  // lead * 256 + trail; empty in a single-byte page
  std::vector<uint16_t> back_;
};

// 932, or 1252 for any other number.
const CodePage& code_page(UINT number);

// Ill-formed parts become U+FFFD.
std::u16string widen_utf8(std::string_view text, bool* bad = nullptr);
std::string narrow_utf8(std::u16string_view text, bool* bad = nullptr);

char16_t upper(char16_t unit);
std::u16string upper(std::u16string_view text);

}  // namespace platform
