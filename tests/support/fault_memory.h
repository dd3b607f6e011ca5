#pragma once

// For tests that make allocations fail. ThreadSanitizer brings an operator new of its own
// that can't be replaced, so there these tests are left out; every other build runs them.

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VLP_MEMORY_CANT_FAIL
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define VLP_MEMORY_CANT_FAIL
#endif

// First in such a test.
#if defined(VLP_MEMORY_CANT_FAIL)
#define SKIP_UNLESS_MEMORY_CAN_FAIL() \
  GTEST_SKIP() << "ThreadSanitizer's allocation can't be made to fail"
#else
#define SKIP_UNLESS_MEMORY_CAN_FAIL() static_cast<void>(0)
#endif
