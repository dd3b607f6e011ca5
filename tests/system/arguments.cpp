// What the operations make of missing, zero and hostile arguments.

#include <cstddef>
#include <cstring>
#include <memory>

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr std::uint8_t kCommand[] = {0x1B, 0x01, 'X'};
constexpr std::uint32_t kCommandSize = sizeof(kCommand);

// A block that ends where its last byte ends, so that a reader behind it is found.
std::unique_ptr<char[]> Block(const std::string& bytes) {
  auto block = std::make_unique<char[]>(bytes.size());
  std::memcpy(block.get(), bytes.data(), bytes.size());
  return block;
}

class Arguments : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    AddLaser();
    Load();
  }
};

TEST_F(Arguments, TheExportRefusesANullArgument) {
  EXPECT_EQ(provider().Info(nullptr), VLPER_PARAM);
}

TEST_F(Arguments, TheExportGivesTheSameTableEveryTime) {
  for (int call = 0; call < 5; ++call) {
    const ProviderTable* table = nullptr;
    EXPECT_EQ(provider().Info(&table), 0);
    EXPECT_EQ(table, &provider().table());
  }
}

TEST_F(Arguments, TheTableIsPackedAndSaysItsLimits) {
  static_assert(sizeof(ProviderTable) == 68);
  static_assert(offsetof(ProviderTable, GetConnectInf) == 12);
  static_assert(offsetof(ProviderTable, GetDeviceID) == 20);
  static_assert(offsetof(ProviderTable, SendCommand) == 28);
  static_assert(offsetof(ProviderTable, GetStatus) == 36);
  static_assert(offsetof(ProviderTable, GetResult) == 44);
  static_assert(offsetof(ProviderTable, Terminate) == 52);
  static_assert(offsetof(ProviderTable, SendThroughCommand) == 60);
  EXPECT_EQ(provider().table().maxNameSize, 260U);
  EXPECT_EQ(provider().table().maxConnectEntries, 11U);
  EXPECT_EQ(provider().table().operationCount, 7U);
  unsigned char bytes[sizeof(ProviderTable)];
  std::memcpy(bytes, &provider().table(), sizeof(bytes));
  for (std::size_t slot = 0; slot < 7; ++slot) {
    std::uint64_t address = 0;
    std::memcpy(&address, bytes + 12 + 8 * slot, 8);
    EXPECT_NE(address, 0U) << "slot " << slot;
  }
}

TEST_F(Arguments, ConnectionInfoRefusesEachNull) {
  char name[260] = "untouched";
  std::uint64_t entries[11] = {};
  const ProviderTable& table = provider().table();
  EXPECT_EQ(table.GetConnectInf(nullptr, name, entries), VLPER_PARAM);
  EXPECT_EQ(table.GetConnectInf("UFName:Laser", nullptr, entries), VLPER_PARAM);
  EXPECT_EQ(table.GetConnectInf("UFName:Laser", name, nullptr), VLPER_PARAM);
  EXPECT_EQ(table.GetConnectInf(nullptr, nullptr, nullptr), VLPER_PARAM);
  EXPECT_STREQ(name, "untouched");
  EXPECT_THAT(far_side::batches(), IsEmpty());
}

TEST_F(Arguments, NullsCountBeforeTheNameIsLookedAt) {
  std::uint64_t entries[11] = {};
  EXPECT_EQ(provider().table().GetConnectInf("no prefix", nullptr, entries), VLPER_PARAM);
  EXPECT_EQ(provider().table().GetConnectInf("UFName:Nobody", nullptr, entries), VLPER_PARAM);
}

TEST_F(Arguments, DeviceIdRefusesEachZero) {
  EXPECT_EQ(provider().table().GetDeviceID(0, kLaser), VLPER_PARAM);
  EXPECT_EQ(provider().table().GetDeviceID(1, nullptr), VLPER_PARAM);
  EXPECT_EQ(provider().table().GetDeviceID(0, nullptr), VLPER_PARAM);
  EXPECT_THAT(far_side::batches(), IsEmpty());
  ExpectNothingQueued();
}

TEST_F(Arguments, StatusRefusesEachZero) {
  EXPECT_EQ(provider().table().GetStatus(0, kLaser, ChnlKindBdc), VLPER_PARAM);
  EXPECT_EQ(provider().table().GetStatus(1, nullptr, ChnlKindBdc), VLPER_PARAM);
  EXPECT_EQ(provider().table().GetStatus(1, kLaser, 0), VLPER_PARAM);
}

