#include "tests/device/mutex_holder.h"

#include <gtest/gtest.h>

#include <utility>

namespace device_test {

Holder::Holder(std::string name)
    : name_(std::move(name)),
      may_end_(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      has_it_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
  thread_ = std::make_unique<test::TestThread>(test::spawn("holder", [this] { hold(); }));
  WaitForSingleObject(has_it_.Get(), INFINITE);
}

void Holder::hold() {
  const vlp::KernelHandle mutex(CreateMutexA(nullptr, FALSE, name_.c_str()));
  EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(mutex.Get(), INFINITE));
  SetEvent(has_it_.Get());
  WaitForSingleObject(may_end_.Get(), INFINITE);
  if (end_ == End::release) {
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
  }
}

void Holder::let_go() {
  if (thread_ == nullptr) return;
  SetEvent(may_end_.Get());
  thread_->join();
  thread_.reset();
}

void Holder::let_go_at_ms(std::uint64_t ms) {
  test::sleep_ms(static_cast<std::uint32_t>(ms - test::elapsed_ms()));
  let_go();
}

void Holder::die() {
  end_ = End::die;
  let_go();
}

bool mutex_is_free(const std::string& name) {
  bool free = false;
  test::spawn("looks at the mutex", [&] {
    const vlp::KernelHandle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
    free = WaitForSingleObject(mutex.Get(), 0) == WAIT_OBJECT_0;
    if (free) ReleaseMutex(mutex.Get());
  }).join();
  return free;
}

}  // namespace device_test
