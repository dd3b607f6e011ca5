// How long a status is kept, to the millisecond.

#include "tests/support/virtual_time.h"
#include "tests/system/talk.h"

namespace system_test {
namespace {

using test::elapsed_ms;
using test::sleep_ms;

class StatusAges : public TalkTest {
 protected:
  std::uint32_t QueriesAfter(std::uint32_t age, ChannelKind kind = ChnlKindBdc) {
    sleep_ms(age);
    EXPECT_EQ(Status(kind), kTextItem);
    return Counts().status_queries;
  }
};

TEST_F(StatusAges, EndAtFiveSeconds) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(QueriesAfter(0), 1U);
  EXPECT_EQ(QueriesAfter(4999), 1U);
  EXPECT_EQ(QueriesAfter(1), 2U) << "5000 ms are too old";
  EXPECT_EQ(QueriesAfter(4999), 2U) << "the age counts from the reading";
  EXPECT_EQ(QueriesAfter(1), 3U);
}

TEST_F(StatusAges, AreTheSameForEveryChannel) {
  Open({TextBdc(), D4()}, "GENVL,BDC");
  EXPECT_EQ(QueriesAfter(0, ChnlKindBdc), 1U);
  EXPECT_EQ(QueriesAfter(4999, ChnlKindD4), 1U);
  EXPECT_EQ(QueriesAfter(1, ChnlKindD4), 2U);
}

TEST_F(StatusAges, FollowTheProfile) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=1234\n");
  EXPECT_EQ(QueriesAfter(0), 1U);
  EXPECT_EQ(QueriesAfter(1233), 1U);
  EXPECT_EQ(QueriesAfter(1), 2U);
}

TEST_F(StatusAges, MayLastForFortyNineDays) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=-1\n");
  EXPECT_EQ(QueriesAfter(0), 1U);
  EXPECT_EQ(QueriesAfter(0xFFFFFFFE), 1U);
  EXPECT_EQ(QueriesAfter(1), 2U);
}

TEST_F(StatusAges, CountFromTheAnswerNotFromTheQuestion) {
  Open({TextBdc()}, "BDC", "", {.latency_ms = 4000, .give_up_ms = 60000});
  const std::uint64_t begin = elapsed_ms();
  EXPECT_EQ(QueriesAfter(0), 1U);
  EXPECT_EQ(elapsed_ms() - begin, 4000U);
  EXPECT_EQ(QueriesAfter(4999), 1U);
  EXPECT_EQ(QueriesAfter(1), 2U);
}

TEST_F(StatusAges, AreNotRenewedByCommands) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(QueriesAfter(0), 1U);
  sleep_ms(3000);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(QueriesAfter(1999), 1U);
  EXPECT_EQ(QueriesAfter(1), 2U);
}

TEST_F(StatusAges, OfAFailureAreNone) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(QueriesAfter(0), 1U);
  sleep_ms(5000);
  Behave({.mute = true});
  EXPECT_EQ(Ask(ChnlKindBdc, 9), VLPER_SEND);
  Behave({});
  EXPECT_EQ(QueriesAfter(0), 3U);
}

TEST_F(StatusAges, OfRepliesAreNone) {
  Open({TextBdc()}, "BDC");
  for (std::uint32_t sent = 1; sent <= 3; ++sent) {
    EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
    EXPECT_EQ(Counts().commands, sent);
  }
}

TEST_F(StatusAges, ReachAcrossTheDeviceIdsOwn) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=100000\nLPT_DevIDNoChkTime=10\n");
  EXPECT_EQ(QueriesAfter(0), 1U);
  EXPECT_EQ(QueriesAfter(99999), 1U);
  EXPECT_GT(Counts().device_id_queries, 1U);
  EXPECT_EQ(QueriesAfter(1), 2U);
}

TEST_F(StatusAges, LetALongExchangeTakeItsTime) {
  Open({TextBdc()}, "BDC");
  Behave({.latency_ms = 3600000, .give_up_ms = 86400000});
  const std::uint64_t begin = elapsed_ms();
  EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 2), 5);
  EXPECT_EQ(provider().Take().request_id, 2U);
  EXPECT_EQ(elapsed_ms() - begin, 3600000U);
}

TEST_F(StatusAges, DoNotHoldUpAStatusBesideACommand) {
  Open({TextBdc()}, "BDC", "", {.latency_ms = 1000, .give_up_ms = 60000});
  EXPECT_EQ(QueriesAfter(0), 1U);
  const std::uint64_t begin = elapsed_ms();
  test::TestThread sender =
      test::spawn("sender", [&] { EXPECT_EQ(Send(ChnlKindBdc, kSilent), 4); });
  sleep_ms(100);
  EXPECT_EQ(Ask(ChnlKindBdc, 2), 0);
  EXPECT_EQ(elapsed_ms() - begin, 100U) << "it is young";
  sender.join();
  EXPECT_EQ(elapsed_ms() - begin, 1000U);
  EXPECT_EQ(provider().Take().request_id, 2U);
}

}  // namespace
}  // namespace system_test
