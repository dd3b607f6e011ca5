#include "tests/support/virtual_time.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "platform/faults.h"
#include "tests/support/seeds.h"

namespace test {
namespace {

// What may be left behind is taken out of the report line by line.
std::string without_handles(const std::string& report) {
  std::string kept;
  size_t begin = 0;
  while (begin < report.size()) {
    const size_t end = report.find('\n', begin) + 1;
    const std::string line = report.substr(begin, end - begin);
    if (line.rfind("handle ", 0) != 0) kept += line;
    begin = end;
  }
  return kept;
}

void run(const platform::ScenarioOptions& scenario, const std::function<void()>& body,
         const VirtualOptions& options) {
  const bool failed_before = ::testing::Test::HasFailure();
  platform::begin_scenario(scenario);
  body();
  std::string left = platform::end_scenario();
  if (options.may_leave_handles) left = without_handles(left);
  if (!left.empty()) ADD_FAILURE() << "the scenario left behind:\n" << left;
  if (scenario.mode == platform::Mode::serial && !failed_before && ::testing::Test::HasFailure()) {
    ADD_FAILURE() << "this was the serial schedule of seed " << scenario.seed;
  }
}

}  // namespace

void run_virtual_parallel(const std::function<void()>& body, const VirtualOptions& options) {
  if (const std::optional<uint64_t> seed = given_seed()) {
    run_virtual_serial(*seed, body, options);
    return;
  }
  run({platform::Mode::parallel, 0, options.tick_start_ms}, body, options);
}

void run_virtual_serial(uint64_t seed, const std::function<void()>& body,
                        const VirtualOptions& options) {
  run({platform::Mode::serial, seed, options.tick_start_ms}, body, options);
}

void run_virtual_schedules(unsigned seeds, const std::function<void()>& body,
                           const VirtualOptions& options) {
  if (!given_seed()) run_virtual_parallel(body, options);
  for_each_seed(seeds, [&](uint64_t seed) { run_virtual_serial(seed, body, options); });
}

void sleep_ms(uint32_t milliseconds) { Sleep(milliseconds); }

struct TestThread::Body {
  std::string name;
  std::function<void()> work;

  static DWORD WINAPI run(LPVOID parameter) {
    const platform::Exempt exempt;
    const Body& body = *static_cast<Body*>(parameter);
    platform::name_this_thread(body.name);
    body.work();
    return 0;
  }
};

TestThread::TestThread(std::string name, std::function<void()> body)
    : body_(new Body{std::move(name), std::move(body)}) {
  handle_ = CreateThread(nullptr, 0, Body::run, body_.get(), 0, &id_);
  if (handle_ == nullptr) ADD_FAILURE() << "a test thread could not be made: " << GetLastError();
}

TestThread::TestThread(TestThread&&) noexcept = default;

TestThread::~TestThread() {
  if (body_ == nullptr) return;
  join();
}

void TestThread::join() {
  if (handle_ == nullptr) return;
  WaitForSingleObject(handle_, INFINITE);
  CloseHandle(handle_);
  handle_ = nullptr;
}

bool TestThread::ended() const {
  return handle_ == nullptr || WaitForSingleObject(handle_, 0) == WAIT_OBJECT_0;
}

TestThread spawn(std::string name, std::function<void()> body) {
  return TestThread(std::move(name), std::move(body));
}

}  // namespace test
