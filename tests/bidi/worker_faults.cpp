// Each call that the worker's start makes, failing.

#include "platform/faults.h"
#include "tests/bidi/bidi_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiTest;
using bidi_test::Form;

class WorkerFault : public BidiTest {
 protected:
  void TearDown() override {
    platform::clear_faults();
    BidiTest::TearDown();
  }
};

struct Step {
  const char* call;
  unsigned nth;
  DWORD error;
};

constexpr Step kStartSteps[] = {
    {"CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY},
    {"CreateEventA", 2, ERROR_NOT_ENOUGH_MEMORY},
    {"GetModuleHandleExA", 1, ERROR_MOD_NOT_FOUND},
    {"CreateThread", 1, ERROR_NOT_ENOUGH_MEMORY},
    {"CoInitializeEx", 1, 0x8007000E},
    {"CoCreateInstance", 1, 0x80040154},
    {"SetEvent", 1, ERROR_INVALID_HANDLE},  // the worker's, that it is ready
};

// The scenario fails if a thread or handle is left.
TEST_F(WorkerFault, OfAnyStartCallLeavesAnObjectThatRefusesEveryCall) {
  for (const Step& step : kStartSteps) {
    SCOPED_TRACE(step.call + std::to_string(step.nth));
    test::run_virtual_parallel([&] {
      platform::fail_call(step.call, step.nth, step.error);
      {
        CBidiIF bidi(nullptr);
        EXPECT_EQ(1u, platform::faults_met());
        Batch batch;
        batch.Ask(kSchema, 8);
        EXPECT_EQ(VLPER_NOTSUPPORT, bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get()));
        EXPECT_EQ(VLPER_NOTSUPPORT, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
        bidi.StopBidiWorker();
        EXPECT_EQ(VLPER_TERMINATE, bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get()));
      }
      platform::clear_faults();
    });
    EXPECT_EQ(far_side::Counts{}, Counts());
  }
}

TEST_F(WorkerFault, HandlesAreClosedBeforeTheObjectIsInUse) {
  for (const Step& step : kStartSteps) {
    SCOPED_TRACE(step.call + std::to_string(step.nth));
    std::unique_ptr<CBidiIF> bidi;
    // The object lives on: any handle that it kept would be left by the scenario.
    test::run_virtual_parallel([&] {
      platform::fail_call(step.call, step.nth, step.error);
      bidi = std::make_unique<CBidiIF>(nullptr);
      platform::clear_faults();
    });
  }
}

TEST_F(WorkerFault, RoutineThatCantJoinAnApartmentEndsAtOnceAndLeavesNone) {
  Start();
  bidi_->StopBidiWorker();
  platform::watch_calls();
  platform::fail_call("CoInitializeEx", 1, 0x8007000E);
  EXPECT_EQ(0x000Eu, CBidiIF::BidiWorkerProc(bidi_.get()));
  EXPECT_EQ(0u, platform::calls_of("CoUninitialize"));
  EXPECT_EQ(0u, platform::calls_of("CoCreateInstance"));
}

TEST_F(WorkerFault, RoutineInAnApartmentOfAnotherKindGoesOnAndLeavesAtItsEnd) {
  test::run_virtual_parallel([&] {
    platform::fail_call("CoInitializeEx", 1, 0x80010106);
    // Another thread keeps the apartment, as the failed join gave none.
    CBidiIF other(nullptr);
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    platform::watch_calls();
    const CBidiIF first(nullptr);
    platform::fail_call("CoInitializeEx", 1, 0x80010106);
    {
      CBidiIF bidi(nullptr);
      EXPECT_EQ(1u, platform::faults_met());
      SetAnswer({.data = far_side::bytes_of("ok")});
      Batch batch;
      batch.Ask(kSchema, 8);
      EXPECT_EQ(0, bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get()));
      EXPECT_EQ(0u, platform::calls_of("CoUninitialize"));
    }
    EXPECT_EQ(1u, platform::calls_of("CoUninitialize"));
    platform::clear_faults();
  });
}

TEST_F(WorkerFault, RoutineThatGetsNoInterfaceLeavesTheApartment) {
  Start();
  bidi_->StopBidiWorker();
  platform::watch_calls();
  platform::fail_call("CoCreateInstance", 1, 0x80040154);
  EXPECT_EQ(0x0154u, CBidiIF::BidiWorkerProc(bidi_.get()));
  EXPECT_EQ(1u, platform::calls_of("CoInitializeEx"));
  EXPECT_EQ(1u, platform::calls_of("CoUninitialize"));
}

TEST_F(WorkerFault, CallsJoinNoApartment) {
  Start();
  SetAnswer({.data = far_side::bytes_of("ok")});
  platform::watch_calls();
  EXPECT_EQ(0, Ask(8));
  EXPECT_EQ(0, Ask(8, Form::kSingle));
  EXPECT_EQ(0u, platform::calls_of("CoInitializeEx"));
  EXPECT_EQ(0u, platform::calls_of("CoUninitialize"));
}

