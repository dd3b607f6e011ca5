// The handle table.

#include "platform/kernel/object.h"

#include <algorithm>
#include <cstdio>

#include "platform/kernel/state.h"

namespace platform {

Object::~Object() = default;

HANDLE add_handle_locked(Object* object, const char* creator) {
  State& all = state();
  const uintptr_t value = all.next_handle;
  all.next_handle += 4;  // never used again, so that a stale handle is always found out
  if (object->references == 0) object->creator = creator;
  ++object->references;
  ++object->handles;
  all.handles[value] = {object, all.scenario, creator};
  return reinterpret_cast<HANDLE>(value);
}

HANDLE add_handle(Object* object, const char* creator) {
  StateGuard guard;
  return add_handle_locked(object, creator);
}

Object* lookup(HANDLE handle) {
  const auto& handles = state().handles;
  const auto entry = handles.find(reinterpret_cast<uintptr_t>(handle));
  return entry == handles.end() ? nullptr : entry->second.object;
}

Object* reference(HANDLE handle) {
  StateGuard guard;
  Object* object = lookup(handle);
  if (object != nullptr) ++object->references;
  return object;
}

void dereference(Object* object) {
  bool last = false;
  {
    StateGuard guard;
    last = --object->references == 0;
    if (last) object->last_reference_gone();
  }
  if (!last) return;
  Unseen unseen;
  delete object;
}

bool drop_handle(HANDLE handle) {
  Object* object = nullptr;
  {
    StateGuard guard;
    auto& handles = state().handles;
    const auto entry = handles.find(reinterpret_cast<uintptr_t>(handle));
    if (entry == handles.end()) return false;
    object = entry->second.object;
    handles.erase(entry);
    if (--object->handles == 0) object->last_handle_closed();
  }
  dereference(object);
  return true;
}

std::string handle_report() {
  StateGuard guard;
  std::string report;
  for (const auto& [value, entry] : state().handles) {
    if (entry.scenario != state().scenario) continue;
    char number[24];
    std::snprintf(number, sizeof number, "0x%lx", static_cast<unsigned long>(value));
    report += std::string("handle ") + number + ": " + entry.object->kind();
    if (!entry.object->name.empty()) report += " \"" + entry.object->name + "\"";
    report += std::string(" of ") + entry.creator + "\n";
  }
  return report;
}

}  // namespace platform
