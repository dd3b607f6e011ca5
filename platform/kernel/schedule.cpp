// Who runs: blocking, waking, the baton, the jump of the clock, deadlock.

#include <pthread.h>
#include <sched.h>
#include <synchapi.h>
#include <time.h>
#include <winerror.h>

#include <algorithm>

#include "platform/kernel/state.h"

namespace platform {
namespace {

constexpr uint64_t kSpinLimit = 10'000;
constexpr Nanoseconds kPollEvery = 2 * kMillisecond;

uint64_t next_random() {
  uint64_t& word = state().random;
  word += 0x9e3779b97f4a7c15;
  uint64_t mixed = word;
  mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
  return mixed ^ (mixed >> 31);
}

bool in_schedule(const Thread& thread) {
  return state().mode != Mode::real && thread.scenario == state().scenario;
}

void let_go(Thread& thread) {
  thread.go = true;
  pthread_cond_signal(&thread.changed);
}

void grant_baton(Thread& thread) {
  State& all = state();
  all.baton = &thread;
  const char* call = thread.call.load(std::memory_order_relaxed);
  all.trace.push_back(std::to_string(all.virtual_now / kMillisecond) + " " + thread.name + " " +
                      (call != nullptr ? call : "-"));
  let_go(thread);
}

void pick_next() {
  State& all = state();
  if (all.mode != Mode::serial || all.baton != nullptr || all.queue.empty()) return;
  const auto chosen =
      all.queue.begin() + static_cast<std::ptrdiff_t>(next_random() % all.queue.size());
  Thread* thread = *chosen;
  all.queue.erase(chosen);
  grant_baton(*thread);
}

[[noreturn]] void report_deadlock(const char* what) {
  std::string text = std::string(what) + " at " +
                     std::to_string(state().virtual_now / kMillisecond) + " ms; its threads:";
  for (const Thread* thread : state().threads) {
    if (thread->scenario == state().scenario) text += "\n  " + describe(*thread);
  }
  stop(text.c_str());
}

// Nobody can run: somebody who waits for just that, or the clock, must go on.
void dispatch() {
  State& all = state();
  if (all.mode == Mode::real) return;
  while (all.runnable == 0) {
    if (!all.settlers.empty()) {
      wake(*all.settlers.front(), WAIT_OBJECT_0);
    } else if (!all.timers.empty()) {
      fire_first_timer();
    } else {
      report_deadlock("deadlock: no thread of the scenario can run and no deadline is left");
    }
  }
  pick_next();
}

void stop_running(Thread& thread) {
  State& all = state();
  thread.go = false;
  --all.runnable;
  if (all.baton == &thread) all.baton = nullptr;
}

void wait_for_go(Thread& thread) {
  while (!thread.go) pthread_cond_wait(&thread.changed, &state().lock);
}

bool any_polls(const Thread& thread) {
  return std::any_of(thread.wanted.begin(), thread.wanted.end(),
                     [](const Object* object) { return object->polls(); });
}

timespec timespec_of(Nanoseconds moment) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(moment / 1'000'000'000);
  time.tv_nsec = static_cast<long>(moment % 1'000'000'000);
  return time;
}

// Real mode: the thread watches its own time-out, and looks again and again at what
// another process may give free.
void wait_in_real_time(Thread& thread, std::optional<Nanoseconds> moment) {
  const bool polls = any_polls(thread);
  while (!thread.go) {
    std::optional<Nanoseconds> until = moment;
    if (polls) until = std::min(moment.value_or(UINT64_MAX), now() + kPollEvery);
    if (!until) {
      pthread_cond_wait(&thread.changed, &state().lock);
      continue;
    }
    const timespec time = timespec_of(*until);
    pthread_cond_timedwait(&thread.changed, &state().lock, &time);
    if (thread.go) break;
    if (polls && satisfy(thread)) {
      wake(thread, thread.result);
    } else if (moment && now() >= *moment) {
      wake(thread, WAIT_TIMEOUT);
    }
  }
}

bool everyone_spins() {
  State& all = state();
  return std::all_of(all.threads.begin(), all.threads.end(), [&](const Thread* thread) {
    if (thread->scenario != all.scenario || thread->phase != Thread::Phase::running) return true;
    return thread->spin_mark == all.progress && thread->spins >= kSpinLimit;
  });
}

void count_spin(Thread& thread) {
  State& all = state();
  if (thread.spin_mark != all.progress) {
    thread.spin_mark = all.progress;
    thread.spins = 0;
  }
  if (++thread.spins < kSpinLimit || !everyone_spins()) return;
  report_deadlock("no progress: the threads that can run only yield or poll, and time stands");
}

}  // namespace

bool block(Thread& thread, std::optional<Nanoseconds> moment) {
  // Should it be terminated in here, its end comes behind all that it has done.
  happens_before(&thread);
  thread.phase = Thread::Phase::blocked;
  thread.result = WAIT_TIMEOUT;
  if (!in_schedule(thread)) {
    thread.go = false;
    wait_in_real_time(thread, moment);
  } else {
    if (moment) {
      Timer timer;
      timer.thread = &thread;
      thread.timer = insert_timer(*moment, std::move(timer));
    }
    stop_running(thread);
    dispatch();
    wait_for_go(thread);
  }
  return thread.result != WAIT_TIMEOUT;
}

void wake(Thread& thread, DWORD result) {
  State& all = state();
  unlink(thread);
  thread.result = result;
  thread.phase = Thread::Phase::running;
  ++thread.wakes;
  if (!in_schedule(thread)) {
    let_go(thread);
    return;
  }
  ++all.wakes;
  ++all.progress;
  ++all.runnable;
  if (all.mode == Mode::serial) {
    all.queue.push_back(&thread);
    pick_next();
  } else {
    let_go(thread);
  }
}

void enter_schedule(Thread& thread) {
  State& all = state();
  thread.phase = Thread::Phase::running;
  if (!in_schedule(thread)) {
    let_go(thread);
    return;
  }
  ++all.progress;
  ++all.runnable;
  if (all.mode == Mode::serial) {
    thread.go = false;
    all.queue.push_back(&thread);
    pick_next();
  } else {
    let_go(thread);
  }
}

void leave_schedule(Thread& thread) {
  if (!in_schedule(thread)) return;
  stop_running(thread);
  ++state().progress;
  dispatch();
}

void await_turn(Thread& thread) { wait_for_go(thread); }

void pass_turn(Thread& thread) {
  State& all = state();
  if (all.mode != Mode::serial || all.queue.empty()) return;
  thread.go = false;
  all.baton = nullptr;
  pick_next();
  all.queue.push_back(&thread);
  wait_for_go(thread);
}

void yield(Thread& thread) {
  if (in_schedule(thread)) note_spin(thread);
  if (state().mode == Mode::serial) return;
  pthread_mutex_unlock(&state().lock);
  sched_yield();
  pthread_mutex_lock(&state().lock);
}

void note_spin(Thread& thread) {
  if (!in_schedule(thread)) return;
  count_spin(thread);
  pass_turn(thread);
}

void maybe_preempt(Thread& thread) {
  State& all = state();
  if (all.mode != Mode::serial || all.queue.empty()) return;
  if (next_random() % 16 >= all.preempt_in_16) return;
  thread.go = false;
  all.baton = nullptr;
  all.queue.push_back(&thread);
  pick_next();
  wait_for_go(thread);
}

bool satisfy(Thread& thread) {
  std::vector<Object*>& wanted = thread.wanted;
  if (wanted.empty()) return false;
  const auto ready = [&](Object* object) { return object->ready(thread); };
  if (thread.wants_all) {
    if (!std::all_of(wanted.begin(), wanted.end(), ready)) return false;
    bool abandoned = false;
    for (Object* object : wanted) abandoned = object->take(thread) || abandoned;
    thread.result = abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0;
    return true;
  }
  const auto first = std::find_if(wanted.begin(), wanted.end(), ready);
  if (first == wanted.end()) return false;
  const bool abandoned = (*first)->take(thread);
  thread.result =
      (abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + static_cast<DWORD>(first - wanted.begin());
  return true;
}

void offer(Object& object) {
  size_t index = 0;
  while (index < object.waiters.size()) {
    Thread& thread = *object.waiters[index];
    if (satisfy(thread)) {
      wake(thread, thread.result);
    } else {
      ++index;
    }
  }
}

void unlink(Thread& thread) {
  for (Object* object : thread.wanted) std::erase(object->waiters, &thread);
  thread.wanted.clear();
  if (thread.wanted_section != nullptr) {
    leave_section_queue(thread.wanted_section, thread);
    thread.wanted_section = nullptr;
  }
  if (thread.settling) {
    std::erase(state().settlers, &thread);
    thread.settling = false;
  }
  if (thread.timer != 0) {
    cancel_timer(thread.timer);
    thread.timer = 0;
  }
}

std::string describe(const Thread& thread) {
  const char* call = thread.call.load(std::memory_order_relaxed);
  std::string text = thread.name + " (id " + std::to_string(thread.id) + ") ";
  switch (thread.phase) {
    case Thread::Phase::running:
      text += "can run";
      break;
    case Thread::Phase::blocked:
      text += "is blocked";
      break;
    case Thread::Phase::suspended:
      text += "is suspended";
      break;
  }
  text += std::string(" in ") + (call != nullptr ? call : "its own code");
  for (const Object* object : thread.wanted) {
    text += std::string(", waits for ") + object->kind();
    if (!object->name.empty()) text += " \"" + object->name + "\"";
    text += std::string(" of ") + object->creator;
  }
  if (thread.wanted_section != nullptr) {
    text += ", waits for a critical section";
    for (const Thread* other : state().threads) {
      if (std::find(other->sections.begin(), other->sections.end(), thread.wanted_section) !=
          other->sections.end()) {
        text += " that " + other->name + " is in";
      }
    }
  }
  return text;
}

}  // namespace platform
