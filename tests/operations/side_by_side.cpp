// Operations of one printer on several threads, and memory that runs out in them.

#include "platform/faults.h"
#include "platform/machine.h"
#include "tests/operations/operations_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using operations_test::Channels;
using operations_test::kDeviceId;
using operations_test::kThreeChannels;
using operations_test::OperationsTest;
using operations_test::ProfileOf;

class SideBySide : public OperationsTest {
 protected:
  void TearDown() override {
    platform::clear_faults();
    OperationsTest::TearDown();
  }

  static std::int32_t Connect(CPrinterInf& printer, Channels* channels) {
    std::array<std::uint64_t, kMaxConnectEntries> entries{};
    const std::int32_t rc = printer.GetConnectInf(entries.data());
    for (std::int32_t index = 0; index < rc; ++index) {
      const std::uint64_t entry = entries[static_cast<std::size_t>(index)];
      channels->emplace_back(static_cast<std::uint32_t>(entry & 0xFFFFFFFF),
                             static_cast<std::uint32_t>(entry >> 32));
    }
    return rc;
  }

  static std::string ReadId(CPrinterInf& printer) {
    std::vector<std::uint8_t> buffer(1024);
    std::uint32_t length = 1024;
    EXPECT_EQ(0, printer.GetDeviceID(buffer.data(), &length));
    return {buffer.begin(), buffer.begin() + length};
  }
};

TEST_F(SideBySide, NeitherPrinterLockIsTaken) {
  Describe(ProfileOf(kThreeChannels));
  test::run_virtual_parallel([&] {
    CPrinterInf printer("Printer", LogSettings{});
    const LockGuard send(printer.sendLock);
    const LockGuard status(printer.statusLock);
    auto other = test::spawn("other", [&] {
      Channels channels;
      EXPECT_EQ(3, Connect(printer, &channels));
      EXPECT_EQ(kDeviceId, ReadId(printer));
      EXPECT_EQ(0, printer.CheckSupportPort());
    });
    other.join();
  });
}

// Each reading is whole, whatever is published meanwhile.
TEST_F(SideBySide, RefreshesLeaveEachAnswerWhole) {
  const std::string one = "CMD:QPL,BDC,D4;";
  const std::string other = "CMD:GENVL;MDL:" + std::string(200, 'x') + ";";
  const Channels of_one = {{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}};
  const Channels of_other = {{ChnlKindD4, 0xE003}};
  Describe("LPT_UniversalDriver=1\n" + ProfileOf(kThreeChannels), one, "USB001", 0x10);
  test::run_virtual_schedules(30, [&] {
    CPrinterInf printer("Printer", LogSettings{});
    std::vector<test::TestThread> threads;
    for (int number = 0; number < 2; ++number) {
      threads.push_back(test::spawn("connect", [&] {
        for (int turn = 0; turn < 5; ++turn) {
          Channels channels;
          const std::int32_t rc = Connect(printer, &channels);
          EXPECT_TRUE((rc == 3 && channels == of_one) || (rc == 1 && channels == of_other)) << rc;
        }
      }));
      threads.push_back(test::spawn("id", [&] {
        for (int turn = 0; turn < 5; ++turn) {
          const std::string id = ReadId(printer);
          EXPECT_TRUE(id == one || id == other) << id;
        }
      }));
    }
    threads.push_back(test::spawn("world", [&] {
      for (int turn = 0; turn < 10; ++turn) {
        far_side::set_device_id("USB001", far_side::bytes_of(turn % 2 == 0 ? other : one));
        Sleep(0);
      }
    }));
    for (test::TestThread& thread : threads) thread.join();
  });
}

TEST_F(SideBySide, TwoFirstQueriesLoadOneProfile) {
  Describe(ProfileOf(kThreeChannels));
  far_side::plug({.port = "USB001", .device_id = far_side::bytes_of(kDeviceId), .latency_ms = 10});
  test::run_virtual_schedules(20, [&] {
    CPrinterInf printer("Printer", LogSettings{});
    auto second = test::spawn("second", [&] {
      Channels channels;
      EXPECT_EQ(3, Connect(printer, &channels));
    });
    Channels channels;
    EXPECT_EQ(3, Connect(printer, &channels));
    second.join();
    channels.clear();
    EXPECT_EQ(3, Connect(printer, &channels));
  });
}

