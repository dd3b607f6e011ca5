// The engine and the command layer against a device that keeps to the protocol but for what the
// input has it do, and that watches the host.

#include "fuzz/d4_calls.h"
#include "fuzz/d4_device_plan.h"
#include "fuzz/d4_device_port.h"

namespace fuzz {

void d4_actions(Input input) {
  RunScenario(input.empty() ? std::uint8_t{0} : input[0], [input] {
    Choices choices(input);
    const std::uint8_t drive = choices.Byte();
    CallPlan plan = MakeCallPlan(choices);
    plan.stopsWhenLost = true;
    const std::uint8_t flags = choices.Byte();
    DevicePort port(MakeDevice(choices), {.keepPriority = (flags & 1) == 0,
                                          .skipsDummyRead = (flags & 2) != 0,
                                          .storesZero = (flags & 4) != 0});
    if ((drive & 0x80) != 0) {
      CallCommandLayer(port.Handle(), port.Ops(), plan);
    } else {
      CallEngine(port.Handle(), port.Ops(), plan);
    }
    port.ClaimNothingOwed();
  });
}

}  // namespace fuzz
