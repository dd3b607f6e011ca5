#pragma once

// The parts of the far side that differ between the systems. Private to far_side*.cpp.

#include "platform/function_ref.h"
#include "simulator/port_monitor.h"
#include "simulator/usb_printer.h"

#include <string>
#include <vector>

namespace far_side {

// Ends the test program with the text.
[[noreturn]] void give_up(const std::string& text);

// Before anything else of a reset.
void reset_system();

// Runs `work` on the port monitor of this process, in which the printers hang.
void with_monitor(platform::FunctionRef<void(simulator::PortMonitor&)> work);

// Devices on the USB; false for a path that none of them has.
void plug_usb_path(const std::string& path, const simulator::PrinterOptions& printer,
                   const simulator::D4Options& d4);
bool unplug_usb_path(const std::string& path);
bool replug_usb_path(const std::string& path, const std::string& new_path);
bool with_usb_path(const std::string& path,
                   platform::FunctionRef<void(simulator::UsbPrinter&, uint64_t now_ms)> work);
// What hosts did wrong there and with_monitor() doesn't tell.
std::vector<std::string> usb_breaches();

}  // namespace far_side
