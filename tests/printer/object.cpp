// The printer object's making and end.

#include "tests/printer/printer_fixture.h"

namespace vlp {
namespace {

using printer_test::PrinterTest;

class PrinterObject : public PrinterTest {};

TEST_F(PrinterObject, LogsItsMakingAndItsEnd) {
  Make("Printer", kLogObjects);
  EXPECT_EQ((std::vector<std::string>{"new CPrinterInf : Printer = 0"}), Lines());
  printer_.reset();
  EXPECT_EQ((std::vector<std::string>{"new CPrinterInf : Printer = 0",
                                      "delete CPrinterInf : Printer = 0"}),
            Lines());
}

TEST_F(PrinterObject, LogsItsNameBeforeItsMaking) {
  Make();
  printer_.reset();
  EXPECT_EQ((std::vector<std::string>{"CPrinterInf::SetRealPrinterName: PrinterName(Printer)",
                                      "new CPrinterInf : Printer = 0",
                                      "delete CPrinterInf : Printer = 0"}),
            Lines());
}

TEST_F(PrinterObject, KeepsTheNameAsItWasGiven) {
  for (const char* name : {"Printer", "PRINTER", " Printer ", "UFName:Printer", "a", ""}) {
    EXPECT_EQ(name, Make(name, 0).Name());
  }
}

TEST_F(PrinterObject, TakesANullNameForAnEmptyOneWithoutALog) {
  EXPECT_EQ("", Make(nullptr).Name());
  EXPECT_EQ(VLPER_NOTSUPPORT, printer_->CheckSupportPort());
  std::uint64_t entries[kMaxConnectEntries] = {};
  printer_->GetConnectInf(entries);
  printer_.reset();
  EXPECT_EQ(std::nullopt, far_side::read_file(LogPath("")));
}

TEST_F(PrinterObject, HasALogUnderAnEmptyName) {
  EXPECT_EQ("", Make("", kLogObjects).Name());
  EXPECT_EQ((std::vector<std::string>{"new CPrinterInf :  = 0"}), Lines(""));
}

// Were its events known by a name, two objects would wake each other's workers.
TEST_F(PrinterObject, SharesNothingWithAnotherOneOfItsName) {
  far_side::add_printer({.name = "Printer"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  Make("Printer", 0);
  {
    CPrinterInf other("Printer", LogSettings{});
    other.StopBidiWorker();
    EXPECT_EQ(1u, far_side::live_objects().spls);
  }
  EXPECT_EQ(1u, far_side::live_objects().spls);
  std::uint64_t entries[kMaxConnectEntries] = {};
  EXPECT_EQ(VLPER_NOENTRY, printer_->GetConnectInf(entries));
  EXPECT_EQ(1u, far_side::counts("Printer").device_id_queries);
}

TEST_F(PrinterObject, TakesANameOfTheLongestLengthWhole) {
  const std::string name(259, 'n');
  EXPECT_EQ(name, Make(name.c_str(), 0).Name());
}

TEST_F(PrinterObject, TakesALongerNameForAnEmptyOne) {
  EXPECT_EQ("", Make(std::string(260, 'n').c_str(), 0).Name());
  EXPECT_EQ("", Make(std::string(5000, 'n').c_str(), 0).Name());
}

// Nothing behind the first 260 bytes may be looked at: the memory ends there.
TEST_F(PrinterObject, LooksNoFurtherThanTheLimit) {
  const auto name = std::make_unique<char[]>(260);
  std::fill_n(name.get(), 260, 'n');
  EXPECT_EQ("", Make(name.get(), kLogObjects).Name());
  EXPECT_EQ((std::vector<std::string>{"new CPrinterInf :  = 0"}), Lines(""));
}

TEST_F(PrinterObject, HasAWorkerOfItsOwnUntilItsEnd) {
  Make("Printer", 0);
  EXPECT_EQ(1u, far_side::live_objects().spls);
  {
    const CPrinterInf other("Other", LogSettings{});
    EXPECT_EQ(2u, far_side::live_objects().spls);
  }
  EXPECT_EQ(1u, far_side::live_objects().spls);
  printer_.reset();
  EXPECT_EQ(0u, far_side::live_objects().spls);
}

TEST_F(PrinterObject, EndsAStoppedWorkersObjectToo) {
  Make("Printer", 0);
  printer_->StopBidiWorker();
  EXPECT_EQ(0u, far_side::live_objects().spls);
  printer_->StopBidiWorker();
  printer_.reset();
  EXPECT_EQ(0u, far_side::live_objects().spls);
}

TEST_F(PrinterObject, IsMadeWithoutALogDirectory) {
  LogSettings settings;
  settings.logFlag = 0xFFFFFFFF;
  far_side::add_printer({.name = "Printer"});
  CPrinterInf printer("Printer", settings);
  EXPECT_EQ(0, printer.CheckSupportPort());
}

TEST_F(PrinterObject, IsMadeWithALogPathThatIsTooLong) {
  LogSettings settings = Settings(0xFFFFFFFF);
  settings.logPath = "C:\\" + std::string(250, 'd') + "\\";
  far_side::add_printer({.name = "Printer"});
  CPrinterInf printer("Printer", settings);
  EXPECT_EQ(0, printer.CheckSupportPort());
}

TEST_F(PrinterObject, NamesThatDifferInCaseHaveObjectsOfTheirOwn) {
  const CPrinterInf lower("printer", LogSettings{});
  const CPrinterInf upper("PRINTER", LogSettings{});
  EXPECT_EQ("printer", lower.Name());
  EXPECT_EQ("PRINTER", upper.Name());
  EXPECT_EQ(2u, far_side::live_objects().spls);
}

// Two files share the size of the settings, so each is rotated at half of it.
TEST_F(PrinterObject, RotatesItsLogAtHalfOfTheSizeSetting) {
  constexpr std::uint32_t kHalf = 4000;
  LogSettings settings = Settings(kLogPrinter);
  settings.maxLogSize = 2 * kHalf + 1;
  std::uint32_t length = 0;

  far_side::write_file(LogPath(), std::string(kHalf - 500, 'x'));
  {
    CPrinterInf printer("Printer", settings);
    printer.GetStatus(ChnlKindBdc, nullptr, &length);
  }
  EXPECT_EQ(std::nullopt, far_side::read_file(directory_ + "Printer_0.dat"));

  far_side::write_file(LogPath(), std::string(kHalf, 'x'));
  {
    CPrinterInf printer("Printer", settings);
    printer.GetStatus(ChnlKindBdc, nullptr, &length);
  }
  EXPECT_NE(std::nullopt, far_side::read_file(directory_ + "Printer_0.dat"));
}

void EnterAndLeave(CriticalSection& lock) { const LockGuard guard(lock); }

TEST_F(PrinterObject, LocksAreFreeAndRecursive) {
  Make("Printer", 0);
  for (CriticalSection* lock : {&printer_->sendLock, &printer_->statusLock}) {
    const LockGuard guard(*lock);
    EnterAndLeave(*lock);
  }
}

}  // namespace
}  // namespace vlp