TEST_F(Arguments, CommandsRefuseEachZero) {
  const VlpSendCommand operations[] = {provider().table().SendCommand,
                                       provider().table().SendThroughCommand};
  for (const VlpSendCommand send : operations) {
    EXPECT_EQ(send(0, kLaser, ChnlKindBdc, kCommand, kCommandSize), VLPER_PARAM);
    EXPECT_EQ(send(1, nullptr, ChnlKindBdc, kCommand, kCommandSize), VLPER_PARAM);
    EXPECT_EQ(send(1, kLaser, 0, kCommand, kCommandSize), VLPER_PARAM);
    EXPECT_EQ(send(1, kLaser, ChnlKindBdc, nullptr, kCommandSize), VLPER_PARAM);
    EXPECT_EQ(send(1, kLaser, ChnlKindBdc, kCommand, 0), VLPER_PARAM);
    EXPECT_EQ(send(0, nullptr, 0, nullptr, 0), VLPER_PARAM);
  }
  EXPECT_THAT(far_side::batches(), IsEmpty());
  ExpectNothingQueued();
}

TEST_F(Arguments, ACommandLengthThatCouldNotBeReturnedIsRefused) {
  const VlpSendCommand operations[] = {provider().table().SendCommand,
                                       provider().table().SendThroughCommand};
  for (const VlpSendCommand send : operations) {
    EXPECT_EQ(send(1, kLaser, ChnlKindBdc, kCommand, 0x80000000U), VLPER_PARAM);
    EXPECT_EQ(send(1, kLaser, ChnlKindBdc, kCommand, 0xFFFFFFFFU), VLPER_PARAM);
    // The largest that can be returned gets as far as the channel that isn't there.
    EXPECT_EQ(send(1, kLaser, ChnlKindQpl, kCommand, 0x7FFFFFFFU), VLPER_NOCHANNEL);
  }
}

TEST_F(Arguments, GetResultRefusesEachNullAndLeavesTheQueueAlone) {
  ASSERT_EQ(provider().DeviceId(7, kLaser), 0);
  std::uint32_t id = 0;
  std::uint32_t size = 2048;
  std::uint8_t buffer[2048];
  const VlpGetResult take = provider().table().GetResult;
  EXPECT_EQ(take(nullptr, buffer, &size), VLPER_PARAM);
  EXPECT_EQ(take(&id, buffer, nullptr), VLPER_PARAM);
  EXPECT_EQ(take(&id, nullptr, &size), VLPER_PARAM);
  EXPECT_EQ(take(nullptr, nullptr, nullptr), VLPER_PARAM);
  EXPECT_EQ(id, 0U);
  const Result result = provider().Take();
  EXPECT_EQ(result.request_id, 7U);
  EXPECT_EQ(result.data, bytes_of(kLaserId));
}

TEST_F(Arguments, NullsStayANullErrorBehindTerminate) {
  EXPECT_EQ(provider().Terminate(), 0);
  std::uint32_t id = 0;
  std::uint32_t size = 0;
  const VlpGetResult take = provider().table().GetResult;
  EXPECT_EQ(take(nullptr, nullptr, &size), VLPER_PARAM);
  EXPECT_EQ(take(&id, nullptr, nullptr), VLPER_PARAM);
  EXPECT_EQ(take(&id, nullptr, &size), VLPER_TERMINATE);
}

TEST_F(Arguments, TheRequestNumberComesBackAsItIs) {
  for (const std::uint32_t id : {1U, 0x80000000U, 0xFFFFFFFFU}) {
    ASSERT_EQ(provider().DeviceId(id, kLaser), 0);
    EXPECT_EQ(provider().Take().request_id, id);
  }
}

TEST_F(Arguments, ConnectionInfoNeedsTheExactPrefix) {
  for (const char* text : {"", "U", "UFName", "UFName:", "ufname:Laser", "UFNAME:Laser",
                           " UFName:Laser", "UFName;Laser", "Laser", "Laser UFName:"}) {
    const Connection answer = provider().ConnectText(text);
    EXPECT_EQ(answer.code, VLPER_NOTSUPPORT) << text;
    EXPECT_EQ(answer.name, std::nullopt) << text;
    EXPECT_THAT(answer.entries, IsEmpty()) << text;
  }
  EXPECT_THAT(far_side::batches(), IsEmpty());
}

