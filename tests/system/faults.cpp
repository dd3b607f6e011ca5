// A life of the library again and again, with the first, second, third ... call of each
// name failing, allocations included, until a life meets no failure.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <set>

#include "platform/faults.h"
#include "platform/kernel/scenario.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

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

  // One life in which the nth call of that name fails. True if it came to that.
  bool Live(const std::string& call, unsigned nth, DWORD error) {
    SCOPED_TRACE(call + ", time " + std::to_string(nth) + ", error " + std::to_string(error));
    platform::begin_scenario({});
    far_side::reset();
    AddLaser();
    LogTo(0xFFFFFFFF);
    platform::clear_faults();
    platform::watch_calls();
    if (!call.empty()) platform::fail_call(call, nth, error);
    {
      const platform::UnderTest tested;
      LoadAndUse();
    }
    const bool met = platform::faults_met() != 0;
    Remember(platform::call_trace());
    platform::clear_faults();
    EXPECT_THAT(far_side::breaches(), ::testing::IsEmpty());
    EXPECT_EQ(far_side::live_objects(), far_side::LiveObjects{});
    EXPECT_EQ(far_side::task_blocks(), 0U);
    EXPECT_EQ(platform::end_scenario(), "");
    return met;
  }

  // Every call that a life makes, each time that it makes it. Gives how many failed.
  unsigned Sweep(DWORD error, const char* more = nullptr) {
    EXPECT_FALSE(Live("", 0, 0));
    if (more != nullptr) calls_.insert(more);
    unsigned failures = 0;
    for (const std::string& call : std::set<std::string>(calls_)) {
      for (unsigned nth = 1; Live(call, nth, error) && !HasFailure(); ++nth) ++failures;
    }
    return failures;
  }

 private:
  // The trace has a call a line, behind the name of its thread.
  void Remember(const std::vector<std::string>& trace) {
    for (const std::string& line : trace) calls_.insert(line.substr(line.rfind(' ') + 1));
  }

  void LoadAndUse() {
    const HMODULE library = LoadLibraryA(LibraryFile());
    const FARPROC address =
        library != nullptr ? GetProcAddress(library, "VLPGetProviderInfo") : nullptr;
    VlpGetProviderInfoCall info = nullptr;
    std::memcpy(&info, &address, sizeof(info));
    const ProviderTable* table = nullptr;
    if (info != nullptr && info(&table) == 0) {
      Use(*table);
    } else {
      const platform::Exempt exempt;
      EXPECT_GT(platform::faults_met(), 0U) << "there is no table";
    }
    if (library != nullptr) FreeLibrary(library);
    const platform::Exempt exempt;
    // A wait for the worker's end that failed may have been too short.
    platform::settle();
    HMODULE found = nullptr;
    EXPECT_EQ(
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, LibraryFile(), &found),
        FALSE)
        << "it stays in memory";
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

  std::set<std::string> calls_;
};

TEST_F(Faults, ForWantOfMemoryLeaveNothingBehind) {
  EXPECT_GT(Sweep(ERROR_NOT_ENOUGH_MEMORY, "operator new"), 150U) << "too few to be a sweep";
}

TEST_F(Faults, OfOtherErrorNumbersLeaveNothingBehind) {
  for (const DWORD error : {DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_MORE_DATA}}) {
    EXPECT_GT(Sweep(error), 80U) << "too few to be a sweep";
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

// ThreadSanitizer keeps the allocation to itself.
bool AllocationsCanFail() {
  const platform::UnderTest tested;
  platform::fail_call("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  void* const memory = ::operator new(64, std::nothrow);
  platform::clear_faults();
  ::operator delete(memory);
  return memory == nullptr;
}

TEST_F(LastingFaults, AResultThatFindsNoMemoryIsNotQueued) {
  if (!AllocationsCanFail()) GTEST_SKIP() << "allocations are no fault points here";
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
