#include "monitor/text.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <utility>

namespace monitor {
namespace {

constexpr const char* kDigits = "0123456789abcdef";

WideText Widen(UINT code_page, DWORD flags, std::string_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int size = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(code_page, flags, text.data(), size, nullptr, 0);
  WideText wide(static_cast<std::size_t>(std::max(needed, 0)), 0);
  MultiByteToWideChar(code_page, flags, text.data(), size, wide.data(), needed);
  return wide;
}

// One character of UTF-8, and how many bytes it has; a byte that belongs to none counts as
// a control character of its own.
struct Character {
  std::uint32_t code = 0;
  std::size_t size = 1;
  bool sound = true;
};

Character CharacterAt(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead < 0x80) return {lead, 1, true};
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || size > text.size() - at) return {lead, 1, false};
  std::uint32_t code = lead & (0xFFu >> (size + 1));
  for (std::size_t next = 1; next < size; ++next) {
    const auto byte = static_cast<unsigned char>(text[at + next]);
    if ((byte & 0xC0u) != 0x80) return {lead, 1, false};
    code = code << 6 | (byte & 0x3Fu);
  }
  return {code, size, true};
}

bool IsControl(std::uint32_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

bool IsCombining(std::uint32_t code) { return code >= 0x0300 && code < 0x0370; }

bool IsWide(std::uint32_t code) {
  constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 7> ranges = {{{0x1100, 0x115F},
                                                                              {0x2E80, 0xA4CF},
                                                                              {0xAC00, 0xD7A3},
                                                                              {0xF900, 0xFAFF},
                                                                              {0xFE30, 0xFE6F},
                                                                              {0xFF00, 0xFF60},
                                                                              {0xFFE0, 0xFFE6}}};
  return std::any_of(ranges.begin(), ranges.end(), [code](const auto& range) {
    return code >= range.first && code <= range.second;
  });
}

std::size_t Width(std::uint32_t code) {
  if (IsCombining(code)) return 0;
  return IsWide(code) ? 2 : 1;
}

}  // namespace

WideText WidenUtf8(std::string_view text) { return Widen(CP_UTF8, 0, text); }

std::string NarrowUtf8(const WideText& text) {
  if (text.empty() || text.size() > INT_MAX / 4) return {};
  const int size = static_cast<int>(text.size());
  const int needed =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(std::max(needed, 0)), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), needed, nullptr, nullptr);
  return narrow;
}

std::string Utf8FromAnsi(std::string_view text) { return NarrowUtf8(Widen(CP_ACP, 0, text)); }

std::optional<std::string> AnsiFromUtf8(std::string_view text) {
  if (text.empty()) return std::string();
  const WideText wide = Widen(CP_UTF8, MB_ERR_INVALID_CHARS, text);
  if (wide.empty() || wide.size() > INT_MAX / 4) return std::nullopt;
  const int size = static_cast<int>(wide.size());
  BOOL lacking = FALSE;
  const int needed = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), size, nullptr,
                                         0, nullptr, &lacking);
  if (needed <= 0 || lacking != FALSE) return std::nullopt;
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), size, narrow.data(), needed,
                      nullptr, nullptr);
  return narrow;
}

std::string Harmless(std::string_view utf8) {
  std::string result;
  for (std::size_t at = 0; at < utf8.size();) {
    const Character character = CharacterAt(utf8, at);
    if (!character.sound || IsControl(character.code)) {
      result += "\\x";
      result += kDigits[character.code >> 4];
      result += kDigits[character.code & 0xF];
    } else {
      result += utf8.substr(at, character.size);
    }
    at += character.size;
  }
  return result;
}

std::size_t Columns(std::string_view utf8) {
  std::size_t columns = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    const Character character = CharacterAt(utf8, at);
    columns += Width(character.code);
    at += character.size;
  }
  return columns;
}

std::string FirstColumns(std::string_view utf8, std::size_t columns) {
  std::size_t taken = 0;
  std::size_t end = 0;
  while (end < utf8.size()) {
    const Character character = CharacterAt(utf8, end);
    taken += Width(character.code);
    if (taken > columns) break;
    end += character.size;
  }
  return std::string(utf8.substr(0, end));
}

}  // namespace monitor
