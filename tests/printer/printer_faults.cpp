// Calls of the port check and of the name resolution that fail, and what is called at all.

#include "platform/faults.h"
#include "platform/machine.h"
#include "printer/port_kind.h"
#include "printer/real_name.h"
#include "support/spooler.h"
#include "tests/printer/printer_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using printer_test::PrinterTest;

constexpr const char* kFailed =
    "### CPrinterInf::CheckSupportPort Return (Failed to GetPortName) : rc = -1";

class PrinterFault : public PrinterTest {
 protected:
  void SetUp() override {
    PrinterTest::SetUp();
    far_side::add_printer({.name = "Printer"});
  }
  void TearDown() override {
    platform::clear_faults();
    PrinterTest::TearDown();
  }
};

TEST_F(PrinterFault, OfTheSpoolerFailsThePortCheckAndClosesThePrinter) {
  constexpr struct {
    const char* call;
    unsigned nth;
  } kSteps[] = {{"OpenPrinterA", 1}, {"GetPrinterA", 1}, {"GetPrinterA", 2}};
  for (const auto& step : kSteps) {
    SCOPED_TRACE(step.call + std::to_string(step.nth));
    test::run_virtual_parallel([&] {
      CPrinterInf printer("Printer", Settings(kLogPrinter));
      platform::fail_call(step.call, step.nth, ERROR_NOT_ENOUGH_MEMORY);
      EXPECT_EQ(VLPER_NOTSUPPORT, printer.CheckSupportPort());
      EXPECT_EQ(1u, platform::faults_met());
      EXPECT_EQ(kFailed, LinesOf("CheckSupportPort").back());
      EXPECT_EQ(0, printer.CheckSupportPort());
      platform::clear_faults();
    });
  }
}

