#pragma once

// The entrance of every call that the layer supplies.

#include <windef.h>

#include <optional>

#include "platform/kernel/api.h"

namespace platform {

// Whether the ledger says that a call can fail. `once` marks waits and signals: they
// may fail once, never from then on, since nobody can go on without them.
enum class Fails { never, yes, once };

// Stands first in every supplied call. While it lives the thread is inside the
// layer: allocations are not counted as fault points and a deadlock report names
// the call. In virtual modes it stops the program if the thread isn't one of the
// scenario's, and in serial mode it may hand the baton to another thread, before the
// call does its work and behind it. Of calls within a call only the outermost is a fault point.
class VLP_PLATFORM_API Call {
 public:
  explicit Call(const char* name, Fails fails = Fails::yes);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // The error that an armed fault wants this call to fail with; none as a rule.
  // The caller returns it in its own way (last error, result, HRESULT).
  std::optional<DWORD> fault() const { return fault_; }

 private:
  const char* outer_;
  std::optional<DWORD> fault_;
};

// Holds the layer's one lock, which guards all of its state: handles, waits, clock,
// machine. ThreadSanitizer doesn't see it, nor the accesses made under it, so that
// it orders nothing between the threads of the program under test. Never held over
// file access or anything else that may block, and not taken twice by one thread.
class VLP_PLATFORM_API StateGuard {
 public:
  StateGuard();
  ~StateGuard();
  StateGuard(const StateGuard&) = delete;
  StateGuard& operator=(const StateGuard&) = delete;
};

// Hides what a thread does from ThreadSanitizer without holding the lock, for
// layer memory that is released after its last use.
class VLP_PLATFORM_API Unseen {
 public:
  Unseen();
  ~Unseen();
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;
};

// Sets the last error and gives FALSE, for calls that report that way.
VLP_PLATFORM_API BOOL fail_with(DWORD error);

// State an ordering edge of the documented API to ThreadSanitizer: everything
// before happens_before(x) is visible behind happens_after(x). They may be called
// with or without the state lock.
VLP_PLATFORM_API void happens_before(const void* object);
VLP_PLATFORM_API void happens_after(const void* object);

// Prints the text on standard error and aborts: the program under test did what
// can only be a mistake of the test or a hang.
[[noreturn]] VLP_PLATFORM_API void stop(const char* text);

}  // namespace platform
