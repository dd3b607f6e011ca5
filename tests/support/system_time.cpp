#include "tests/support/system_time.h"

#if defined(_WIN32)

namespace test {

void run_timed(const std::function<void()>& body) { body(); }
bool time_is_exact() { return false; }

}  // namespace test

#else

#include "tests/support/virtual_time.h"

namespace test {

void run_timed(const std::function<void()>& body) { run_virtual_parallel(body); }
bool time_is_exact() { return true; }

}  // namespace test

#endif
