#include "profile/profile_reader.h"

#include <windows.h>

#include <algorithm>

namespace vlp {
namespace {

constexpr const char* kSection = "ProfileInf";

// A list this long is taken as damaged, and the default stands.
constexpr std::uint32_t kHexTextLimit = 2048;

std::uint8_t DigitValue(char digit) {
  if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
  if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
  return static_cast<std::uint8_t>(digit - '0');
}

}  // namespace

std::uint32_t ProfileReader::Integer(const char* key, std::uint32_t value_if_absent) const {
  // The default goes through a signed argument and comes back bit for bit.
  return GetPrivateProfileIntA(kSection, key, static_cast<INT>(value_if_absent), path_.c_str());
}

std::string ProfileReader::Text(const char* key, std::uint32_t limit) const {
  std::string text(limit, '\0');
  const DWORD length =
      GetPrivateProfileStringA(kSection, key, "", text.data(), limit, path_.c_str());
  text.resize(std::min<std::size_t>(length, limit));
  return text;
}

ByteList ProfileReader::ParseHexList(const char* key, const ByteList& value_if_absent) const {
  // Room for one character more than allowed: a cut text would look like a good one.
  const std::string text = Text(key, kHexTextLimit + 2);
  if (text.empty() || text.size() >= kHexTextLimit) return value_if_absent;
  return DecodeHexList(text);
}

ByteList DecodeHexList(const std::string& text) {
  ByteList bytes;
  std::uint8_t value = 0;
  for (const char character : text) {
    if (character == ',') {
      bytes.push_back(value);
      value = 0;
    } else {
      value = static_cast<std::uint8_t>(((value & 0x0F) << 4) + DigitValue(character));
    }
  }
  bytes.push_back(value);
  return bytes;
}

}  // namespace vlp
