#include "platform/sections.h"

#include <synchapi.h>

#include <algorithm>
#include <string>

// The SDK keeps this record to itself; here it is the section's queue.
struct _RTL_CRITICAL_SECTION_DEBUG {
  const void* section;  // the owner's address, which tells a live section from stray bytes
  platform::Thread* owner;
  std::vector<platform::Thread*> waiters;
};

namespace platform {
namespace {

using Queue = _RTL_CRITICAL_SECTION_DEBUG;

Queue& queue_of(CRITICAL_SECTION& section) {
  Queue* queue = section.DebugInfo;
  if (queue == nullptr || queue->section != &section) {
    stop("a critical section is used that is not initialised, deleted or was copied");
  }
  return *queue;
}

// OwningThread shows the number, as a debugger expects; the owner is told by this one,
// since numbers begin anew with each scenario.
Thread*& owner_of(CRITICAL_SECTION& section) { return queue_of(section).owner; }

void forget_orphan(const CRITICAL_SECTION& section) {
  const auto orphan = state().orphans.find(&section);
  if (orphan == state().orphans.end()) return;
  Thread* owner = orphan->second.owner;
  state().orphans.erase(orphan);
  if (--owner->references == 0) delete owner;
}

void own(CRITICAL_SECTION& section, Thread& thread) {
  owner_of(section) = &thread;
  section.OwningThread = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(thread.id));
  section.RecursionCount = 1;
  section.LockCount = 0;
  thread.sections.push_back(&section);
}

// The ordering edges hang on the queue: a section's own address may be that of an
// earlier section, on a reused stack, which would seem to order what isn't.
void state_entered(CRITICAL_SECTION& section) { happens_after(&queue_of(section)); }
void state_left(CRITICAL_SECTION& section) { happens_before(&queue_of(section)); }

}  // namespace

void init_section(CRITICAL_SECTION& section, DWORD spin_count) {
  section = {};
  section.DebugInfo = new Queue{&section, nullptr, {}};
  section.LockCount = -1;
  section.SpinCount = spin_count;
}

void delete_section(CRITICAL_SECTION& section) {
  Queue& queue = queue_of(section);
  if (!queue.waiters.empty()) stop("a critical section is deleted while a thread waits for it");
  for (Thread* thread : state().threads) std::erase(thread->sections, &section);
  forget_orphan(section);
  delete &queue;
  section = {};
}

bool owns_section(CRITICAL_SECTION& section, const Thread& thread) {
  return owner_of(section) == &thread;
}

bool try_enter_section(CRITICAL_SECTION& section, Thread& thread) {
  if (owns_section(section, thread)) {
    ++section.RecursionCount;
    return true;
  }
  if (owner_of(section) != nullptr) return false;
  own(section, thread);
  return true;
}

void enter_section(CRITICAL_SECTION& section, Thread& thread) {
  if (try_enter_section(section, thread)) return;
  queue_of(section).waiters.push_back(&thread);
  thread.wanted_section = &section;
  block(thread, std::nullopt);  // the leaver makes this thread the owner
}

void leave_section(CRITICAL_SECTION& section, Thread& thread) {
  Queue& queue = queue_of(section);
  if (!owns_section(section, thread)) {
    stop("LeaveCriticalSection by a thread that isn't in the section");
  }
  if (--section.RecursionCount > 0) return;
  queue.owner = nullptr;
  section.OwningThread = nullptr;
  section.LockCount = -1;
  std::erase(thread.sections, &section);
  if (queue.waiters.empty()) return;
  Thread& next = *queue.waiters.front();
  own(section, next);
  wake(next, WAIT_OBJECT_0);
}

void leave_section_queue(const void* section, Thread& thread) {
  auto* address = static_cast<CRITICAL_SECTION*>(const_cast<void*>(section));
  std::erase(queue_of(*address).waiters, &thread);
}

}  // namespace platform

using platform::Call;
using platform::Fails;
using platform::StateGuard;

VOID WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) {
  const Call call("InitializeCriticalSection", Fails::never);
  const StateGuard guard;
  platform::init_section(*section, 0);
}

BOOL WINAPI InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spin_count) {
  const Call call("InitializeCriticalSectionAndSpinCount", Fails::never);
  const StateGuard guard;
  platform::init_section(*section, spin_count);
  return TRUE;
}

VOID WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section) {
  const Call call("DeleteCriticalSection", Fails::never);
  const StateGuard guard;
  platform::delete_section(*section);
}

VOID WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) {
  const Call call("EnterCriticalSection", Fails::never);
  platform::Thread& thread = platform::self();
  const StateGuard guard;
  platform::enter_section(*section, thread);
  // A terminated thread comes back without the section, which may be gone by now.
  if (!thread.terminated) platform::state_entered(*section);
}

BOOL WINAPI TryEnterCriticalSection(LPCRITICAL_SECTION section) {
  const Call call("TryEnterCriticalSection", Fails::never);
  platform::Thread& thread = platform::self();
  const StateGuard guard;
  if (!platform::try_enter_section(*section, thread)) {
    platform::note_spin(thread);
    return FALSE;
  }
  platform::state_entered(*section);
  return TRUE;
}

VOID WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) {
  const Call call("LeaveCriticalSection", Fails::never);
  platform::Thread& thread = platform::self();
  const StateGuard guard;
  platform::state_left(*section);
  platform::leave_section(*section, thread);
}
