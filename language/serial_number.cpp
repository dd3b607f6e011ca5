// The serial number in a status item, by which a device is told from its like.

#include <algorithm>

#include "language/byte_search.h"
#include "language/byte_strings.h"
#include "language/status_item.h"

namespace vlp {
namespace {

constexpr std::size_t kStatusMin = 13;
constexpr std::size_t kTextMin = 25;    // behind the head
constexpr std::size_t kSerialMin = 22;  // behind the field's name
constexpr std::size_t kBinaryMin = 3;   // behind the head
constexpr std::size_t kEntryHead = 2;
constexpr std::uint8_t kSerialType = 0x40;

std::optional<std::uint8_t> HexDigit(std::uint8_t digit) {
  if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
  const auto lower = static_cast<std::uint8_t>(digit | 0x20);
  if (lower >= 'a' && lower <= 'f') return static_cast<std::uint8_t>(lower - 'a' + 10);
  return std::nullopt;
}

std::optional<SerialNumber> FromText(Bytes text) {
  if (text.size() < kTextMin) return std::nullopt;
  const std::optional<std::size_t> field = MemFindAfter(kSerialField, text);
  if (!field || text.size() - *field < kSerialMin) return std::nullopt;
  const Bytes digits = text.subspan(*field);
  SerialNumber serial{};
  for (std::size_t at = 0; at < serial.size(); ++at) {
    const std::optional<std::uint8_t> high = HexDigit(digits[2 * at]);
    const std::optional<std::uint8_t> low = HexDigit(digits[2 * at + 1]);
    if (!high || !low) return std::nullopt;
    serial[at] = static_cast<std::uint8_t>(*high << 4 | *low);
  }
  return serial;
}

// `entries` is all that stands behind the length; the list itself ends at `length`.
std::optional<SerialNumber> FromEntries(Bytes entries, std::size_t length) {
  for (std::size_t at = 0; at + kEntryHead <= length;) {
    const std::uint8_t type = entries[at];
    const std::size_t size = entries[at + 1];
    at += kEntryHead;
    if (at + size > entries.size()) return std::nullopt;
    if (type == kSerialType && size != 0) {
      if (size != kSerialLength) return std::nullopt;
      SerialNumber serial{};
      const Bytes value = entries.subspan(at, size);
      std::copy(value.begin(), value.end(), serial.begin());
      return serial;
    }
    at += size;
  }
  return std::nullopt;
}

std::optional<SerialNumber> FromBinary(Bytes binary) {
  if (binary.size() < kBinaryMin) return std::nullopt;
  const std::size_t length = LoadLittle16(binary.data());
  const Bytes entries = binary.subspan(2);
  if (length > entries.size() || length < kEntryHead) return std::nullopt;
  return FromEntries(entries, length);
}

}  // namespace

// A status in text form is read as such even if the number in it is spoilt.
std::optional<SerialNumber> GetSerialFromStatus(Bytes status) {
  if (status.size() < kStatusMin) return std::nullopt;
  if (const auto text = MemFindAfter(kBdcStatusHead, status)) {
    return FromText(status.subspan(*text));
  }
  if (const auto binary = MemFindAfter(kBdcStatus2Head, status)) {
    return FromBinary(status.subspan(*binary));
  }
  return std::nullopt;
}

}  // namespace vlp
