#pragma once

// Tests that run on both systems and let time pass. Natively their bodies run in
// virtual time; under Wine and Windows in real time, so they keep to short waits and wide limits.

#include <functional>

namespace test {

// Runs the body: natively as a scenario in virtual time, elsewhere as it is.
void run_timed(const std::function<void()>& body);

// Whether time in run_timed is virtual, so that elapsed times are exact.
bool time_is_exact();

}  // namespace test
