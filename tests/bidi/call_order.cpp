// Which system calls an exchange and the worker make: in what order, with which arguments,
// on which thread and under which locks.

#include "tests/bidi/bidi_fixture.h"
#include "tests/bidi/spooler_spy.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using spooler_spy::Call;
using spooler_spy::Record;
using Texts = std::vector<std::string>;

class CallOrder : public ::testing::Test {
 protected:
  // What `call` calls on a started object, when each call of the name `refused` fails.
  template <typename Body>
  static std::vector<Call> CallsOf(const std::string& refused, Body call) {
    std::vector<Call> calls;
    test::run_virtual_parallel([&] {
      Record record;
      CBidiIF bidi(nullptr);
      test::settle();
      record.refused = refused;
      record.Forget();
      call(bidi);
      calls = record.Calls();
    });
    return calls;
  }

  static Texts TextsOf(const std::vector<Call>& calls) {
    Texts texts;
    for (const Call& call : calls) texts.push_back(call.text);
    return texts;
  }

  static std::vector<Call> ContainerCalls(const std::string& refused, std::int32_t result) {
    return CallsOf(refused, [result](CBidiIF& bidi) {
      Batch batch;
      batch.Tell(u"\\A:One", "in").Ask(u"\\A:Two", 8);
      EXPECT_EQ(result, bidi.SendRecvBidiContainer(TEXT("Printer"), batch.Get()));
    });
  }

