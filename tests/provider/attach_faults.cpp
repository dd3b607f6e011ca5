// Loading while calls or memory fail, and the order of what it asks.

#include <algorithm>

#include "d4/xdlt.h"
#include "platform/faults.h"
#include "platform/machine.h"
#include "provider/log_settings_reader.h"
#include "provider/operations.h"
#include "tests/provider/provider_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using provider_test::Context;

using provider_test::ProviderTest;

class AttachFault : public ProviderTest {
 protected:
  void TearDown() override {
    platform::clear_faults();
    ProviderTest::TearDown();
  }
};

TEST_F(AttachFault, OfTheKeyLeavesTheSettingsEmpty) {
  far_side::set_log({.flag = 1, .path = "C:\\log\\", .max_size = 5});
  platform::fail_call("RegOpenKeyExA", 1, ERROR_ACCESS_DENIED);
  const LogSettings settings = ReadLogSettings();
  EXPECT_EQ(1u, platform::faults_met());
  EXPECT_EQ(0u, settings.logFlag);
  EXPECT_EQ(std::nullopt, settings.logPath);
  EXPECT_EQ(0u, settings.maxLogSize);
  EXPECT_GE(settings.osMajorVersion, 5u);
}

TEST_F(AttachFault, OfAMissingKeyLeavesTheSettingsEmptyAndAttaches) {
  platform::reset_machine();
  ProviderAttach();
  ASSERT_NE(nullptr, Context());
  EXPECT_EQ(0u, Context()->settings->logFlag);
  EXPECT_EQ(std::nullopt, Context()->settings->logPath);
}

TEST_F(AttachFault, OfTheSixtyFourBitViewDoesntMatter) {
  platform::reset_machine();
  platform::set_registry_number("HKEY_LOCAL_MACHINE\\Software\\VELNO\\VLPrinter4\\LogEnv",
                                "Bidi_LogFlag", 7);
  EXPECT_EQ(0u, ReadLogSettings().logFlag);
}

TEST_F(AttachFault, OfEachValueLeavesTheOthers) {
  far_side::set_log({.flag = 1, .path = "C:\\log\\", .max_size = 5, .debug_max_size = 6});
  for (unsigned nth = 1; nth <= 4; ++nth) {
    SCOPED_TRACE(nth);
    platform::fail_call("RegQueryValueExA", nth, ERROR_ACCESS_DENIED);
    const LogSettings settings = ReadLogSettings();
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    // Flag, path, the general size, the own size: in this order.
    EXPECT_EQ(nth == 1 ? 0u : 1u, settings.logFlag);
    EXPECT_EQ(nth != 2, settings.logPath.has_value());
    EXPECT_EQ(nth == 4 ? 6u : 5u, settings.maxLogSize);
  }
}

TEST_F(AttachFault, OfTheVersionLeavesItsNumbersZero) {
  platform::fail_call("GetVersionExA", 1, ERROR_INSUFFICIENT_BUFFER);
  const LogSettings settings = ReadLogSettings();
  EXPECT_EQ(1u, platform::faults_met());
  EXPECT_EQ(0u, settings.osMajorVersion);
  EXPECT_EQ(0u, settings.osMinorVersion);
  EXPECT_EQ(0u, settings.servicePackMajor);
}

