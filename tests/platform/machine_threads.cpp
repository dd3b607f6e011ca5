// The machine under several threads, and the time that its spooler takes.

#include "tests/platform/own_machine.h"

#include "platform/machine.h"
#include "tests/support/virtual_time.h"

#include <winspool.h>

namespace {

class MachineThreads : public own_machine::MachineTest {
 protected:
  MachineThreads() {
    platform::add_driver({.name = "Model", .dependent_files = {{"m.lmd"}}});
    platform::add_printer({.name = "Office", .driver = "Model"});
    own_machine::write_file("C:\\windows\\m.lmd", "[ProfileInf]\r\nv=12\r\n");
  }
};

// One of everything, as a thread of the library may do it.
void use_machine(const std::string& own) {
  for (int round = 0; round < 20; ++round) {
    own_machine::set_number("Software\\" + own, "n", static_cast<DWORD>(round));
    HANDLE printer = nullptr;
    std::string name = "Office";
    ASSERT_TRUE(OpenPrinterA(name.data(), &printer, nullptr));
    BYTE info[1024] = {};
    DWORD needed = 0;
    EXPECT_TRUE(GetPrinterA(printer, 2, info, sizeof info, &needed));
    EXPECT_TRUE(GetPrinterDriverA(printer, nullptr, 6, info, sizeof info, &needed));
    EXPECT_TRUE(ClosePrinter(printer));
    EXPECT_EQ(12U, GetPrivateProfileIntA("ProfileInf", "v", 0, "m.lmd"));
    own_machine::write_file("C:\\" + own + ".log", own);
    EXPECT_EQ(own, own_machine::read_file("C:\\" + own + ".log"));
    char text[8] = "usb001";
    EXPECT_STREQ("USB001", CharUpperA(text));
  }
}

TEST_F(MachineThreads, SeveralThreadsUseOneMachine) {
  test::run_virtual_schedules(3, [] {
    test::TestThread first = test::spawn("first", [] { use_machine("first"); });
    test::TestThread second = test::spawn("second", [] { use_machine("second"); });
    use_machine("third");
    first.join();
    second.join();
  });
}

TEST_F(MachineThreads, SpoolerTakesTheTimeThatTheMachineSays) {
  platform::set_spooler_latency(700);
  test::run_virtual_schedules(1, [] {
    const auto began = test::elapsed_ms();
    HANDLE printer = nullptr;
    std::string name = "Office";
    ASSERT_TRUE(OpenPrinterA(name.data(), &printer, nullptr));
    EXPECT_EQ(began + 700, test::elapsed_ms());
    DWORD needed = 0;
    GetPrinterA(printer, 2, nullptr, 0, &needed);
    EXPECT_EQ(began + 1400, test::elapsed_ms());
    EXPECT_TRUE(ClosePrinter(printer));
    EXPECT_EQ(began + 1400, test::elapsed_ms());
  });
}

}  // namespace
