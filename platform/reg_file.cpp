#include "platform/reg_file.h"

#include <windows.h>

#include "platform/code_page.h"

#include <optional>

namespace platform {
namespace {

constexpr size_t longest_file = size_t{16} * 1024 * 1024;
constexpr size_t longest_line = 65536;
constexpr size_t longest_key_name = 255;
constexpr size_t longest_value_name = 16383;
constexpr size_t deepest_key = 128;

struct Fault {
  std::string text;
};

bool is_blank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

std::u16string_view trimmed(std::u16string_view text) {
  while (!text.empty() && is_blank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && is_blank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

int hex_digit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') {
    return unit - u'0';
  }
  const char16_t raised = upper(unit);
  return raised >= u'A' && raised <= u'F' ? raised - u'A' + 10 : -1;
}

// Whether nothing but blanks or a comment is left.
bool is_over(std::u16string_view rest) {
  rest = trimmed(rest);
  return rest.empty() || rest.front() == u';';
}

void append_unit(std::vector<uint8_t>& data, char16_t unit) {
  data.push_back(static_cast<uint8_t>(unit & 0xFF));
  data.push_back(static_cast<uint8_t>(unit >> 8));
}

std::vector<uint8_t> stored_text(std::u16string_view text) {
  std::vector<uint8_t> data;
  for (const char16_t unit : text) {
    append_unit(data, unit);
  }
  append_unit(data, 0);
  return data;
}

// Takes lines from the text and remembers where it is.
class Lines {
 public:
  explicit Lines(std::u16string_view text) : text_(text) {}

  size_t number() const { return number_; }

  std::optional<std::u16string_view> next() {
    if (at_ >= text_.size()) {
      return std::nullopt;
    }
    const size_t end = std::min(text_.find(u'\n', at_), text_.size());
    std::u16string_view line = text_.substr(at_, end - at_);
    at_ = end + 1;
    ++number_;
    if (line.size() > longest_line) {
      throw Fault{"the line is longer than " + std::to_string(longest_line) + " characters"};
    }
    if (line.find(u'\0') != std::u16string_view::npos) {
      throw Fault{"a NUL character stands in the line"};
    }
    return trimmed(line.ends_with(u'\r') ? line.substr(0, line.size() - 1) : line);
  }

 private:
  std::u16string_view text_;
  size_t at_ = 0;
  size_t number_ = 0;
};

class Parser {
 public:
  explicit Parser(std::u16string_view text) : lines_(text) {}

  std::vector<RegEntry> run() {
    const auto header = lines_.next();
    if (!header || *header != u"Windows Registry Editor Version 5.00") {
      throw Fault{"the file doesn't begin with \"Windows Registry Editor Version 5.00\""};
    }
    while (const auto line = lines_.next()) {
      if (line->empty() || line->front() == u';') {
        continue;
      }
      if (line->front() == u'[') {
        read_key(*line);
      } else {
        read_value(*line);
      }
    }
    return std::move(entries_);
  }

  size_t line() const { return lines_.number(); }

 private:
  void read_key(std::u16string_view line) {
    const size_t end = line.rfind(u']');
    if (end == std::u16string_view::npos || !is_over(line.substr(end + 1))) {
      throw Fault{"the key's name isn't closed by \"]\""};
    }
    std::u16string_view path = line.substr(1, end - 1);
    const bool removal = path.starts_with(u'-');
    if (removal) {
      path.remove_prefix(1);
    }
    check_path(path);
    key_ = removal ? u"" : std::u16string(path);
    entries_.push_back(
        {removal ? RegEntry::Kind::deleted_key : RegEntry::Kind::key, std::u16string(path), u""});
  }

  static void check_path(std::u16string_view path) {
    const std::u16string_view root = path.substr(0, path.find(u'\\'));
    if (root != u"HKEY_LOCAL_MACHINE" && root != u"HKEY_CURRENT_USER" &&
        root != u"HKEY_CLASSES_ROOT") {
      throw Fault{
          "the key begins with none of HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER and "
          "HKEY_CLASSES_ROOT"};
    }
    size_t depth = 0;
    for (size_t start = 0; start <= path.size(); ++depth) {
      const size_t end = std::min(path.find(u'\\', start), path.size());
      if (end - start > longest_key_name || depth > deepest_key) {
        throw Fault{"the key's name is too long or too deep"};
      }
      start = end + 1;
    }
  }

  void read_value(std::u16string_view line) {
    if (key_.empty()) {
      throw Fault{"no key stands before this value"};
    }
    RegEntry entry{RegEntry::Kind::value, key_, u""};
    if (line.front() == u'@') {
      line.remove_prefix(1);
    } else if (line.front() == u'"') {
      entry.name = take_quoted(line);
    } else {
      throw Fault{"neither a key nor a value nor a comment"};
    }
    if (entry.name.size() > longest_value_name) {
      throw Fault{"the value's name is too long"};
    }
    line = trimmed(line);
    if (!line.starts_with(u'=')) {
      throw Fault{"\"=\" is missing behind the value's name"};
    }
    read_data(trimmed(line.substr(1)), entry);
    entries_.push_back(std::move(entry));
  }

  void read_data(std::u16string_view text, RegEntry& entry) {
    if (text.starts_with(u'-') && is_over(text.substr(1))) {
      entry.kind = RegEntry::Kind::deleted_value;
    } else if (text.starts_with(u'"')) {
      entry.type = REG_SZ;
      entry.data = stored_text(take_quoted(text));
      if (!is_over(text)) {
        throw Fault{"something stands behind the closing quote"};
      }
    } else if (text.starts_with(u"dword:")) {
      entry.type = REG_DWORD;
      entry.data = read_dword(text.substr(6));
    } else if (text.starts_with(u"hex")) {
      read_hex(text.substr(3), entry);
    } else {
      throw Fault{"the value is none of \"text\", dword:, hex:, hex(N): and -"};
    }
  }

