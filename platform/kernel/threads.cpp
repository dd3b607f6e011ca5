// Threads as the kernel knows them: registration, their end, the end of the process.

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "platform/fault_points.h"
#include "platform/kernel/module_life.h"
#include "platform/kernel/state.h"
#include "platform/kernel/thread_start.h"

namespace platform {
namespace {

thread_local Thread* current = nullptr;
thread_local bool refused = false;

bool is_main_thread() { return syscall(SYS_gettid) == getpid(); }

void forget(Thread& thread) { std::erase(state().threads, &thread); }

// A thread that the layer didn't start, known since its first call. Its end must be
// noticed too: what it owns is abandoned then.
struct Stranger {
  Thread* thread = nullptr;

  ~Stranger() {
    if (thread == nullptr || is_main_thread()) return;
    {
      StateGuard guard;
      finish_thread(*thread, 0);
      forget(*thread);
      current = nullptr;
    }
    dereference(thread);
  }
};

thread_local Stranger stranger;

void before_fork() {
  if (state().mode != Mode::real) {
    stop("fork in a virtual scenario: a child process has no place in it");
  }
  pthread_mutex_lock(&state().lock);
}
void after_fork() { pthread_mutex_unlock(&state().lock); }

std::atomic<int> attaching = 0;
std::atomic<bool> watching = false;

void exit_begins() { end_process_soon(); }

}  // namespace

State::State() {
  pthread_condattr_t attributes;
  pthread_mutex_init(&lock, nullptr);
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&timers_changed, &attributes);
  pthread_condattr_destroy(&attributes);
}

State& state() {
  // Lives for ever: threads may be on their last steps while the process ends.
  static State* const all = [] {
    auto* made = new State;
    pthread_atfork(before_fork, after_fork, after_fork);
    return made;
  }();
  return *all;
}

Thread::Thread() : Object(kKind) {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&changed, &attributes);
  pthread_condattr_destroy(&attributes);
}

Thread::~Thread() { pthread_cond_destroy(&changed); }

void introduce(Thread& thread) {
  State& all = state();
  thread.id = all.next_thread_id;
  all.next_thread_id += 4;
  thread.scenario = all.scenario;
  thread.name = "thread " + std::to_string(thread.id);
  ++thread.references;
  all.threads.push_back(&thread);
}

void set_current(Thread* thread) { current = thread; }

Thread& self() {
  if (current != nullptr) return *current;
  // The layer's own business, even where the program's allocations are under test.
  const bool tested = under_test();
  set_under_test(false);
  Thread* thread = nullptr;
  {
    const Unseen unseen;
    thread = new Thread;
  }
  const auto enter = [thread] {
    introduce(*thread);
    thread->scenario = 0;
    thread->creator = "this process";
  };
  if (holds_state_lock()) {
    enter();
  } else {
    const StateGuard guard;
    enter();
  }
  current = thread;
  stranger.thread = thread;
  set_under_test(tested);
  return *thread;
}

void finish_thread(Thread& thread, DWORD exit_code) {
  if (thread.ended) return;
  thread.ended = true;
  thread.exit_code = exit_code;
  for (Object* mutex : std::vector(thread.mutexes)) mutex->owner_ended();
  thread.mutexes.clear();
  for (const void* section : thread.sections) {
    state().orphans[section] = {&thread, "critical section of the ended " + thread.name};
    ++thread.references;  // the section goes on naming its owner
  }
  thread.sections.clear();
  offer(thread);
}

void retire(Thread& thread) {
  forget(thread);
  leave_schedule(thread);
}

void withdraw(Thread& thread) {
  State& all = state();
  thread.ended = true;
  std::erase(all.queue, &thread);
  if (all.mode != Mode::real && thread.phase == Thread::Phase::running) --all.runnable;
  forget(thread);
}

void park(Thread& thread) {
  // Holds the lock only by name: waiting gives it back, and nobody wakes this thread.
  thread.go = false;
  for (;;) pthread_cond_wait(&thread.changed, &state().lock);
}

void end_process_soon() {
  StateGuard guard;
  State& all = state();
  if (all.process_ending) return;
  all.process_ending = true;
  all.ending_thread = &self();
  all.mode = Mode::real;
  all.scenario = 0;
  all.ending_thread->scenario = 0;
  for (Thread* thread : std::vector(all.threads)) {
    if (thread != all.ending_thread) finish_thread(*thread, 0);
  }
  update_attention();
}

void watch_for_exit() {
  if (watching.load(std::memory_order_relaxed)) return;
  if (attaching.load(std::memory_order_relaxed) != 0) return;
  if (watching.exchange(true, std::memory_order_relaxed)) return;
  std::atexit(exit_begins);
}

bool process_ends() {
  StateGuard guard;
  return state().process_ending;
}

void module_attach_begins() { attaching.fetch_add(1, std::memory_order_relaxed); }
void module_attach_ends(bool accepted) {
  attaching.fetch_sub(1, std::memory_order_relaxed);
  if (!accepted) refused = true;
}
bool module_refused() { return std::exchange(refused, false); }

ModuleCode::ModuleCode() : loader_call_(self().call.exchange(nullptr, std::memory_order_relaxed)) {}
ModuleCode::~ModuleCode() { self().call.store(loader_call_, std::memory_order_relaxed); }

}  // namespace platform
