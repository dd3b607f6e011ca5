// Detaching while callers are inside.

#include "platform/faults.h"
#include "tests/provider/provider_fixture.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using provider_test::Context;
using provider_test::kDeviceId;
using provider_test::ProviderTest;
using test::elapsed_ms;

class DetachTime : public ProviderTest {
 protected:
  static void SetLatency(std::uint32_t milliseconds) {
    far_side::plug(
        {.port = "USB001", .device_id = far_side::bytes_of(kDeviceId), .latency_ms = milliseconds});
  }
};

TEST_F(DetachTime, WakesAWaitingTaker) {
  test::run_virtual_schedules(20, [] {
    const ProviderTable table = Table();
    auto taker = test::spawn("taker", [&] {
      std::uint32_t id = 0;
      std::uint32_t size = 0;
      EXPECT_EQ(VLPER_TERMINATE, table.GetResult(&id, nullptr, &size));
    });
    test::sleep_ms(100);
    ProviderDetach(false);
    EXPECT_LT(elapsed_ms(), 200u);
    taker.join();
    EXPECT_EQ(nullptr, Context());
  });
}

TEST_F(DetachTime, WaitsForACallerInside) {
  SetLatency(3000);
  test::run_virtual_parallel([] {
    const ProviderTable table = Table();
    auto caller = test::spawn("caller", [&] { EXPECT_EQ(0, table.GetDeviceID(1, "Printer")); });
    test::sleep_ms(100);
    ProviderDetach(false);
    EXPECT_GE(elapsed_ms(), 3000u);
    EXPECT_LT(elapsed_ms(), 3100u);
    caller.join();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
  });
}

TEST_F(DetachTime, LetsNobodyInMeanwhile) {
  SetLatency(3000);
  test::run_virtual_parallel([] {
    const ProviderTable table = Table();
    auto caller = test::spawn("caller", [&] { table.GetDeviceID(1, "Printer"); });
    auto late = test::spawn("late", [&] {
      test::sleep_ms(1000);
      EXPECT_EQ(VLPER_NOTSUPPORT, table.GetDeviceID(2, "Printer"));
      EXPECT_EQ(0, table.Terminate());
      EXPECT_EQ(1000u, elapsed_ms());
    });
    test::sleep_ms(100);
    ProviderDetach(false);
    caller.join();
    late.join();
  });
}

TEST_F(DetachTime, BesideCallersIsSafeInEverySchedule) {
  test::run_virtual_schedules(40, [] {
    const ProviderTable table = Table();
    std::vector<test::TestThread> threads;
    for (std::uint32_t id = 1; id <= 3; ++id) {
      threads.push_back(test::spawn("caller", [&table, id] {
        for (int turn = 0; turn < 4; ++turn) {
          const std::int32_t rc = table.GetDeviceID(id, "Printer");
          EXPECT_TRUE(rc == 0 || rc == VLPER_NOTSUPPORT) << rc;
        }
      }));
    }
    ProviderDetach(false);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
  });
}

// After five seconds what the caller uses is left to it. Last in this program, which the
// context then outlives.
TEST_F(DetachTime, LeavesTheContextToACallerThatStays) {
  SetLatency(60000);
  test::VirtualOptions options;
  options.may_leave_handles = true;
  test::run_virtual_parallel(
      [] {
        const ProviderTable table = Table();
        CPrinterInf* const printer = Context()->registry->FindOrCreate("Printer");
        auto caller = test::spawn("caller", [&] {
          EXPECT_EQ(0, table.GetDeviceID(1, "Printer"));
          EXPECT_EQ(60000u, elapsed_ms());
        });
        test::sleep_ms(100);
        ProviderDetach(false);
        EXPECT_GE(elapsed_ms(), 5100u);
        EXPECT_LT(elapsed_ms(), 5200u);
        EXPECT_EQ(nullptr, Context());
        caller.join();
        printer->StopBidiWorker();  // its thread has to end with the scenario
      },
      options);
}

}  // namespace
}  // namespace vlp