// A wait that fails is made again: neither the interface nor the object goes too early.
TEST_F(WorkerFault, OfAWaitIsOvercome) {
  test::run_virtual_schedules(20, [&] {
    SetAnswer({.data = far_side::bytes_of("ok")});
    platform::fail_call("WaitForMultipleObjects", 1, ERROR_NOT_ENOUGH_MEMORY);
    platform::fail_call("WaitForSingleObject", 1, ERROR_NOT_ENOUGH_MEMORY);
    auto bidi = std::make_unique<CBidiIF>(nullptr);
    test::settle();
    EXPECT_EQ(2u, platform::faults_met());
    Batch batch;
    batch.Ask(kSchema, 8);
    EXPECT_EQ(0, bidi->SendRecvBidiContainer(TEXT("Printer"), batch.Get()));
    platform::fail_call("WaitForSingleObject", 1, ERROR_NOT_ENOUGH_MEMORY);
    bidi.reset();
    EXPECT_EQ(3u, platform::faults_met());
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    platform::clear_faults();
  });
}

// A worker that wasn't told to end would be waited for without end.
TEST_F(WorkerFault, OfTheSignalToEndIsOvercome) {
  for (const bool stops : {true, false}) {
    test::run_virtual_schedules(20, [&] {
      auto bidi = std::make_unique<CBidiIF>(nullptr);
      platform::fail_call("SetEvent", 1, ERROR_INVALID_HANDLE);
      if (stops) {
        bidi->StopBidiWorker();
        Batch batch;
        batch.Ask(kSchema, 8);
        EXPECT_EQ(VLPER_TERMINATE, bidi->SendRecvBidi(TEXT("Printer"), batch.Row(0)));
      } else {
        bidi.reset();
      }
      EXPECT_EQ(1u, platform::faults_met());
      EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
      platform::clear_faults();
    });
  }
}

TEST_F(WorkerFault, StopAndEndCloseEachHandleOnce) {
  test::run_virtual_parallel([&] {
    platform::watch_calls();
    {
      CBidiIF bidi(nullptr);
      EXPECT_EQ(2u, platform::calls_of("CreateEventA"));
      EXPECT_EQ(1u, platform::calls_of("CreateThread"));
      bidi.StopBidiWorker();
      EXPECT_EQ(3u, platform::calls_of("CloseHandle"));
      bidi.StopBidiWorker();
    }
    EXPECT_EQ(3u, platform::calls_of("CloseHandle"));
    platform::clear_faults();
  });
}

// What runs out of memory does so before the bind: nothing is bound, nothing locked.
TEST_F(WorkerFault, OutOfMemoryPassesBeforeTheBind) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  test::run_virtual_parallel([&] {
    CBidiIF bidi(nullptr);
    SetAnswer({.data = far_side::bytes_of("ok")});
    Batch batch;
    batch.Ask(kSchema, 8).Ask(kSchema, 8);
    platform::fail_call("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
    bool thrown = false;
    try {
      const platform::UnderTest tested;
      bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get());
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    EXPECT_TRUE(thrown);
    EXPECT_FALSE(platform::any_lock_held());
    EXPECT_EQ(far_side::Counts{}, Counts());
    platform::clear_faults();
    EXPECT_EQ(0, bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get()));
  });
}

// Each call of an exchange fails in turn: whatever the code, nothing is left.
TEST_F(WorkerFault, OfEachCallOfAnExchangeLeavesNothingBehind) {
  for (unsigned nth = 1;; ++nth) {
    std::vector<std::string> failed;
    test::run_virtual_parallel([&] {
      SetAnswer({.data = far_side::bytes_of("ok")});
      DbgLog log("Printer", directory_.c_str(), 0xFFFFFFFF, 0);
      CBidiIF bidi(&log);
      const far_side::Counts before = Counts();
      Batch batch;
      batch.Tell(kSchema, "in").Ask(kSchema, 8);
      platform::fail_nth_system_call(nth, ERROR_GEN_FAILURE);
      const std::int32_t rc = bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get());
      failed = platform::failed_calls();
      platform::clear_faults();
      SCOPED_TRACE(failed.empty() ? "none" : failed[0]);
      EXPECT_TRUE(rc == 0 || rc == VLPER_NOTSUPPORT || rc == VLPER_SEND) << rc;
      if (rc == 0) {
        // Without a count of outputs the answer reads as an empty one.
        const bool uncounted = !failed.empty() && failed[0] == "IBidiRequest::GetEnumCount";
        EXPECT_EQ(uncounted ? "" : "ok", batch.Text(1));
      } else {
        EXPECT_TRUE(batch.IsUntouched(1));
      }
      EXPECT_FALSE(platform::any_lock_held());
      EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects());
      EXPECT_EQ(Counts().bound - before.bound, Counts().unbinds - before.unbinds);
    });
    if (failed.empty()) {
      EXPECT_GT(nth, 20u);
      break;
    }
  }
}

}  // namespace
}  // namespace vlp
