#include "monitor/watch_log.h"

#include <gtest/gtest.h>

namespace {

using monitor::Moment;
using monitor::NoteReading;
using monitor::NoteRequest;
using monitor::StatusReading;
using monitor::Step;
using monitor::WatchLog;

StatusReading Answered(std::string_view text) {
  return {"GetStatus", ChnlKindBdc, {0, {text.begin(), text.end()}}};
}

StatusReading Failed(std::int32_t result) { return {"GetConnectInf", std::nullopt, {result, {}}}; }

Moment At(ULONGLONG tick) { return {tick, {}}; }

TEST(WatchLog, CountsRequestsAndKnowsWhileOneIsUnderWay) {
  WatchLog log;
  NoteRequest(log, At(100));
  EXPECT_TRUE(log.asking);
  EXPECT_EQ(log.asked_tick, 100u);
  NoteReading(log, Answered("a"), At(140));
  EXPECT_FALSE(log.asking);
  NoteRequest(log, At(1100));
  EXPECT_EQ(log.requests, 2u);
  EXPECT_EQ(log.failures, 0u);
}

TEST(WatchLog, ComparesEachAnswerWithTheOneBefore) {
  WatchLog log;
  EXPECT_EQ(NoteReading(log, Answered("A:1;"), At(10)), Step::kFirst);
  EXPECT_EQ(NoteReading(log, Answered("A:1;"), At(20)), Step::kUnchanged);
  EXPECT_EQ(log.status_tick, 20u);
  EXPECT_EQ(log.same_since_tick, 10u);
  EXPECT_TRUE(log.changes.empty());
  EXPECT_EQ(NoteReading(log, Answered("A:2;"), At(30)), Step::kChanged);
  EXPECT_EQ(log.same_since_tick, 30u);
  EXPECT_EQ(log.changes, std::vector<std::string>{"A: 2, was 1"});
}

TEST(WatchLog, KeepsStatusAndLastChangesOverFailuresAndEqualAnswers) {
  WatchLog log;
  NoteReading(log, Answered("A:1;"), At(10));
  NoteReading(log, Answered("A:2;"), At(20));
  EXPECT_EQ(NoteReading(log, Failed(VLPER_SEND), At(30)), Step::kFailed);
  EXPECT_EQ(log.status_tick, 20u);
  EXPECT_EQ(log.kind, ChnlKindBdc);
  EXPECT_EQ(NoteReading(log, Answered("A:2;"), At(40)), Step::kUnchanged);
  EXPECT_EQ(log.same_since_tick, 20u);
  EXPECT_EQ(log.changes.size(), 1u);
  EXPECT_EQ(log.failures, 1u);
}

TEST(WatchLog, KeepsFailuresInARowAsOneAndTheLastFive) {
  WatchLog log;
  NoteReading(log, Failed(VLPER_SEND), At(10));
  NoteReading(log, Failed(VLPER_SEND), At(20));
  NoteReading(log, Answered("a"), At(30));
  NoteReading(log, Failed(VLPER_SEND), At(40));
  ASSERT_EQ(log.recent_failures.size(), 2u);
  EXPECT_EQ(log.recent_failures[0].times, 2u);
  EXPECT_EQ(log.recent_failures[1].times, 1u);
  for (const std::int32_t code : {-1, -2, -3, -12}) NoteReading(log, Failed(code), At(50));
  ASSERT_EQ(log.recent_failures.size(), 5u);
  EXPECT_EQ(log.recent_failures.front().times, 1u);
  EXPECT_EQ(log.recent_failures.back().result, -12);
  EXPECT_EQ(log.failures, 7u);
}

}  // namespace
