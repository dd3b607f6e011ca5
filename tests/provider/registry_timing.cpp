// The registry's lock: who waits for whom, and what memory that runs out leaves.

#include "platform/faults.h"
#include "platform/machine.h"
#include "provider/printer_registry.h"
#include "tests/support/far_side.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

#include "include/vlpbidi.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vlp {
namespace {

using test::elapsed_ms;

class RegistryTime : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    far_side::add_printer({.name = "Printer"});
    far_side::plug(
        {.port = "USB001", .device_id = far_side::bytes_of("CMD:BDC;"), .latency_ms = 400});
  }
  void TearDown() override { platform::clear_faults(); }

  static std::int32_t Connect(CPrinterInf& printer) {
    std::array<std::uint64_t, kMaxConnectEntries> entries{};
    return printer.GetConnectInf(entries.data());
  }

  LogSettings settings_;
};

TEST_F(RegistryTime, EveryLookupWaitsWhileAnObjectIsMade) {
  // An alias makes the spooler be asked.
  far_side::add_printer({.name = "\\\\CSR|srv\\alias"});
  platform::set_spooler_latency(1000);
  test::run_virtual_schedules(10, [&] {
    PrinterRegistry registry(&settings_);
    CPrinterInf* const known = registry.FindOrCreate("Printer");
    EXPECT_EQ(0u, elapsed_ms());
    auto maker = test::spawn("maker", [&] { registry.FindOrCreate("\\\\CSR|srv\\alias"); });
    test::sleep_ms(1);
    EXPECT_EQ(known, registry.FindOrCreate("Printer"));
    EXPECT_GE(elapsed_ms(), 1000u);
    maker.join();
    EXPECT_EQ(2u, registry.Count());
    const auto before = elapsed_ms();
    registry.FindOrCreate("\\\\CSR|srv\\alias");
    EXPECT_EQ(before, elapsed_ms());
  });
  platform::set_spooler_latency(0);
}

TEST_F(RegistryTime, OneNameFromManyThreadsIsOneObject) {
  test::run_virtual_schedules(30, [&] {
    PrinterRegistry registry(&settings_);
    std::vector<CPrinterInf*> found(6);
    std::vector<test::TestThread> threads;
    for (std::size_t n = 0; n < found.size(); ++n) {
      threads.push_back(test::spawn("finder", [&registry, &found, n] {
        found[n] = registry.FindOrCreate(n % 2 == 0 ? "Even" : "Odd");
      }));
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(2u, registry.Count());
    for (std::size_t n = 0; n < found.size(); ++n) {
      ASSERT_NE(nullptr, found[n]);
      EXPECT_EQ(found[n % 2], found[n]);
    }
    EXPECT_NE(found[0], found[1]);
    EXPECT_EQ(2u, far_side::live_objects().spls);
  });
}

TEST_F(RegistryTime, FindingAKnownNameNeedsNoMemory) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  test::run_virtual_parallel([&] {
    PrinterRegistry registry(&settings_);
    CPrinterInf* const printer = registry.FindOrCreate("Printer");
    platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
    CPrinterInf* found = nullptr;
    {
      const platform::UnderTest tested;
      found = registry.FindOrCreate("Printer");
    }
    EXPECT_EQ(0u, platform::faults_met());
    platform::clear_faults();
    EXPECT_EQ(printer, found);
  });
}

TEST_F(RegistryTime, OutOfMemoryWhileMakingLeavesTheRegistryAsItWas) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    bool met = false;
    test::run_virtual_parallel([&] {
      PrinterRegistry registry(&settings_);
      CPrinterInf* const known = registry.FindOrCreate("Printer");
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      bool thrown = false;
      try {
        const platform::UnderTest tested;
        registry.FindOrCreate("A name that is too long to be kept without an allocation");
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      met = platform::faults_met() != 0;
      platform::clear_faults();
      EXPECT_EQ(met, thrown);
      EXPECT_FALSE(platform::any_lock_held());
      EXPECT_EQ(thrown ? 1u : 2u, registry.Count());
      EXPECT_EQ(thrown ? 1u : 2u, far_side::live_objects().spls);
      EXPECT_EQ(known, registry.FindOrCreate("Printer"));
      // Another thread finds the lock free, and the name can be made after all.
      auto other = test::spawn("other", [&] {
        EXPECT_NE(nullptr, registry.FindOrCreate(
                               "A name that is too long to be kept without an allocation"));
      });
      other.join();
      EXPECT_EQ(2u, registry.Count());
    });
    if (!met) {
      EXPECT_GT(nth, 5u);
      break;
    }
  }
}

