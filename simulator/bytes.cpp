#include "simulator/bytes.h"

#include <algorithm>
#include <cstdio>

namespace simulator {
namespace {

constexpr size_t longest_shown = 48;

View view_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

}  // namespace

Bytes bytes_of(const std::string& text) { return Bytes(text.begin(), text.end()); }

void append(Bytes& bytes, View more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

void append(Bytes& bytes, std::string_view more) { append(bytes, view_of(more)); }

Match match_front(View data, View wanted) {
  const size_t common = std::min(data.size(), wanted.size());
  if (!std::equal(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(common),
                  wanted.begin())) {
    return Match::no;
  }
  return common == wanted.size() ? Match::whole : Match::part;
}

Match match_front(View data, std::string_view wanted) { return match_front(data, view_of(wanted)); }

size_t count_of(View data, View wanted) {
  size_t count = 0;
  while (!wanted.empty() && data.size() >= wanted.size()) {
    const auto found = std::search(data.begin(), data.end(), wanted.begin(), wanted.end());
    if (found == data.end()) {
      break;
    }
    ++count;
    data = data.subspan(static_cast<size_t>(found - data.begin()) + wanted.size());
  }
  return count;
}

Bytes pattern(size_t length) {
  Bytes bytes(length);
  for (size_t i = 0; i < length; ++i) {
    bytes[i] = static_cast<uint8_t>('a' + i % 26);
  }
  return bytes;
}

std::string shown(View bytes) {
  std::string text = "\"";
  for (const uint8_t byte : bytes.first(std::min(bytes.size(), longest_shown))) {
    if (byte >= 0x20 && byte < 0x7F && byte != '\\' && byte != '"') {
      text.push_back(static_cast<char>(byte));
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(byte));
      text += escaped;
    }
  }
  return text + (bytes.size() > longest_shown ? "\"..." : "\"");
}

}  // namespace simulator
