// From a printer's name to the simulated printer at its port, by the machine in force.

#include "platform/bidi_objects.h"
#include "platform/kernel/call.h"
#include "platform/machine.h"
#include "platform/machine_state.h"
#include "platform/spooler_keys.h"

#include <vector>

namespace platform {
namespace {

// Under the layer's lock: ports that the machine has filled, and which machine it was.
struct FromMachine {
  uint64_t generation = 0;
  std::vector<std::string> ports;
};

// Never destroyed: a thread may still bind while the process ends.
FromMachine& from_machine() {
  static auto* state = new FromMachine;
  return *state;
}

// Brings the described printers to their ports once for each machine, so that a test may
// replace or unplug them afterwards.
void plug_described() {
  const uint64_t generation = machine_generation();
  const std::vector<HardwareRecord> hardware = machine_hardware();
  with_port_monitor([&](simulator::PortMonitor& monitor) {
    FromMachine& state = from_machine();
    if (state.generation == generation) {
      return;
    }
    for (const std::string& port : state.ports) {
      monitor.unplug(port);
    }
    state.ports.clear();
    for (const HardwareRecord& record : hardware) {
      monitor.plug(record.printer);
      state.ports.push_back(record.printer.port);
    }
    state.generation = generation;
  });
}

}  // namespace

std::optional<std::string> find_bidi_port(const std::u16string& printer) {
  ensure_machine();
  plug_described();
  const StateGuard guard;
  const RegistryTree& registry = machine().registry;
  const KeyRef key = registry.find(registry.local_machine(), printer_path(printer));
  if (printer.empty() || key == nullptr) {
    return std::nullopt;
  }
  return narrow_utf8(text_of(key->value(u"Port")));
}

}  // namespace platform
