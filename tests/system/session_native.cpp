#include <algorithm>

#include "platform/kernel/object.h"
#include "platform/kernel/scenario.h"
#include "tests/system/session.h"

namespace system_test {

void BeginSession() { platform::begin_scenario({}); }

std::string EndSession() {
  return platform::current_mode() == platform::Mode::real ? std::string()
                                                          : platform::end_scenario();
}

void LetOthersSettle() { platform::settle(); }

std::uint32_t OpenHandles() {
  const std::string report = platform::handle_report();
  return static_cast<std::uint32_t>(std::count(report.begin(), report.end(), '\n'));
}

}  // namespace system_test
