// A life of the library again and again, with its first, second, third ... call or
// allocation failing, until a life meets no failure.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "platform/faults.h"
#include "platform/kernel/scenario.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::IsEmpty;

const std::set<std::int32_t> kListedCodes = {
    VLPER_NOTSUPPORT, VLPER_NOTCONNECT, VLPER_NOCHANNEL, VLPER_BUFFERSIZE, VLPER_TERMINATE,
    VLPER_PARAM,      VLPER_MEMORY,     VLPER_SEND,      VLPER_BUSY,       VLPER_NOENTRY};

std::string FailedCalls() {
  std::string text;
  for (const std::string& name : platform::failed_calls()) text += " " + name;
  return text;
}

// Uses of the library that bear that any step may fail.
class Faults : public SystemTest {
 protected:
  void SetUp() override {}
  void TearDown() override {}

  // One life with the nth failure. True if a failure was met.
  bool Live(unsigned nth, DWORD error, bool allocations) {
    platform::begin_scenario({});
    far_side::reset();
    AddLaser();
    LogTo(0xFFFFFFFF);
    platform::clear_faults();
    if (allocations) {
      platform::fail_nth_call(nth, error);
    } else {
      platform::fail_nth_system_call(nth, error);
    }
    {
      const platform::UnderTest tested;
      LoadAndUse();
    }
    const bool met = platform::faults_met() != 0;
    const std::string failed = FailedCalls();
    SCOPED_TRACE("failed:" + failed);
    platform::clear_faults();
    EXPECT_THAT(far_side::breaches(), IsEmpty());
    EXPECT_EQ(far_side::live_objects(), far_side::LiveObjects{});
    EXPECT_EQ(far_side::task_blocks(), 0U);
    EXPECT_EQ(platform::end_scenario(), "");
    return met;
  }

 private:
  void LoadAndUse() {
    const HMODULE module = LoadLibraryA(LibraryFile());
    if (module == nullptr) {
      ExpectAFault("the library isn't loaded");
      return;
    }
    VlpGetProviderInfoCall info = nullptr;
    const FARPROC address = GetProcAddress(module, "VLPGetProviderInfo");
    std::memcpy(&info, &address, sizeof(info));
    const ProviderTable* table = nullptr;
    if (info != nullptr && info(&table) == 0) {
      Use(*table);
    } else {
      ExpectAFault("there is no table");
    }
    FreeLibrary(module);
    const platform::Exempt exempt;
    HMODULE still = nullptr;
    LPCSTR inside = nullptr;
    std::memcpy(&inside, &info, sizeof(inside));
    EXPECT_TRUE(inside == nullptr ||
                GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                       GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                   inside, &still) == FALSE)
        << "the library stays in memory";
  }

  void Use(const ProviderTable& table) {
    char name[260];
    std::uint64_t entries[11];
    Check(table.GetConnectInf("UFName:Laser", name, entries), 1);
    const std::int32_t asked = table.GetDeviceID(1, kLaser);
    Check(asked, 0);
    if (asked == 0) {
      std::uint32_t id = 0;
      std::uint8_t buffer[1024];
      std::uint32_t size = sizeof(buffer);
      Check(table.GetResult(&id, buffer, &size), 20);
      EXPECT_EQ(id, 1U);
    }
    Check(table.GetStatus(2, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
    const std::uint8_t command[] = {1, 2, 3};
    Check(table.SendCommand(3, kLaser, ChnlKindBdc, command, 3), VLPER_NOCHANNEL);
    Check(table.SendThroughCommand(3, kLaser, ChnlKindBdc, command, 3), VLPER_NOCHANNEL);
    // Whatever failed, it failed once: the printer is asked again.
    Check(table.GetConnectInf("UFName:Laser", name, entries), 1);
    Check(table.Terminate(), 0);
  }

  void Check(std::int32_t code, std::int32_t without_fault) {
    const platform::Exempt exempt;
    EXPECT_FALSE(platform::any_lock_held());
    if (code == without_fault) return;
    EXPECT_GT(platform::faults_met(), 0U) << "code " << code << " without a cause";
    EXPECT_EQ(kListedCodes.count(code), 1U) << "code " << code << " behind" << FailedCalls();
  }

  void ExpectAFault(const char* what) {
    const platform::Exempt exempt;
    EXPECT_GT(platform::faults_met(), 0U) << what;
  }
};

TEST_F(Faults, OfAnyCallOrAllocationLeaveNothingBehind) {
  unsigned nth = 1;
  while (Live(nth, ERROR_NOT_ENOUGH_MEMORY, true) && !HasFatalFailure()) ++nth;
  EXPECT_GT(nth, 100U) << "the sweep met too little to be one";
  RecordProperty("faults", static_cast<int>(nth - 1));
}

TEST_F(Faults, WithAnyErrorNumberLeaveNothingBehind) {
  for (const DWORD error : {DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_MORE_DATA}, DWORD{1722}}) {
    unsigned nth = 1;
    while (Live(nth, error, false) && !HasFatalFailure()) ++nth;
    EXPECT_GT(nth, 30U) << "the sweep met too little to be one";
  }
}

// Calls that go on failing.
class LastingFaults : public SystemTest {
 protected:
  void TearDown() override {
    platform::clear_faults();
    SystemTest::TearDown();
  }
};

TEST_F(LastingFaults, WithoutEventsThePrinterHasNoSpooler) {
  AddLaser();
  Load();
  platform::fail_call_from("CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTSUPPORT);
  platform::clear_faults();
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTSUPPORT) << "its worker isn't tried again";
}

TEST_F(LastingFaults, WithoutThreadsThePrinterHasNoSpooler) {
  AddLaser();
  Load();
  platform::fail_call_from("CreateThread", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
}

TEST_F(LastingFaults, AQueueWithoutItsEventDeliversAllTheSame) {
  AddLaser();
  platform::fail_call("CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY);
  Load();
  ASSERT_EQ(platform::faults_met(), 1U);
  EXPECT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().Take().request_id, 1U);
}

TEST_F(LastingFaults, ALogThatCannotBeWrittenDisturbsNothing) {
  AddLaser();
  LogTo(0xFFFFFFFF);
  platform::fail_call_from("CreateFileA", 1, ERROR_SHARING_VIOLATION);
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
  EXPECT_GT(platform::faults_met(), 10U);
}

TEST_F(LastingFaults, AResultThatFindsNoMemoryIsNotQueued) {
  AddLaser();
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  const std::string name = kLaser;
  std::int32_t code = 0;
  {
    const platform::UnderTest tested;
    platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
    code = provider().table().GetDeviceID(1, name.c_str());
    platform::clear_faults();
  }
  EXPECT_EQ(code, VLPER_MEMORY);
  EXPECT_FALSE(platform::any_lock_held());
  ExpectNothingQueued();
  EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 1U) << "the cache still has it";
}

}  // namespace
}  // namespace system_test
