#pragma once

// The picture of a watch that a terminal shows.

#include <string>
#include <vector>

#include "monitor/report_parts.h"
#include "monitor/screen_size.h"
#include "monitor/watch.h"
#include "monitor/watch_log.h"

namespace monitor {

// The lines of the picture, no wider and no more than the screen takes.
std::vector<std::string> ScreenLines(const WatchOrder& order, const WatchLog& log,
                                     const Moment& now, const ScreenSize& size, const Style& style);

// The same over what the screen showed before, from its first line on.
std::string ScreenText(const std::vector<std::string>& lines);

}  // namespace monitor