TEST_F(PrinterFault, OfTheTcpIpListLetsThePortPass) {
  far_side::add_tcp_port("USB001");
  far_side::add_tcp_port("USB002");
  test::run_virtual_parallel([&] {
    EXPECT_TRUE(IsTcpIpPort("USB001"));
    platform::fail_call("RegOpenKeyExA", 1, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(IsTcpIpPort("USB001"));
    platform::fail_call("RegEnumKeyExA", 1, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(IsTcpIpPort("USB001"));
    platform::fail_call("RegEnumKeyExA", 2, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(IsTcpIpPort("USB002"));
    EXPECT_EQ(3u, platform::faults_met());
    platform::clear_faults();
    EXPECT_TRUE(IsTcpIpPort("USB002"));
  });
}

// Wine can't make a key whose whole path is as long as this one's.
TEST_F(PrinterFault, NoneComesOfATcpIpPortWithTheLongestNameOfAKey) {
  const std::string name = "USB" + std::string(252, 'x');
  far_side::add_tcp_port(name);
  EXPECT_TRUE(IsTcpIpPort(name));
  EXPECT_FALSE(IsTcpIpPort(name.substr(1)));
}

// Wine's spooler gives no record at all of a printer without a port.
TEST_F(PrinterFault, MissingPortNameLeavesTheLineOfTheAttributes) {
  far_side::add_printer({.name = "Printer", .port = std::nullopt, .attributes = 0x10});
  Make("Printer", kLogObjects);
  EXPECT_EQ(std::nullopt, printer_->GetPortName("Printer"));
  EXPECT_EQ((std::vector<std::string>{
                "CPrinterInf::GetPortName [PRINTER_INFO_2].Attributes=0x10 Share=1"}),
            LinesOf("GetPortName"));
}

TEST_F(PrinterFault, OfTheTcpIpKeyThatIsMissingLetsThePortPass) {
  far_side::reset();
  far_side::add_printer({.name = "Printer"});
  platform::reset_machine();  // no such key at all
  EXPECT_FALSE(IsTcpIpPort("USB001"));
}

TEST_F(PrinterFault, OfTheRedirectorLetsThePortPass) {
  far_side::redirect("LPT1:", "\\\\server\\queue");
  EXPECT_TRUE(IsNetworkLpt("LPT1:"));
  platform::fail_call("WNetGetConnectionA", 1, ERROR_NO_NETWORK);
  EXPECT_FALSE(IsNetworkLpt("LPT1:"));
}

TEST_F(PrinterFault, RedirectorIsntAskedAboutOtherPorts) {
  platform::watch_calls();
  for (const char* port : {"USB001", "lpt1:", "VLS_LPT1", "BILPT1", "LP", ""}) {
    EXPECT_FALSE(IsNetworkLpt(port));
  }
  EXPECT_EQ(0u, platform::calls_of("WNetGetConnectionA"));
  EXPECT_FALSE(IsNetworkLpt("LPT1:"));
  EXPECT_EQ(1u, platform::calls_of("WNetGetConnectionA"));
}

TEST_F(PrinterFault, StepsBehindAFailedOneArentTaken) {
  far_side::set_port("Printer", "COM1:");
  Make("Printer", 0);
  platform::watch_calls();
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ(0u, platform::calls_of("RegOpenKeyExA"));
  EXPECT_EQ(0u, platform::calls_of("WNetGetConnectionA"));
  far_side::set_port("Printer", "LPT1:");
  far_side::add_tcp_port("LPT1:");
  platform::clear_faults();
  platform::watch_calls();
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  EXPECT_EQ(1u, platform::calls_of("RegOpenKeyExA"));
  EXPECT_EQ(0u, platform::calls_of("WNetGetConnectionA"));
}

TEST_F(PrinterFault, NothingIsRetriedNorKept) {
  Make("Printer", 0);
  platform::watch_calls();
  EXPECT_EQ(0, printer_->CheckSupportPort());
  EXPECT_EQ(0, printer_->CheckSupportPort());
  EXPECT_EQ(2u, platform::calls_of("OpenPrinterA"));
  EXPECT_EQ(4u, platform::calls_of("GetPrinterA"));
  EXPECT_EQ(2u, platform::calls_of("ClosePrinter"));
  EXPECT_EQ(2u, platform::calls_of("RegOpenKeyExA"));
  EXPECT_EQ(2u, platform::calls_of("RegCloseKey"));
}

TEST_F(PrinterFault, NameWithoutThePrefixAsksTheSpoolerNothing) {
  platform::watch_calls();
  Make("Printer", 0);
  EXPECT_EQ(0u, platform::calls_of("OpenPrinterA"));
  EXPECT_EQ(0u, platform::calls_of("GetPrinterDataExA"));
  char out[260] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0, GetRealNameChecked("Printer", 8, out, &size));
  EXPECT_EQ(0u, platform::calls_of("OpenPrinterA"));
}

// The log is there before anything is written to it, and the name is asked for last.
TEST_F(PrinterFault, LogAndWorkerAreMadeBeforeTheNameIsAskedFor) {
  const char* const alias = "\\\\CSR|srv\\q";
  far_side::add_printer({.name = alias, .published_name = "queue"});
  LogSettings settings = Settings(printer_test::kAllLines);
  settings.maxLogSize = 100000;
  test::run_virtual_parallel([&] {
    platform::watch_calls();
    const CPrinterInf printer(alias, settings);
    std::vector<std::string> calls;
    for (const std::string& line : platform::call_trace()) {
      const std::string call = line.substr(line.rfind(' ') + 1);
      if (call.starts_with("Create") && call != "CreateFileA") calls.push_back(call);
      if (call == "OpenPrinterA" || call == "CoInitializeEx") calls.push_back(call);
    }
    platform::clear_faults();
    EXPECT_EQ((std::vector<std::string>{"CreateMutexA", "CreateEventA", "CreateEventA",
                                        "CreateThread", "CoInitializeEx", "OpenPrinterA"}),
              calls);
  });
}

constexpr struct {
  const char* call;
  unsigned nth;
} kResolutionSteps[] = {{"OpenPrinterA", 1},
                        {"GetPrinterDataExA", 1},
                        {"GetPrinterDataExA", 2},
                        {"GetPrinterDataExA", 3}};

// The spooler knows no printer of the real name, so a good port check is one of the alias.
TEST_F(PrinterFault, OfTheNameResolutionLeavesTheAlias) {
  const char* const alias = "\\\\CSR|srv\\alias";
  far_side::add_printer({.name = alias, .published_name = "queue"});
  for (const auto& step : kResolutionSteps) {
    SCOPED_TRACE(step.call + std::to_string(step.nth));
    far_side::remove_file(LogPath("  CSR srv alias"));
    test::run_virtual_parallel([&] {
      platform::fail_call(step.call, step.nth, ERROR_ACCESS_DENIED);
      CPrinterInf printer(alias, Settings(kLogPrinter));
      EXPECT_EQ(1u, platform::faults_met());
      platform::clear_faults();
      EXPECT_EQ((std::vector<std::string>{
                    "CPrinterInf::SetRealPrinterName: PrinterName(\\\\CSR|srv\\alias)"}),
                Lines("  CSR srv alias"));
      EXPECT_EQ(0, printer.CheckSupportPort());
    });
  }
}

TEST_F(PrinterFault, OfTheNameResolutionGivesNoName) {
  const char* const alias = "\\\\CSR|srv\\alias";
  far_side::add_printer({.name = alias, .published_name = "queue"});
  for (const auto& step : kResolutionSteps) {
    SCOPED_TRACE(step.call + std::to_string(step.nth));
    test::run_virtual_parallel([&] {
      platform::fail_call(step.call, step.nth, ERROR_ACCESS_DENIED);
      char out[260] = {};
      std::uint32_t size = sizeof(out);
      EXPECT_EQ(0, GetRealNameFromCsrName(alias, 16, out, &size));
      EXPECT_EQ(1u, platform::faults_met());
      EXPECT_STREQ("", out);
      EXPECT_EQ(sizeof(out), size);
      platform::clear_faults();
    });
  }
}

TEST_F(PrinterFault, OfTheDataCallIsTheResultOfBuilding) {
  far_side::add_printer({.name = "Full", .published_name = "queue", .published_ports = {"A"}});
  const PrinterHandle printer = OpenPrinterByName("Full");
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  platform::fail_call("GetPrinterDataExA", 2, ERROR_ACCESS_DENIED);
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED},
            BuildCsrRealName(printer.Get(), "\\\\CSR|srv\\alias", out, &size));
  EXPECT_EQ(13u, size);
  size = sizeof(out);
  platform::fail_call("GetPrinterDataExA", 2, ERROR_ACCESS_DENIED);
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetCsrPortNames(printer.Get(), out, &size));
  EXPECT_EQ(3u, size);
}