TEST_F(Arguments, ANameOfOneCharacterIsEnough) {
  AddPrinter("X", "USB002", "CMD:BDC;", {{ChnlKindBdc}});
  const Connection answer = provider().ConnectText("UFName:X");
  EXPECT_EQ(answer.code, 1);
  EXPECT_EQ(answer.name, "X");
}

TEST_F(Arguments, OnlyOnePrefixIsTakenAway) {
  const Connection answer = provider().ConnectText("UFName:UFName:Laser");
  EXPECT_EQ(answer.code, VLPER_NOTSUPPORT);
  EXPECT_EQ(answer.name, std::nullopt);
}

TEST_F(Arguments, APrefixedNameWithoutTerminatorInReachIsNoName) {
  for (const std::size_t size : {260U, 261U, 300U}) {
    std::string text = "UFName:Laser";
    text.resize(size, 'x');
    const auto block = Block(text);
    char name[260] = "untouched";
    std::uint64_t entries[11] = {};
    EXPECT_EQ(provider().table().GetConnectInf(block.get(), name, entries), VLPER_NOTSUPPORT);
    EXPECT_STREQ(name, "untouched");
  }
}

TEST_F(Arguments, NamesWithoutTerminatorInReachAreReadNoFurther) {
  for (const std::size_t size : {260U, 300U}) {
    const auto name = Block(std::string(size, 'n'));
    const ProviderTable& table = provider().table();
    EXPECT_EQ(table.GetDeviceID(1, name.get()), VLPER_NOTSUPPORT);
    EXPECT_EQ(table.GetStatus(1, name.get(), ChnlKindBdc), VLPER_NOTSUPPORT);
    EXPECT_EQ(table.SendCommand(1, name.get(), ChnlKindBdc, kCommand, kCommandSize),
              VLPER_NOTSUPPORT);
    EXPECT_EQ(table.SendThroughCommand(1, name.get(), ChnlKindBdc, kCommand, kCommandSize),
              VLPER_NOTSUPPORT);
  }
}

TEST_F(Arguments, EntriesMayStandAtAnyAddress) {
  std::uint8_t room[8 * 11 + 1];
  std::memset(room, 0xEE, sizeof(room));
  char name[260];
  std::uint64_t* odd = nullptr;
  std::uint8_t* const address = room + 1;
  std::memcpy(&odd, &address, sizeof(odd));
  ASSERT_EQ(provider().table().GetConnectInf("UFName:Laser", name, odd), 1);
  const std::uint8_t slot[] = {0x03, 0x00, 0x01, 0x10, 0x07, 0x00, 0x00, 0x00};
  EXPECT_EQ(std::memcmp(room + 1, slot, sizeof(slot)), 0);
  EXPECT_EQ(room[9], 0xEE) << "a slot behind the last one was written";
}

class UnknownPrinter : public SystemTest {};

TEST_F(UnknownPrinter, IsRefusedByAllFiveNamedOperations) {
  LogTo(kLogOperations);
  Load();
  const Connection answer = provider().Connect("Nobody");
  EXPECT_EQ(answer.code, VLPER_NOTSUPPORT);
  EXPECT_EQ(answer.name, std::nullopt);
  EXPECT_EQ(provider().DeviceId(1, "Nobody"), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Status(1, "Nobody", ChnlKindBdc), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Command(1, "Nobody", ChnlKindBdc, {1}), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Through(1, "Nobody", ChnlKindBdc, {1}), VLPER_NOTSUPPORT);
  EXPECT_THAT(
      LogLines("Nobody"),
      Contains(
          StartsWith("### CPrinterInf::CheckSupportPort Return (Failed to GetPortName) : rc = -1"
                     " : LastError = "))
          .Times(5));
  ExpectNothingQueued();
}

TEST_F(UnknownPrinter, IsServedOnceTheSpoolerKnowsIt) {
  Load();
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTSUPPORT);
  AddLaser();
  ASSERT_EQ(provider().DeviceId(2, kLaser), 0);
  EXPECT_EQ(provider().Take().request_id, 2U);
}

}  // namespace
}  // namespace system_test
