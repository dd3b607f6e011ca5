#pragma once

// What both sides said, in order: when, the bytes, and what they mean. For failing tests.

#include "simulator/bytes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace simulator {

enum class D4Side { host, device };

struct D4Line {
  // `packet`: a whole one; `bytes`: what couldn't be cut into packets; `note`: no bytes.
  enum class Kind { packet, bytes, empty, note };
  Kind kind = Kind::note;
  D4Side side = D4Side::device;
  uint64_t at_ms = 0;      // when its last byte passed
  uint32_t transfers = 0;  // how many transfers it was spread over
  uint64_t count = 0;      // `empty`: how many completions in a row; otherwise all bytes
  Bytes bytes = {};        // the first `kept_bytes`
  std::string meaning = {};
};

class D4Conversation {
 public:
  static constexpr size_t kept_bytes = 4096;  // of one packet
  static constexpr size_t kept_lines = 20000;

  void packet(D4Side side, View bytes, uint64_t now_ms, uint32_t transfers);
  void bytes(D4Side side, View bytes, uint64_t now_ms, const std::string& why);
  void empty(uint64_t now_ms);
  void note(D4Side side, uint64_t now_ms, const std::string& text);

  const std::vector<D4Line>& lines() const { return lines_; }
  // The packets of one side, in order; each at most `kept_bytes` long.
  std::vector<Bytes> packets(D4Side side) const;
  // One line each, time first; long packets cut after a line's worth.
  std::string text() const;

 private:
  void add(D4Line line);

  std::vector<D4Line> lines_;
  uint64_t left_out_ = 0;  // lines behind the last one that is kept
};

}  // namespace simulator
