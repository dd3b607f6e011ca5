#pragma once

// What the person gets to see of printers, channels and device IDs: texts for the eye, or JSON.

#include <optional>
#include <string>
#include <vector>

#include "monitor/provider_library.h"
#include "monitor/report_parts.h"

namespace monitor {

// All texts in UTF-8.
struct ListedPrinter {
  std::string name;
  std::optional<std::string> port;
  ConnectAnswer answer;
};

// Each gives whole lines, ready to be written.
std::string ReportList(const std::vector<ListedPrinter>& printers, const Style& style);
std::string ReportInfo(const std::string& printer, const ConnectAnswer& answer, const Style& style);
std::string ReportId(const std::string& printer, const DataAnswer& answer, const Style& style);

}  // namespace monitor
