#pragma once

// The part of the far side that hangs on the USB: vendor-class devices, each a simulated
// printer behind the D4 transport. Natively they are the layer's, under Wine those of the
// winusb.dll double, which has to lie beside the program (Feature::usb_devices).
// far_side::reset() takes all of them away.
//
// All functions may run beside the library. A device is named by its path; one that isn't
// known ends the test program.

#include "platform/function_ref.h"
#include "simulator/usb_printer.h"
#include "tests/support/far_side.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace far_side {

using simulator::D4Act;
using simulator::D4Options;
using simulator::D4Side;
using simulator::UsbPrinter;

// The interface classes: of a search by serial number, and of one by product.
inline constexpr const char* usb_serial_class = "{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
inline constexpr const char* usb_product_class = "{d8965402-43cd-4410-8b2b-fcdaeb81b001}";

// The path of the device at a place, such as "b1": letters and digits in lower case. A class's
// devices are listed in the order of these names.
std::string usb_path(const std::string& place,
                     const std::string& interface_class = usb_serial_class);

struct UsbDevice {
  std::string place = "b1";
  std::string interface_class = usb_serial_class;
  PrinterOptions printer = {};  // of its port nothing counts
  D4Options d4 = {};
};
// Plugs it in, or replaces the one there; gives its path.
std::string plug_usb(const UsbDevice& device);
// Ends all transfers inside.
void unplug_usb(const std::string& path);
// Plugged in elsewhere and switched on anew; gives its new path. What was counted goes on.
std::string replug_usb(const std::string& path, const std::string& new_place);

struct UsbTraffic {
  uint64_t out_transfers = 0;
  uint64_t in_transfers = 0;  // completed, with the empty ones
  uint64_t links = 0;         // entry strings

  bool operator==(const UsbTraffic&) const = default;
};
UsbTraffic usb_traffic(const std::string& path);

struct UsbPacket {
  D4Side side = D4Side::host;
  Bytes bytes = {};
  std::string meaning = {};
};
// The packets on the pipes so far, both ways, in order.
std::vector<UsbPacket> usb_packets(const std::string& path);
// The same with times, for a failing test.
std::string usb_conversation(const std::string& path);

// Works on the device; `work` must not block.
void with_usb(const std::string& path,
              platform::FunctionRef<void(UsbPrinter& printer, uint64_t now_ms)> work);

// The machine-wide mutex that everybody who uses the device agrees on.
std::string usb_mutex_name(const std::string& path);

// Somebody else who uses the device: a thread that holds its mutex from here to release(),
// or ends with it.
class UsbHolder {
 public:
  explicit UsbHolder(const std::string& path);
  ~UsbHolder() { release(); }
  UsbHolder(const UsbHolder&) = delete;
  UsbHolder& operator=(const UsbHolder&) = delete;

  void release();
  void die_holding();

 private:
  static DWORD WINAPI run(void* argument);
  void end();

  std::string name_;
  bool releases_ = true;
  HANDLE taken_ = nullptr;
  HANDLE may_end_ = nullptr;
  HANDLE thread_ = nullptr;
};

}  // namespace far_side
