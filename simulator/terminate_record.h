#pragma once

// The record by which a batch says how the reply to its command ends, and the search for that
// end in what comes back.

#include "simulator/bytes.h"

#include <optional>
#include <string>

namespace simulator {

struct TerminateRecord {
  uint8_t end_byte = 0;   // last byte of the probe's answer
  Bytes status_end = {};  // last byte of a status item where that is another one
  Bytes st2_head = {};    // head of the status item that ends by its own length
  Bytes probe = {};
  Bytes probe_head = {};
  Bytes trailer = {};  // sent when the reply is in
};

// Strict: the lengths are those that a record can have, and the bytes fit to the last one.
std::optional<TerminateRecord> read_terminate_record(View bytes, std::string& error);

// Follows a reply as it comes in.
class ReplyEnd {
 public:
  // `probes`: how many probes went out. With none the reply is one status item.
  ReplyEnd(TerminateRecord record, size_t probes) : record_(std::move(record)), probes_(probes) {}

  // Whether the reply is whole. `received` is all of it so far; each call goes on where the
  // one before it stopped.
  bool reached(View received);

 private:
  bool skips_binary_item(View received, bool& wait);
  bool ends_at(uint8_t byte);

  TerminateRecord record_;
  size_t probes_ = 0;
  size_t at_ = 0;
  bool in_probe_ = false;
  bool whole_ = false;
};

}  // namespace simulator
