#include "tests/d4/engine_calls_spy.h"

#include <utility>

#include "support/critical_section.h"

// The names that the linker's option gives them.
extern "C" {
HANDLE WINAPI __real_CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack_size,
                                  LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                                  LPDWORD thread_id);
BOOL WINAPI __real_QueryPerformanceFrequency(LARGE_INTEGER* frequency);
BOOL WINAPI __real_QueryPerformanceCounter(LARGE_INTEGER* count);

HANDLE WINAPI __wrap_CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack_size,
                                  LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                                  LPDWORD thread_id);
BOOL WINAPI __wrap_QueryPerformanceFrequency(LARGE_INTEGER* frequency);
BOOL WINAPI __wrap_QueryPerformanceCounter(LARGE_INTEGER* count);
}

namespace d4_test {
namespace {

vlp::CriticalSection& lock() {
  static vlp::CriticalSection made;
  return made;
}
std::vector<MadeThread> made_threads;
CounterAnswers counter;

void note(const MadeThread& thread) {
  const vlp::LockGuard guard(lock());
  made_threads.push_back(thread);
}

CounterAnswers answers() {
  const vlp::LockGuard guard(lock());
  return counter;
}

}  // namespace

std::vector<MadeThread> take_made_threads() {
  const vlp::LockGuard guard(lock());
  return std::exchange(made_threads, {});
}

void set_counter(const CounterAnswers& new_answers) {
  const vlp::LockGuard guard(lock());
  counter = new_answers;
}

}  // namespace d4_test

HANDLE WINAPI __wrap_CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack_size,
                                  LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                                  LPDWORD thread_id) {
  d4_test::note({stack_size, flags});
  return __real_CreateThread(attributes, stack_size, start, parameter, flags, thread_id);
}

BOOL WINAPI __wrap_QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  const d4_test::CounterAnswers answers = d4_test::answers();
  if (answers.frequency_fails) return FALSE;
  if (!answers.frequency) return __real_QueryPerformanceFrequency(frequency);
  frequency->QuadPart = *answers.frequency;
  return TRUE;
}

BOOL WINAPI __wrap_QueryPerformanceCounter(LARGE_INTEGER* count) {
  const d4_test::CounterAnswers answers = d4_test::answers();
  if (!answers.count) return __real_QueryPerformanceCounter(count);
  count->QuadPart = *answers.count;
  return TRUE;
}
