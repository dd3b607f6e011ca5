#pragma once

// The reply to the last command, kept until the caller has fetched it.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/bytes.h"

namespace vlp {

// Keyed by the command alone, which is kept as the caller gave it. The command may
// outlive a reply that was handed out; it counts only while there is a reply.
struct ReplyCache {
  std::vector<std::uint8_t> replyData;  // empty: no reply is held
  std::vector<std::uint8_t> replyCommand;

  bool HoldsReplyTo(Bytes command) const {
    return !replyData.empty() && std::ranges::equal(command, replyCommand);
  }

  // Both give the memory back.
  void DropReply() { replyData = std::vector<std::uint8_t>(); }
  void Clear() {
    DropReply();
    replyCommand = std::vector<std::uint8_t>();
  }
};

}  // namespace vlp