// The end of the object: whatever was made is given back, in whatever state.
TEST_F(PrinterFault, OfTheWorkersStartLeavesAnObjectThatCanBeUsed) {
  for (const char* call : {"CreateEventA", "CreateThread", "CoInitializeEx", "CoCreateInstance"}) {
    SCOPED_TRACE(call);
    test::run_virtual_parallel([&] {
      platform::fail_call(call, 1, ERROR_NOT_ENOUGH_MEMORY);
      CPrinterInf printer("Printer", Settings(0));
      EXPECT_EQ(1u, platform::faults_met());
      platform::clear_faults();
      EXPECT_EQ(0, printer.CheckSupportPort());
      std::uint64_t entries[kMaxConnectEntries] = {};
      EXPECT_EQ(VLPER_NOTSUPPORT, printer.GetConnectInf(entries));
    });
  }
}

TEST_F(PrinterFault, EndWaitsForTheWorkerAndLeavesNothing) {
  test::run_virtual_schedules(20, [&] {
    auto printer = std::make_unique<CPrinterInf>("Printer", Settings(kLogObjects));
    printer.reset();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
  });
  EXPECT_EQ("delete CPrinterInf : Printer = 0", Lines().back());
}

// Memory runs out at each step of the making: it passes, and nothing is left.
TEST_F(PrinterFault, OutOfMemoryWhileBeingMadePassesAndLeavesNothing) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  far_side::add_printer({.name = "\\\\CSR|srv\\alias", .published_name = "queue"});
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    bool made = false;
    test::run_virtual_parallel([&] {
      const LogSettings settings = Settings(kLogPrinter);
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      try {
        const platform::UnderTest tested;
        const CPrinterInf printer("\\\\CSR|srv\\alias", settings);
        made = true;
      } catch (const std::bad_alloc&) {
      }
      const bool met = platform::faults_met() != 0;
      platform::clear_faults();
      made = made && !met;
      EXPECT_FALSE(platform::any_lock_held());
      EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    });
    if (made) {
      EXPECT_GT(nth, 5u);
      break;
    }
  }
}

}  // namespace
}  // namespace vlp
