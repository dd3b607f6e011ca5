// Events, mutexes and waits.

#include <handleapi.h>
#include <processthreadsapi.h>
#include <synchapi.h>
#include <winerror.h>
#include <winnls.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "platform/kernel/state.h"
#include "platform/named_lock.h"
#include "platform/waiting.h"

namespace platform {
namespace {

struct Event final : Object {
  static constexpr char kKind[] = "event";

  Event(bool is_manual, bool is_set) : Object(kKind), manual(is_manual), set(is_set) {}
  bool waitable() const override { return true; }
  bool ready(const Thread&) override { return set; }
  bool take(Thread&) override {
    if (!manual) set = false;
    return false;
  }
  void last_handle_closed() override;

  const bool manual;
  bool set;
};

struct Mutex final : Object {
  static constexpr char kKind[] = "mutex";

  Mutex() : Object(kKind) {}
  bool waitable() const override { return true; }
  bool polls() const override { return outside != nullptr; }
  void last_handle_closed() override;
  void last_reference_gone() override;

  bool ready(const Thread& thread) override {
    if (owner != nullptr) return owner == &thread;
    if (outside == nullptr || outside_taken) return true;
    const NamedLock::Try got = outside->try_take();
    outside_taken = got != NamedLock::Try::busy;
    abandoned = abandoned || got == NamedLock::Try::taken_abandoned;
    return outside_taken;
  }

  bool take(Thread& thread) override {
    if (owner == nullptr) {
      owner = &thread;
      thread.mutexes.push_back(this);
    }
    ++depth;
    return std::exchange(abandoned, false);
  }

  void release() {
    std::erase(owner->mutexes, this);
    owner = nullptr;
    depth = 0;
    free_outside();
    offer(*this);
  }

  void owner_ended() override {
    owner = nullptr;
    depth = 0;
    abandoned = true;
    // In this process the mutex stays abandoned; another one must find it so too.
    offer(*this);
    if (owner == nullptr && outside_taken) {
      outside->leave_abandoned();
      outside_taken = false;
      abandoned = false;
    }
  }

  void free_outside() {
    if (!outside_taken) return;
    outside->give_back();
    outside_taken = false;
  }

  Thread* owner = nullptr;
  int depth = 0;
  bool abandoned = false;
  std::unique_ptr<NamedLock> outside;  // reaches other processes
  bool outside_taken = false;
};

// Objects by their full name. With the state lock.
std::map<std::string, Object*>& names() {
  static auto* const all = new std::map<std::string, Object*>;
  return *all;
}

void forget_name(Object& object) {
  const auto found = names().find(object.name);
  if (found != names().end() && found->second == &object) names().erase(found);
}

void Event::last_handle_closed() { forget_name(*this); }
void Mutex::last_handle_closed() { forget_name(*this); }
void Mutex::last_reference_gone() {
  if (owner != nullptr) {
    std::erase(owner->mutexes, this);
    // Nobody can give it back any more, so another process finds it abandoned.
    if (outside_taken) outside->leave_abandoned();
    outside_taken = false;
  }
  free_outside();
}

constexpr size_t kNameLimit = 260;

// A trail byte that looks like a backslash is none.
bool has_backslash(const std::string& text) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsDBCSLeadByte(static_cast<BYTE>(text[i])) != FALSE) {
      ++i;
    } else if (text[i] == '\\') {
      return true;
    }
  }
  return false;
}

// The name in its full form, or the error that it deserves.
DWORD full_name(LPCSTR name, std::string& full) {
  full = name;
  if (full.size() > kNameLimit) return ERROR_FILENAME_EXCED_RANGE;
  for (const char* prefix : {"Global\\", "Local\\"}) {
    const size_t length = std::strlen(prefix);
    if (full.compare(0, length, prefix) != 0) continue;
    if (full.size() == length) return ERROR_INVALID_NAME;
    return !has_backslash(full.substr(length)) ? ERROR_SUCCESS : ERROR_PATH_NOT_FOUND;
  }
  if (has_backslash(full)) return ERROR_PATH_NOT_FOUND;
  full.insert(0, "Local\\");
  return ERROR_SUCCESS;
}

struct Creation {
  HANDLE handle = nullptr;
  DWORD error = ERROR_SUCCESS;
};

