#pragma once

// The one kind of lock of this library: recursive, seen by every tool that watches
// Windows locks. Clang checks its use at compile time.

#include <windows.h>

#if defined(__clang__)
#define VLP_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VLP_THREAD_ANNOTATION(x)
#endif

#define VLP_CAPABILITY(x) VLP_THREAD_ANNOTATION(capability(x))
#define VLP_SCOPED_CAPABILITY VLP_THREAD_ANNOTATION(scoped_lockable)
#define VLP_GUARDED_BY(x) VLP_THREAD_ANNOTATION(guarded_by(x))
#define VLP_REQUIRES(...) VLP_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VLP_EXCLUDES(...) VLP_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define VLP_ACQUIRE(...) VLP_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VLP_RELEASE(...) VLP_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

namespace vlp {

class VLP_CAPABILITY("critical section") CriticalSection {
 public:
  CriticalSection() { InitializeCriticalSectionAndSpinCount(&section_, 0); }
  ~CriticalSection() { DeleteCriticalSection(&section_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void Enter() VLP_ACQUIRE() { EnterCriticalSection(&section_); }
  void Leave() VLP_RELEASE() { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

// Holds a critical section to the end of the scope.
class VLP_SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(CriticalSection& section) VLP_ACQUIRE(section) : section_(section) {
    section_.Enter();
  }
  ~LockGuard() VLP_RELEASE() { section_.Leave(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  CriticalSection& section_;
};

}  // namespace vlp
