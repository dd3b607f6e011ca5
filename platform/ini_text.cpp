#include "platform/ini_text.h"

#include "platform/code_page.h"

namespace platform {
namespace {

bool is_blank(char16_t unit) {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r') || unit == 0x1A;
}

// Takes one line; CR, LF and CRLF end it.
std::u16string_view take_line(std::u16string_view& text) {
  const size_t end = std::min(text.find_first_of(u"\r\n"), text.size());
  const std::u16string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

IniEntry entry_of(std::u16string_view line) {
  const size_t equals = line.find(u'=');
  if (equals == std::u16string_view::npos) {
    return {std::u16string(without_blanks(line)), std::nullopt};
  }
  std::u16string_view value = line.substr(equals + 1);
  value = value.substr(0, value.find(u'\0'));
  return {std::u16string(without_blanks(line.substr(0, equals))),
          std::u16string(without_blanks(value))};
}

// What a digit is worth, or 36 for anything else.
DWORD digit_of(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') {
    return static_cast<DWORD>(unit - u'0');
  }
  const char16_t raised = upper(unit);
  return raised >= u'A' && raised <= u'Z' ? static_cast<DWORD>(raised - u'A' + 10) : 36;
}

bool same_name(std::u16string_view left, std::u16string_view right) {
  return upper(without_blanks(left)) == upper(without_blanks(right));
}

}  // namespace

std::u16string_view without_blanks(std::u16string_view text) {
  while (!text.empty() && is_blank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && is_blank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::vector<IniSection> parse_ini(std::u16string_view text) {
  std::vector<IniSection> sections(1);
  while (!text.empty()) {
    const std::u16string_view line = without_blanks(take_line(text));
    if (line.empty() || line.front() == u';') {
      continue;
    }
    const size_t end = line.rfind(u']');
    if (line.front() == u'[' && end != std::u16string_view::npos) {
      sections.push_back({std::u16string(without_blanks(line.substr(1, end - 1))), {}});
    } else {
      sections.back().entries.push_back(entry_of(line));
    }
  }
  return sections;
}

const IniSection* find_section(const std::vector<IniSection>& sections, std::u16string_view name) {
  for (const IniSection& section : sections) {
    if (same_name(section.name, name)) {
      return &section;
    }
  }
  return nullptr;
}

const IniEntry* find_entry(const IniSection& section, std::u16string_view key) {
  for (const IniEntry& entry : section.entries) {
    if (same_name(entry.key, key)) {
      return &entry;
    }
  }
  return nullptr;
}

std::u16string_view unquoted(std::u16string_view text) {
  const bool quoted = text.size() > 1 && text.front() == text.back() &&
                      (text.front() == u'"' || text.front() == u'\'');
  return quoted ? text.substr(1, text.size() - 2) : text;
}

DWORD ini_number(std::u16string_view text) {
  text = without_blanks(text);
  const bool negative = text.starts_with(u'-');
  if (negative || text.starts_with(u'+')) {
    text.remove_prefix(1);
  }
  DWORD base = 10;
  if (text.starts_with(u"0x") || text.starts_with(u"0o") || text.starts_with(u"0b")) {
    base = text[1] == u'x' ? 16 : text[1] == u'o' ? 8 : 2;
    text.remove_prefix(2);
  }
  DWORD number = 0;
  for (const char16_t unit : text) {
    const DWORD digit = digit_of(unit);
    if (digit >= base) {
      break;
    }
    number = number * base + digit;
  }
  return negative ? 0 - number : number;
}

}  // namespace platform
