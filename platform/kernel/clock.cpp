// The clock and its timers.

#include "platform/kernel/clock.h"

#include <synchapi.h>
#include <time.h>
#include <winerror.h>

#include "platform/kernel/state.h"

namespace platform {
namespace {

Nanoseconds monotonic() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<Nanoseconds>(time.tv_sec) * 1'000'000'000 +
         static_cast<Nanoseconds>(time.tv_nsec);
}

timespec timespec_of(Nanoseconds moment) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(moment / 1'000'000'000);
  time.tv_nsec = static_cast<long>(moment % 1'000'000'000);
  return time;
}

// Real mode: runs callbacks at their moment. Virtual scenarios fire timers themselves.
void* serve_timers(void*) {
  StateGuard guard;
  State& all = state();
  for (;;) {
    if (all.mode != Mode::real || all.timers.empty()) {
      pthread_cond_wait(&all.timers_changed, &all.lock);
      continue;
    }
    const auto first = all.timers.begin();
    if (first->first.first > monotonic()) {
      const timespec until = timespec_of(first->first.first);
      pthread_cond_timedwait(&all.timers_changed, &all.lock, &until);
      continue;
    }
    fire_first_timer();
  }
}

void start_timer_thread() {
  State& all = state();
  if (all.timer_thread) return;
  pthread_t thread;
  if (pthread_create(&thread, nullptr, serve_timers, nullptr) != 0) return;
  pthread_detach(thread);
  all.timer_thread = true;
}

}  // namespace

Nanoseconds now() { return state().mode == Mode::real ? monotonic() : state().virtual_now; }

uint64_t tick_offset_ms() { return state().mode == Mode::real ? 0 : state().tick_offset; }

TimerId insert_timer(Nanoseconds moment, Timer timer) {
  State& all = state();
  timer.id = all.next_timer++;
  all.timer_moments[timer.id] = moment;
  const TimerId id = timer.id;
  all.timers.emplace(std::pair(moment, id), std::move(timer));
  return id;
}

TimerId add_timer(Nanoseconds moment, std::function<void()> callback, const char* debt) {
  Timer timer;
  timer.callback = std::move(callback);
  timer.debt = debt;
  const TimerId id = insert_timer(moment, std::move(timer));
  if (state().mode == Mode::real) {
    start_timer_thread();
    pthread_cond_signal(&state().timers_changed);
  }
  return id;
}

bool cancel_timer(TimerId timer) {
  State& all = state();
  const auto moment = all.timer_moments.find(timer);
  if (moment == all.timer_moments.end()) return false;
  all.timers.erase({moment->second, timer});
  all.timer_moments.erase(moment);
  return true;
}

void fire_first_timer() {
  State& all = state();
  const auto first = all.timers.begin();
  Timer timer = std::move(first->second);
  if (all.mode != Mode::real && first->first.first > all.virtual_now) {
    all.virtual_now = first->first.first;
    ++all.progress;
  }
  all.timers.erase(first);
  all.timer_moments.erase(timer.id);
  if (timer.thread == nullptr) {
    timer.callback();
    return;
  }
  timer.thread->timer = 0;
  wake(*timer.thread, WAIT_TIMEOUT);
}

void note_clock_read(Thread& thread) {
  State& all = state();
  if (all.mode == Mode::real) return;
  if (thread.clock_mark != all.virtual_now) {
    thread.clock_mark = all.virtual_now;
    thread.clock_reads = 0;
  }
  ++thread.clock_reads;
  constexpr uint64_t kTurn = 1000;
  constexpr uint64_t kSlip = 100'000;
  if (all.mode == Mode::serial && thread.clock_reads % kTurn == 0) pass_turn(thread);
  if (thread.clock_reads < kSlip) return;
  const Nanoseconds later = all.virtual_now + kMillisecond;
  while (!all.timers.empty() && all.timers.begin()->first.first <= later) fire_first_timer();
  all.virtual_now = later;
  ++all.progress;
}

}  // namespace platform
