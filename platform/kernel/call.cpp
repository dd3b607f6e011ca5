// The entrance of calls.

#include "platform/kernel/call.h"

#include <atomic>
#include <string>

#include "platform/fault_points.h"
#include "platform/kernel/state.h"

namespace platform {
namespace {

std::atomic<bool> attention = false;

[[noreturn]] void refuse_stranger(const char* name) {
  const std::string text = std::string(name) +
                           " is called by a thread that the running scenario didn't create (a "
                           "std::thread, a forked child, or a thread left from before)";
  stop(text.c_str());
}

// What the state lock is needed for at the entrance. True if the thread has to leave.
bool enter_attended(Thread& thread, const char* name, Fails fails, bool outermost,
                    std::optional<DWORD>& fault) {
  StateGuard guard;
  const State& all = state();
  if (all.process_ending && all.ending_thread != &thread) park(thread);
  if (thread.terminated) return outermost;
  if (all.mode != Mode::real && thread.scenario != all.scenario) refuse_stranger(name);
  if (!outermost) return false;
  fault = note_call(name, fails);
  maybe_preempt(thread);
  return thread.terminated;
}

// What a call did may be answered by others before its caller looks at anything.
// True if the thread has to leave.
bool leave_attended(Thread& thread) {
  const State& all = state();
  if (all.mode == Mode::serial && thread.scenario == all.scenario) maybe_preempt(thread);
  return thread.terminated;
}

}  // namespace

void update_attention() {
  const State& all = state();
  bool terminated = false;
  for (const Thread* thread : all.threads) terminated = terminated || thread->terminated;
  attention.store(all.mode != Mode::real || all.process_ending || terminated || faults_watch(),
                  std::memory_order_relaxed);
}

Call::Call(const char* name, Fails fails) {
  watch_for_exit();
  Thread& thread = self();
  outer_ = thread.call.load(std::memory_order_relaxed);
  const bool outermost = outer_ == nullptr;
  if (outermost) thread.call.store(name, std::memory_order_relaxed);
  if (!attention.load(std::memory_order_relaxed)) return;
  if (enter_attended(thread, name, fails, outermost, fault_)) leave_thread(thread.exit_code);
}

Call::~Call() {
  if (outer_ != nullptr) return;
  Thread& thread = self();
  thread.call.store(nullptr, std::memory_order_relaxed);
  if (!attention.load(std::memory_order_relaxed)) return;
  bool leaves = false;
  {
    StateGuard guard;
    leaves = leave_attended(thread);
  }
  if (leaves) leave_thread(thread.exit_code);
}

}  // namespace platform