// A handle to the object of that name if there is one.
bool open_existing(const std::string& name, const char* kind, const char* creator,
                   Creation& creation) {
  if (name.empty()) return false;
  const auto found = names().find(name);
  if (found == names().end()) return false;
  if (found->second->kind() != kind) {
    creation.error = ERROR_INVALID_HANDLE;
  } else {
    creation.handle = add_handle_locked(found->second, creator);
    creation.error = ERROR_ALREADY_EXISTS;
  }
  return true;
}

Creation create_event(const std::string& name, bool manual, bool set) {
  Creation creation;
  const StateGuard guard;
  if (open_existing(name, Event::kKind, "CreateEventA", creation)) return creation;
  auto* event = new Event(manual, set);
  event->name = name;
  if (!name.empty()) names()[name] = event;
  creation.handle = add_handle_locked(event, "CreateEventA");
  return creation;
}

Creation create_mutex(const std::string& name, bool owned, Thread& thread) {
  Creation creation;
  const StateGuard guard;
  if (open_existing(name, Mutex::kKind, "CreateMutexA", creation)) return creation;
  auto mutex = std::make_unique<Mutex>();
  mutex->name = name;
  if (!name.empty() && state().mode == Mode::real) {
    mutex->outside = std::make_unique<NamedLock>();
    switch (mutex->outside->open(name)) {
      case NamedLock::Opening::failed:
        creation.error = ERROR_ACCESS_DENIED;
        return creation;
      case NamedLock::Opening::existed:
        creation.error = ERROR_ALREADY_EXISTS;
        break;
      case NamedLock::Opening::created:
        break;
    }
  }
  if (owned && creation.error == ERROR_SUCCESS && mutex->ready(thread)) mutex->take(thread);
  if (!name.empty()) names()[name] = mutex.get();
  creation.handle = add_handle_locked(mutex.release(), "CreateMutexA");
  return creation;
}

HANDLE finish(const Creation& creation) {
  fail_with(creation.error);
  return creation.handle;
}

Event* find_event(HANDLE handle) {
  Object* object = lookup(handle);
  return object != nullptr && object->kind() == Event::kKind ? static_cast<Event*>(object)
                                                             : nullptr;
}

Object* waitable(HANDLE handle) {
  if (handle == GetCurrentThread()) return &self();
  Object* object = lookup(handle);
  return object != nullptr && object->waitable() ? object : nullptr;
}

bool has_twins(const std::vector<Object*>& objects) {
  for (size_t i = 0; i < objects.size(); ++i) {
    if (std::find(objects.begin(), objects.begin() + static_cast<std::ptrdiff_t>(i), objects[i]) !=
        objects.begin() + static_cast<std::ptrdiff_t>(i)) {
      return true;
    }
  }
  return false;
}

void join_queues(Thread& thread) {
  for (Object* object : thread.wanted) {
    if (std::find(object->waiters.begin(), object->waiters.end(), &thread) ==
        object->waiters.end()) {
      object->waiters.push_back(&thread);
    }
  }
}

// The wait proper; the objects live on meanwhile by references that the caller holds.
DWORD wait_for(Thread& thread, const std::vector<Object*>& objects, bool all, DWORD milliseconds) {
  thread.wanted = objects;
  thread.wants_all = all;
  if (satisfy(thread)) {
    thread.wanted.clear();
    return thread.result;
  }
  if (milliseconds == 0) {
    thread.wanted.clear();
    note_spin(thread);
    return WAIT_TIMEOUT;
  }
  join_queues(thread);
  std::optional<Nanoseconds> moment;
  if (milliseconds != INFINITE) moment = now() + milliseconds * kMillisecond;
  return block(thread, moment) ? thread.result : WAIT_TIMEOUT;
}

void state_edges(const std::vector<Object*>& objects, bool all, DWORD result) {
  // A thread that is terminated comes back with a failed wait.
  if (result == WAIT_TIMEOUT || result == WAIT_FAILED) return;
  if (all) {
    for (const Object* object : objects) happens_after(object);
  } else {
    happens_after(objects[result & ~WAIT_ABANDONED_0]);
  }
}

DWORD refuse_wait(DWORD error) {
  fail_with(error);
  return WAIT_FAILED;
}

