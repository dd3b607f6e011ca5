// The queue of results, and the end that Terminate makes of it.

#include "tests/system/fixture.h"
#include "tests/system/session.h"

namespace system_test {
namespace {

using ::testing::IsEmpty;

class Results : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    AddLaser();
    AddPrinter("Other", "USB002", "MFG:V;CMD:BDC;MDL:Other;", {{ChnlKindBdc}});
    Load();
  }
};

TEST_F(Results, OfAHundredBytesNeedRoomForAHundred) {
  far_side::set_device_id("USB001", Bytes(100, 'x'));
  ASSERT_EQ(provider().DeviceId(5, kLaser), 0);
  for (const std::uint32_t capacity : {0U, 1U, 99U}) {
    const Result refused = provider().Take(capacity);
    EXPECT_EQ(refused.code, VLPER_BUFFERSIZE);
    EXPECT_EQ(refused.size, 100U);
    EXPECT_EQ(refused.request_id, 0U) << "the number belongs to a delivered result";
  }
  const Result taken = provider().Take(100);
  EXPECT_EQ(taken.code, 100);
  EXPECT_EQ(taken.request_id, 5U);
  EXPECT_EQ(taken.data, Bytes(100, 'x'));
  ExpectNothingQueued();
}

TEST_F(Results, MayBeTakenWithMoreRoomThanNeeded) {
  ASSERT_EQ(provider().DeviceId(5, kLaser), 0);
  const Result taken = provider().Take(0x8000);
  EXPECT_EQ(taken.code, 20);
  EXPECT_EQ(taken.size, 20U);
}

TEST_F(Results, ComeInTheOrderOfTheirArrivalWhicheverThePrinter) {
  const char* const names[] = {kLaser, "Other", "Other", kLaser, "Other"};
  std::uint32_t id = 100;
  for (const char* name : names) ASSERT_EQ(provider().DeviceId(id++, name), 0);
  id = 100;
  for (const char* name : names) {
    const Result result = provider().Take();
    EXPECT_EQ(result.request_id, id++);
    EXPECT_EQ(result.data, bytes_of(name == kLaser ? kLaserId : "MFG:V;CMD:BDC;MDL:Other;"));
  }
}

TEST_F(Results, OfTheSameRequestNumberAreAllKept) {
  for (int n = 0; n < 3; ++n) ASSERT_EQ(provider().DeviceId(9, kLaser), 0);
  for (int n = 0; n < 3; ++n) EXPECT_EQ(provider().Take().request_id, 9U);
  ExpectNothingQueued();
}

TEST_F(Results, MayPileUpByTheThousand) {
  for (std::uint32_t id = 1; id <= 2000; ++id) ASSERT_EQ(provider().DeviceId(id, kLaser), 0);
  for (std::uint32_t id = 1; id <= 2000; ++id) ASSERT_EQ(provider().Take().request_id, id);
  EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 1U);
}

TEST_F(Results, AreWaitedForByOneThreadWhileAnotherAsks) {
  std::vector<Result> taken;
  Thread taker([&] {
    for (int n = 0; n < 4; ++n) taken.push_back(provider().Take());
  });
  LetOthersSettle();
  for (std::uint32_t id = 1; id <= 4; ++id) ASSERT_EQ(provider().DeviceId(id, kLaser), 0);
  taker.Join();
  ASSERT_EQ(taken.size(), 4U);
  for (std::uint32_t n = 0; n < 4; ++n) EXPECT_EQ(taken[n].request_id, n + 1);
}

TEST_F(Results, AWaitForOneEndsWithTerminate) {
  Result result;
  Thread taker([&] { result = provider().Take(); });
  LetOthersSettle();
  EXPECT_EQ(provider().Terminate(), 0);
  taker.Join();
  EXPECT_EQ(result.code, VLPER_TERMINATE);
  EXPECT_EQ(result.request_id, 0U);
}

TEST_F(Results, ThatRemainAreUnreachableBehindTerminate) {
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
  const Result small = provider().Take(0);
  EXPECT_EQ(small.code, VLPER_TERMINATE) << "too small a buffer doesn't come first";
}

TEST_F(Results, TerminateMayBeCalledAgain) {
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  for (int call = 0; call < 3; ++call) EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
}

