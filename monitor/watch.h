#pragma once

// Asks one printer for status again and again.

#include "monitor/exchange.h"
#include "monitor/report_parts.h"

namespace monitor {

struct WatchOrder {
  std::string printer;  // UTF-8
  std::uint32_t every_ms = 1000;
  std::optional<std::uint32_t> count;  // nothing: until the process is ended
};

// Writes a line for each reading, until nobody takes them any more. True unless a reading gave a
// negative result.
bool WatchInLines(StatusReader& reader, const WatchOrder& order, const Style& style);

// Keeps a screen up to date, also while a request hangs: a thread of its own reads, the
// calling one draws. Afterwards the last reading stands on the ordinary screen.
bool WatchOnScreen(StatusReader& reader, const WatchOrder& order, const Style& style);

}  // namespace monitor