DWORD wait_on(DWORD count, const HANDLE* handles, bool all, DWORD milliseconds) {
  Thread& thread = self();
  std::vector<Object*> objects;
  DWORD result = WAIT_FAILED;
  {
    const StateGuard guard;
    for (DWORD i = 0; i < count; ++i) {
      Object* object = waitable(handles[i]);
      if (object == nullptr) return refuse_wait(ERROR_INVALID_HANDLE);
      objects.push_back(object);
    }
    if (all && has_twins(objects)) return refuse_wait(ERROR_INVALID_PARAMETER);
    for (Object* object : objects) ++object->references;
    result = wait_for(thread, objects, all, milliseconds);
    state_edges(objects, all, result);
  }
  for (Object* object : objects) dereference(object);
  return result;
}

}  // namespace

Object* make_event(bool manual, bool set) { return new Event(manual, set); }

void set_event(Object& object) {
  happens_before(&object);
  set_event_by_clock(object);
}

void set_event_by_clock(Object& object) {
  static_cast<Event&>(object).set = true;
  offer(object);
}

Object* lookup_event(HANDLE handle) { return find_event(handle); }

}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::Fails;
using platform::StateGuard;

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manual_reset, BOOL initial_state,
                           LPCSTR name) {
  const Call call("CreateEventA");
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  std::string full;
  if (name != nullptr && *name != '\0') {
    const DWORD error = platform::full_name(name, full);
    if (error != ERROR_SUCCESS) return fail_with(error), nullptr;
  }
  return platform::finish(
      platform::create_event(full, manual_reset != FALSE, initial_state != FALSE));
}

BOOL WINAPI SetEvent(HANDLE event) {
  const Call call("SetEvent", Fails::once);
  if (call.fault()) return fail_with(*call.fault());
  const StateGuard guard;
  platform::Event* object = platform::find_event(event);
  if (object == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  platform::set_event(*object);
  return TRUE;
}

BOOL WINAPI ResetEvent(HANDLE event) {
  const Call call("ResetEvent");
  if (call.fault()) return fail_with(*call.fault());
  const StateGuard guard;
  platform::Event* object = platform::find_event(event);
  if (object == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  object->set = false;
  return TRUE;
}

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL initial_owner, LPCSTR name) {
  const Call call("CreateMutexA");
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  std::string full;
  if (name != nullptr && *name != '\0') {
    const DWORD error = platform::full_name(name, full);
    if (error != ERROR_SUCCESS) return fail_with(error), nullptr;
  }
  return platform::finish(platform::create_mutex(full, initial_owner != FALSE, platform::self()));
}

BOOL WINAPI ReleaseMutex(HANDLE mutex) {
  const Call call("ReleaseMutex");
  if (call.fault()) return fail_with(*call.fault());
  platform::Thread& thread = platform::self();
  const StateGuard guard;
  platform::Object* object = platform::lookup(mutex);
  if (object == nullptr || object->kind() != platform::Mutex::kKind) {
    return fail_with(ERROR_INVALID_HANDLE);
  }
  auto& found = static_cast<platform::Mutex&>(*object);
  if (found.owner != &thread) return fail_with(ERROR_NOT_OWNER);
  platform::happens_before(&found);
  if (--found.depth == 0) found.release();
  return TRUE;
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  const Call call("WaitForSingleObject", Fails::once);
  if (call.fault()) return platform::refuse_wait(*call.fault());
  return platform::wait_on(1, &handle, false, milliseconds);
}

DWORD WINAPI WaitForMultipleObjects(DWORD count, CONST HANDLE* handles, BOOL wait_all,
                                    DWORD milliseconds) {
  const Call call("WaitForMultipleObjects", Fails::once);
  if (call.fault()) return platform::refuse_wait(*call.fault());
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr) {
    return platform::refuse_wait(ERROR_INVALID_PARAMETER);
  }
  return platform::wait_on(count, handles, wait_all != FALSE, milliseconds);
}

VOID WINAPI Sleep(DWORD milliseconds) {
  const Call call("Sleep", Fails::never);
  platform::Thread& thread = platform::self();
  const StateGuard guard;
  if (milliseconds == 0) return platform::yield(thread);
  std::optional<platform::Nanoseconds> moment;
  if (milliseconds != INFINITE) moment = platform::now() + milliseconds * platform::kMillisecond;
  platform::block(thread, moment);
}

BOOL WINAPI CloseHandle(HANDLE handle) {
  const Call call("CloseHandle");
  if (!platform::drop_handle(handle)) return fail_with(ERROR_INVALID_HANDLE);
  if (call.fault()) return fail_with(*call.fault());
  return TRUE;
}