// Both find no profile and read one, from a file that changes in between. The first that
// is read stays.
TEST_F(SideBySide, SecondProfileDoesntReplaceTheFirst) {
  const std::string universal = "LPT_UniversalDriver=1\n";
  far_side::plug({.port = "USB001", .device_id = far_side::bytes_of(kDeviceId), .latency_ms = 10});
  test::run_virtual_schedules(10, [&] {
    Describe(universal + ProfileOf(kThreeChannels));
    far_side::plug(
        {.port = "USB001", .device_id = far_side::bytes_of(kDeviceId), .latency_ms = 10});
    CPrinterInf printer("Printer", LogSettings{});
    platform::set_spooler_latency(100);
    platform::watch_calls();
    const auto query = [&printer] {
      Channels channels;
      EXPECT_EQ(3, Connect(printer, &channels));
    };
    auto first = test::spawn("first", query);
    test::sleep_ms(1);
    auto second = test::spawn("second", query);
    // Three calls of the spooler stand before each reading: the first reads at 310 ms,
    // the second at 320 ms.
    test::sleep_ms(314);
    EXPECT_EQ(4u, platform::calls_of("GetPrinterDriverA"));
    far_side::write_profile("Model.LMD", universal + ProfileOf({{ChnlKindBdc, 0x0001}}));
    first.join();
    second.join();
    platform::clear_faults();
    platform::set_spooler_latency(0);
    query();
  });
}

// The port only adds to what the channels are chosen by.
TEST_F(SideBySide, PortThatIsntToldLeavesTheChannels) {
  Describe(ProfileOf(kThreeChannels));
  constexpr struct {
    const char* call;
    unsigned nth;
  } kSteps[] = {{"OpenPrinterA", 2}, {"GetPrinterA", 1}, {"GetPrinterA", 2}};
  for (const auto& step : kSteps) {
    SCOPED_TRACE(step.call + std::to_string(step.nth));
    test::run_virtual_parallel([&] {
      CPrinterInf printer("Printer", LogSettings{});
      platform::fail_call(step.call, step.nth, ERROR_ACCESS_DENIED);
      Channels channels;
      EXPECT_EQ(3, Connect(printer, &channels));
      EXPECT_EQ(1u, platform::faults_met());
      EXPECT_EQ((Channels{{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}}),
                channels);
      platform::clear_faults();
      EXPECT_EQ(kDeviceId, ReadId(printer));
    });
  }
}

TEST_F(SideBySide, StopWaitsForTheQueryUnderWay) {
  Describe(ProfileOf(kThreeChannels));
  far_side::plug({.port = "USB001", .device_id = far_side::bytes_of(kDeviceId), .latency_ms = 700});
  test::run_virtual_parallel([&] {
    CPrinterInf printer("Printer", LogSettings{});
    auto query = test::spawn("query", [&] {
      Channels channels;
      EXPECT_EQ(3, Connect(printer, &channels));
    });
    test::sleep_ms(1);
    printer.StopBidiWorker();
    EXPECT_EQ(700u, test::elapsed_ms());
    query.join();
    EXPECT_EQ(kDeviceId, ReadId(printer));
  });
}

// Memory runs out at each step of a query: the exception passes, the object stays usable
// and holds no half of an answer.
TEST_F(SideBySide, OutOfMemoryInAQueryLeavesAUsablePrinter) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  Describe(ProfileOf(kThreeChannels));
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    bool met = false;
    test::run_virtual_parallel([&] {
      CPrinterInf printer("Printer", LogSettings{});
      std::array<std::uint64_t, kMaxConnectEntries> entries{};
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      std::int32_t rc = 0;
      try {
        const platform::UnderTest tested;
        rc = printer.GetConnectInf(entries.data());
        met = false;
      } catch (const std::bad_alloc&) {
        met = true;
      }
      met = met || platform::faults_met() != 0;
      platform::clear_faults();
      EXPECT_TRUE(met || rc == 3) << rc;
      EXPECT_FALSE(platform::any_lock_held());
      EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects());
      const far_side::Counts counts = far_side::counts("Printer");
      EXPECT_EQ(counts.bound, counts.unbinds);
      Channels channels;
      EXPECT_EQ(3, Connect(printer, &channels));
      EXPECT_EQ(kDeviceId, ReadId(printer));
    });
    if (!met) {
      EXPECT_GT(nth, 5u);
      break;
    }
  }
}

// Every call of a query fails in turn: a listed code, nothing left, and the next is good.
TEST_F(SideBySide, FailureOfEachCallGivesAListedCode) {
  for (unsigned nth = 1;; ++nth) {
    Describe(ProfileOf(kThreeChannels));
    std::vector<std::string> failed;
    test::run_virtual_parallel([&] {
      CPrinterInf printer("Printer", LogSettings{});
      Channels channels;
      platform::fail_nth_system_call(nth, ERROR_GEN_FAILURE);
      const std::int32_t rc = Connect(printer, &channels);
      failed = platform::failed_calls();
      platform::clear_faults();
      SCOPED_TRACE(failed.empty() ? "none" : failed[0]);
      // A profile that reads short lists fewer channels.
      const bool good = rc >= 1 && rc <= 3;
      EXPECT_TRUE(good || rc == VLPER_NOTSUPPORT || rc == VLPER_NOTCONNECT || rc == VLPER_NOENTRY)
          << rc;
      EXPECT_FALSE(platform::any_lock_held());
      EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects());
    });
    if (failed.empty()) {
      EXPECT_GT(nth, 30u);
      break;
    }
  }
}

}  // namespace
}  // namespace vlp
