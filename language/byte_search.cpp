#include "language/byte_search.h"

#include <algorithm>
#include <cstring>

namespace vlp {

std::optional<std::size_t> MemFindAfter(Bytes needle, Bytes data) {
  if (needle.empty()) return std::nullopt;
  std::size_t at = 0;
  while (data.size() - at >= needle.size()) {
    const std::size_t starts = data.size() - at - needle.size() + 1;
    const void* const first = std::memchr(data.data() + at, needle[0], starts);
    if (first == nullptr) return std::nullopt;
    at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(first) - data.data());
    if (std::memcmp(first, needle.data(), needle.size()) == 0) return at + needle.size();
    ++at;
  }
  return std::nullopt;
}

std::size_t RemoveField(Bytes head, std::uint8_t terminator, std::span<std::uint8_t> data) {
  if (data.empty() || head.data() == nullptr) return data.size();
  if (head.empty() || head[0] == 0) return 0;
  const std::optional<std::size_t> behind = MemFindAfter(head, data);
  if (!behind) return data.size();
  const auto begin = data.begin() + static_cast<std::ptrdiff_t>(*behind - head.size());
  const auto rest = data.begin() + static_cast<std::ptrdiff_t>(*behind);
  const auto end = std::find(rest, data.end(), terminator);
  const auto last = end == data.end() ? begin : std::copy(end + 1, data.end(), begin);
  return static_cast<std::size_t>(last - data.begin());
}

std::size_t RemoveLastField(Bytes head, std::uint8_t terminator, std::span<std::uint8_t> data) {
  std::size_t last = 0;
  std::size_t at = 0;
  while (const std::optional<std::size_t> behind = MemFindAfter(head, data.subspan(at))) {
    at += *behind;
    last = at - head.size();
  }
  return last + RemoveField(head, terminator, data.subspan(last));
}

std::size_t CountMatches(Bytes needle, Bytes data) {
  std::size_t count = 0;
  while (const std::optional<std::size_t> behind = MemFindAfter(needle, data)) {
    ++count;
    data = data.subspan(*behind);
  }
  return count;
}

}  // namespace vlp