  // Takes the quoted text in front, with \\ and \" undone.
  static std::u16string take_quoted(std::u16string_view& line) {
    std::u16string text;
    for (size_t i = 1; i < line.size(); ++i) {
      if (line[i] == u'"') {
        line.remove_prefix(i + 1);
        return text;
      }
      if (line[i] == u'\\' && i + 1 < line.size()) {
        ++i;
        if (line[i] != u'\\' && line[i] != u'"') {
          throw Fault{"a backslash stands before neither a backslash nor a quote"};
        }
      }
      text += line[i];
    }
    throw Fault{"the closing quote is missing"};
  }

  static std::vector<uint8_t> read_dword(std::u16string_view text) {
    uint32_t number = 0;
    size_t digits = 0;
    while (digits < text.size() && hex_digit(text[digits]) >= 0) {
      number = number << 4 | static_cast<uint32_t>(hex_digit(text[digits]));
      ++digits;
    }
    if (digits == 0 || digits > 8 || !is_over(text.substr(digits))) {
      throw Fault{"dword: wants one to eight hexadecimal digits"};
    }
    return {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8),
            static_cast<uint8_t>(number >> 16), static_cast<uint8_t>(number >> 24)};
  }

  void read_hex(std::u16string_view text, RegEntry& entry) {
    entry.type = REG_BINARY;
    if (text.starts_with(u'(')) {
      const size_t end = text.find(u')');
      const std::u16string_view digits = text.substr(1, end == text.npos ? 0 : end - 1);
      if (digits.empty() || digits.size() > 8) {
        throw Fault{"hex(N): wants the type as one to eight hexadecimal digits"};
      }
      entry.type = 0;
      for (const char16_t digit : digits) {
        if (hex_digit(digit) < 0) {
          throw Fault{"hex(N): wants the type as one to eight hexadecimal digits"};
        }
        entry.type = entry.type << 4 | static_cast<DWORD>(hex_digit(digit));
      }
      text.remove_prefix(end + 1);
    }
    if (!text.starts_with(u':')) {
      throw Fault{"\":\" is missing behind hex"};
    }
    text = trimmed(text.substr(1));
    while (read_bytes(text, entry.data)) {
      const auto more = lines_.next();
      if (!more) {
        throw Fault{"the file ends within a value"};
      }
      text = *more;
    }
  }

  // Reads "aa,bb,cc"; true when the line says that it goes on.
  static bool read_bytes(std::u16string_view text, std::vector<uint8_t>& data) {
    while (!is_over(text)) {
      text = trimmed(text);
      if (text.front() == u'\\') {
        if (!is_over(text.substr(1))) {
          throw Fault{"something stands behind the backslash at the line's end"};
        }
        return true;
      }
      size_t digits = 0;
      unsigned number = 0;
      while (digits < text.size() && hex_digit(text[digits]) >= 0) {
        number = (number << 4 | static_cast<unsigned>(hex_digit(text[digits]))) & 0xFFF;
        ++digits;
      }
      if (digits == 0 || digits > 2) {
        throw Fault{"a byte isn't one or two hexadecimal digits"};
      }
      data.push_back(static_cast<uint8_t>(number));
      text = trimmed(text.substr(digits));
      if (text.starts_with(u',')) {
        text.remove_prefix(1);
      } else if (!is_over(text) && text.front() != u'\\') {
        throw Fault{"a comma is missing between bytes"};
      }
    }
    return false;
  }

  Lines lines_;
  std::u16string key_;
  std::vector<RegEntry> entries_;
};

size_t line_of(std::string_view bytes, size_t offset) {
  size_t line = 1;
  for (size_t i = 0; i < offset; ++i) {
    line += bytes[i] == '\n' ? 1U : 0U;
  }
  return line;
}

std::u16string decoded(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) {
    if (bytes.size() % 2 != 0) {
      throw Fault{"the file is UTF-16 but ends in half a character"};
    }
    std::u16string wide;
    for (size_t i = 2; i < bytes.size(); i += 2) {
      wide += static_cast<char16_t>(static_cast<uint8_t>(bytes[i]) |
                                    static_cast<uint8_t>(bytes[i + 1]) << 8);
    }
    return wide;
  }
  return widen_utf8(bytes.starts_with("\xEF\xBB\xBF") ? bytes.substr(3) : bytes);
}

}  // namespace

std::variant<std::vector<RegEntry>, RegFileError> read_reg_file(std::string_view bytes) {
  if (bytes.size() > longest_file) {
    return RegFileError{1, "the file is larger than 16 MiB"};
  }
  if (!bytes.starts_with("\xFF\xFE")) {
    for (size_t start = 0; start < bytes.size();) {
      const size_t end = std::min(bytes.find('\n', start), bytes.size());
      bool bad = false;
      widen_utf8(bytes.substr(start, end - start), &bad);
      if (bad) {
        return RegFileError{line_of(bytes, start), "the line isn't UTF-8"};
      }
      start = end + 1;
    }
  }
  std::u16string text;
  try {
    text = decoded(bytes);
  } catch (const Fault& fault) {
    return RegFileError{1, fault.text};
  }
  Parser parser(text);
  try {
    return parser.run();
  } catch (const Fault& fault) {
    return RegFileError{std::max<size_t>(parser.line(), 1), fault.text};
  }
}

}  // namespace platform
