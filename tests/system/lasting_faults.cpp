// Calls that go on failing, and what the library makes of the rest.

#include <gtest/gtest.h>

#include "platform/faults.h"
#include "platform/kernel/scenario.h"
#include "tests/support/fault_memory.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

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
  EXPECT_EQ(provider().Command(2, kLaser, ChnlKindBdc, {'e', 'c', 2, 0, 'o', 'k'}), 6);
  EXPECT_EQ(provider().Take().data, bytes_of("ok"));
  EXPECT_EQ(provider().Through(3, kLaser, ChnlKindBdc, {'t', 'i', 0, 0}), 4);
  EXPECT_EQ(provider().Status(4, kLaser, ChnlKindQpl), VLPER_NOCHANNEL);
  EXPECT_GT(platform::faults_met(), 10U);
}

TEST_F(LastingFaults, AResultThatFindsNoMemoryIsNotQueued) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
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

// The printer has run the command, but the caller couldn't be given its reply.
TEST_F(LastingFaults, AReplyThatFoundNoMemoryWaitsForItsCommand) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  AddLaser();
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  const std::string name = kLaser;
  const Bytes command = {'e', 'c', 2, 0, 'o', 'k'};
  unsigned kept = 0;
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    const std::uint32_t before = far_side::counts(kLaser).commands;
    std::int32_t code = 0;
    {
      const platform::UnderTest tested;
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      code = provider().table().SendCommand(1, name.c_str(), ChnlKindBdc, command.data(), 6);
    }
    const bool met = platform::faults_met() != 0;
    platform::clear_faults();
    EXPECT_FALSE(platform::any_lock_held());
    const bool sent = far_side::counts(kLaser).commands != before;
    if (code == 6) {
      EXPECT_EQ(provider().Take().data, bytes_of("ok"));
    }
    if (!met) break;
    EXPECT_EQ(code, VLPER_MEMORY);
    EXPECT_EQ(provider().Command(2, kLaser, ChnlKindBdc, command), 6);
    EXPECT_EQ(provider().Take().data, bytes_of("ok"));
    if (sent && far_side::counts(kLaser).commands == before + 1) ++kept;
  }
  EXPECT_GT(kept, 0U) << "the second call always sent it anew";
}

}  // namespace
}  // namespace system_test
