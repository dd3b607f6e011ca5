// Each part of a printer's life again and again, with the first, second, third ... call of
// each name failing, allocations included, once or from then on, until a life meets no
// failure.

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <tuple>

#include "tests/support/fault_memory.h"
#include "tests/system/fault_life.h"

namespace system_test {
namespace {

#if defined(VLP_MEMORY_CANT_FAIL)
constexpr bool kMemoryCanFail = false;
#else
constexpr bool kMemoryCanFail = true;
#endif

// Under a sanitizer lives take several times as long, and what they look for doesn't depend
// on the error's number.
#if defined(VLP_MEMORY_CANT_FAIL) || defined(__SANITIZE_ADDRESS__)
#define VLP_ONE_NUMBER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VLP_ONE_NUMBER
#endif
#endif
#if defined(VLP_ONE_NUMBER)
const std::vector<DWORD> kEveryNumber = {ERROR_ACCESS_DENIED};
#else
const std::vector<DWORD> kEveryNumber = {ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY,
                                         ERROR_MORE_DATA, ERROR_INVALID_HANDLE};
#endif

// Nothing; the operations' lines and those of objects' lives; everything with all bytes.
enum class Log : std::uint32_t { off = 0, on = 0x80000001, whole = 0xFFFFFFFF };

struct Tally {
  unsigned lives = 0;
  unsigned calls = 0;        // made to fail, once
  unsigned allocations = 0;  // the same
  unsigned lasting = 0;      // lives in which a call failed from then on

  unsigned Faults() const { return calls + allocations + lasting; }
};

class Faults : public ::testing::TestWithParam<std::tuple<std::size_t, Log>> {
 protected:
  static void TearDownTestSuite() {
    std::printf(
        "fault sweep: %u scenarios, %u lives, %u calls failed, %u allocations, %u lasting\n",
        swept_, all_.lives, all_.calls, all_.allocations, all_.lasting);
    RecordProperty("scenarios", static_cast<int>(swept_));
    RecordProperty("lives", static_cast<int>(all_.lives));
    RecordProperty("faults", static_cast<int>(all_.Faults()));
  }

  const Scenario& scenario() const { return Scenarios()[std::get<0>(GetParam())]; }
  bool log() const { return mask() != 0; }
  std::uint32_t mask() const { return static_cast<std::uint32_t>(std::get<1>(GetParam())); }

  bool Live(const Fault& fault) {
    ++tally_.lives;
    FaultLife life(scenario(), fault, undisturbed_, mask());
    const bool met = life.Live();
    if (fault.call.empty()) undisturbed_ = life.made();
    return met;
  }

  // The calls of that name, one life each, or the first, second, fourth ... of them. Gives
  // how many failed.
  unsigned Sweep(Fault fault, bool sparse = false) {
    unsigned failed = 0;
    for (fault.nth = 1; !HasFailure() && Live(fault); fault.nth += sparse ? fault.nth : 1) ++failed;
    return failed;
  }

  void SweepOnce(const std::vector<DWORD>& errors) {
    for (const auto& [call, times] : undisturbed_.calls) {
      if (never_fails_.contains(call)) continue;
      fallible_.insert(call);
      const bool sparse = log() && IsOfProfile(call);
      for (const DWORD error : errors) {
        const unsigned failed = Sweep({.call = call, .error = error}, sparse);
        tally_.calls += failed;
        if (failed == 0) {
          never_fails_.insert(call);
          fallible_.erase(call);
          break;
        }
        EXPECT_TRUE(sparse || failed >= times) << call << " fails at some times only";
        if (IsOfProfile(call)) break;  // which gives no number
      }
    }
    tally_.allocations += Sweep({.call = kAllocation, .error = ERROR_NOT_ENOUGH_MEMORY});
  }

  // Waits and signals fail once only, so there is nothing more to be seen of them.
  void SweepLasting(DWORD error) {
    for (const std::string& call : fallible_) {
      if (call == "SetEvent" || call.starts_with("WaitFor")) continue;
      const bool sparse = log() || IsOfProfile(call);
      tally_.lasting += Sweep({.call = call, .from_then_on = true, .error = error}, sparse);
    }
    tally_.lasting +=
        Sweep({.call = kAllocation, .from_then_on = true, .error = ERROR_NOT_ENOUGH_MEMORY});
  }

  // One key is like the other.
  static bool IsOfProfile(const std::string& call) { return call.starts_with("GetPrivateProfile"); }

  void Record() {
    RecordProperty("lives", static_cast<int>(tally_.lives));
    RecordProperty("faults", static_cast<int>(tally_.Faults()));
    ++swept_;
    all_.lives += tally_.lives;
    all_.calls += tally_.calls;
    all_.allocations += tally_.allocations;
    all_.lasting += tally_.lasting;
  }

  Tally tally_;
  Made undisturbed_;
  std::set<std::string> fallible_;
  static inline std::set<std::string> never_fails_;
  static inline Tally all_;
  static inline unsigned swept_ = 0;
};

TEST_P(Faults, LeaveNothingBehindAndThePrinterUsable) {
  ASSERT_FALSE(Live({}));
  SweepOnce(log() ? std::vector<DWORD>{ERROR_ACCESS_DENIED} : kEveryNumber);
  SweepLasting(ERROR_ACCESS_DENIED);
  Record();
  const unsigned numbers = log() ? 1 : static_cast<unsigned>(kEveryNumber.size());
  EXPECT_GE(tally_.calls, scenario().least_calls * numbers) << "too few to be a sweep";
  EXPECT_GE(fallible_.size(), scenario().least_calls / 4) << "too few to be a sweep";
  EXPECT_GE(tally_.lasting, scenario().least_calls / 2) << "too few to be a sweep";
  EXPECT_EQ(tally_.allocations != 0, kMemoryCanFail && scenario().allocates);
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<std::size_t, Log>>& of) {
  const auto [scenario, log] = of.param;
  const char* const ending = log == Log::off  ? ""
                             : log == Log::on ? "WithTheLog"
                                              : "WithTheWholeLog";
  return Scenarios()[scenario].name + ending;
}

// Each without the log and with it, and one with all that can be logged.
std::vector<std::tuple<std::size_t, Log>> Sweeps() {
  std::vector<std::tuple<std::size_t, Log>> all;
  for (std::size_t n = 0; n < Scenarios().size(); ++n) {
    all.emplace_back(n, Log::off);
    all.emplace_back(n, Log::on);
    const bool wholly = kEveryNumber.size() > 1 && Scenarios()[n].name == "Command";
    if (wholly) all.emplace_back(n, Log::whole);
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Of, Faults, ::testing::ValuesIn(Sweeps()), NameOf);

}  // namespace
}  // namespace system_test
