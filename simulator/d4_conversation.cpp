#include "simulator/d4_conversation.h"

#include "simulator/d4_wire.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

constexpr size_t shown_bytes = 32;

std::string padded(const std::string& text, size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string text_of(const D4Line& line) {
  std::string text = padded(std::to_string(line.at_ms), 8);
  text += line.side == D4Side::host ? " ms  host   > " : " ms  device < ";
  switch (line.kind) {
    case D4Line::Kind::note:
      return text + "-- " + line.meaning;
    case D4Line::Kind::empty:
      return text + "nothing, " + std::to_string(line.count) + " times";
    case D4Line::Kind::packet:
    case D4Line::Kind::bytes:
      break;
  }
  text +=
      d4::hex(line.bytes, shown_bytes) + "  [" + std::to_string(line.count) + "] " + line.meaning;
  if (line.transfers > 1) {
    text += ", in " + std::to_string(line.transfers) + " transfers";
  }
  return text;
}

Bytes beginning(View bytes) {
  const View kept = bytes.first(std::min(bytes.size(), D4Conversation::kept_bytes));
  return {kept.begin(), kept.end()};
}

}  // namespace

void D4Conversation::add(D4Line line) {
  if (lines_.size() == kept_lines) {
    ++left_out_;
    return;
  }
  lines_.push_back(std::move(line));
}

void D4Conversation::packet(D4Side side, View bytes, uint64_t now_ms, uint32_t transfers) {
  add({.kind = D4Line::Kind::packet,
       .side = side,
       .at_ms = now_ms,
       .transfers = transfers,
       .count = bytes.size(),
       .bytes = beginning(bytes),
       .meaning = d4::meaning(bytes)});
}

void D4Conversation::bytes(D4Side side, View bytes, uint64_t now_ms, const std::string& why) {
  add({.kind = D4Line::Kind::bytes,
       .side = side,
       .at_ms = now_ms,
       .transfers = 1,
       .count = bytes.size(),
       .bytes = beginning(bytes),
       .meaning = why});
}

void D4Conversation::empty(uint64_t now_ms) {
  if (!lines_.empty() && left_out_ == 0 && lines_.back().kind == D4Line::Kind::empty) {
    lines_.back().at_ms = now_ms;
    ++lines_.back().count;
    return;
  }
  add({.kind = D4Line::Kind::empty, .at_ms = now_ms, .count = 1});
}

void D4Conversation::note(D4Side side, uint64_t now_ms, const std::string& text) {
  add({.kind = D4Line::Kind::note, .side = side, .at_ms = now_ms, .meaning = text});
}

std::vector<Bytes> D4Conversation::packets(D4Side side) const {
  std::vector<Bytes> found;
  for (const D4Line& line : lines_) {
    if (line.kind == D4Line::Kind::packet && line.side == side) {
      found.push_back(line.bytes);
    }
  }
  return found;
}

std::string D4Conversation::text() const {
  std::string text;
  for (const D4Line& line : lines_) {
    text += text_of(line) + "\n";
  }
  if (left_out_ != 0) {
    text += "and " + std::to_string(left_out_) + " lines more\n";
  }
  return text;
}

}  // namespace simulator
