#pragma once

// What the person gets to see: texts for the eye, or JSON.

#include <optional>
#include <string>
#include <vector>

#include "monitor/provider_library.h"

namespace monitor {

// All texts in UTF-8.
struct ListedPrinter {
  std::string name;
  std::optional<std::string> port;
  ConnectAnswer answer;
};

struct Style {
  bool json = false;
  bool colours = false;
};

// Each gives whole lines, ready to be written.
std::string ReportList(const std::vector<ListedPrinter>& printers, const Style& style);
std::string ReportInfo(const std::string& printer, const ConnectAnswer& answer, const Style& style);
std::string ReportId(const std::string& printer, const DataAnswer& answer, const Style& style);

}  // namespace monitor