  static std::vector<Call> SingleCalls(const std::string& refused, std::int32_t result) {
    return CallsOf(refused, [result](CBidiIF& bidi) {
      Batch batch;
      batch.Ask(u"\\A:One", 8, "in");
      EXPECT_EQ(result, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
    });
  }
};

// The container goes before its requests, and each of these drops its input first.
TEST_F(CallOrder, OfAContainer) {
  const Texts expected = {
      "spooler 1 BindDevice(Printer, 1)",
      "CoCreateInstance(BidiRequestContainer, no outer, 23)",
      "CoCreateInstance(BidiRequest, no outer, 23)",
      "request 1 SetSchema(\\A:One)",
      "request 1 SetInputData(7, in, 2)",
      "container 1 AddRequest(request 1)",
      "CoCreateInstance(BidiRequest, no outer, 23)",
      "request 2 SetSchema(\\A:Two)",
      "request 2 SetInputData(0, null, 0)",
      "container 1 AddRequest(request 2)",
      "spooler 1 MultiSendRecv(Get, container 1)",
      "container 1 GetRequestCount()",
      "request 2 GetResult()",
      "request 2 GetEnumCount()",
      "container 1 is gone",
      "request 1 SetInputData(0, null, 0)",
      "request 1 is gone",
      "request 2 SetInputData(0, null, 0)",
      "request 2 is gone",
      "spooler 1 UnbindDevice()",
  };
  EXPECT_EQ(expected, TextsOf(ContainerCalls("", 0)));
}

TEST_F(CallOrder, OfASingleRow) {
  const Texts expected = {
      "spooler 1 BindDevice(Printer, 1)",
      "CoCreateInstance(BidiRequest, no outer, 23)",
      "request 1 SetSchema(\\A:One)",
      "request 1 SetInputData(7, in, 2)",
      "spooler 1 SendRecv(Get, request 1)",
      "request 1 GetResult()",
      "request 1 GetEnumCount()",
      "request 1 SetInputData(0, null, 0)",
      "request 1 is gone",
      "spooler 1 UnbindDevice()",
  };
  EXPECT_EQ(expected, TextsOf(SingleCalls("", 0)));
}

TEST_F(CallOrder, RequestThatCantBeAddedGoesBeforeTheContainer) {
  const Texts expected = {
      "spooler 1 BindDevice(Printer, 1)",
      "CoCreateInstance(BidiRequestContainer, no outer, 23)",
      "CoCreateInstance(BidiRequest, no outer, 23)",
      "request 1 SetSchema(\\A:One)",
      "request 1 SetInputData(7, in, 2)",
      "container 1 AddRequest(request 1)",
      "request 1 SetInputData(0, null, 0)",
      "request 1 is gone",
      "container 1 is gone",
      "spooler 1 UnbindDevice()",
  };
  EXPECT_EQ(expected, TextsOf(ContainerCalls("AddRequest", VLPER_NOTSUPPORT)));
}

TEST_F(CallOrder, SingleRowWithoutItsSchemaStillDropsItsInput) {
  const Texts expected = {
      "spooler 1 BindDevice(Printer, 1)",
      "CoCreateInstance(BidiRequest, no outer, 23)",
      "request 1 SetSchema(\\A:One)",
      "request 1 SetInputData(0, null, 0)",
      "request 1 is gone",
      "spooler 1 UnbindDevice()",
  };
  EXPECT_EQ(expected, TextsOf(SingleCalls("SetSchema", VLPER_NOTSUPPORT)));
}

TEST_F(CallOrder, SingleRowWhoseInputIsRefusedStillDropsIt) {
  const Texts expected = {
      "spooler 1 BindDevice(Printer, 1)",   "CoCreateInstance(BidiRequest, no outer, 23)",
      "request 1 SetSchema(\\A:One)",       "request 1 SetInputData(7, in, 2)",
      "request 1 SetInputData(0, null, 0)", "request 1 is gone",
      "spooler 1 UnbindDevice()",
  };
  EXPECT_EQ(expected, TextsOf(SingleCalls("SetInputData", VLPER_NOTSUPPORT)));
}

// Only the lock of the exchange is held while the spooler works, never that of the list.
TEST_F(CallOrder, SpoolerIsCalledUnderTheLockOfTheExchangeAlone) {
  constexpr struct {
    const char* refused;
    std::int32_t result;
  } kCases[] = {
      {"", 0},
      {"SetSchema", VLPER_NOTSUPPORT},
      {"AddRequest", VLPER_NOTSUPPORT},
      {"MultiSendRecv", VLPER_SEND},
      {"GetRequestCount", VLPER_SEND},
  };
  for (const auto& each : kCases) {
    const std::vector<Call> calls = ContainerCalls(each.refused, each.result);
    EXPECT_LT(5u, calls.size()) << each.refused;
    for (const Call& call : calls) EXPECT_EQ(1u, call.locks) << each.refused << call.text;
  }
  for (const Call& call : SingleCalls("", 0)) EXPECT_EQ(1u, call.locks) << call.text;
}

// --- The worker ------------------------------------------------------------------------------

const Texts kStartOfCreator = {
    "CreateEventA(plain, auto-reset, clear, unnamed)",
    "CreateEventA(plain, auto-reset, clear, unnamed)",
    "CreateThread(plain, stack 0, flags 0)",
    "WaitForMultipleObjects(event 1, thread 1, any, no limit)",
};
const Texts kEndOfCreator = {
    "SetEvent(event 2)",     "WaitForSingleObject(thread 1, no limit)",
    "CloseHandle(thread 1)", "CloseHandle(event 1)",
    "CloseHandle(event 2)",
};

Texts operator+(Texts first, const Texts& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

class WorkerOrder : public ::testing::Test {};

// The interface is released on the thread that got it, before that leaves the apartment.
TEST_F(WorkerOrder, FromStartToStop) {
  test::run_virtual_schedules(20, [] {
    Record record;
    CBidiIF bidi(nullptr);
    test::settle();
    EXPECT_EQ(kStartOfCreator, record.OwnTexts());
    Texts worker = {"CoInitializeEx(null, 0)", "CoCreateInstance(BidiSpl, no outer, 23)",
                    "SetEvent(event 1)", "WaitForSingleObject(event 2, no limit)"};
    EXPECT_EQ(worker, record.OtherTexts());
    bidi.StopBidiWorker();
    EXPECT_EQ(kStartOfCreator + kEndOfCreator, record.OwnTexts());
    EXPECT_EQ(worker + Texts({"spooler 1 is gone", "CoUninitialize()"}), record.OtherTexts());
  });
}

TEST_F(WorkerOrder, WithoutAnInterfaceTheThreadIsWaitedForAtOnce) {
  test::run_virtual_schedules(20, [] {
    Record record;
    record.refused = "CoCreateInstance";
    const CBidiIF bidi(nullptr);
    EXPECT_EQ(kStartOfCreator + kEndOfCreator, record.OwnTexts());
    EXPECT_EQ((Texts{"CoInitializeEx(null, 0)", "CoCreateInstance(BidiSpl, no outer, 23)",
                     "CoUninitialize()"}),
              record.OtherTexts());
  });
}

// A spooler that succeeds with nothing in hand: the worker is ready and lives, the start has
// failed all the same, and the thread is told to end.
TEST_F(WorkerOrder, ReadyWorkerWithoutAnInterfaceIsToldToEnd) {
  test::run_virtual_schedules(20, [] {
    Record record;
    record.creates_nothing = true;
    CBidiIF bidi(nullptr);
    EXPECT_EQ(kStartOfCreator + kEndOfCreator, record.OwnTexts());
    EXPECT_EQ((Texts{"CoInitializeEx(null, 0)", "CoCreateInstance(BidiSpl, no outer, 23)",
                     "SetEvent(event 1)", "WaitForSingleObject(event 2, no limit)"}),
              record.OtherTexts());
    Batch batch;
    batch.Ask(u"\\A:One", 8);
    EXPECT_EQ(VLPER_NOTSUPPORT, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
    bidi.StopBidiWorker();
    EXPECT_EQ(VLPER_TERMINATE, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
  });
}

TEST_F(WorkerOrder, StartWaitsForTheInterfaceHoweverLongItTakes) {
  test::run_virtual_parallel([] {
    constexpr std::uint32_t kDay = 86'400'000;
    Record record;
    record.creation_ms = kDay;
    CBidiIF bidi(nullptr);
    EXPECT_EQ(kDay, test::elapsed_ms());
    Batch batch;
    batch.Ask(u"\\A:One", 8);
    EXPECT_EQ(0, bidi.SendRecvBidi(TEXT("Printer"), batch.Row(0)));
  });
}

}  // namespace
}  // namespace vlp
