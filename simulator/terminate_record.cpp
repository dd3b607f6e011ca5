#include "simulator/terminate_record.h"

#include <array>

namespace simulator {
namespace {

constexpr size_t fixed_length = 25;
constexpr size_t most_bytes = 256;  // of one field; what is longer is no language of ours

uint32_t number_at(View bytes, size_t offset) {
  return static_cast<uint32_t>(bytes[offset]) | static_cast<uint32_t>(bytes[offset + 1]) << 8 |
         static_cast<uint32_t>(bytes[offset + 2]) << 16 |
         static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

struct Field {
  const char* name;
  Bytes TerminateRecord::*bytes;
  size_t least;
  size_t most;
  bool all_or_nothing;
};

constexpr std::array<Field, 5> fields{{
    {"end of a status item", &TerminateRecord::status_end, 0, 1, true},
    {"head of the binary status", &TerminateRecord::st2_head, 0, 10, true},
    {"probe", &TerminateRecord::probe, 1, most_bytes, false},
    {"head of the probe's answer", &TerminateRecord::probe_head, 1, most_bytes, false},
    {"trailer", &TerminateRecord::trailer, 0, 2, true},
}};

bool fits(const Field& field, size_t length) {
  return length >= field.least && length <= field.most &&
         (!field.all_or_nothing || length == 0 || length == field.most);
}

}  // namespace

std::optional<TerminateRecord> read_terminate_record(View bytes, std::string& error) {
  if (bytes.size() < fixed_length) {
    error = "only " + std::to_string(bytes.size()) + " bytes";
    return std::nullopt;
  }
  if (number_at(bytes, 0) != 1) {
    error = "format " + std::to_string(number_at(bytes, 0));
    return std::nullopt;
  }
  TerminateRecord record;
  record.end_byte = bytes[24];
  size_t offset = fixed_length;
  for (size_t i = 0; i < fields.size(); ++i) {
    const size_t length = number_at(bytes, 4 + 4 * i);
    if (!fits(fields[i], length) || length > bytes.size() - offset) {
      error = std::string(fields[i].name) + " of " + std::to_string(length) + " bytes";
      return std::nullopt;
    }
    const View value = bytes.subspan(offset, length);
    (record.*fields[i].bytes).assign(value.begin(), value.end());
    offset += length;
  }
  if (offset != bytes.size()) {
    error = std::to_string(bytes.size() - offset) + " bytes too many";
    return std::nullopt;
  }
  return record;
}

// Steps over a status item that ends by its length; such an item may hold any bytes.
bool ReplyEnd::skips_binary_item(View received, bool& wait) {
  const View rest = received.subspan(at_);
  const Match match = record_.st2_head.empty() ? Match::no : match_front(rest, record_.st2_head);
  if (match == Match::no) {
    return false;
  }
  const size_t head = record_.st2_head.size() + 2;
  if (match == Match::part || rest.size() < head) {
    wait = true;
    return false;
  }
  const size_t length = head + rest[head - 2] + (static_cast<size_t>(rest[head - 1]) << 8);
  if (rest.size() < length) {
    wait = true;
    return false;
  }
  at_ += length;
  whole_ = whole_ || probes_ == 0;
  return true;
}

bool ReplyEnd::ends_at(uint8_t byte) {
  if (probes_ == 0) {
    return byte == (record_.status_end.empty() ? record_.end_byte : record_.status_end[0]);
  }
  if (!in_probe_ || byte != record_.end_byte) {
    return false;
  }
  in_probe_ = false;
  --probes_;
  return probes_ == 0;
}

bool ReplyEnd::reached(View received) {
  while (!whole_ && at_ < received.size()) {
    bool wait = false;
    if (skips_binary_item(received, wait)) {
      continue;
    }
    const Match head = probes_ == 0 || in_probe_
                           ? Match::no
                           : match_front(received.subspan(at_), record_.probe_head);
    if (wait || head == Match::part) {
      return false;
    }
    if (head == Match::whole) {
      in_probe_ = true;
      at_ += record_.probe_head.size();
      continue;
    }
    whole_ = ends_at(received[at_]);
    ++at_;
  }
  return whole_;
}

}  // namespace simulator
