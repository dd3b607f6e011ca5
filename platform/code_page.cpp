#include "platform/code_page.h"

#include <iconv.h>
#include <locale.h>
#include <wctype.h>

namespace platform {
namespace {

constexpr char16_t katakana_middle_dot = 0x30FB;

// The part of 1252 that isn't Latin-1; what the page leaves out goes to C1 controls.
constexpr std::array<char16_t, 32> above_7f = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

uint8_t byte_at(std::string_view text, size_t index) { return static_cast<uint8_t>(text[index]); }

// Converts a few bytes at a time; nothing when they mean nothing.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Converter() {
    if (valid()) {
      iconv_close(handle_);
    }
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool valid() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  size_t convert(char* in, size_t in_size, char* out, size_t capacity) {
    size_t left = capacity;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(handle_, &in, &in_size, &out, &left) == static_cast<size_t>(-1)) {
      return 0;
    }
    return capacity - left;
  }

 private:
  iconv_t handle_;
};

bool is_high(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool is_low(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

CodePage::CodePage(UINT number) : number_(number), back_(65536, not_there) {
  if (number == 932) {
    fill_932();
  } else {
    fill_1252();
  }
}

void CodePage::set(uint16_t bytes, char16_t unit) {
  if (bytes < 256) {
    single_[bytes] = unit;
  } else {
    pairs_[bytes] = unit;
  }
  if (back_[unit] == not_there) {
    back_[unit] = bytes;
  }
}

void CodePage::fill_1252() {
  for (uint16_t byte = 0; byte < 256; ++byte) {
    const bool differs = byte >= 0x80 && byte < 0xA0;
    set(byte, differs ? above_7f[byte - 0x80u] : byte);
  }
}

void CodePage::fill_932() {
  pairs_.assign(65536, undefined);
  for (uint16_t byte = 0; byte < 0x80; ++byte) {
    set(byte, byte);
  }
  set(0x80, 0x80);
  set(0xA0, 0xF8F0);
  for (uint16_t byte = 0xA1; byte < 0xE0; ++byte) {
    set(byte, static_cast<char16_t>(0xFF61 + (byte - 0xA1)));
  }
  for (uint16_t byte = 0xFD; byte < 0x100; ++byte) {
    set(byte, static_cast<char16_t>(0xF8F1 + (byte - 0xFD)));
  }
  Converter forward("UTF-16LE", "CP932");
  Converter backward("CP932", "UTF-16LE");
  for (unsigned lead = 0x81; lead < 0xFD; ++lead) {
    if (lead >= 0xA0 && lead < 0xE0) {
      continue;
    }
    lead_[lead] = true;
    for (unsigned trail = 0x40; trail < 0xFD; ++trail) {
      if (trail == 0x7F) {
        continue;
      }
      const auto bytes = static_cast<uint16_t>(lead << 8 | trail);
      if (lead >= 0xF0 && lead < 0xFA) {  // the user's own characters
        const unsigned cell = trail - (trail > 0x7F ? 0x41 : 0x40);
        set(bytes, static_cast<char16_t>(0xE000 + (lead - 0xF0) * 188 + cell));
        continue;
      }
      char in[2] = {static_cast<char>(lead), static_cast<char>(trail)};
      unsigned char out[4] = {};
      if (forward.valid() && forward.convert(in, 2, reinterpret_cast<char*>(out), 4) == 2) {
        pairs_[bytes] = static_cast<char16_t>(out[0] | out[1] << 8);
      }
    }
  }
  // Several pairs stand for one character; the converter knows which of them is written.
  for (size_t bytes = 0x8140; bytes < pairs_.size(); ++bytes) {
    const char16_t unit = pairs_[bytes];
    if (unit == undefined || back_[unit] != not_there) {
      continue;
    }
    char in[2] = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    unsigned char out[2] = {};
    const bool done = backward.convert(in, 2, reinterpret_cast<char*>(out), 2) == 2;
    back_[unit] = done ? static_cast<uint16_t>(out[0] << 8 | out[1]) : static_cast<uint16_t>(bytes);
  }
}

std::u16string CodePage::widen(std::string_view text, bool* bad) const {
  std::u16string wide;
  wide.reserve(text.size());
  bool ill = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const uint8_t byte = byte_at(text, i);
    if (!is_lead(byte)) {
      wide += single_[byte];
      continue;
    }
    char16_t unit = undefined;
    if (i + 1 < text.size() && text[i + 1] != '\0') {
      unit = pairs_[static_cast<size_t>(byte) << 8 | byte_at(text, i + 1)];
      ++i;
    }
    ill = ill || unit == undefined;
    wide += unit == undefined ? katakana_middle_dot : unit;
  }
  if (bad != nullptr) {
    *bad = ill;
  }
  return wide;
}

std::string CodePage::narrow(std::u16string_view text, std::string_view substitute,
                             bool* lost) const {
  std::string bytes;
  bytes.reserve(text.size());
  bool missing = false;
  for (const char16_t unit : text) {
    const uint16_t code = back_[unit];
    if (code == not_there) {
      bytes += substitute;
      missing = true;
      continue;
    }
    if (code >= 256) {
      bytes += static_cast<char>(code >> 8);
    }
    bytes += static_cast<char>(code & 0xFF);
  }
  if (lost != nullptr) {
    *lost = missing;
  }
  return bytes;
}

void CodePage::raise(char* text, size_t length) const {
  for (size_t i = 0; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    const bool pair = is_lead(byte) && i + 1 < length;
    const char16_t unit =
        pair ? pairs_[static_cast<size_t>(byte) << 8 | static_cast<uint8_t>(text[i + 1])]
             : single_[byte];
    const uint16_t raised = is_lead(byte) && !pair ? not_there : back_[upper(unit)];
    if (pair) {
      if (unit != undefined && raised != not_there && raised >= 256) {
        text[i] = static_cast<char>(raised >> 8);
        text[i + 1] = static_cast<char>(raised & 0xFF);
      }
      ++i;
    } else if (raised < 256) {
      text[i] = static_cast<char>(raised);
    }
  }
}

const CodePage& code_page(UINT number) {
  // Never destroyed: threads may still convert while the process ends.
  if (number == 932) {
    static const CodePage& page = *new CodePage(932);
    return page;
  }
  static const CodePage& page = *new CodePage(1252);
  return page;
}

std::u16string widen_utf8(std::string_view text, bool* bad) {
  std::u16string wide;
  wide.reserve(text.size());
  bool ill = false;
  for (size_t i = 0; i < text.size();) {
    const uint8_t first = byte_at(text, i);
    const unsigned length = first < 0x80   ? 1
                            : first < 0xC2 ? 0
                            : first < 0xE0 ? 2
                            : first < 0xF0 ? 3
                                           : 4;
    uint32_t point = length < 2 ? first : first & (0x7Fu >> length);
    unsigned taken = 1;
    bool good = length > 0 && first < 0xF5;
    while (good && taken < length) {
      const uint8_t next = i + taken < text.size() ? byte_at(text, i + taken) : 0;
      uint8_t low = 0x80;
      uint8_t high = 0xBF;
      if (taken == 1) {  // overlong forms, surrogates and what lies beyond the last plane
        low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
        high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
      }
      good = next >= low && next <= high;
      if (good) {
        point = point << 6 | (next & 0x3Fu);
        ++taken;
      }
    }
    i += taken;
    if (!good) {
      ill = true;
      wide += u'\uFFFD';
    } else if (point < 0x10000) {
      wide += static_cast<char16_t>(point);
    } else {
      wide += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      wide += static_cast<char16_t>(0xDC00 + (point & 0x3FF));
    }
  }
  if (bad != nullptr) {
    *bad = ill;
  }
  return wide;
}

std::string narrow_utf8(std::u16string_view text, bool* bad) {
  std::string bytes;
  bytes.reserve(text.size());
  bool ill = false;
  const auto add = [&bytes](uint32_t value) { bytes += static_cast<char>(value); };
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t point = text[i];
    if (is_high(text[i]) && i + 1 < text.size() && is_low(text[i + 1])) {
      point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (is_high(text[i]) || is_low(text[i])) {
      point = 0xFFFD;
      ill = true;
    }
    if (point < 0x80) {
      add(point);
    } else if (point < 0x800) {
      add(0xC0 | point >> 6);
      add(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
      add(0xE0 | point >> 12);
      add(0x80 | (point >> 6 & 0x3F));
      add(0x80 | (point & 0x3F));
    } else {
      add(0xF0 | point >> 18);
      add(0x80 | (point >> 12 & 0x3F));
      add(0x80 | (point >> 6 & 0x3F));
      add(0x80 | (point & 0x3F));
    }
  }
  if (bad != nullptr) {
    *bad = ill;
  }
  return bytes;
}

char16_t upper(char16_t unit) {
  if (unit < 0x80) {
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
  }
  if (unit == 0xB5) {  // the micro sign isn't a Greek letter to the system
    return unit;
  }
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const wint_t raised = unicode == nullptr ? unit : towupper_l(unit, unicode);
  return raised < 0x80 || raised > 0xFFFF ? unit : static_cast<char16_t>(raised);
}

std::u16string upper(std::u16string_view text) {
  std::u16string raised(text);
  for (char16_t& unit : raised) {
    unit = upper(unit);
  }
  return raised;
}

}  // namespace platform
