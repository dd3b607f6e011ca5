#pragma once

// The time that a test runs in: natively a virtual one, in which the clock jumps when
// nobody can run and in which everything left behind is found; under Wine the real one.

#include <cstdint>
#include <string>

namespace system_test {

void BeginSession();
// What was left behind, one a line; empty if all is well. Under Wine always empty: there
// a number of handles is all that can be asked.
std::string EndSession();

// Returns when every other thread waits for something. Under Wine at once: tests that
// use it must hold there in every order of events.
void LetOthersSettle();

// Open handles of this process, of any kind.
std::uint32_t OpenHandles();

}  // namespace system_test
