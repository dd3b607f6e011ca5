// Loading and unloading as plain functions, and the one export.

#include "include/vlpbidi.h"
#include "tests/provider/current_context.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"

#include <gtest/gtest.h>

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace vlp {
namespace {

using provider_test::Context;

class Attach : public ::testing::Test {
 protected:
  void SetUp() override { far_side::reset(); }
  void TearDown() override {
    ProviderDetach(false);
    far_side::set_log({});
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
  }

  static std::int32_t Call(const ProviderTable** table) { return VLPGetProviderInfo(table); }
};

TEST_F(Attach, PublishesAContext) {
  EXPECT_EQ(nullptr, Context());
  ProviderAttach();
  ProviderContext* const context = Context();
  ASSERT_NE(nullptr, context);
  EXPECT_NE(nullptr, context->registry);
  EXPECT_NE(nullptr, context->results);
  EXPECT_NE(nullptr, context->queue);
  EXPECT_NE(nullptr, context->settings);
  EXPECT_EQ(0u, context->registry->Count());
  EXPECT_EQ(0u, context->results->Count());
}

TEST_F(Attach, ReadsTheLogSettingsOnce) {
  far_side::set_log({.flag = 5, .path = "C:\\log\\", .max_size = 77});
  ProviderAttach();
  far_side::set_log({.flag = 6});
  const LogSettings& settings = *Context()->settings;
  EXPECT_EQ(5u, settings.logFlag);
  ASSERT_TRUE(settings.logPath);
  EXPECT_STREQ("C:\\log\\", settings.logPath->c_str());
  EXPECT_EQ(77u, settings.maxLogSize);
}

TEST_F(Attach, HandsTheSettingsToEachPrinter) {
  const std::string directory = far_side::fresh_log_directory();
  far_side::set_log({.flag = 0x80000000, .path = directory});
  ProviderAttach();
  Context()->registry->FindOrCreate("Printer");
  EXPECT_EQ((std::vector<std::string>{"new CPrinterInf : Printer = 0"}),
            log_lines::shown(directory + "Printer.dat"));
}

TEST_F(Attach, ASecondTimeChangesNothing) {
  ProviderAttach();
  ProviderContext* const context = Context();
  context->registry->FindOrCreate("Printer");
  ProviderAttach();
  EXPECT_EQ(context, Context());
  EXPECT_EQ(1u, context->registry->Count());
}

TEST_F(Attach, StartsARunningQueue) {
  ProviderAttach();
  ProviderContext* const context = Context();
  context->results->Add(3, reinterpret_cast<const std::uint8_t*>("x"), 1);
  std::uint32_t id = 0;
  std::uint8_t buffer[1] = {};
  std::uint32_t size = 1;
  EXPECT_EQ(1, context->queue->Take(&id, buffer, &size));
  EXPECT_EQ(3u, id);
}

TEST_F(Attach, AfterADetachStartsAfresh) {
  ProviderAttach();
  Context()->queue->Stop();
  Context()->registry->FindOrCreate("Printer");
  ProviderDetach(false);
  ProviderAttach();
  ASSERT_NE(nullptr, Context());
  EXPECT_EQ(0u, Context()->registry->Count());
  std::uint32_t size = 0;
  std::uint32_t id = 0;
  Context()->results->Add(1, nullptr, 0);
  EXPECT_EQ(0, Context()->queue->Take(&id, nullptr, &size));
}

using Detach = Attach;

TEST_F(Detach, DestroysPrintersAndRecords) {
  const std::string directory = far_side::fresh_log_directory();
  far_side::set_log({.flag = 0x80000000, .path = directory});
  ProviderAttach();
  Context()->registry->FindOrCreate("Printer");
  Context()->results->Add(1, reinterpret_cast<const std::uint8_t*>("x"), 1);
  EXPECT_EQ(1u, far_side::live_objects().spls);
  ProviderDetach(false);
  EXPECT_EQ(nullptr, Context());
  EXPECT_EQ(0u, far_side::live_objects().spls);
  EXPECT_EQ("delete CPrinterInf : Printer = 0", log_lines::shown(directory + "Printer.dat").back());
}

TEST_F(Detach, ASecondTimeDoesNothing) {
  ProviderDetach(false);
  ProviderAttach();
  ProviderDetach(false);
  ProviderDetach(false);
  ProviderDetach(true);
  EXPECT_EQ(nullptr, Context());
}

TEST_F(Detach, AtTheEndOfTheProcessTouchesNothing) {
  ProviderAttach();
  ProviderContext* const context = Context();
  CPrinterInf* const printer = context->registry->FindOrCreate("Printer");
  context->results->Add(1, reinterpret_cast<const std::uint8_t*>("x"), 1);
  ProviderDetach(true);
  EXPECT_EQ(context, Context());
  EXPECT_EQ(1u, far_side::live_objects().spls);
  EXPECT_EQ(1u, context->results->Count());
  EXPECT_EQ(printer, context->registry->FindOrCreate("Printer"));
}

TEST_F(Detach, AfterTheStopLeavesNothing) {
  ProviderAttach();
  Context()->registry->FindOrCreate("Printer");
  Context()->queue->Stop();
  Context()->registry->StopAllWorkers();
  Context()->registry->FindOrCreate("Later");  // its worker still runs
  ProviderDetach(false);
  EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
}

using Export = Attach;

TEST_F(Export, RefusesANullArgument) {
  EXPECT_EQ(VLPER_PARAM, Call(nullptr));
  ProviderAttach();
  EXPECT_EQ(VLPER_PARAM, Call(nullptr));
}

TEST_F(Export, GivesTheSameTableEachTime) {
  ProviderAttach();
  const ProviderTable* first = nullptr;
  EXPECT_EQ(0, Call(&first));
  EXPECT_EQ(&Context()->table, first);
  for (int turn = 0; turn < 100; ++turn) {
    const ProviderTable* table = nullptr;
    EXPECT_EQ(0, Call(&table));
    EXPECT_EQ(first, table);
  }
}

TEST_F(Export, GivesTheTableAfterTheStopToo) {
  ProviderAttach();
  const ProviderTable* first = nullptr;
  Call(&first);
  EXPECT_EQ(0, first->Terminate());
  const ProviderTable* table = nullptr;
  EXPECT_EQ(0, Call(&table));
  EXPECT_EQ(first, table);
  std::uint32_t id = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(VLPER_TERMINATE, table->GetResult(&id, nullptr, &size));
}

TEST_F(Export, WithoutAContextGivesNone) {
  const ProviderTable* table = nullptr;
  EXPECT_EQ(VLPER_NOTSUPPORT, Call(&table));
  EXPECT_EQ(nullptr, table);
  ProviderAttach();
  ProviderDetach(false);
  EXPECT_EQ(VLPER_NOTSUPPORT, Call(&table));
  EXPECT_EQ(nullptr, table);
}

using ModuleEntry = Attach;

TEST_F(ModuleEntry, AttachesAndDetaches) {
  EXPECT_EQ(TRUE, DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr));
  EXPECT_NE(nullptr, Context());
  EXPECT_EQ(TRUE, DllMain(nullptr, DLL_PROCESS_DETACH, nullptr));
  EXPECT_EQ(nullptr, Context());
}

TEST_F(ModuleEntry, IgnoresThreadsAndUnknownNotices) {
  for (const DWORD reason : {DWORD{DLL_THREAD_ATTACH}, DWORD{DLL_THREAD_DETACH}, DWORD{99}}) {
    EXPECT_EQ(TRUE, DllMain(nullptr, reason, nullptr));
    EXPECT_EQ(nullptr, Context());
  }
  ProviderAttach();
  ProviderContext* const context = Context();
  for (const DWORD reason : {DWORD{DLL_THREAD_ATTACH}, DWORD{DLL_THREAD_DETACH}, DWORD{99}}) {
    EXPECT_EQ(TRUE, DllMain(nullptr, reason, nullptr));
    EXPECT_EQ(context, Context());
  }
}

TEST_F(ModuleEntry, TellsTheEndOfTheProcessByItsReservedArgument) {
  DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
  ProviderContext* const context = Context();
  int any = 0;
  EXPECT_EQ(TRUE, DllMain(nullptr, DLL_PROCESS_DETACH, &any));
  EXPECT_EQ(context, Context());
  EXPECT_EQ(TRUE, DllMain(nullptr, DLL_PROCESS_DETACH, nullptr));
  EXPECT_EQ(nullptr, Context());
}

}  // namespace
}  // namespace vlp
