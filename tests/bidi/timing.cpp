// Who waits for whom: exchanges of one printer, of two, and the stop.

#include "platform/faults.h"
#include "tests/bidi/bidi_fixture.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiTest;
using far_side::bytes_of;
using test::elapsed_ms;

class Timing : public BidiTest {
 protected:
  void SetUp() override {
    BidiTest::SetUp();
    far_side::add_printer({.name = "Other", .port = "USB002"});
    for (const char* port : {"USB001", "USB002"}) {
      far_side::plug({.port = port, .device_id = bytes_of("id"), .latency_ms = 100});
    }
    SetAnswer({.data = bytes_of("ok")});
  }

  static std::int32_t AskOnce(CBidiIF& bidi, const WCHAR* printer = TEXT("Printer")) {
    Batch batch;
    batch.Ask(kSchema, 8);
    return bidi.SendRecvBidiContainer(printer, batch.Get());
  }
};

TEST_F(Timing, ExchangesOfOnePrinterFollowEachOther) {
  test::run_virtual_schedules(20, [] {
    CBidiIF bidi(nullptr);
    const auto start = elapsed_ms();
    auto second = test::spawn("second", [&] { EXPECT_EQ(0, AskOnce(bidi)); });
    auto third = test::spawn("third", [&] {
      Batch batch;
      batch.Ask(kSchema, 8);
      EXPECT_EQ(0, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
    });
    EXPECT_EQ(0, AskOnce(bidi));
    second.join();
    third.join();
    EXPECT_EQ(300u, elapsed_ms() - start);
  });
}

TEST_F(Timing, ExchangesOfTwoPrintersRunSideBySide) {
  test::run_virtual_schedules(20, [] {
    CBidiIF bidi(nullptr);
    CBidiIF other(nullptr);
    const auto start = elapsed_ms();
    auto second = test::spawn("second", [&] { EXPECT_EQ(0, AskOnce(other, TEXT("Other"))); });
    EXPECT_EQ(0, AskOnce(bidi));
    second.join();
    EXPECT_EQ(100u, elapsed_ms() - start);
  });
}

TEST_F(Timing, SlowExchangeIsWaitedForWithoutLimit) {
  far_side::plug({.port = "USB001", .latency_ms = 86'400'000});
  test::run_virtual_parallel([] {
    CBidiIF bidi(nullptr);
    EXPECT_EQ(0, AskOnce(bidi));
    EXPECT_EQ(86'400'000u, elapsed_ms());
  });
}

TEST_F(Timing, StopWaitsForTheExchangeUnderWay) {
  test::run_virtual_schedules(20, [] {
    CBidiIF bidi(nullptr);
    auto caller = test::spawn("caller", [&] { EXPECT_EQ(0, AskOnce(bidi)); });
    test::sleep_ms(1);
    const auto started = elapsed_ms();
    bidi.StopBidiWorker();
    EXPECT_EQ(99u, elapsed_ms() - started);
    EXPECT_EQ(VLPER_TERMINATE, AskOnce(bidi));
    caller.join();
  });
}

TEST_F(Timing, CallsThatWaitBehindTheStopAreRefused) {
  test::run_virtual_parallel([] {
    CBidiIF bidi(nullptr);
    auto caller = test::spawn("caller", [&] { EXPECT_EQ(0, AskOnce(bidi)); });
    test::sleep_ms(1);
    auto stopper = test::spawn("stopper", [&] { bidi.StopBidiWorker(); });
    test::settle();
    auto late = test::spawn("late", [&] { EXPECT_EQ(VLPER_TERMINATE, AskOnce(bidi)); });
    caller.join();
    stopper.join();
    late.join();
    EXPECT_EQ(100u, elapsed_ms());
  });
}

TEST_F(Timing, NullArgumentsAreRefusedWhileAnExchangeRuns) {
  test::run_virtual_parallel([] {
    CBidiIF bidi(nullptr);
    auto caller = test::spawn("caller", [&] { EXPECT_EQ(0, AskOnce(bidi)); });
    test::sleep_ms(1);
    Batch batch;
    EXPECT_EQ(VLPER_PARAM, bidi.SendRecvBidiContainer(nullptr, batch.Get()));
    EXPECT_EQ(VLPER_PARAM, bidi.SendRecvBidiContainer(TEXT("Printer"), nullptr));
    EXPECT_EQ(VLPER_PARAM, bidi.SendRecvBidi(nullptr, nullptr));
    EXPECT_EQ(1u, elapsed_ms());
    caller.join();
  });
}

TEST_F(Timing, SendLineTellsBothTimesInBothForms) {
  test::run_virtual_parallel([&] {
    DbgLog log("Printer", directory_.c_str(), kLogBidi, 0);
    CBidiIF bidi(&log);
    EXPECT_EQ(0, AskOnce(bidi));
    test::sleep_ms(61'000);
    Batch batch;
    batch.Ask(kSchema, 8);
    EXPECT_EQ(0, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
  });
  const auto lines = LinesOf("CBidiIF::CallSendRecv Return");
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("CBidiIF::CallSendRecv Return : rc = 0 : S 60: 0.000  E 60: 0.100 ", lines[0].text);
  EXPECT_EQ("CBidiIF::CallSendRecv Return : rc = 0 : S 61: 1.100  E 61: 1.200 ", lines[1].text);
}

// The lines before the send are on disk while the spooler still works.
TEST_F(Timing, HangingSpoolerLeavesATraceOfTheCall) {
  test::run_virtual_parallel([&] {
    DbgLog log("Printer", directory_.c_str(), kLogBidi, 0);
    CBidiIF bidi(&log);
    auto caller = test::spawn("caller", [&] { EXPECT_EQ(0, AskOnce(bidi)); });
    test::sleep_ms(1);
    EXPECT_EQ("CBidiIF::SetRequest Return : rc = 0", Lines().back());
    caller.join();
  });
}

TEST_F(Timing, WorkerSleepsUntilItIsToldToEnd) {
  test::run_virtual_parallel([] {
    CBidiIF bidi(nullptr);
    const auto wakes_in = [](std::uint32_t milliseconds) {
      const auto before = test::wake_count();
      test::sleep_ms(milliseconds);
      test::settle();
      return test::wake_count() - before;
    };
    test::settle();
    // A day wakes nobody whom a moment doesn't wake too: only this thread.
    EXPECT_EQ(wakes_in(1), wakes_in(86'400'000));
  });
}

TEST_F(Timing, EndOfTheObjectEndsARunningWorker) {
  test::run_virtual_schedules(20, [] {
    { const CBidiIF bidi(nullptr); }
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    EXPECT_EQ(0u, elapsed_ms());
  });
}

}  // namespace
}  // namespace vlp
