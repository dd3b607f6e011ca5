#include "platform/faults.h"

#include <atomic>
#include <cstring>
#include <map>

#include "platform/fault_points.h"
#include "platform/kernel/state.h"

namespace platform {
namespace {

struct Fault {
  std::string name;  // empty: any
  bool allocations;  // any name: allocations too
  unsigned left;     // calls to go until it fails
  bool from_then_on;
  DWORD error;
};

struct Book {
  std::vector<Fault> faults;
  std::vector<std::string> failed;
  bool watching = false;
  std::map<std::string, unsigned> counts;
  std::vector<std::string> trace;
};

constexpr const char* kAllocation = "operator new";

// Guarded by the state lock, and as immortal as the state.
Book& book() {
  static Book* const made = new Book;
  return *made;
}

// Whether any armed fault concerns allocations; so that operator new costs nothing else.
std::atomic<bool> allocations_armed = false;
thread_local bool tested = false;

void arm(Fault fault) {
  Unseen unseen;
  StateGuard guard;
  if (fault.name == kAllocation || (fault.name.empty() && fault.allocations)) {
    allocations_armed.store(true, std::memory_order_relaxed);
  }
  book().faults.push_back(std::move(fault));
  update_attention();
}

bool concerns(const Fault& fault, const char* name) {
  if (!fault.name.empty()) return fault.name == name;
  return fault.allocations || std::strcmp(name, kAllocation) != 0;
}

// Whether the fault strikes at this call of a name that it concerns.
bool strikes(Fault& fault, Fails fails) {
  if (fault.left > 0 && --fault.left == 0) return true;
  return fault.left == 0 && fault.from_then_on && fails != Fails::once;
}

}  // namespace

std::optional<DWORD> note_call(const char* name, Fails fails) {
  Book& all = book();
  if (all.watching) {
    ++all.counts[name];
    all.trace.push_back(self().name + " " + name);
  }
  if (fails == Fails::never) return std::nullopt;
  std::optional<DWORD> error;
  for (Fault& fault : all.faults) {
    if (concerns(fault, name) && strikes(fault, fails)) error = fault.error;
  }
  if (error) all.failed.emplace_back(name);
  return error;
}

bool faults_watch() { return !book().faults.empty() || book().watching; }

bool allocation_fails() {
  if (!allocations_armed.load(std::memory_order_relaxed) || !tested) return false;
  if (holds_state_lock()) return false;
  tested = false;  // what is allocated in here doesn't count
  bool fails = false;
  if (self().call.load(std::memory_order_relaxed) == nullptr) {
    StateGuard guard;
    fails = note_call(kAllocation, Fails::yes).has_value();
  }
  tested = true;
  return fails;
}

bool under_test() { return tested; }
void set_under_test(bool is_tested) { tested = is_tested; }

void fail_call(const std::string& name, unsigned nth, DWORD error) {
  arm({name, true, nth, false, error});
}
void fail_call_from(const std::string& name, unsigned nth, DWORD error) {
  arm({name, true, nth, true, error});
}
void fail_nth_call(unsigned nth, DWORD error) { arm({"", true, nth, false, error}); }
void fail_nth_system_call(unsigned nth, DWORD error) { arm({"", false, nth, false, error}); }

void clear_faults() {
  StateGuard guard;
  book() = Book();
  allocations_armed.store(false, std::memory_order_relaxed);
  update_attention();
}

unsigned faults_met() {
  StateGuard guard;
  return static_cast<unsigned>(book().failed.size());
}

std::vector<std::string> failed_calls() {
  StateGuard guard;
  return book().failed;
}

void watch_calls() {
  StateGuard guard;
  book().watching = true;
  update_attention();
}

unsigned calls_of(const std::string& name) {
  StateGuard guard;
  const auto found = book().counts.find(name);
  return found == book().counts.end() ? 0 : found->second;
}

std::vector<std::string> call_trace() {
  StateGuard guard;
  return book().trace;
}

UnderTest::UnderTest() : outer_(tested) { tested = true; }
UnderTest::~UnderTest() { tested = outer_; }
Exempt::Exempt() : outer_(tested) { tested = false; }
Exempt::~Exempt() { tested = outer_; }

}  // namespace platform
