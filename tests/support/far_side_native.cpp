#include "platform/bidi_monitor.h"
#include "platform/machine.h"
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

uint32_t task_blocks() { return platform::live_task_blocks(); }

}  // namespace far_side
