#pragma once

// The simulated devices of this process, in real time. A device has one interface with two
// pipes that count. Any thread may call; a transfer blocks until the device completes it.

#include "tests/windows/winusb_double.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace doubles {

// Before anything else here, once.
bool make_usb_bus();

// What a test program does with the devices.
extern const WinusbControl usb_bus_control;

// One device at several paths, one a class. False if it can't be listed or opened there.
bool plug_usb(const std::vector<std::string>& paths, const simulator::PrinterOptions& printer,
              const simulator::D4Options& d4);

// Whose interface it is. One of another process may still be there when that one has died.
enum class UsbHost { here, elsewhere };

// All give a system error code. Interfaces are known by numbers, which aren't used again.
DWORD open_usb(uint32_t device_number, UsbHost host, uint64_t& interface_number);
DWORD usb_state(uint64_t interface_number);
DWORD read_usb(uint64_t interface_number, size_t most, simulator::Bytes& bytes);
DWORD write_usb(uint64_t interface_number, const simulator::Bytes& bytes, size_t& count);
// Ends the transfers inside. A host that closes owes nothing more; one that died is forgiven.
enum class UsbEnd { closed, host_died };
DWORD close_usb(uint64_t interface_number, UsbEnd end);

}  // namespace doubles
