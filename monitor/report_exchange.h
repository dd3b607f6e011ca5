#pragma once

// What the person gets to see of status, replies and results: texts for the eye, or JSON.

#include <windows.h>

#include <string>

#include "monitor/exchange.h"
#include "monitor/report_parts.h"

namespace monitor {

// Each gives whole lines, ready to be written.
std::string ReportStatus(const std::string& printer, const StatusReading& reading,
                         const Style& style);
std::string ReportSend(const std::string& printer, const SendOutcome& outcome, const Style& style);
std::string ReportThrough(const std::string& printer, const SendOutcome& outcome,
                          const Style& style);

// How a reading of a watch stands to the one that was answered last before it.
enum class Step { kFirst, kUnchanged, kChanged, kFailed };

// One line for one reading of a watch. `time` is local.
std::string ReportReading(const std::string& printer, const StatusReading& reading, Step step,
                          const SYSTEMTIME& time, const Style& style);

// Such as 2024-03-15T10:00:00.250.
std::string TimeText(const SYSTEMTIME& time, char between);

}  // namespace monitor
