#pragma once

// What handles refer to. Every member is guarded by the state lock.

#include <windef.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/kernel/api.h"

namespace platform {

struct Thread;

// An object behind one or more handles. Kinds of their own derive from it (files do)
// and name themselves with `static constexpr char kKind[]`, whose address tells kinds apart.
class VLP_PLATFORM_API Object {
 public:
  explicit Object(const char* kind) : kind_(kind) {}
  // Runs without the state lock, so it may close a descriptor.
  virtual ~Object();
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  const char* kind() const { return kind_; }

  // The four operations of waiting, all under the state lock.
  virtual bool waitable() const { return false; }
  virtual bool ready(const Thread&) { return false; }
  // Gives the ready object to the thread; true if it was found abandoned.
  virtual bool take(Thread&) { return false; }
  // Whether something outside this process may make it ready.
  virtual bool polls() const { return false; }

  // Under the state lock, when the thread that owned it has ended.
  virtual void owner_ended() {}

  // Under the state lock, when no handle is left; references may still be.
  virtual void last_handle_closed() {}

  // Under the state lock, just before the destructor, which runs without it.
  virtual void last_reference_gone() {}

  const char* creator = "";  // the call that made it
  std::string name;
  int references = 0;  // handles, plus calls under way
  int handles = 0;
  std::vector<Thread*> waiters;  // in the order of their arrival

 private:
  const char* kind_;
};

// Makes a handle of the object, of which the table takes ownership. Takes the lock.
VLP_PLATFORM_API HANDLE add_handle(Object* object, const char* creator);
// The same with the lock held.
VLP_PLATFORM_API HANDLE add_handle_locked(Object* object, const char* creator);
// Removes the handle from the table; false if there is none. Takes the lock.
VLP_PLATFORM_API bool drop_handle(HANDLE handle);

// The object of a handle or null; the lock is held and stays so while it is used.
VLP_PLATFORM_API Object* lookup(HANDLE handle);

// The object of a handle with a reference of its own, or null. Takes the lock.
VLP_PLATFORM_API Object* reference(HANDLE handle);
// Gives such a reference back; the object goes with its last one. Takes the lock.
VLP_PLATFORM_API void dereference(Object* object);

// A reference for the length of a call, for work that must not hold the lock:
// Ref<File> file(handle); if (!file) return fail_with(ERROR_INVALID_HANDLE);
template <class T>
class Ref {
 public:
  explicit Ref(HANDLE handle) : object_(reference(handle)) {
    if (object_ != nullptr && object_->kind() != T::kKind) {
      dereference(object_);
      object_ = nullptr;
    }
  }
  ~Ref() {
    if (object_ != nullptr) dereference(object_);
  }
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;

  explicit operator bool() const { return object_ != nullptr; }
  T* operator->() const { return static_cast<T*>(object_); }
  T& operator*() const { return *static_cast<T*>(object_); }

 private:
  Object* object_;
};

// Makes the waiters go on whose conditions hold, in the order of their arrival. To
// be called under the lock after an object became ready.
VLP_PLATFORM_API void offer(Object& object);

// The open handles that were made since the running scenario began (in real mode: all), one
// a line: value, kind, name, the call that made it. Empty if there is none.
VLP_PLATFORM_API std::string handle_report();

}  // namespace platform