TEST_F(AttachFault, OfTheQueuesEventStillAttaches) {
  test::run_virtual_parallel([] {
    platform::fail_call("CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY);
    ProviderAttach();
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
    EXPECT_EQ(1u, Take().id);
    EXPECT_EQ(0, Table().Terminate());
    ProviderDetach(false);
  });
}

TEST_F(AttachFault, AsksInOrderAndStartsNoThread) {
  platform::watch_calls();
  ProviderAttach();
  std::vector<std::string> calls;
  for (const std::string& line : platform::call_trace()) {
    const std::string call = line.substr(line.find(' ') + 1);
    if (call.rfind("Reg", 0) == 0 || call == "GetVersionExA" || call == "CreateEventA" ||
        call == "timeGetDevCaps") {
      calls.push_back(call);
    }
  }
  std::vector<std::string> expected{"RegOpenKeyExA",    "RegQueryValueExA", "RegQueryValueExA",
                                    "RegQueryValueExA", "RegQueryValueExA", "RegCloseKey",
                                    "GetVersionExA",    "CreateEventA"};
  // The engine comes last: a gate for each link, then its timers.
  expected.insert(expected.end(), kMaxLinks, "CreateEventA");
  expected.emplace_back("timeGetDevCaps");
  EXPECT_EQ(expected, calls);
  EXPECT_EQ(0u, platform::calls_of("CreateThread"));
  EXPECT_EQ(0u, platform::calls_of("CoInitializeEx"));
}

// Whether the engine takes a port at all.
bool EngineRuns() {
  XdltPortOps ops;
  ops.write = [](XdltPortHandle, const std::uint8_t*, std::uint32_t, std::uint32_t*) {
    return std::uint32_t{0};
  };
  ops.read = [](XdltPortHandle, std::uint8_t*, std::uint32_t, std::uint32_t*) {
    return std::uint32_t{0};
  };
  XdltLink* link = nullptr;
  const std::int32_t opened = XDLT_Open(1, &ops, &link);
  EXPECT_TRUE(opened == XDLT_ERR_ENTRY_WRITE || opened == XDLT_ERR_PARAM) << opened;
  return opened == XDLT_ERR_ENTRY_WRITE;
}

// The last of its memory is the engine's, which only the vendor-class road needs.
TEST_F(AttachFault, OfMemoryLeavesAnUnattachedLibraryOrOneWithoutEngine) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  int without_engine = 0;
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    bool met = false;
    test::run_virtual_parallel([&] {
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      {
        const platform::UnderTest tested;
        ProviderAttach();
      }
      met = platform::faults_met() != 0;
      platform::clear_faults();
      if (Context() == nullptr) {
        EXPECT_TRUE(met);
        EXPECT_FALSE(EngineRuns());
        EXPECT_EQ(VLPER_NOTSUPPORT, MakeProviderTable().GetDeviceID(1, "Printer"));
        ProviderAttach();  // and a later try is good
        EXPECT_TRUE(EngineRuns());
      } else {
        without_engine += EngineRuns() ? 0 : 1;
        EXPECT_EQ(met, !EngineRuns());
      }
      EXPECT_NE(nullptr, Context());
      ProviderDetach(false);
    });
    if (!met) {
      EXPECT_GT(nth, 3u);
      break;
    }
  }
  EXPECT_EQ(1, without_engine);
}

// The queue works on the list, and printers may be at work until their workers have ended.
TEST_F(AttachFault, DetachEndsTheEngineThenTheQueueThenTheListThenThePrinters) {
  far_side::set_log({.flag = 0x80000000, .path = far_side::fresh_log_directory()});
  ProviderAttach();
  Context()->registry->FindOrCreate("Printer");
  platform::watch_calls();
  ProviderDetach(false);
  std::vector<std::string> calls;
  for (const std::string& line : platform::call_trace()) {
    const std::string call = line.substr(line.rfind(' ') + 1);
    if (call == "SetEvent" || call == "CloseHandle" || call == "DeleteCriticalSection" ||
        call == "CreateFileA") {
      calls.push_back(call);
    }
  }
  const auto stop = std::ranges::find(calls, "SetEvent");
  EXPECT_EQ(kMaxLinks, std::count(calls.begin(), stop, "CloseHandle")) << "the links' gates";
  calls.erase(calls.begin(), stop);
  ASSERT_LT(4u, calls.size());
  calls.resize(4);
  // The stop, the queue's event, the list's lock, and the line about the printer's end.
  EXPECT_EQ(
      (std::vector<std::string>{"SetEvent", "CloseHandle", "DeleteCriticalSection", "CreateFileA"}),
      calls);
}

TEST_F(AttachFault, AttachAndDetachLeaveNothing) {
  test::run_virtual_schedules(10, [] {
    for (int turn = 0; turn < 3; ++turn) {
      ProviderAttach();
      EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
      ProviderDetach(false);
      EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    }
  });
}

TEST_F(AttachFault, DetachAtTheEndOfTheProcessCallsNothing) {
  ProviderAttach();
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  platform::watch_calls();
  ProviderDetach(true);
  EXPECT_EQ(std::vector<std::string>{}, platform::call_trace());
  platform::clear_faults();
}

}  // namespace
}  // namespace vlp
