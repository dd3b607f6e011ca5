#pragma once

// The printers that the spooler knows.

#include <optional>
#include <string>
#include <vector>

namespace monitor {

// Texts in the machine's ANSI code page.
struct SpoolerPrinter {
  std::string name;
  std::optional<std::string> port;
};

// Local printers and connections, in the spooler's order; nothing with the last error set
// if the spooler doesn't answer. Blocks as long as the spooler does.
std::optional<std::vector<SpoolerPrinter>> ListPrinters();

}  // namespace monitor
