#pragma once

// The computer that the layer's calls see: registry, drive C:, printers, the hardware at
// the ports. It is read from a folder when a call first needs it, or described by a test.
//
// A folder holds `machine.reg` (Windows' own registry text), `drive_c/` and, if it likes,
// `hardware/*.ini`. VLPBIDI_MACHINE names it; without that it is `machines/demo` beside the
// layer's library. Changes to the registry live in memory only; files are real.
// Every function may be called from any thread, outside the layer's lock.

#include <windows.h>

#include "platform/kernel/api.h"
#include "simulator/hardware.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// One hardware/*.ini file: a printer that hangs on a port.
struct HardwareRecord {
  std::string file;  // its name, without folder
  simulator::HardwareKeys keys;
  simulator::PrinterOptions printer;
  simulator::UsbHardware usb;  // its place on the USB, if it has one: see usb_devices.h
};

// Replaces the machine by the one that the folder describes. Gives what is wrong with the
// folder, or nothing; when something is wrong the machine is an empty one, as a computer
// without printers.
VLP_PLATFORM_API std::optional<std::string> load_machine(const std::string& folder);

// Replaces the machine by an empty one: no printers, code page 1252, a new temporary
// drive C: with the folders windows and windows\system32\spool\drivers\x64\3, which goes
// with the machine.
VLP_PLATFORM_API void reset_machine();

// Why the machine in force is broken; nothing when it is sound.
VLP_PLATFORM_API std::optional<std::string> machine_error();

// A number that grows with every load and reset, for those who keep state of their own
// about the machine, and with every change of hardware.
VLP_PLATFORM_API uint64_t machine_generation();

// Where drive C: lies on the host.
VLP_PLATFORM_API std::string machine_drive();

// --- Hardware ------------------------------------------------------------------------------

VLP_PLATFORM_API std::vector<HardwareRecord> machine_hardware();
// Port names compare without case.
VLP_PLATFORM_API std::optional<HardwareRecord> hardware_at(const std::string& port);
// Replaces the record of that port. The text is that of a hardware/*.ini file; gives what
// is wrong with it, or nothing.
VLP_PLATFORM_API std::optional<std::string> add_hardware(const std::string& file,
                                                         const std::string& text);

// --- What tests describe -------------------------------------------------------------------
// All texts are UTF-8.

struct PrinterDescription {
  std::string name;
  std::optional<std::string> port = "USB001";  // none: no Port value
  std::string driver = {};
  DWORD attributes = 0x40;  // PRINTER_ATTRIBUTE_LOCAL
};
VLP_PLATFORM_API void add_printer(const PrinterDescription& printer);
VLP_PLATFORM_API void remove_printer(const std::string& name);

// What a driver's entry says, as it stands: see the spooler calls for what they make of it.
struct DriverDescription {
  std::string name;
  std::string driver_path = "vldrv.dll";
  std::string data_file = "vldrv.dat";
  std::string config_file = "vldrvui.dll";
  std::optional<std::vector<std::string>> dependent_files = {};  // none: no value
};
VLP_PLATFORM_API void add_driver(const DriverDescription& driver);

// Values below a root, such as {"HKEY_LOCAL_MACHINE\\Software\\X", "name", ...}; texts get
// their terminator. The keys in between are made.
VLP_PLATFORM_API void set_registry_text(const std::string& key, const std::string& name,
                                        const std::string& text);
VLP_PLATFORM_API void set_registry_number(const std::string& key, const std::string& name,
                                          DWORD number);
// Reads registry text (the format of machine.reg) into the machine; gives what is wrong.
VLP_PLATFORM_API std::optional<std::string> import_registry(const std::string& text);

// "LPT1" to "\\\\server\\queue"; an empty remote name ends the redirection.
VLP_PLATFORM_API void redirect(const std::string& local, const std::string& remote);

// 1252 or 932.
VLP_PLATFORM_API void set_ansi_code_page(UINT number);

// Makes every spooler call that asks the service (all but ClosePrinter) take that long on
// the layer's clock. 0, as after a reset, is at once.
VLP_PLATFORM_API void set_spooler_latency(DWORD milliseconds);

}  // namespace platform

// For the monitor, which finds them by name. The text lives until the next call on the
// same thread; null when the machine is sound.
extern "C" VLP_PLATFORM_API const char* VlpPlatformMachineError(void);
// Loads the machine; gives what is wrong with it as above.
extern "C" VLP_PLATFORM_API const char* VlpPlatformSetMachine(const char* folder);
