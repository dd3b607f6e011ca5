#pragma once

// Stands in for the vendor-class device under the printer's operations: it gives what a test
// told it to, and writes down what was asked of it.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace fake_device {

struct Script {
  bool found = true;                      // a new object finds its device
  bool no_memory = false;                 // making one fails
  std::deque<std::int32_t> sends = {};    // their results; behind the last: the length
  std::deque<std::int32_t> replies = {};  // the same; behind the last: the reply comes
  std::string reply = "reply";
  std::function<void()> while_sending = [] {};
};

void reset();
Script& script();

// Such as "new 51 4E 39 30 30 30 30 32 30 33", "send 10000005 63 6D 64",
// "reply 10000005 of 65535", "delete".
std::vector<std::string> calls();
// Since the last time.
std::vector<std::string> new_calls();
// The settings of the last object, in their order; -1 in front if there was no log.
std::vector<std::int64_t> settings();

}  // namespace fake_device
