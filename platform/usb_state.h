#pragma once

// What the calls on the USB share. Inside the layer only. All of it is guarded by the layer's
// lock.

#include "platform/kernel/object.h"
#include "platform/machine.h"
#include "platform/usb_devices.h"

#include <memory>
#include <string>
#include <vector>

namespace platform {

struct UsbDevice;

// From the opening of a device's file to its end, whichever of the two goes first.
struct UsbConnection {
  std::shared_ptr<UsbDevice> device;
  bool removed = false;  // the device went
  bool closed = false;   // the file was closed
};

struct UsbPath {
  std::u16string text;       // as it is listed
  std::u16string class_key;  // "{...}"
  std::u16string key;        // name of its key in the class
};

struct UsbDevice {
  UsbDevice(simulator::PrinterOptions printer_options, simulator::D4Options d4)
      : printer(std::move(printer_options), std::move(d4)) {}

  // The device's own clock: it starts with that of a scenario, and unlike that one never goes
  // back.
  uint64_t now();

  std::vector<UsbPath> paths;
  std::string container_id;
  std::string port;  // of the record that describes it; empty: a test does
  UsbDescriptor descriptor;
  DWORD removal_error = ERROR_GEN_FAILURE;
  simulator::UsbPrinter printer;

  bool present = false;
  std::shared_ptr<UsbConnection> connection;  // while its file is open
  std::vector<Object*> waiting;               // events of the transfers inside

 private:
  uint64_t last_ms_ = 0;
  uint64_t shift_ms_ = 0;
};

// All transfers of the device look again.
void stir(UsbDevice& device);

// Looks whether the device has gone by itself by now; to be called before anything is made of
// its presence, and after each transfer.
void notice_removal(UsbDevice& device);

// The paths of the class's devices that are plugged in, in the order of their keys.
std::vector<std::u16string> present_usb_paths(const std::u16string& class_key);

// The device, if it is plugged in; without case.
std::shared_ptr<UsbDevice> find_present_usb_device(const std::u16string& path);

// The machine in force has changed: its devices come, all others go. One record has changed.
void plug_described_usb();
void plug_described_usb(const HardwareRecord& record);

// Breaches of the devices that nobody has been told of yet, each behind its device's path.
std::vector<std::string> take_usb_breaches();

// CreateFileA on the path of a USB device; nothing for any other path. Outside the lock.
std::optional<HANDLE> open_usb_path(LPCSTR path, DWORD access, DWORD flags);

}  // namespace platform
