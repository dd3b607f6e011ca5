// The table as it lies in memory, and the refusals that come before anything else.

#include "include/vlpbidi.h"
#include "provider/operations.h"
#include "tests/provider/current_context.h"
#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>

namespace vlp {
namespace {

using provider_test::Context;

TEST(Table, LiesInMemoryAsTheMonitorExpects) {
  EXPECT_EQ(68u, sizeof(ProviderTable));
  EXPECT_EQ(4u, alignof(ProviderTable));
  EXPECT_EQ(0u, offsetof(ProviderTable, maxNameSize));
  EXPECT_EQ(4u, offsetof(ProviderTable, maxConnectEntries));
  EXPECT_EQ(8u, offsetof(ProviderTable, operationCount));
  EXPECT_EQ(12u, offsetof(ProviderTable, GetConnectInf));
  EXPECT_EQ(20u, offsetof(ProviderTable, GetDeviceID));
  EXPECT_EQ(28u, offsetof(ProviderTable, SendCommand));
  EXPECT_EQ(36u, offsetof(ProviderTable, GetStatus));
  EXPECT_EQ(44u, offsetof(ProviderTable, GetResult));
  EXPECT_EQ(52u, offsetof(ProviderTable, Terminate));
  EXPECT_EQ(60u, offsetof(ProviderTable, SendThroughCommand));
}

TEST(Table, BeginsWithItsThreeNumbers) {
  const ProviderTable table = MakeProviderTable();
  std::uint8_t bytes[12];
  std::memcpy(bytes, &table, sizeof(bytes));
  const std::uint8_t expected[12] = {0x04, 0x01, 0, 0, 0x0B, 0, 0, 0, 7, 0, 0, 0};
  EXPECT_EQ(0, std::memcmp(expected, bytes, sizeof(bytes)));
}

TEST(Table, HasSevenDifferentOperations) {
  const ProviderTable table = MakeProviderTable();
  std::uint8_t bytes[sizeof(table)];
  std::memcpy(bytes, &table, sizeof(bytes));
  std::set<std::uint64_t> slots;
  for (std::size_t slot = 0; slot < 7; ++slot) {
    std::uint64_t address = 0;
    std::memcpy(&address, bytes + 12 + 8 * slot, sizeof(address));
    EXPECT_NE(0u, address);
    slots.insert(address);
  }
  EXPECT_EQ(7u, slots.size());
}

TEST(Codes, AreThoseOfTheInterface) {
  EXPECT_EQ(-1, VLPER_NOTSUPPORT);
  EXPECT_EQ(-2, VLPER_NOTCONNECT);
  EXPECT_EQ(-3, VLPER_NOCHANNEL);
  EXPECT_EQ(-5, VLPER_BUFFERSIZE);
  EXPECT_EQ(-6, VLPER_TERMINATE);
  EXPECT_EQ(-7, VLPER_PARAM);
  EXPECT_EQ(-8, VLPER_MEMORY);
  EXPECT_EQ(-9, VLPER_SEND);
  EXPECT_EQ(-12, VLPER_BUSY);
  EXPECT_EQ(-19, VLPER_NOENTRY);
}

TEST(Channels, HaveTheirNumbers) {
  EXPECT_EQ(0x10000005u, ChnlKindD4);
  EXPECT_EQ(0x10000006u, ChnlKindZrdPages);
  EXPECT_EQ(0x10010002u, ChnlKindQpl);
  EXPECT_EQ(0x10010003u, ChnlKindBdc);
  EXPECT_EQ(0x10010004u, ChnlKindZrdPage);
  EXPECT_EQ(0x10010008u, ChnlKindEnd4);
  EXPECT_EQ(0x10010009u, ChnlKindLabel);
}

// Bad arguments are refused first, whether the library is attached or not, and before any
// printer object is made.
class Refusal : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    far_side::reset();
    if (GetParam()) ProviderAttach();
  }
  void TearDown() override {
    if (GetParam()) {
      EXPECT_EQ(0u, Context()->registry->Count());
      EXPECT_EQ(0u, Context()->results->Count());
    }
    ProviderDetach(false);
  }

  const ProviderTable table_ = MakeProviderTable();
};
INSTANTIATE_TEST_SUITE_P(Library, Refusal, ::testing::Bool(), [](const auto& attached) {
  return attached.param ? "Attached" : "Detached";
});

TEST_P(Refusal, OfConnectionInfoWithoutEachPointer) {
  char name[260] = "left";
  std::uint64_t entries[11] = {};
  EXPECT_EQ(VLPER_PARAM, table_.GetConnectInf(nullptr, name, entries));
  EXPECT_EQ(VLPER_PARAM, table_.GetConnectInf("UFName:Printer", nullptr, entries));
  EXPECT_EQ(VLPER_PARAM, table_.GetConnectInf("UFName:Printer", name, nullptr));
  // Before the prefix is looked at.
  EXPECT_EQ(VLPER_PARAM, table_.GetConnectInf("Printer", nullptr, entries));
  EXPECT_STREQ("left", name);
}

