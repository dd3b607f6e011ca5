// One object per name, for the life of the registry.

#include "provider/printer_registry.h"

#include "include/vlpbidi.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace vlp {
namespace {

class Registry : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
    settings_.logPath = directory_;
    registry_ = std::make_unique<PrinterRegistry>(&settings_);
  }
  void TearDown() override {
    registry_.reset();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
  }

  static std::int32_t Connect(CPrinterInf& printer) {
    std::array<std::uint64_t, kMaxConnectEntries> entries{};
    return printer.GetConnectInf(entries.data());
  }

  std::string directory_;
  LogSettings settings_;
  std::unique_ptr<PrinterRegistry> registry_;
};

TEST_F(Registry, StartsEmpty) { EXPECT_EQ(0u, registry_->Count()); }

TEST_F(Registry, MakesAnObjectAtTheFirstMention) {
  CPrinterInf* const printer = registry_->FindOrCreate("Printer");
  ASSERT_NE(nullptr, printer);
  EXPECT_EQ("Printer", printer->Name());
  EXPECT_EQ(1u, registry_->Count());
  EXPECT_EQ(1u, far_side::live_objects().spls);
}

TEST_F(Registry, FindsTheSameObjectAgain) {
  CPrinterInf* const printer = registry_->FindOrCreate("Printer");
  const std::string other_memory = "Printer";
  EXPECT_EQ(printer, registry_->FindOrCreate(other_memory.c_str()));
  EXPECT_EQ(1u, registry_->Count());
  EXPECT_EQ(1u, far_side::live_objects().spls);
}

TEST_F(Registry, ComparesNamesByteByByte) {
  const char* const names[] = {"Printer",  "printer", "PRINTER",  " Printer",
                               "Printer ", "Printe",  "Printer1", "UFName:Printer"};
  std::vector<CPrinterInf*> printers;
  for (const char* name : names) printers.push_back(registry_->FindOrCreate(name));
  EXPECT_EQ(8u, registry_->Count());
  EXPECT_EQ(8u, far_side::live_objects().spls);
  for (std::size_t n = 0; n < printers.size(); ++n) {
    EXPECT_EQ(names[n], printers[n]->Name());
    EXPECT_EQ(printers[n], registry_->FindOrCreate(names[n]));
    EXPECT_EQ(1, std::count(printers.begin(), printers.end(), printers[n]));
  }
}

TEST_F(Registry, TakesANullNameForAnEmptyOne) {
  CPrinterInf* const printer = registry_->FindOrCreate(nullptr);
  ASSERT_NE(nullptr, printer);
  EXPECT_EQ("", printer->Name());
  EXPECT_EQ(printer, registry_->FindOrCreate(""));
  EXPECT_EQ(printer, registry_->FindOrCreate(nullptr));
  EXPECT_EQ(1u, registry_->Count());
}

TEST_F(Registry, TakesANameWithoutATerminatorForAnEmptyOne) {
  const auto name = std::make_unique<char[]>(260);
  std::fill_n(name.get(), 260, 'n');
  CPrinterInf* const printer = registry_->FindOrCreate(name.get());
  ASSERT_NE(nullptr, printer);
  EXPECT_EQ("", printer->Name());
  EXPECT_EQ(printer, registry_->FindOrCreate(""));
  EXPECT_EQ(printer, registry_->FindOrCreate(std::string(1000, 'm').c_str()));
  EXPECT_EQ(1u, registry_->Count());
}

TEST_F(Registry, TakesANameOfTheLongestLength) {
  const std::string name(259, 'n');
  CPrinterInf* const printer = registry_->FindOrCreate(name.c_str());
  EXPECT_EQ(name, printer->Name());
  EXPECT_EQ(printer, registry_->FindOrCreate(name.c_str()));
  EXPECT_NE(printer, registry_->FindOrCreate(name.substr(1).c_str()));
}

TEST_F(Registry, KeepsObjectsWhereTheyAre) {
  CPrinterInf* const first = registry_->FindOrCreate("First");
  for (int n = 0; n < 50; ++n) registry_->FindOrCreate(("Printer" + std::to_string(n)).c_str());
  EXPECT_EQ(51u, registry_->Count());
  EXPECT_EQ(first, registry_->FindOrCreate("First"));
  EXPECT_EQ("First", first->Name());
}

TEST_F(Registry, MakesAnObjectWhoseWorkerDoesntStart) {
  far_side::set_trouble({.create_spl = {.result = 0x80004005}});
  CPrinterInf* const printer = registry_->FindOrCreate("Printer");
  ASSERT_NE(nullptr, printer);
  EXPECT_EQ(VLPER_NOTSUPPORT, Connect(*printer));
  EXPECT_EQ(printer, registry_->FindOrCreate("Printer"));
}

TEST_F(Registry, StopsEveryWorkerAndKeepsTheObjects) {
  CPrinterInf* const one = registry_->FindOrCreate("One");
  CPrinterInf* const two = registry_->FindOrCreate("Two");
  registry_->StopAllWorkers();
  EXPECT_EQ(0u, far_side::live_objects().spls);
  EXPECT_EQ(VLPER_TERMINATE, Connect(*one));
  EXPECT_EQ(VLPER_TERMINATE, Connect(*two));
  EXPECT_EQ(one, registry_->FindOrCreate("One"));
  EXPECT_EQ(2u, registry_->Count());
  registry_->StopAllWorkers();
  EXPECT_EQ(VLPER_TERMINATE, Connect(*one));
}

TEST_F(Registry, StopsNobodyWhenEmpty) {
  registry_->StopAllWorkers();
  EXPECT_EQ(0u, registry_->Count());
}

TEST_F(Registry, StartsAWorkerForANewNameAfterTheStop) {
  registry_->FindOrCreate("One");
  registry_->StopAllWorkers();
  far_side::add_printer({.name = "Two"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  CPrinterInf* const two = registry_->FindOrCreate("Two");
  EXPECT_EQ(1u, far_side::live_objects().spls);
  EXPECT_EQ(VLPER_NOENTRY, Connect(*two));
}

// Names that a file can't hold apart share one log, which shows the order.
TEST_F(Registry, DestroysInTheOrderOfCreation) {
  settings_.logFlag = kLogObjects;
  for (const char* name : {"p/1", "p:1", "p*1"}) registry_->FindOrCreate(name);
  registry_.reset();
  EXPECT_EQ(
      (std::vector<std::string>{"new CPrinterInf : p/1 = 0", "new CPrinterInf : p:1 = 0",
                                "new CPrinterInf : p*1 = 0", "delete CPrinterInf : p/1 = 0",
                                "delete CPrinterInf : p:1 = 0", "delete CPrinterInf : p*1 = 0"}),
      log_lines::shown(directory_ + "p 1.dat"));
}

TEST_F(Registry, HandsItsSettingsToEachObject) {
  settings_.logFlag = kLogPrinter;
  registry_->FindOrCreate("Printer")->CheckSupportPort();
  EXPECT_FALSE(log_lines::read(directory_ + "Printer.dat").empty());
}

}  // namespace
}  // namespace vlp
