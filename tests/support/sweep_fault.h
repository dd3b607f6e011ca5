#pragma once

// What goes wrong in one run of a sweep: of the calls of the system and the allocations one
// fails, or all from one on. Native only.

#include <windows.h>

#include <string>

#include "platform/faults.h"
#include "tests/support/fault_memory.h"

namespace test {

struct SweepFault {
  std::string call = {};  // empty: the nth of all
  unsigned nth = 0;       // 0: none fails, what is called is written down
  bool from_then_on = false;
  DWORD error = ERROR_ACCESS_DENIED;

  std::string text() const {
    if (nth == 0) return "undisturbed";
    return (call.empty() ? "call" : call) + (from_then_on ? " from " : " ") + std::to_string(nth) +
           ", error " + std::to_string(error);
  }

  // From now on, in place of what was armed before.
  void arm() const {
    platform::clear_faults();
    if (nth == 0) {
      platform::watch_calls();
    } else if (from_then_on) {
      platform::fail_call_from(call, nth, error);
    } else if (!call.empty()) {
      platform::fail_call(call, nth, error);
    } else {
#if defined(VLP_MEMORY_CANT_FAIL)
      platform::fail_nth_system_call(nth, error);
#else
      platform::fail_nth_call(nth, error);
#endif
    }
  }
};

}  // namespace test
