#include "language/status_item.h"

#include <algorithm>
#include <cstring>

#include "language/byte_search.h"

namespace vlp {
namespace {

constexpr std::size_t kCountSize = 2;

// Bytes behind the head that belong to its item, the end included. None: the end isn't
// in the data.
std::optional<std::size_t> TailOf(const ItemForm& form, Bytes behind_head) {
  if (form.counted) {
    if (behind_head.size() < kCountSize) return std::nullopt;
    const std::size_t tail = LoadLittle16(behind_head.data()) + kCountSize;
    if (tail > behind_head.size()) return std::nullopt;
    return tail;
  }
  const auto end = std::find(behind_head.begin(), behind_head.end(), form.terminator);
  if (end == behind_head.end()) return std::nullopt;
  return static_cast<std::size_t>(end - behind_head.begin()) + 1;
}

bool IsEmptyCounted(const ItemForm& form, Bytes behind_head) {
  return form.counted && behind_head.size() >= kCountSize && LoadLittle16(behind_head.data()) == 0;
}

bool EndsWith(Bytes data, Bytes tail) {
  return data.size() >= tail.size() &&
         std::memcmp(data.data() + data.size() - tail.size(), tail.data(), tail.size()) == 0;
}

}  // namespace

std::optional<Bytes> FindStatusItem(const ItemForm& form, Bytes data) {
  if (form.head.empty()) return data;
  const std::optional<std::size_t> behind = MemFindAfter(form.head, data);
  if (!behind) return std::nullopt;
  const Bytes rest = data.subspan(*behind);
  const std::optional<std::size_t> tail = TailOf(form, rest);
  if (!tail || IsEmptyCounted(form, rest)) return std::nullopt;
  return data.subspan(*behind - form.head.size(), form.head.size() + *tail);
}

// One pass. What is kept moves to the front and is looked at from its end, so a head that
// comes together from both sides of an item is found like any other.
std::size_t StripStatusItems(const ItemForm& form, std::span<std::uint8_t> data) {
  if (form.head.empty()) return data.size();
  const std::uint8_t last_of_head = form.head.back();
  std::size_t kept = 0;
  std::size_t at = 0;
  while (at < data.size()) {
    const void* const found = std::memchr(data.data() + at, last_of_head, data.size() - at);
    const std::size_t next =
        found == nullptr
            ? data.size()
            : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - data.data()) + 1;
    if (kept != at) std::memmove(data.data() + kept, data.data() + at, next - at);
    kept += next - at;
    at = next;
    if (found == nullptr || !EndsWith(data.first(kept), form.head)) continue;

    const Bytes rest = data.subspan(at);
    if (IsEmptyCounted(form, rest)) {
      std::memmove(data.data() + kept, rest.data(), rest.size());
      return kept + rest.size();
    }
    kept -= form.head.size();
    const std::optional<std::size_t> tail = TailOf(form, rest);
    if (!tail) return kept;
    at += *tail;
  }
  return kept;
}

}  // namespace vlp
