#pragma once

// Printers from the text of a hardware description, one printer a text.

#include "simulator/printer.h"

#include <map>
#include <optional>
#include <string>

namespace simulator {

// Keys and values of the section [Printer], keys in lower case. A later value of the same
// key wins.
using HardwareKeys = std::map<std::string, std::string>;

// Reads INI text: sections, "key = value", blank lines, and lines that begin with ";" or
// "#". On a line that is none of these `error` says which, and nothing is given. Sections
// other than [Printer] are passed over.
std::optional<HardwareKeys> read_hardware(const std::string& text, std::string& error);

// The printer that the keys describe, or nothing and a text that names the key at fault.
// Keys without meaning here are left to others.
std::optional<PrinterOptions> describe_printer(const HardwareKeys& keys, std::string& error);

}  // namespace simulator
