// Scenarios: virtual time from begin to end, and what tests ask meanwhile.

#include "platform/kernel/scenario.h"

#include <synchapi.h>

#include <algorithm>

#include "platform/kernel/state.h"

namespace platform {
namespace {

void clear_schedule(State& all) {
  all.timers.clear();
  all.timer_moments.clear();
  all.queue.clear();
  all.settlers.clear();
  all.baton = nullptr;
  all.runnable = 0;
}

void settle_locked(Thread& thread) {
  if (state().mode == Mode::real) stop("settle outside a virtual scenario");
  thread.settling = true;
  state().settlers.push_back(&thread);
  block(thread, std::nullopt);
}

std::string threads_left(const Thread& body) {
  std::string text;
  for (const Thread* thread : state().threads) {
    if (thread != &body && thread->scenario == state().scenario) {
      text += "thread left: " + describe(*thread) + "\n";
    }
  }
  return text;
}

std::string timers_left() {
  std::string text;
  for (const auto& [due, timer] : state().timers) {
    if (timer.debt == nullptr) continue;
    text += std::string("timer left: ") + timer.debt + " due at " +
            std::to_string(due.first / kMillisecond) + " ms\n";
  }
  return text;
}

std::string lock_text(const Thread& thread, const char* kind, const std::string& name) {
  return std::string(kind) + (name.empty() ? "" : " \"" + name + "\"") + " held by " + thread.name;
}

std::vector<std::string> locks_of(const Thread& thread) {
  std::vector<std::string> locks;
  for (const Object* mutex : thread.mutexes) {
    locks.push_back(lock_text(thread, "mutex", mutex->name));
  }
  for (size_t i = 0; i < thread.sections.size(); ++i) {
    locks.push_back(lock_text(thread, "critical section", ""));
  }
  return locks;
}

// Numbers begin anew with each scenario; threads left from earlier ones don't count.
const Thread* find_thread_by_id(uint32_t thread_id) {
  for (const Thread* thread : state().threads) {
    if (thread->id == thread_id && thread->scenario == state().scenario) return thread;
  }
  return nullptr;
}

std::string locks_left() {
  std::string text;
  for (const Thread* thread : state().threads) {
    if (thread->scenario != state().scenario) continue;
    for (const std::string& lock : locks_of(*thread)) text += "lock left: " + lock + "\n";
  }
  for (const auto& [section, orphan] : state().orphans) {
    if (orphan.owner->scenario == state().scenario) text += "lock left: " + orphan.text + "\n";
  }
  return text;
}

}  // namespace

void begin_scenario(const ScenarioOptions& options) {
  Thread& body = self();
  StateGuard guard;
  State& all = state();
  if (all.mode != Mode::real) stop("a scenario begins within a scenario");
  if (options.mode == Mode::real) stop("a scenario needs a virtual mode");
  clear_schedule(all);
  all.mode = options.mode;
  all.scenario = ++all.last_scenario;
  all.virtual_now = 0;
  all.tick_offset = options.tick_start_ms;
  all.random = options.seed * 0x2545f4914f6cdd1d + 1;
  constexpr unsigned kPreempts[] = {0, 1, 4, 8};
  all.preempt_in_16 = kPreempts[options.seed % 4];
  all.progress = 0;
  all.wakes = 0;
  all.trace.clear();
  all.next_thread_id = 0x1000;
  all.runnable = 1;
  body.scenario = all.scenario;
  body.id = all.next_thread_id;
  all.next_thread_id += 4;
  body.name = "body";
  body.wakes = 0;
  body.spins = 0;
  body.clock_reads = 0;
  if (options.mode == Mode::serial) all.baton = &body;
  update_attention();
}

std::string end_scenario() {
  Thread& body = self();
  std::string left;
  {
    StateGuard guard;
    settle_locked(body);
    left = threads_left(body) + locks_left() + timers_left();
  }
  left += handle_report();
  StateGuard guard;
  State& all = state();
  clear_schedule(all);
  all.mode = Mode::real;
  all.scenario = 0;
  body.scenario = 0;
  update_attention();
  return left;
}

Mode current_mode() {
  StateGuard guard;
  return state().mode;
}

void settle() {
  Thread& thread = self();
  StateGuard guard;
  settle_locked(thread);
}

uint64_t elapsed_ms() {
  StateGuard guard;
  return state().virtual_now / kMillisecond;
}

uint64_t wake_count() {
  StateGuard guard;
  return state().wakes;
}

uint64_t wake_count(uint32_t thread_id) {
  StateGuard guard;
  const Thread* thread = find_thread_by_id(thread_id);
  return thread == nullptr ? 0 : thread->wakes;
}

std::vector<std::string> schedule_trace() {
  StateGuard guard;
  return state().trace;
}

void name_this_thread(const std::string& name) {
  Thread& thread = self();
  StateGuard guard;
  thread.name = name;
}

std::vector<std::string> locks_held_by(uint32_t thread_id) {
  StateGuard guard;
  const Thread* thread = find_thread_by_id(thread_id);
  return thread == nullptr ? std::vector<std::string>() : locks_of(*thread);
}

bool any_lock_held() {
  StateGuard guard;
  const auto holds = [](const Thread* thread) {
    return thread->scenario == state().scenario &&
           (!thread->mutexes.empty() || !thread->sections.empty());
  };
  const auto left = [](const auto& entry) {
    return entry.second.owner->scenario == state().scenario;
  };
  return std::any_of(state().orphans.begin(), state().orphans.end(), left) ||
         std::any_of(state().threads.begin(), state().threads.end(), holds);
}

}  // namespace platform
