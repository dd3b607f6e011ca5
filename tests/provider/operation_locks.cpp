// Which locks the operations take, what memory that runs out gives, and the stop beside
// calls under way.

#include "platform/faults.h"
#include "tests/provider/provider_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using provider_test::Context;
using provider_test::kDeviceId;
using provider_test::ProviderTest;
using provider_test::Result;
using test::elapsed_ms;

class OperationLocks : public ProviderTest {
 protected:
  void TearDown() override {
    platform::clear_faults();
    ProviderTest::TearDown();
  }

  // Runs the body with the library attached in the scenario's own time.
  static void Attached(const std::function<void()>& body) {
    test::run_virtual_parallel([&] {
      ProviderAttach();
      body();
      ProviderDetach(false);
    });
  }

  // Whether the work waits while another thread holds the lock.
  static bool WaitsFor(CriticalSection& lock, const std::function<void()>& work) {
    lock.Enter();
    auto worker = test::spawn("worker", work);
    test::settle();
    const bool waits = !worker.ended();
    lock.Leave();
    worker.join();
    return waits;
  }
};

TEST_F(OperationLocks, StatusAndCommandsEachTakeTheirOwn) {
  Attached([] {
    const ProviderTable& table = Table();
    CPrinterInf& printer = *Context()->registry->FindOrCreate("Printer");
    const std::uint8_t command[] = {'x'};
    const auto status = [&] { table.GetStatus(1, "Printer", ChnlKindBdc); };
    const auto send = [&] { table.SendCommand(1, "Printer", ChnlKindBdc, command, 1); };
    EXPECT_TRUE(WaitsFor(printer.statusLock, status));
    EXPECT_FALSE(WaitsFor(printer.sendLock, status));
    EXPECT_TRUE(WaitsFor(printer.sendLock, send));
    EXPECT_FALSE(WaitsFor(printer.statusLock, send));
  });
}

TEST_F(OperationLocks, OtherOperationsTakeNone) {
  Attached([] {
    const ProviderTable& table = Table();
    CPrinterInf& printer = *Context()->registry->FindOrCreate("Printer");
    const std::uint8_t command[] = {'l', 'd', 0, 0};
    char known[260];
    std::uint64_t channels[11];
    EXPECT_EQ(2, table.GetConnectInf("UFName:Printer", known, channels));
    for (CriticalSection* lock : {&printer.sendLock, &printer.statusLock}) {
      EXPECT_FALSE(WaitsFor(*lock, [&] {
        EXPECT_EQ(4, table.SendThroughCommand(1, "Printer", ChnlKindBdc, command, 4));
      }));
      EXPECT_FALSE(WaitsFor(*lock, [&] { EXPECT_EQ(0, table.GetDeviceID(1, "Printer")); }));
      EXPECT_FALSE(WaitsFor(*lock, [&] {
        char name[260];
        std::uint64_t entries[11];
        EXPECT_EQ(2, table.GetConnectInf("UFName:Printer", name, entries));
      }));
      EXPECT_FALSE(WaitsFor(*lock, [&] {
        std::uint32_t id = 0;
        std::uint8_t buffer[64];
        std::uint32_t size = sizeof(buffer);
        EXPECT_EQ(18, table.GetResult(&id, buffer, &size));
      }));
    }
  });
}

TEST_F(OperationLocks, AreGivenBackByEveryOperation) {
  Attached([] {
    const ProviderTable& table = Table();
    const std::uint8_t command[] = {'x'};
    table.GetStatus(1, "Printer", ChnlKindBdc);
    table.SendCommand(1, "Printer", ChnlKindBdc, command, 1);
    table.SendThroughCommand(1, "Printer", ChnlKindBdc, command, 1);
    table.GetDeviceID(1, "Printer");
    EXPECT_FALSE(platform::any_lock_held());
    table.Terminate();
    EXPECT_FALSE(platform::any_lock_held());
  });
}

