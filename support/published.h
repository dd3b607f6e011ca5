#pragma once

// A value that one thread finishes and then shows to all others at once.

#include <memory>
#include <utility>

#include "support/critical_section.h"

namespace vlp {

// Readers take a snapshot that stays whole and alive whatever is published later.
// The lock is held only to copy or swap the pointer; what the old value owned is
// freed outside of it.
template <typename Value>
class Published {
 public:
  using Snapshot = std::shared_ptr<const Value>;

  Published() = default;
  explicit Published(Snapshot first) : value_(std::move(first)) {}

  Snapshot Get() const VLP_EXCLUDES(lock_) {
    const LockGuard guard(lock_);
    return value_;
  }

  // Publishes `next` unless there is a value already; returns the one in force.
  Snapshot SetIfEmpty(Snapshot next) VLP_EXCLUDES(lock_) {
    const LockGuard guard(lock_);
    if (value_ == nullptr) value_.swap(next);
    return value_;
  }

  // Null is a value too: nothing is held.
  void Set(Snapshot next) VLP_EXCLUDES(lock_) {
    const LockGuard guard(lock_);
    value_.swap(next);
  }

 private:
  mutable CriticalSection lock_;
  Snapshot value_ VLP_GUARDED_BY(lock_);
};

}  // namespace vlp
