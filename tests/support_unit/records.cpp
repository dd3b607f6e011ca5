// Records and values that threads show to each other.

#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <utility>

#include "support/connect_info.h"
#include "support/gen_vl_settings.h"
#include "support/log_settings.h"
#include "support/published.h"

namespace {

using vlp::ChannelRecord;
using vlp::ConnectInfo;
using vlp::ConnectRecords;
using vlp::Published;

TEST(ConnectRecords, FindsTheFirstChannelOfAKindAmongTheValidOnes) {
  ConnectRecords records;
  records.records[0] = {0x10010003, 1, {}};
  records.records[1] = {0x10000005, 2, {}};
  records.records[2] = {0x10010003, 3, {}};
  records.count = 2;
  ASSERT_NE(nullptr, records.Find(0x10010003));
  EXPECT_EQ(1U, records.Find(0x10010003)->mode);
  EXPECT_EQ(2U, records.Find(0x10000005)->mode);
  EXPECT_EQ(nullptr, records.Find(0x10010002));
  records.count = 0;
  EXPECT_EQ(nullptr, records.Find(0x10010003));
}

TEST(ConnectRecords, HoldsElevenChannels) {
  ConnectRecords records;
  EXPECT_EQ(11U, records.records.size());
  records.count = 11;
  records.records[10].kind = 7;
  EXPECT_EQ(&records.records[10], records.Find(7));
}

TEST(ConnectInfo, IsEmptyAtFirstAndAReaderKeepsWhatItHas) {
  ConnectInfo info;
  const auto before = info.Get();
  ASSERT_NE(nullptr, before);
  EXPECT_EQ(0U, before->count);
  auto next = std::make_shared<ConnectRecords>();
  next->count = 1;
  info.Publish(next);
  EXPECT_EQ(0U, before->count);
  EXPECT_EQ(1U, info.Get()->count);
}

TEST(LogSettings, DefaultsMeanNoLog) {
  const vlp::LogSettings settings;
  EXPECT_EQ(0U, settings.logFlag);
  EXPECT_FALSE(settings.logPath.has_value());
  EXPECT_EQ(0U, settings.maxLogSize);
}

TEST(GenVlSettings, AreAllZeroAtFirst) {
  const vlp::GenVlSettings settings;
  EXPECT_EQ(0U, settings.d4RetryMode | settings.d4RetryTiming | settings.d4RetryMax |
                    settings.packetRcvMaxTime | settings.statusNoChkTime);
}

TEST(Published, IsNullUntilAValueIsShown) {
  Published<int> value;
  EXPECT_EQ(nullptr, value.Get());
  value.Set(std::make_shared<int>(1));
  EXPECT_EQ(1, *value.Get());
  value.Set(nullptr);
  EXPECT_EQ(nullptr, value.Get());
}

TEST(Published, TheFirstOfTwoMakersWins) {
  Published<int> value;
  const auto first = std::make_shared<int>(1);
  EXPECT_EQ(first, value.SetIfEmpty(first));
  EXPECT_EQ(first, value.SetIfEmpty(std::make_shared<int>(2)));
  EXPECT_EQ(first, value.Get());
}

TEST(Published, ASnapshotOutlivesWhatReplacesIt) {
  Published<int> value(std::make_shared<int>(1));
  const auto snapshot = value.Get();
  value.Set(std::make_shared<int>(2));
  EXPECT_EQ(1, *snapshot);
  EXPECT_EQ(1, snapshot.use_count());
}

// Frees itself only if nobody holds the lock of the place that it leaves.
struct LooksBack {
  explicit LooksBack(Published<LooksBack>& place) : place_(place) {}
  ~LooksBack() {
    DWORD id = 0;
    const HANDLE thread = CreateThread(nullptr, 0, Look, &place_, 0, &id);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 30000)) << "the lock was held";
    CloseHandle(thread);
  }
  LooksBack(const LooksBack&) = delete;
  LooksBack& operator=(const LooksBack&) = delete;

  static DWORD WINAPI Look(void* place) {
    static_cast<Published<LooksBack>*>(place)->Get();
    return 0;
  }

  Published<LooksBack>& place_;
};

TEST(Published, WhatIsReplacedIsFreedOutsideTheLock) {
  Published<LooksBack> value;
  value.Set(std::make_shared<LooksBack>(value));
  value.Set(nullptr);
  EXPECT_EQ(nullptr, value.Get());
}

}  // namespace
