#pragma once

// The kernel's private state. Only platform/kernel, sync.cpp, thread.cpp and their
// like include it.

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/kernel/call.h"
#include "platform/kernel/clock.h"
#include "platform/kernel/object.h"
#include "platform/kernel/scenario.h"

namespace platform {

struct Thread final : Object {
  static constexpr char kKind[] = "thread";

  Thread();
  ~Thread() override;
  bool waitable() const override { return true; }
  bool ready(const Thread&) override { return ended; }

  enum class Phase { running, blocked, suspended };

  // Identity and life.
  DWORD id = 0;
  unsigned scenario = 0;  // 0: outside every scenario
  Phase phase = Phase::running;
  bool ended = false;
  bool terminated = false;  // ended by another thread; leaves at its next call
  DWORD exit_code = STATUS_PENDING;
  int suspend_count = 0;
  int priority = 0;

  // What it does.
  std::atomic<const char*> call = nullptr;  // the outermost supplied call it is in
  bool go = true;                           // false: not allowed to run on
  pthread_cond_t changed;                   // go became true

  // What it waits for; one wait at a time.
  std::vector<Object*> wanted;
  bool wants_all = false;
  const void* wanted_section = nullptr;
  bool settling = false;
  DWORD result = 0;
  TimerId timer = 0;

  // What it holds.
  std::vector<Object*> mutexes;
  std::vector<const void*> sections;

  // Counts.
  uint64_t wakes = 0;
  uint64_t spins = 0;
  uint64_t spin_mark = 0;
  uint64_t clock_reads = 0;
  Nanoseconds clock_mark = 0;
};

struct Timer {
  Thread* thread = nullptr;        // either a thread's time-out,
  std::function<void()> callback;  // or work of its own
  const char* debt = nullptr;      // what a scenario's end says of it
  TimerId id = 0;
};

struct HandleEntry {
  Object* object;
  unsigned scenario;
  const char* creator;
};

struct Orphan {
  Thread* owner;
  std::string text;
};

struct State {
  State();

  pthread_mutex_t lock;

  Mode mode = Mode::real;
  unsigned scenario = 0;  // number of the running scenario, 0 in real mode
  unsigned last_scenario = 0;
  bool process_ending = false;
  Thread* ending_thread = nullptr;

  std::map<uintptr_t, HandleEntry> handles;
  uintptr_t next_handle = 0x104;
  DWORD next_thread_id = 0x1000;
  std::vector<Thread*> threads;  // alive and known

  // Clock.
  Nanoseconds virtual_now = 0;
  uint64_t tick_offset = 0;
  std::map<std::pair<Nanoseconds, TimerId>, Timer> timers;
  std::map<TimerId, Nanoseconds> timer_moments;
  TimerId next_timer = 1;
  bool timer_thread = false;
  pthread_cond_t timers_changed;

  // Schedule of the virtual modes.
  size_t runnable = 0;         // threads that can run, the starting ones included
  Thread* baton = nullptr;     // serial: who runs
  std::vector<Thread*> queue;  // serial: who could
  std::deque<Thread*> settlers;
  uint64_t random = 0;
  unsigned preempt_in_16 = 0;
  uint64_t progress = 0;  // moves of the clock and wakes
  uint64_t wakes = 0;
  std::vector<std::string> trace;

  // Sections whose owner ended inside, with what is to be said of them.
  std::map<const void*, Orphan> orphans;
};

State& state();

// Whether the calling thread holds the state lock.
bool holds_state_lock();

// The calling thread; registers it if it is unknown.
Thread& self();

// Blocks until another thread makes this one go on, or until the moment. False if the moment came
// first.
bool block(Thread& thread, std::optional<Nanoseconds> moment);

// Makes a blocked thread go on with that result, out of whatever it waits for.
void wake(Thread& thread, DWORD result);

// A new or resumed thread counts from now on; an ended one no longer.
void enter_schedule(Thread& thread);
void leave_schedule(Thread& thread);

// Timers of threads and others alike; time goes to the first one's moment when it fires.
TimerId insert_timer(Nanoseconds moment, Timer timer);
void fire_first_timer();

// Serial mode: waits for the baton. A thread that starts calls it first.
void await_turn(Thread& thread);

// Serial mode: hands the baton to another thread that can run, if there is one.
void pass_turn(Thread& thread);
// Lets others run; reports a thread that does nothing else.
void yield(Thread& thread);
// A call that found nothing to wait for, and so may spin.
void note_spin(Thread& thread);
// Counts a look at the clock; a thread that only looks makes the clock slip.
void note_clock_read(Thread& thread);
// At the entrance of a call in serial mode, and behind it.
void maybe_preempt(Thread& thread);

// The queue of a critical section, for a thread that is taken out of it.
void leave_section_queue(const void* section, Thread& thread);

// If what the thread waits for is there, it gets it.
bool satisfy(Thread& thread);
// Takes the thread out of all that it waits for.
void unlink(Thread& thread);

// What a thread does, for reports.
std::string describe(const Thread& thread);

// Stops a thread for ever: the process is ending without it.
[[noreturn]] void park(Thread& thread);
// Leaves the thread's start routine from wherever it is. Without the lock.
[[noreturn]] void leave_thread(DWORD exit_code);
// The end of a thread as its handle shows it. With the lock.
void finish_thread(Thread& thread, DWORD exit_code);

// Notices the end of the process from now on; not while a module attaches, since what is
// registered before the program's own start runs after the modules' ends.
void watch_for_exit();

// Whether calls have to look at more than their own work: virtual modes, armed
// faults, a trace, the end of the process. Read without the lock.
void update_attention();

}  // namespace platform
