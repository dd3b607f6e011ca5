#include "monitor/payload.h"

#include <optional>

#include "monitor/system.h"
#include "monitor/text.h"

namespace monitor {
namespace {

std::optional<unsigned> DigitOf(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return std::nullopt;
}

std::optional<std::uint8_t> ByteOf(char high, char low) {
  const auto upper = DigitOf(high);
  const auto lower = DigitOf(low);
  if (!upper || !lower) return std::nullopt;
  return static_cast<std::uint8_t>(*upper << 4 | *lower);
}

// The byte that a text's escape stands for, which the text is cut by; nothing if it is none.
std::optional<std::uint8_t> TakeEscape(std::string_view* text) {
  constexpr std::string_view kLetters = "nrt\\";
  constexpr std::string_view kBytes = "\n\r\t\\";
  if (text->size() < 2) return std::nullopt;
  const std::size_t letter = kLetters.find((*text)[1]);
  if (letter != std::string_view::npos) {
    text->remove_prefix(2);
    return static_cast<std::uint8_t>(kBytes[letter]);
  }
  if ((*text)[1] != 'x' || text->size() < 4) return std::nullopt;
  const auto byte = ByteOf((*text)[2], (*text)[3]);
  if (byte) text->remove_prefix(4);
  return byte;
}

}  // namespace

std::string BytesFromText(std::string_view utf8, std::vector<std::uint8_t>* bytes) {
  bytes->clear();
  while (!utf8.empty()) {
    const std::string_view plain = utf8.substr(0, utf8.find('\\'));
    const std::optional<std::string> narrow = AnsiFromUtf8(plain);
    if (!narrow) {
      return "the text isn't UTF-8, or has a character that code page " + std::to_string(GetACP()) +
             " lacks";
    }
    bytes->insert(bytes->end(), narrow->begin(), narrow->end());
    utf8.remove_prefix(plain.size());
    if (utf8.empty()) break;
    const auto byte = TakeEscape(&utf8);
    if (!byte) {
      return "\"" + Harmless(utf8.substr(0, 4)) +
             "\" is no escape: \\n, \\r, \\t, \\\\ or \\x with two hexadecimal digits";
    }
    bytes->push_back(*byte);
  }
  return {};
}

std::string BytesFromHex(std::string_view digits, std::vector<std::uint8_t>* bytes) {
  constexpr std::string_view kBlanks = " \t\r\n";
  bytes->clear();
  std::string packed;
  for (std::size_t at = 0; at < digits.size(); ++at) {
    const char c = digits[at];
    if (kBlanks.find(c) != std::string_view::npos) continue;
    if (!DigitOf(c)) {
      return "character " + std::to_string(at + 1) + " of --hex is no hexadecimal digit";
    }
    packed += c;
  }
  if (packed.size() % 2 != 0) {
    return "--hex has " + std::to_string(packed.size()) + " digits; each byte wants two";
  }
  for (std::size_t at = 0; at < packed.size(); at += 2) {
    bytes->push_back(ByteOf(packed[at], packed[at + 1]).value_or(0));
  }
  return {};
}

std::string ReadPayloadBytes(const Arguments& arguments, std::vector<std::uint8_t>* bytes) {
  const bool file = arguments.source == Source::kFile;
  std::string wrong = file ? ReadWholeFile(arguments.payload, kPayloadMost, bytes)
                      : arguments.source == Source::kHex ? BytesFromHex(arguments.payload, bytes)
                                                         : BytesFromText(arguments.payload, bytes);
  if (!wrong.empty()) return wrong;
  if (bytes->empty()) {
    return file ? "the file " + Harmless(arguments.payload) + " is empty" : "the command is empty";
  }
  if (bytes->size() > kPayloadMost) {
    return file ? "the file " + Harmless(arguments.payload) + " has more than 16 MiB"
                : "the command has more than 16 MiB";
  }
  return {};
}

}  // namespace monitor
