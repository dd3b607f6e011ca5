#pragma once

// A link record over a port, without read thread and callers: for one part of the engine alone.

#include "d4/state.h"
#include "tests/d4/scripted_port.h"

namespace d4_test {

struct BareLink {
  BareLink() {
    link.portHandle.store(port.handle());
    link.portOps = port.ops();
    link.state.store(vlp::kLinkOpen);
    for (vlp::KernelHandle* const event : {&link.wakeEvent, &link.controlEvent, &link.replyEvent,
                                           &link.dataEvent, &link.spareEvent}) {
      *event = vlp::KernelHandle(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    }
  }

  ScriptedPort port;
  vlp::XdltLink link;
};

}  // namespace d4_test