// At each step: the code of it, nothing half queued, no lock kept, and the next is good.
TEST_F(OperationLocks, OutOfMemoryInADeviceIdIsToldAndLeavesNothing) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  for (const bool cached : {false, true}) {
    for (unsigned nth = 1;; ++nth) {
      SCOPED_TRACE((cached ? "cached " : "fresh ") + std::to_string(nth));
      bool met = false;
      Attached([&] {
        const ProviderTable& table = Table();
        if (cached) {
          EXPECT_EQ(0, table.GetDeviceID(1, "Printer"));
          Take();
        }
        platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
        std::int32_t rc = 0;
        {
          const platform::UnderTest tested;
          rc = table.GetDeviceID(2, "Printer");
        }
        met = platform::faults_met() != 0;
        platform::clear_faults();
        EXPECT_EQ(met ? VLPER_MEMORY : 0, rc);
        EXPECT_EQ(met ? 0u : 1u, Queued());
        EXPECT_FALSE(platform::any_lock_held());
        Context()->results->Clear();
        EXPECT_EQ(0, table.GetDeviceID(3, "Printer"));
        const Result result = Take();
        EXPECT_EQ(3u, result.id);
        EXPECT_EQ(kDeviceId, result.data);
      });
      if (!met) {
        EXPECT_GT(nth, cached ? 3u : 10u);
        break;
      }
    }
  }
}

TEST_F(OperationLocks, OutOfMemoryInConnectionInfoIsTold) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    bool met = false;
    Attached([&] {
      const ProviderTable& table = Table();
      char name[260] = "left";
      std::uint64_t entries[11] = {};
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      std::int32_t rc = 0;
      {
        const platform::UnderTest tested;
        rc = table.GetConnectInf("UFName:Printer", name, entries);
      }
      met = platform::faults_met() != 0;
      platform::clear_faults();
      EXPECT_EQ(met ? VLPER_MEMORY : 2, rc);
      EXPECT_STREQ(met ? "left" : "Printer", name);
      EXPECT_FALSE(platform::any_lock_held());
      EXPECT_EQ(2, table.GetConnectInf("UFName:Printer", name, entries));
    });
    if (!met) {
      EXPECT_GT(nth, 10u);
      break;
    }
  }
}

TEST_F(OperationLocks, StopWakesTheTakerAndWaitsForTheQueryUnderWay) {
  far_side::plug(
      {.port = "USB001", .device_id = far_side::bytes_of(kDeviceId), .latency_ms = 2000});
  Attached([] {
    const ProviderTable& table = Table();
    auto taker = test::spawn("taker", [&] {
      EXPECT_EQ(VLPER_TERMINATE, Take().rc);
      EXPECT_EQ(100u, elapsed_ms());
    });
    auto caller = test::spawn("caller", [&] {
      EXPECT_EQ(0, table.GetDeviceID(1, "Printer"));
      EXPECT_EQ(2000u, elapsed_ms());
    });
    test::sleep_ms(100);
    EXPECT_EQ(0, table.Terminate());
    EXPECT_EQ(2000u, elapsed_ms());
    taker.join();
    caller.join();
    EXPECT_EQ(1u, Queued());
    EXPECT_EQ(VLPER_TERMINATE, Take().rc);
  });
}

TEST_F(OperationLocks, LateResultsAreQueuedAndNeverHandedOut) {
  Attached([] {
    const ProviderTable& table = Table();
    EXPECT_EQ(0, table.GetDeviceID(1, "Printer"));
    EXPECT_EQ(0, table.Terminate());
    EXPECT_EQ(0, table.GetDeviceID(2, "Printer"));
    EXPECT_EQ(2u, Queued());
    EXPECT_EQ(VLPER_TERMINATE, Take().rc);
    EXPECT_EQ(2u, Queued());
  });
}

// The taker is woken by each operation, not only at its next look.
TEST_F(OperationLocks, EachResultWakesTheTaker) {
  Attached([] {
    const ProviderTable& table = Table();
    auto taker = test::spawn("taker", [&] {
      for (std::uint32_t id = 1; id <= 3; ++id) {
        EXPECT_EQ(id, Take().id);
        EXPECT_EQ(id * 130, elapsed_ms());
      }
    });
    for (std::uint32_t id = 1; id <= 3; ++id) {
      test::sleep_ms(130);
      EXPECT_EQ(0, table.GetDeviceID(id, "Printer"));
    }
    taker.join();
  });
}

}  // namespace
}  // namespace vlp
