// Each part of a link's life again and again, with the first, second, third ... call of the
// system or allocation failing, once or from then on, until a life meets no failure.

#include <cstdio>
#include <tuple>

#include "platform/faults.h"
#include "tests/d4/sweep_life.h"
#include "tests/support/fault_memory.h"
#include "tests/support/sanitized.h"

namespace d4_test {
namespace {

constexpr DWORD kErrors[] = {ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_HANDLE};
constexpr const char* kAllocation = "operator new";

// Under a sanitizer every few of them.
constexpr unsigned kStride = test::kTimesLonger == 1 ? 1 : 5;

enum class Log { off, on };

class Sweep : public ::testing::TestWithParam<std::tuple<std::size_t, Log>> {
 protected:
  static void TearDownTestSuite() {
    std::printf("sweep: %u lives, %u faults once, %u from then on\n", lives_, once_, lasting_);
  }
  void SetUp() override {
    far_side::reset();
    if (std::get<1>(GetParam()) == Log::on) {
      log_.emplace("D4", far_side::fresh_log_directory().c_str(), 0xFFFFFFFF, 4096);
    }
  }
  void TearDown() override { platform::clear_faults(); }

  const SweepPart& part() const { return sweep_parts()[std::get<0>(GetParam())]; }

  bool lives(const SweepFault& fault) {
    SCOPED_TRACE(fault.text());
    ++lives_;
    bool met = false;
    test::live(fault.nth, [&] {
      SweepLife life(fault, log_ ? &*log_ : nullptr);
      part().prepare(life);
      met = life.run(part().act);
      if (fault.nth == 0) made_ = life.made();
      life.expect_recovery();
    });
    return met;
  }

  // How many failed.
  unsigned sweep(SweepFault fault) {
    unsigned failed = 0;
    for (fault.nth = 1; !HasFailure() && lives(fault); fault.nth += kStride) ++failed;
    return failed;
  }

  std::optional<vlp::DbgLog> log_;
  std::vector<std::string> made_;
  static inline unsigned lives_ = 0;
  static inline unsigned once_ = 0;
  static inline unsigned lasting_ = 0;
};

TEST_P(Sweep, OneCallFailsAndThePortServesAsEver) {
  for (const DWORD error : kErrors) {
    const unsigned failed = sweep({.error = error});
    EXPECT_GE(failed, part().least / kStride) << "too few to be a sweep";
    once_ += failed;
    if (log_) break;  // most of these are calls of the log
  }
}

TEST_P(Sweep, CallsFailFromOneOnAndThePortServesAsEver) {
  ASSERT_FALSE(lives({}));
  unsigned failed = 0;
  for (const std::string& call : made_) failed += sweep({.call = call, .from_then_on = true});
  EXPECT_GE(failed, part().least / 2 / kStride) << "too few to be a sweep";
  lasting_ += failed;
}

TEST_P(Sweep, MemoryFailsFromOneAllocationOnAndThePortServesAsEver) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  ASSERT_FALSE(lives({}));
  lasting_ += sweep({.call = kAllocation, .from_then_on = true});
}

std::string name_of(const ::testing::TestParamInfo<std::tuple<std::size_t, Log>>& of) {
  const auto [part, log] = of.param;
  return std::string(sweep_parts()[part].name) + (log == Log::on ? "WithTheLog" : "");
}

// Each without the log, and two that have all kinds of lines with it.
std::vector<std::tuple<std::size_t, Log>> sweeps() {
  std::vector<std::tuple<std::size_t, Log>> all;
  for (std::size_t at = 0; at < sweep_parts().size(); ++at) {
    const std::string name = sweep_parts()[at].name;
    all.emplace_back(at, Log::off);
    if (name == "TheEnginesOwnCalls" || name == "Command") all.emplace_back(at, Log::on);
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Of, Sweep, ::testing::ValuesIn(sweeps()), name_of);

}  // namespace
}  // namespace d4_test
