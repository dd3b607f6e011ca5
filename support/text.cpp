#include "support/text.h"

#include <windows.h>

#include <cstring>

namespace vlp {

std::size_t MeasureText(const char* text, std::size_t limit) {
  if (text == nullptr) return 0;
  const void* terminator = std::memchr(text, '\0', limit);
  if (terminator == nullptr) return 0;
  return static_cast<std::size_t>(static_cast<const char*>(terminator) - text);
}

std::string_view LimitedText(const char* text, std::size_t limit) {
  return {text, MeasureText(text, limit)};
}

bool CopyText(char* to, std::size_t capacity, std::string_view from) {
  if (capacity == 0) return false;
  const std::size_t kept = from.size() < capacity ? from.size() : capacity - 1;
  if (kept != 0) std::memcpy(to, from.data(), kept);
  to[kept] = '\0';
  return kept == from.size();
}

bool AppendText(char* to, std::size_t capacity, std::string_view from) {
  const std::size_t used = MeasureText(to, capacity);
  return CopyText(to + used, capacity - used, from);
}

std::size_t CharacterSize(std::string_view text, std::size_t position) {
  const auto byte = static_cast<BYTE>(text[position]);
  return IsDBCSLeadByte(byte) != FALSE && position + 1 < text.size() ? 2 : 1;
}

bool BeginsInAnyCase(std::string_view text, std::string_view prefix) {
  char head[kTextLimit] = {};
  CopyText(head, sizeof(head), text.substr(0, prefix.size()));
  CharUpperA(head);
  return prefix == head;
}

std::size_t FindCharacter(std::string_view text, char wanted) {
  for (std::size_t at = 0; at < text.size(); at += CharacterSize(text, at)) {
    if (text[at] == wanted) return at;
  }
  return std::string_view::npos;
}

std::size_t FindLastCharacter(std::string_view text, char wanted) {
  std::size_t found = std::string_view::npos;
  for (std::size_t at = 0; at < text.size(); at += CharacterSize(text, at)) {
    if (text[at] == wanted) found = at;
  }
  return found;
}

}  // namespace vlp
