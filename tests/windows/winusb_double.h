#pragma once

// Control of the winusb.dll double from the test program that has it beside it. Both are
// always built together, by one compiler and over one heap, so C++ objects may cross.

#include "platform/function_ref.h"
#include "simulator/usb_printer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace doubles {

// Devices are named by their paths, without case; false for a path that none has. Any thread
// may call.
struct WinusbControl {
  // Takes all devices away, with their registry keys and those of earlier programs.
  void (*reset)() = nullptr;
  // False if the system lets no such path be made.
  bool (*plug)(const std::string& path, const simulator::PrinterOptions& printer,
               const simulator::D4Options& d4) = nullptr;
  bool (*unplug)(const std::string& path) = nullptr;
  bool (*replug)(const std::string& path, const std::string& new_path) = nullptr;
  bool (*work)(const std::string& path,
               platform::FunctionRef<void(simulator::UsbPrinter&, uint64_t now_ms)> work) = nullptr;
  // What the host did wrong since reset(), each behind its device's path. An interface that is
  // still open is among it.
  std::vector<std::string> (*breaches)() = nullptr;
};

using WinusbDoubleControl = const WinusbControl*();
inline constexpr const char* winusb_double_control = "WinusbDoubleControl";

}  // namespace doubles
