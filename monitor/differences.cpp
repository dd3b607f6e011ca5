// What has changed from one status item to the next.

#include <algorithm>
#include <cstddef>

#include "monitor/data_view.h"
#include "monitor/names.h"
#include "monitor/report_parts.h"

namespace monitor {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kBytesShown = 8;

// The same name may come more than once; its n-th occurrence has the n-th as counterpart.
const Field* Counterpart(const std::vector<Field>& fields, const std::string& name,
                         std::size_t occurrence) {
  for (const Field& field : fields) {
    if (field.name == name && occurrence-- == 0) return &field;
  }
  return nullptr;
}

std::size_t OccurrenceOf(const std::vector<Field>& fields, std::size_t at) {
  const auto end = fields.begin() + static_cast<std::ptrdiff_t>(at);
  return static_cast<std::size_t>(std::count_if(
      fields.begin(), end, [&](const Field& field) { return field.name == fields[at].name; }));
}

std::string Named(const Field& field, const std::string& text) {
  return field.name.empty() ? text : field.name + ": " + text;
}

std::vector<std::string> FieldDifferences(const std::vector<Field>& before,
                                          const std::vector<Field>& after) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < after.size(); ++at) {
    const Field& field = after[at];
    const Field* const old = Counterpart(before, field.name, OccurrenceOf(after, at));
    if (old == nullptr) {
      lines.push_back(Named(field, field.value + ", new"));
    } else if (old->value != field.value) {
      lines.push_back(Named(field, field.value + ", was " + old->value));
    }
  }
  for (std::size_t at = 0; at < before.size(); ++at) {
    const Field& field = before[at];
    if (Counterpart(after, field.name, OccurrenceOf(before, at)) == nullptr) {
      lines.push_back(Named(field, "gone, was " + field.value));
    }
  }
  return lines;
}

std::string SomeBytes(const Bytes& bytes, std::size_t start, std::size_t end) {
  const std::size_t shown = std::min(end, start + kBytesShown);
  std::string text;
  for (std::size_t at = start; at < shown; ++at) {
    text += (at == start ? "" : " ") + Hexadecimal(bytes[at], 2).substr(2);
  }
  return shown < end ? text + " ..." : text;
}

std::string Place(std::size_t at) { return Hexadecimal(static_cast<std::uint32_t>(at), 4); }

std::vector<std::string> ByteDifferences(const Bytes& before, const Bytes& after) {
  std::vector<std::string> lines;
  if (before.size() != after.size()) {
    lines.push_back(Counted(after.size(), "byte") + ", was " + Counted(before.size(), "byte"));
  }
  const std::size_t common = std::min(before.size(), after.size());
  for (std::size_t start = 0; start < common; ++start) {
    if (before[start] == after[start]) continue;
    std::size_t end = start + 1;
    while (end < common && before[end] != after[end]) ++end;
    lines.push_back((end == start + 1 ? "byte " + Place(start)
                                      : "bytes " + Place(start) + " to " + Place(end - 1)) +
                    ": " + SomeBytes(after, start, end) + ", was " + SomeBytes(before, start, end));
    start = end;
  }
  return lines;
}

}  // namespace

std::vector<std::string> Differences(const Bytes& before, const Bytes& after) {
  if (before == after) return {};
  if (IsText(before) && IsText(after)) {
    std::vector<std::string> lines = FieldDifferences(FieldsOf(before), FieldsOf(after));
    // Else it is the separators alone that have changed, or the order.
    if (!lines.empty()) return lines;
  }
  return ByteDifferences(before, after);
}

}  // namespace monitor
