#pragma once

// What a watch has seen so far.

#include <windows.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "monitor/exchange.h"
#include "monitor/report_exchange.h"

namespace monitor {

struct SeenFailure {
  SYSTEMTIME time{};
  std::int32_t result = 0;
  std::uint32_t times = 1;  // in a row, with the same result
};

// A plain record. Ticks are those of GetTickCount64, times are local.
struct WatchLog {
  std::uint64_t requests = 0;
  std::uint64_t failures = 0;
  bool asking = false;
  ULONGLONG asked_tick = 0;                         // start of the latest request
  std::optional<ChannelKind> kind;                  // of the latest request whose channel is known
  StatusReading latest;                             // answered or not
  std::optional<std::vector<std::uint8_t>> status;  // the latest answer
  ULONGLONG status_tick = 0;                        // when it came
  ULONGLONG same_since_tick = 0;                    // when it came first, as it is
  std::vector<std::string> changes;                 // from the answer before it was different
  SYSTEMTIME changed_time{};
  std::deque<SeenFailure> recent_failures;  // oldest first, a few
};

// The moment of something, on both clocks.
struct Moment {
  ULONGLONG tick = 0;
  SYSTEMTIME time{};
};

Moment Now();

void NoteRequest(WatchLog& log, const Moment& now);

// Enters a reading and says how it stands to the answer before it.
Step NoteReading(WatchLog& log, const StatusReading& reading, const Moment& now);

}  // namespace monitor
