#pragma once

// The world around the library under test: the spooler's printers and drivers, the
// registry, files, and the printers at the ports. One control surface for both systems:
// natively it works on the layer's machine, under Wine on the registry, files and doubles.
//
// Nothing here is made for two threads at once, except what reads or changes the printers
// at the ports (hardware, trouble, counts, batches), which may run beside the library.
// Devices on the USB have a header of their own: far_side_usb.h.
// A step that can't be done ends the test program with a text that says why.

#include "simulator/printer.h"
#include "simulator/record.h"
#include "simulator/trouble.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace far_side {

using simulator::Bytes;
using simulator::bytes_of;
using simulator::Counts;
using simulator::LiveObjects;
using simulator::PrinterOptions;
using simulator::PushPlace;
using simulator::Reach;
using simulator::Refusal;
using simulator::RowAnswer;
using simulator::Script;
using simulator::SeenBatch;
using simulator::SeenRow;
using simulator::StatusForm;
using simulator::StatusPush;
using simulator::Trouble;
using simulator::Way;
using simulator::WireMessage;

// What not every system under the tests can hold. Natively all of it is served; under
// Wine each needs a double beside the test program.
enum class Feature {
  csr_names,             // printer names that begin with "\\CSR|" (winspool.drv double)
  bare_dependent_files,  // a driver's dependent files without a folder (winspool.drv double)
  portless_printers,     // printers without a port value (winspool.drv double)
  redirected_ports,      // LPT ports with a remote name (mpr.dll double)
  usb_devices,           // vendor-class devices, far_side_usb.h (winusb.dll double)
  task_memory_count,     // task_blocks(): native only
  both_code_pages        // set_code_page() with any of 1252 and 932: native only
};
bool serves(Feature feature);

// An empty world: no printers, drivers, TCP/IP ports, redirections and log settings; no
// printer at any port, no device on the USB; no trouble; counts, batches and breaches forgotten.
// Under Wine it also registers the bidi double. Call it first in each test, before the library is
// loaded.
void reset();

// --- The spooler -------------------------------------------------------------------------

inline constexpr uint32_t attribute_network = 0x10;

struct Printer {
  std::string name;
  std::optional<std::string> port = "USB001";  // none: the printer has no port value
  std::string driver = {};
  uint32_t attributes = 0;
  std::optional<std::string> published_name = {};  // "printerName" of "DsSpooler"
  std::vector<std::string> published_ports = {};   // "portName" of "DsSpooler"; none when empty
};

// Adds the printer or replaces the one of that name.
void add_printer(const Printer& printer);
void set_port(const std::string& name, const std::optional<std::string>& port);
void set_attributes(const std::string& name, uint32_t attributes);
void remove_printer(const std::string& name);

struct Driver {
  std::string name;
  std::string driver_path = "vldrv.dll";
  std::string data_file = "vldrv.dat";
  std::string config_file = "vldrvui.dll";
  std::vector<std::string> dependent_files = {};
};
void add_driver(const Driver& driver);

// Folder of the printer drivers, with its closing backslash.
std::string driver_directory();

// Writes a model profile into the driver folder and gives its full path. `lines` are the
// lines of its section with "\n" between them, such as "LPT_Channel00=0x10010003".
std::string write_profile(const std::string& file_name, const std::string& lines);

// A profile and a driver that lists it: what most tests need before add_printer.
void add_model(const std::string& driver_name, const std::string& profile_lines);

// --- Ports -------------------------------------------------------------------------------

void add_tcp_port(const std::string& port);
// Needs Feature::redirected_ports. `local` such as "LPT1:", `remote` such as "\\server\queue".
void redirect(const std::string& local, const std::string& remote);

// --- Log, files, code page ---------------------------------------------------------------

struct LogSettings {
  std::optional<uint32_t> flag = {};  // a value that is not given is absent
  std::optional<std::string> path = {};
  std::optional<uint32_t> max_size = {};
  std::optional<uint32_t> debug_max_size = {};
};
// Writes the 32-bit view. The library reads the settings when it is loaded.
void set_log(const LogSettings& settings);
// An empty folder for logs, with its closing backslash; made at each call, its files removed.
std::string fresh_log_directory();

std::optional<std::string> read_file(const std::string& path);  // none: can't be opened
void write_file(const std::string& path, const std::string& bytes);
bool remove_file(const std::string& path);

uint32_t code_page();                    // ANSI code page in force
bool set_code_page(uint32_t code_page);  // false where the system can't change it

// --- The printers at the ports -----------------------------------------------------------

// Puts a printer at options.port, or replaces the one there.
void plug(const PrinterOptions& options);
void unplug(const std::string& port);
// Short form of plug() for a printer that only has a device ID.
void set_device_id(const std::string& port, const Bytes& device_id);

// Lets the printer at the port send status items that nobody asked for, once: before, inside
// or behind its next answer.
void push_status(const std::string& port, const StatusPush& push);
// All bytes that were handed to printers at the port since reset(), in order, as one string
// and by message. A batch adds its messages when it is answered.
Bytes wire(const std::string& port);
std::vector<WireMessage> wire_messages(const std::string& port);

// Replaces all trouble by this; Trouble{} ends it.
void set_trouble(const Trouble& trouble);

Counts counts(const std::string& printer);  // since reset()
std::vector<SeenBatch> batches();           // in order of arrival, since reset()
// Texts about everything that a printer or the spooler wouldn't accept, such as a batch
// whose first row doesn't name the printer. Empty after every good test.
std::vector<std::string> breaches();
LiveObjects live_objects();
// Blocks of task memory that nobody has freed. Needs Feature::task_memory_count.
uint32_t task_blocks();

}  // namespace far_side
