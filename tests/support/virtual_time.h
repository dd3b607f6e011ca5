#pragma once

// Scenarios in virtual time. A body runs on the test's own thread; every wait of every
// thread is in the model, so a minute passes in no time and each limit can be met to
// the millisecond. Threads must come from spawn() or CreateThread. GoogleTest's assertions work in
// the body.
//
//   run_virtual_parallel([] {
//     Worker worker;
//     sleep_ms(59'999);
//     settle();
//     EXPECT_FALSE(worker.closed());
//   });
//
// What the body leaves behind (threads, handles, held locks) fails the test.

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/kernel/scenario.h"

namespace test {

struct VirtualOptions {
  uint64_t tick_start_ms = 3'600'000;  // GetTickCount64 at the start; near 2^32 to see the wrap
  bool may_leave_handles = false;      // for tests about things left open
};

// True concurrency; what ThreadSanitizer runs. Serial instead if the environment gives
// a seed (VLPBIDI_SEED): what a test expects must hold in every order.
void run_virtual_parallel(const std::function<void()>& body, const VirtualOptions& options = {});

// One thread at a time, in an order that the seed decides and that replays.
void run_virtual_serial(uint64_t seed, const std::function<void()>& body,
                        const VirtualOptions& options = {});

// The body in parallel mode, then in serial mode with the seeds 0 to `seeds` - 1; only with
// the seed that the environment gives, if it gives one.
void run_virtual_schedules(unsigned seeds, const std::function<void()>& body,
                           const VirtualOptions& options = {});

// Every other thread has run until it is blocked; the clock didn't move.
using platform::elapsed_ms;
using platform::settle;
using platform::wake_count;

// Virtual milliseconds.
void sleep_ms(uint32_t milliseconds);

// A thread of the scenario. join() waits for its end; the destructor does so too.
class TestThread {
 public:
  TestThread(std::string name, std::function<void()> body);
  ~TestThread();
  TestThread(TestThread&&) noexcept;
  TestThread& operator=(TestThread&&) = delete;
  TestThread(const TestThread&) = delete;
  TestThread& operator=(const TestThread&) = delete;

  void join();
  bool ended() const;
  HANDLE handle() const { return handle_; }
  DWORD id() const { return id_; }

 private:
  struct Body;

  std::unique_ptr<Body> body_;
  HANDLE handle_ = nullptr;
  DWORD id_ = 0;
};

[[nodiscard]] TestThread spawn(std::string name, std::function<void()> body);

}  // namespace test
