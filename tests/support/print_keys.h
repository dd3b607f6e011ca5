#pragma once

// Where the spooler keeps its printers and drivers in the registry.

#include <string>

namespace print_keys {

inline constexpr char kPrinters[] = "SYSTEM\\CurrentControlSet\\Control\\Print\\Printers";
inline constexpr char kDrivers[] =
    "SYSTEM\\CurrentControlSet\\Control\\Print\\Environments\\Windows x64\\Drivers\\Version-3";

// Key of a printer or a driver. Backslashes of a printer's name are commas in its key's name.
std::string PrinterKey(const std::string& printer);
std::string DriverKey(const std::string& driver);

}  // namespace print_keys
