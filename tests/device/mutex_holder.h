#pragma once

// Others who use a device: all agree on the mutex that is named by its path.

#include <cstdint>
#include <memory>
#include <string>

#include "support/handles.h"
#include "tests/support/virtual_time.h"

namespace device_test {

// Another process, as good as: a thread that holds the mutex from its making until it lets go.
class Holder {
 public:
  explicit Holder(std::string name);
  ~Holder() { let_go(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  void let_go();
  void let_go_at_ms(std::uint64_t ms);
  // Ends without releasing it.
  void die();

 private:
  enum class End { release, die };
  void hold();

  std::string name_;
  vlp::KernelHandle may_end_;
  vlp::KernelHandle has_it_;
  End end_ = End::release;
  std::unique_ptr<test::TestThread> thread_;
};

// Nobody holds the mutex of that name now.
bool mutex_is_free(const std::string& name);

}  // namespace device_test