TEST_F(Results, TerminateBeforeAnyPrinterWorks) {
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
}

TEST_F(Results, ATerminatedLibraryStillGivesItsTable) {
  EXPECT_EQ(provider().Terminate(), 0);
  const ProviderTable* table = nullptr;
  EXPECT_EQ(provider().Info(&table), 0);
  EXPECT_EQ(table, &provider().table());
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE) << "asking for the table restarts nothing";
}

TEST_F(Results, RequestsThatNeedTheSpoolerEndBehindTerminate) {
  AddPrinter("Universal", "USB003", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  EXPECT_EQ(provider().Connect("Universal").code, 1);
  EXPECT_EQ(provider().Terminate(), 0);
  const Connection answer = provider().Connect("Universal");
  EXPECT_EQ(answer.code, VLPER_TERMINATE);
  EXPECT_EQ(answer.name, std::nullopt);
  EXPECT_EQ(provider().DeviceId(1, "Universal"), VLPER_TERMINATE);
  EXPECT_EQ(far_side::counts("Universal").sends, 1U);
}

TEST_F(Results, RequestsThatACacheAnswersGoOnBehindTerminate) {
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE) << "queued, but handed out no more";
  EXPECT_EQ(far_side::counts(kLaser).sends, 1U);
}

TEST_F(Results, APortIsStillCheckedBehindTerminate) {
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Terminate(), 0);
  far_side::set_port(kLaser, "COM1:");
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTSUPPORT);
}

TEST_F(Results, ANewPrinterIsServedBehindTerminateUntilTheNextOne) {
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Terminate(), 0);
  AddPrinter("Late", "USB003", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  EXPECT_EQ(provider().Connect("Late").code, 1);
  ASSERT_EQ(provider().DeviceId(1, "Late"), 0);
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Connect("Late").code, VLPER_TERMINATE);
}

// A printer whose spooler call is under way until the test lets it go.
class HeldCall : public Results {
 protected:
  void HoldLaser() {
    far_side::plug({.port = "USB001",
                    .device_id = bytes_of(kLaserId),
                    .started = started_.Get(),
                    .gate = gate_.Get()});
  }

  Signal started_;
  Signal gate_;
};

TEST_F(HeldCall, IsWaitedForByTerminate) {
  HoldLaser();
  Connection answer;
  Thread asker([&] { answer = provider().Connect(kLaser); });
  started_.Wait();
  Thread terminator([&] { EXPECT_EQ(provider().Terminate(), 0); });
  LetOthersSettle();
  EXPECT_FALSE(terminator.HasEnded());
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE) << "the queue doesn't wait along";
  gate_.Set();
  terminator.Join();
  asker.Join();
  EXPECT_EQ(answer.code, 1) << "a call under way is finished, not cut";
  EXPECT_EQ(provider().Connect(kLaser).code, 1) << "and its answer is in the cache";
}

TEST_F(HeldCall, HoldsUpOnlyItsOwnPrinter) {
  HoldLaser();
  Connection answer;
  Thread asker([&] { answer = provider().Connect(kLaser); });
  started_.Wait();
  EXPECT_EQ(provider().Connect("Other").code, 1);
  ASSERT_EQ(provider().DeviceId(1, "Other"), 0);
  EXPECT_EQ(provider().Take().request_id, 1U);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL)
      << "its channels aren't known yet";
  gate_.Set();
  asker.Join();
  EXPECT_EQ(answer.code, 1);
}

TEST_F(HeldCall, OfTheSamePrinterComeOneAfterTheOther) {
  HoldLaser();
  std::int32_t codes[2] = {-1, -1};
  Thread first([&] { codes[0] = provider().DeviceId(1, kLaser); });
  started_.Wait();
  Thread second([&] { codes[1] = provider().DeviceId(2, kLaser); });
  LetOthersSettle();
  EXPECT_EQ(far_side::counts(kLaser).sends, 1U) << "one bound call at a time";
  gate_.Set();
  first.Join();
  second.Join();
  EXPECT_EQ(codes[0], 0);
  EXPECT_EQ(codes[1], 0);
  EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
  EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
}

}  // namespace
}  // namespace system_test