TEST_F(RegistryTime, StopWaitsForAnExchangeAndEveryLookupForTheStop) {
  test::run_virtual_schedules(10, [&] {
    PrinterRegistry registry(&settings_);
    CPrinterInf* const printer = registry.FindOrCreate("Printer");
    auto caller = test::spawn("caller", [&] { EXPECT_EQ(VLPER_NOENTRY, Connect(*printer)); });
    test::sleep_ms(1);
    auto finder = test::spawn("finder", [&] {
      test::sleep_ms(1);
      EXPECT_EQ(printer, registry.FindOrCreate("Printer"));
      EXPECT_EQ(400u, elapsed_ms());
    });
    registry.StopAllWorkers();
    EXPECT_EQ(400u, elapsed_ms());
    caller.join();
    finder.join();
    EXPECT_EQ(VLPER_NOENTRY, Connect(*printer));  // from the cache
  });
}

// The threads that made a call, in the order of their calls.
std::vector<std::string> ThreadsOf(const std::string& call) {
  std::vector<std::string> threads;
  for (const std::string& line : platform::call_trace()) {
    const std::size_t space = line.rfind(' ');
    if (line.substr(space + 1) == call) threads.push_back(line.substr(0, space));
  }
  return threads;
}

// Each worker has ended before the next one is told to.
TEST_F(RegistryTime, WorkersAreStoppedInTheOrderOfTheirMaking) {
  test::run_virtual_schedules(5, [&] {
    PrinterRegistry registry(&settings_);
    platform::watch_calls();
    for (const char* name : {"One", "Two", "Three"}) registry.FindOrCreate(name);
    const std::vector<std::string> made = ThreadsOf("CoInitializeEx");
    ASSERT_EQ(3u, made.size());
    registry.StopAllWorkers();
    EXPECT_EQ(made, ThreadsOf("CoUninitialize"));
    platform::clear_faults();
  });
}

TEST_F(RegistryTime, ObjectsAreDestroyedUnderTheLock) {
  test::run_virtual_schedules(5, [&] {
    auto registry = std::make_unique<PrinterRegistry>(&settings_);
    registry->FindOrCreate("One");
    registry->FindOrCreate("Two");
    platform::watch_calls();
    registry.reset();
    const std::vector<std::string> trace = platform::call_trace();
    platform::clear_faults();
    const std::string mine = trace.front().substr(0, trace.front().rfind(' ') + 1);
    int held = 0;
    int ends = 0;
    for (const std::string& line : trace) {
      if (line == mine + "EnterCriticalSection") ++held;
      if (line == mine + "LeaveCriticalSection") --held;
      if (line == mine + "SetEvent" || line == mine + "CloseHandle") {
        ++ends;
        EXPECT_EQ(1, held);
      }
    }
    EXPECT_EQ(8, ends);  // per object: its worker is told, three handles are closed
    EXPECT_EQ(0, held);
    EXPECT_EQ(mine + "DeleteCriticalSection", trace.back());
  });
}

TEST_F(RegistryTime, EachObjectHasOneThreadAndNoTimer) {
  test::run_virtual_parallel([&] {
    PrinterRegistry registry(&settings_);
    platform::watch_calls();
    registry.FindOrCreate("One");
    registry.FindOrCreate("Two");
    EXPECT_EQ(2u, platform::calls_of("CreateThread"));
    EXPECT_EQ(4u, platform::calls_of("CreateEventA"));
    EXPECT_EQ(0u, platform::calls_of("CreateMutexA"));  // logging is off
    platform::clear_faults();
  });
}

}  // namespace
}  // namespace vlp
