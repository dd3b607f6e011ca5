#pragma once

// Makes calls fail on purpose. Names are those of the calls ("CreateEventA"); memory
// allocation is "operator new". Calls that the ledger says cannot fail never do; waits fail once,
// never from then on; closes report failure but still close.

#include <windef.h>

#include <string>
#include <vector>

#include "platform/kernel/api.h"

namespace platform {

// Arms one fault: the nth call of that name from now (1 is the next) fails with the
// error. Several may be armed at once.
VLP_PLATFORM_API void fail_call(const std::string& name, unsigned nth, DWORD error);
// As fail_call, but every later call of that name fails too.
VLP_PLATFORM_API void fail_call_from(const std::string& name, unsigned nth, DWORD error);
// For a sweep: the nth fallible call of any name fails, allocations under test included.
VLP_PLATFORM_API void fail_nth_call(unsigned nth, DWORD error);
// The same without allocations.
VLP_PLATFORM_API void fail_nth_system_call(unsigned nth, DWORD error);

// Disarms all faults, and forgets counts and trace.
VLP_PLATFORM_API void clear_faults();

// How many calls were made to fail since clear_faults; the names of these calls.
VLP_PLATFORM_API unsigned faults_met();
VLP_PLATFORM_API std::vector<std::string> failed_calls();

// Counts calls by name from now on, and keeps a trace: one "thread call" a line.
VLP_PLATFORM_API void watch_calls();
VLP_PLATFORM_API unsigned calls_of(const std::string& name);
VLP_PLATFORM_API std::vector<std::string> call_trace();

// Allocations made on this thread while it lives are fault points; so are those of
// threads that are created within. Tests put it round what they test, so that an
// armed fault doesn't hit the test itself.
class VLP_PLATFORM_API UnderTest {
 public:
  UnderTest();
  ~UnderTest();
  UnderTest(const UnderTest&) = delete;
  UnderTest& operator=(const UnderTest&) = delete;

 private:
  bool outer_;
};

// The opposite, for test code that runs within (callbacks, helpers).
class VLP_PLATFORM_API Exempt {
 public:
  Exempt();
  ~Exempt();
  Exempt(const Exempt&) = delete;
  Exempt& operator=(const Exempt&) = delete;

 private:
  bool outer_;
};

}  // namespace platform
