#pragma once

// For tests: the devices on the described computer's USB. Those that hardware/*.ini names are
// plugged in when the machine is loaded, and all go with it.
//
// Each function may be called from any thread, outside the layer's lock. A device is named by
// any of its paths, without case. Transfers that are inside when something changes look again.

#include <windows.h>

#include "platform/function_ref.h"
#include "platform/kernel/api.h"
#include "simulator/usb_printer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct UsbEndpoint {
  uint8_t address = 0;  // from 0x80 on: towards the host
  uint8_t type = 2;     // 0 control, 1 isochronous, 2 bulk, 3 interrupt
  uint16_t packet_bytes = 512;
  uint8_t interval = 0;
};

// What WinUSB tells of interface 0. The last bulk endpoint of each direction is the printer's;
// nothing happens on the others.
struct UsbDescriptor {
  std::vector<UsbEndpoint> endpoints = {
      {.address = 0x02},
      {.address = 0x81},
      {.address = 0x83, .type = 3, .packet_bytes = 8, .interval = 4}};
  std::optional<uint8_t> told_endpoints = {};  // their number in the descriptor, if it lies
  std::optional<DWORD> settings_error = {};    // asking for the descriptor fails with it
};

struct UsbDeviceDescription {
  // As they are listed, one for each interface class, such as
  // "\\\\?\\usb#vid_0ff7&pid_0001#serial#{b1ceb704-c9ba-4369-82b7-af7ee754099f}".
  std::vector<std::string> paths;
  simulator::PrinterOptions printer = {};
  simulator::D4Options d4 = {};
  std::string container_id = {};  // such as "{1111...}"; empty: no value
  UsbDescriptor descriptor = {};
  DWORD removal_error = ERROR_GEN_FAILURE;  // of calls on a device that has been removed
};

// Plugs a device in; one with a path of its own goes. Its registry keys are made, with the
// value Linked 1. The listing of a class follows the names of the keys, and these the paths.
// Times for the device count from the start of the scenario in which it is first used.
VLP_PLATFORM_API void add_usb_device(const UsbDeviceDescription& device);

// False if there is no such device, as with the functions below. Ends all transfers inside.
VLP_PLATFORM_API bool unplug_usb_device(const std::string& path);

// Plugged in again and switched on anew, with the same paths or with these. Handles from before
// stay dead.
VLP_PLATFORM_API bool replug_usb_device(const std::string& path,
                                        const std::vector<std::string>& new_paths = {});

VLP_PLATFORM_API bool set_usb_descriptor(const std::string& path, const UsbDescriptor& descriptor);

// Works on the simulated device; `work` must not block nor call the layer. It is told the time
// of the device, for the device's own operations.
VLP_PLATFORM_API bool with_usb_device(
    const std::string& path, FunctionRef<void(simulator::UsbPrinter&, uint64_t now_ms)> work);

// What hosts did wrong comes to light among the breaches of the port monitor (bidi_monitor.h),
// behind the path of the device.

}  // namespace platform
