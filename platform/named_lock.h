#pragma once

// Names that reach other processes, and the lock behind a named mutex. Real mode only.

#include <string>

namespace platform {

// A file in the shared directory that stands for one named mutex. The lock is an
// advisory one on an open description of its own, so that the system gives it
// back when the process dies; a word in the file tells whether its last holder did.
class NamedLock {
 public:
  enum class Opening { created, existed, failed };

  NamedLock() = default;
  ~NamedLock();
  NamedLock(const NamedLock&) = delete;
  NamedLock& operator=(const NamedLock&) = delete;

  // Tells whether another process has the name open.
  Opening open(const std::string& name);

  enum class Try { taken, taken_abandoned, busy };
  Try try_take();
  void give_back();
  // The same, but the next to take it finds it abandoned.
  void leave_abandoned();

 private:
  int presence_ = -1;
  int lock_ = -1;
};

}  // namespace platform
