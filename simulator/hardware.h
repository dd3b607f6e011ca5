#pragma once

// Printers from the text of a hardware description, one printer a text.

#include "simulator/d4_options.h"
#include "simulator/printer.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

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

// A printer's place on the USB, as the vendor's class of devices.
struct UsbHardware {
  std::vector<std::string> paths = {};  // one for each interface class; none: not on the USB
  std::string container_id = {};
  D4Options d4 = {};
};

// The same keys' other half; `error` is as above.
std::optional<UsbHardware> describe_usb(const HardwareKeys& keys, std::string& error);

// Whether the text has the form of a device's path: "\\?\usb#KIND#INSTANCE#{CLASS}".
bool is_usb_path(const std::string& text);

}  // namespace simulator
