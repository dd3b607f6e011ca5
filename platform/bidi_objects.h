#pragma once

// The three COM classes of the spooler's bidi interface, over the simulated far side. They
// are written against the SDK's names only: the same source is the layer's and, on
// Windows, that of the COM server which stands in for the spooler's.
//
// As with the real classes, one object serves one thread at a time; callers see to that.

#include "platform/function_ref.h"
#include "simulator/port_monitor.h"

#include <windows.h>

#include <bidispl.h>

#include <optional>
#include <string>

namespace platform {

// Makes an object of the class. The result is that of a class factory; REGDB_E_CLASSNOTREG
// for a class that isn't one of the three. `object` is null after each failure.
HRESULT create_bidi_object(REFCLSID clsid, IUnknown* outer, REFIID iid, void** object);

// --- Supplied by whoever links the classes ------------------------------------------------

// Runs `work` on the one port monitor while no other thread does. `work` must not block.
void with_port_monitor(FunctionRef<void(simulator::PortMonitor&)> work);

// Runs the body of a call of one of the objects; may refuse instead, with a failure. A call
// that lets go of something does so even then, and fails afterwards.
enum class OnFault { refuse, fail_afterwards };
HRESULT run_bidi_call(const char* name, FunctionRef<HRESULT()> body,
                      OnFault on_fault = OnFault::refuse);

// Port of a printer that the spooler knows, empty when it has none; nothing for a name that
// the spooler doesn't know. The port's printer has been put into the monitor if the machine
// describes one.
std::optional<std::string> find_bidi_port(const std::u16string& printer);

}  // namespace platform
