#pragma once

// Profile text as the profile calls understand it. Pure functions on text.

#include <windef.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct IniEntry {
  std::u16string key;
  std::optional<std::u16string> value;  // none: the line holds no "="
};

struct IniSection {
  std::u16string name;  // empty for what stands before the first section
  std::vector<IniEntry> entries;
};

std::vector<IniSection> parse_ini(std::u16string_view text);

// The first section of that name and the first key in it; without case, blanks round the
// names left out. Null if there is none.
const IniSection* find_section(const std::vector<IniSection>& sections, std::u16string_view name);
const IniEntry* find_entry(const IniSection& section, std::u16string_view key);

// The text without one pair of equal outer quotes.
std::u16string_view unquoted(std::u16string_view text);
std::u16string_view without_blanks(std::u16string_view text);

// Sign, 0x, 0o, 0b or decimal digits up to the first that is none, modulo 2^32; no digits
// are 0. Prefixes in lower case only.
DWORD ini_number(std::u16string_view text);

}  // namespace platform
