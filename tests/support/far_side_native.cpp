#include "platform/bidi_monitor.h"
#include "platform/machine.h"
#include "platform/usb_devices.h"
#include "tests/support/far_side.h"
#include "tests/support/far_side_system.h"

namespace far_side {

bool serves(Feature) { return true; }

void reset_system() { platform::reset_machine(); }

void with_monitor(platform::FunctionRef<void(simulator::PortMonitor&)> work) {
  platform::control_port_monitor(work);
}

bool set_code_page(uint32_t code_page) {
  platform::set_ansi_code_page(code_page);
  return true;
}

void plug_usb_path(const std::string& path, const simulator::PrinterOptions& printer,
                   const simulator::D4Options& d4) {
  platform::add_usb_device({.paths = {path}, .printer = printer, .d4 = d4});
}

bool unplug_usb_path(const std::string& path) { return platform::unplug_usb_device(path); }

bool replug_usb_path(const std::string& path, const std::string& new_path) {
  return platform::replug_usb_device(path, {new_path});
}

bool with_usb_path(const std::string& path,
                   platform::FunctionRef<void(simulator::UsbPrinter&, uint64_t now_ms)> work) {
  return platform::with_usb_device(path, work);
}

// They are among the monitor's.
std::vector<std::string> usb_breaches() { return {}; }

uint32_t task_blocks() { return platform::live_task_blocks(); }

}  // namespace far_side
