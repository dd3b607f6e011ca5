#include "monitor/data_view.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "monitor/names.h"
#include "monitor/report_parts.h"
#include "monitor/text.h"

namespace monitor {
namespace {

constexpr std::size_t kBytesInLine = 16;
constexpr std::string_view kLineEnds = "\r\n\f";

bool IsTextByte(std::uint8_t byte) {
  return byte == '\t' || byte == '\r' || byte == '\n' || byte == '\f' ||
         (byte >= 0x20 && byte != 0x7F);
}

// The pieces between separators; empty ones don't count.
std::vector<std::string_view> Split(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(separators), text.size());
    if (end != 0) pieces.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return pieces;
}

std::string HexPair(std::uint8_t byte) { return Hexadecimal(byte, 2).substr(2); }

}  // namespace

bool IsText(const std::vector<std::uint8_t>& bytes) {
  return std::all_of(bytes.begin(), bytes.end(), IsTextByte);
}

std::vector<Field> FieldsOf(const std::vector<std::uint8_t>& bytes) {
  const std::string text = DataText(bytes);
  std::vector<Field> fields;
  for (const std::string_view piece : Split(text, ";\r\n\f")) {
    const std::size_t colon = piece.find(':');
    if (colon == std::string_view::npos) {
      fields.push_back({"", Harmless(piece)});
    } else {
      fields.push_back({Harmless(piece.substr(0, colon)), Harmless(piece.substr(colon + 1))});
    }
  }
  return fields;
}

std::vector<std::string> FieldLines(const std::vector<Field>& fields) {
  std::size_t widest = 0;
  for (const Field& field : fields) widest = std::max(widest, Columns(field.name));
  // One name as long as a line would push all values out of sight.
  widest = std::min<std::size_t>(widest, 20);
  std::vector<std::string> lines;
  for (const Field& field : fields) {
    if (field.name.empty()) {
      lines.push_back(field.value);
      continue;
    }
    const std::size_t columns = Columns(field.name);
    std::string line = field.name;
    line.append(widest > columns ? widest - columns : 0, ' ');
    lines.push_back(line.append("  ").append(field.value));
  }
  return lines;
}

std::vector<std::string> TextLines(const std::vector<std::uint8_t>& bytes) {
  const std::string text = DataText(bytes);
  std::vector<std::string> lines;
  for (const std::string_view line : Split(text, kLineEnds)) lines.push_back(Harmless(line));
  return lines;
}

std::vector<std::string> DumpLines(const std::vector<std::uint8_t>& bytes) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < bytes.size(); start += kBytesInLine) {
    const std::size_t end = std::min(start + kBytesInLine, bytes.size());
    std::string line = Hexadecimal(static_cast<std::uint32_t>(start), 4).substr(2) + " ";
    std::string characters;
    for (std::size_t at = start; at < end; ++at) {
      line += at == start + kBytesInLine / 2 ? "  " : " ";
      line += HexPair(bytes[at]);
      const bool shown = bytes[at] >= 0x20 && bytes[at] < 0x7F;
      characters += shown ? static_cast<char>(bytes[at]) : '.';
    }
    constexpr std::size_t kWidth = 4 + 1 + kBytesInLine * 3 + 1;
    line.append(line.size() < kWidth ? kWidth - line.size() : 0, ' ');
    lines.push_back(line.append("  ").append(characters));
  }
  return lines;
}

std::vector<std::string> StatusLines(const std::vector<std::uint8_t>& bytes) {
  return IsText(bytes) ? FieldLines(FieldsOf(bytes)) : DumpLines(bytes);
}

std::vector<std::string> ReplyLines(const std::vector<std::uint8_t>& bytes) {
  std::vector<std::string> lines;
  if (IsText(bytes)) lines = TextLines(bytes);
  const std::vector<std::string> dump = DumpLines(bytes);
  lines.insert(lines.end(), dump.begin(), dump.end());
  return lines;
}

}  // namespace monitor