TEST_P(Refusal, OfConnectionInfoWithABadName) {
  char name[260] = "left";
  std::uint64_t entries[11] = {};
  for (const std::string prefixed : {"", "Printer", "UFName:", "UFName", "ufname:Printer",
                                     "UFNAME:Printer", "UFName;Printer", " UFName:Printer"}) {
    EXPECT_EQ(VLPER_NOTSUPPORT, table_.GetConnectInf(prefixed.c_str(), name, entries)) << prefixed;
  }
  const std::string endless = "UFName:" + std::string(253, 'x');
  EXPECT_EQ(VLPER_NOTSUPPORT, table_.GetConnectInf(endless.c_str(), name, entries));
  EXPECT_STREQ("left", name);
}

TEST_P(Refusal, OfADeviceIdWithoutNumberOrName) {
  EXPECT_EQ(VLPER_PARAM, table_.GetDeviceID(0, "Printer"));
  EXPECT_EQ(VLPER_PARAM, table_.GetDeviceID(1, nullptr));
}

TEST_P(Refusal, OfAStatusWithoutNumberNameOrKind) {
  EXPECT_EQ(VLPER_PARAM, table_.GetStatus(0, "Printer", ChnlKindBdc));
  EXPECT_EQ(VLPER_PARAM, table_.GetStatus(1, nullptr, ChnlKindBdc));
  EXPECT_EQ(VLPER_PARAM, table_.GetStatus(1, "Printer", 0));
}

TEST_P(Refusal, OfACommandWithoutEachArgument) {
  const std::uint8_t command[1] = {'x'};
  for (const auto& send : {table_.SendCommand, table_.SendThroughCommand}) {
    EXPECT_EQ(VLPER_PARAM, send(0, "Printer", ChnlKindBdc, command, 1));
    EXPECT_EQ(VLPER_PARAM, send(1, nullptr, ChnlKindBdc, command, 1));
    EXPECT_EQ(VLPER_PARAM, send(1, "Printer", 0, command, 1));
    EXPECT_EQ(VLPER_PARAM, send(1, "Printer", ChnlKindBdc, nullptr, 1));
    EXPECT_EQ(VLPER_PARAM, send(1, "Printer", ChnlKindBdc, command, 0));
  }
}

TEST_P(Refusal, OfACommandWhoseLengthIsNoPositiveResult) {
  const std::uint8_t command[1] = {'x'};
  for (const std::uint32_t length : {0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(VLPER_PARAM, table_.SendCommand(1, "Printer", ChnlKindBdc, command, length));
    EXPECT_EQ(VLPER_PARAM, table_.SendThroughCommand(1, "Printer", ChnlKindBdc, command, length));
  }
}

TEST_P(Refusal, OfAResultWithoutNumberOrSize) {
  std::uint32_t id = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(VLPER_PARAM, table_.GetResult(nullptr, nullptr, &size));
  EXPECT_EQ(VLPER_PARAM, table_.GetResult(&id, nullptr, nullptr));
  table_.Terminate();
  EXPECT_EQ(VLPER_PARAM, table_.GetResult(nullptr, nullptr, &size));
  EXPECT_EQ(VLPER_PARAM, table_.GetResult(&id, nullptr, nullptr));
}

TEST(Unattached, OperationsServeNoPrinter) {
  ASSERT_EQ(nullptr, Context());
  const ProviderTable table = MakeProviderTable();
  char name[260] = "left";
  std::uint64_t entries[11] = {};
  const std::uint8_t command[1] = {'x'};
  std::uint32_t id = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(VLPER_NOTSUPPORT, table.GetConnectInf("UFName:Printer", name, entries));
  EXPECT_EQ(VLPER_NOTSUPPORT, table.GetDeviceID(1, "Printer"));
  EXPECT_EQ(VLPER_NOTSUPPORT, table.GetStatus(1, "Printer", ChnlKindBdc));
  EXPECT_EQ(VLPER_NOTSUPPORT, table.SendCommand(1, "Printer", ChnlKindBdc, command, 1));
  EXPECT_EQ(VLPER_NOTSUPPORT, table.SendThroughCommand(1, "Printer", ChnlKindBdc, command, 1));
  EXPECT_EQ(VLPER_NOTSUPPORT, table.GetResult(&id, nullptr, &size));
  EXPECT_EQ(0, table.Terminate());
  EXPECT_STREQ("left", name);
}

}  // namespace
}  // namespace vlp
