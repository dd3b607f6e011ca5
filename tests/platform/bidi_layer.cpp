// What only the layer has: faults in the bidi calls, its clock, and printers that a machine
// describes.

#include "platform/faults.h"
#include "platform/machine.h"
#include "tests/platform/bidi_fixture.h"
#include "tests/support/virtual_time.h"

namespace {

using bidi_test::BidiTest;
using bidi_test::make_container;
using bidi_test::make_request;
using bidi_test::make_spl;
using bidi_test::output_of;
using bidi_test::Ref;
using bidi_test::wide_bytes;
using far_side::bytes_of;

constexpr DWORD untouched = 0xDEADBEEF;
constexpr LPCWSTR name_schema = TEXT("\\Printer.VELNO_SCHEMA:SetPrinterName");
constexpr LPCWSTR id_schema = TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID");

// --- Faults ------------------------------------------------------------------------------

class BidiFaults : public BidiTest {
 protected:
  void TearDown() override {
    platform::clear_faults();
    BidiTest::TearDown();
  }
};

TEST_F(BidiFaults, FaultIsAnHresultOrAWindowsError) {
  const Ref<IBidiSpl> spl = make_spl();
  platform::fail_call("IBidiSpl::BindDevice", 1, ERROR_ACCESS_DENIED);
  SetLastError(untouched);
  EXPECT_EQ(E_ACCESSDENIED, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_ADMINISTRATOR));
  EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
  platform::fail_call("IBidiSpl::BindDevice", 1, 0x80004005);
  EXPECT_EQ(E_FAIL, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_ADMINISTRATOR));
}

TEST_F(BidiFaults, AFailedUnbindHasLetGoOfThePrinter) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  platform::fail_call("IBidiSpl::UnbindDevice", 1, 0x80004005);
  EXPECT_EQ(E_FAIL, spl->UnbindDevice());
  EXPECT_EQ(S_OK, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_ADMINISTRATOR));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
}

// Each call by its name, and what has to be done for it to be made.
struct NamedCall {
  const char* name;
  HRESULT (*make)(IBidiSpl*, IBidiRequestContainer*, IBidiRequest*);
};

class EachBidiCall : public BidiFaults, public testing::WithParamInterface<NamedCall> {};

TEST_P(EachBidiCall, CanFailOnceAndThenWorks) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  platform::fail_call(GetParam().name, 1, 0x80004005);
  EXPECT_EQ(E_FAIL, GetParam().make(spl.get(), query.container.get(), query.id.get()));
  EXPECT_EQ(1U, platform::faults_met());
  platform::clear_faults();
  EXPECT_EQ(S_OK, GetParam().make(spl.get(), query.container.get(), query.id.get()));
  spl->UnbindDevice();
}

INSTANTIATE_TEST_SUITE_P(
    AllOfThem, EachBidiCall,
    testing::Values(
        NamedCall{"IBidiSpl::SendRecv",
                  [](IBidiSpl* spl, IBidiRequestContainer*, IBidiRequest* request) {
                    return spl->SendRecv(TEXT("Get"), request);
                  }},
        NamedCall{"IBidiSpl::MultiSendRecv",
                  [](IBidiSpl* spl, IBidiRequestContainer* container, IBidiRequest*) {
                    return spl->MultiSendRecv(TEXT("Get"), container);
                  }},
        NamedCall{"IBidiRequestContainer::AddRequest",
                  [](IBidiSpl*, IBidiRequestContainer* container, IBidiRequest* request) {
                    return container->AddRequest(request);
                  }},
        NamedCall{"IBidiRequestContainer::GetRequestCount",
                  [](IBidiSpl*, IBidiRequestContainer* container, IBidiRequest*) {
                    ULONG count = 0;
                    return container->GetRequestCount(&count);
                  }},
        NamedCall{"IBidiRequest::SetSchema",
                  [](IBidiSpl*, IBidiRequestContainer*, IBidiRequest* request) {
                    return request->SetSchema(TEXT("x"));
                  }},
        NamedCall{"IBidiRequest::SetInputData",
                  [](IBidiSpl*, IBidiRequestContainer*, IBidiRequest* request) {
                    return request->SetInputData(BIDI_NULL, nullptr, 0);
                  }},
        NamedCall{"IBidiRequest::GetResult",
                  [](IBidiSpl*, IBidiRequestContainer*, IBidiRequest* request) {
                    HRESULT result = S_OK;
                    return request->GetResult(&result);
                  }},
        NamedCall{"IBidiRequest::GetEnumCount",
                  [](IBidiSpl*, IBidiRequestContainer*, IBidiRequest* request) {
                    DWORD count = 0;
                    return request->GetEnumCount(&count);
                  }},
        NamedCall{"IBidiRequest::GetOutputData",
                  [](IBidiSpl* spl, IBidiRequestContainer* container, IBidiRequest* request) {
                    spl->MultiSendRecv(TEXT("Get"), container);
                    const bidi_test::Output output = output_of(request);
                    return output.result;
                  }},
        NamedCall{"CoCreateInstance", [](IBidiSpl*, IBidiRequestContainer*, IBidiRequest*) {
                    Ref<IBidiRequest> request;
                    return bidi_test::create(CLSID_BidiRequest, IID_IBidiRequest, request);
                  }}));

TEST_F(BidiFaults, EntryIntoTheApartmentCanFailAndThenNothingIsToBeLeft) {
  bidi_test::TestThread([] {
    platform::fail_call("CoInitializeEx", 1, 0x8007000E);
    EXPECT_EQ(E_OUTOFMEMORY, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    CoUninitialize();
  });
}

TEST_F(BidiFaults, TaskMemoryCanRunOut) {
  platform::fail_call("CoTaskMemAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(nullptr, CoTaskMemAlloc(10));
  EXPECT_EQ(0U, far_side::task_blocks());
}

TEST_F(BidiFaults, TaskMemoryThatNobodyFreedIsCounted) {
  LPVOID block = CoTaskMemAlloc(10);
  EXPECT_EQ(1U, far_side::task_blocks());
  CoTaskMemFree(block);
  EXPECT_EQ(0U, far_side::task_blocks());
}

// --- The clock ---------------------------------------------------------------------------

// A device ID query to the printer at USB001; gives the virtual milliseconds of the send.
uint64_t timed_query(std::string& answer) {
  const Ref<IBidiSpl> spl = make_spl();
  EXPECT_EQ(S_OK, spl->BindDevice(TEXT("Slow"), BIDI_ACCESS_ADMINISTRATOR));
  const Ref<IBidiRequestContainer> container = make_container();
  const Ref<IBidiRequest> name = make_request(name_schema, wide_bytes(TEXT("Slow")));
  const Ref<IBidiRequest> id = make_request(id_schema);
  EXPECT_EQ(S_OK, container->AddRequest(name.get()));
  EXPECT_EQ(S_OK, container->AddRequest(id.get()));
  const uint64_t before = test::elapsed_ms();
  EXPECT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), container.get()));
  const uint64_t after = test::elapsed_ms();
  answer = output_of(id.get()).data;
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  return after - before;
}

class Apartment {
 public:
  Apartment() { EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
  ~Apartment() { CoUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
};

void plug_slow(uint32_t latency_ms, const std::string& id) {
  far_side::plug({.port = "USB001", .device_id = bytes_of(id), .latency_ms = latency_ms});
}

TEST(BidiClock, AnswerTakesThePrintersLatencyToTheMillisecond) {
  far_side::reset();
  far_side::add_printer({.name = "Slow", .port = "USB001"});
  test::run_virtual_schedules(5, [] {
    const Apartment apartment;
    std::string answer;
    plug_slow(0, "MFG:Now;");
    EXPECT_EQ(0U, timed_query(answer));
    plug_slow(59'999, "MFG:Late;");
    EXPECT_EQ(59'999U, timed_query(answer));
    EXPECT_EQ("MFG:Late;", answer);
  });
}

TEST(BidiClock, SlowPrinterDoesNotHoldUpAnother) {
  far_side::reset();
  far_side::add_printer({.name = "Slow", .port = "USB001"});
  far_side::add_printer({.name = "Quick", .port = "USB002"});
  far_side::set_device_id("USB002", bytes_of("MFG:Quick;"));
  test::run_virtual_schedules(5, [] {
    const Apartment apartment;
    plug_slow(10'000, "MFG:Slow;");
    std::string slow;
    test::TestThread asker = test::spawn("asker", [&] { timed_query(slow); });
    test::settle();
    const Ref<IBidiSpl> spl = make_spl();
    ASSERT_EQ(S_OK, spl->BindDevice(TEXT("Quick"), BIDI_ACCESS_USER));
    const Ref<IBidiRequest> request = make_request(name_schema, wide_bytes(TEXT("Quick")));
    EXPECT_EQ(S_OK, spl->SendRecv(TEXT("Get"), request.get()));
    EXPECT_EQ(S_OK, spl->UnbindDevice());
    EXPECT_EQ(0U, test::elapsed_ms());
    EXPECT_FALSE(asker.ended());
    asker.join();
    EXPECT_EQ(10'000U, test::elapsed_ms());
    EXPECT_EQ("MFG:Slow;", slow);
  });
}

// A command to the label printer of that name; gives its reply.
std::string label_reply(const std::basic_string<WCHAR>& printer, const std::string& command) {
  const Ref<IBidiSpl> spl = make_spl();
  EXPECT_EQ(S_OK, spl->BindDevice(printer.c_str(), BIDI_ACCESS_USER));
  const Ref<IBidiRequestContainer> container = make_container();
  const Ref<IBidiRequest> name = make_request(name_schema, wide_bytes(printer));
  const Ref<IBidiRequest> request =
      make_request(TEXT("\\Printer.VELNO_SCHEMA:SendCommand"), command);
  EXPECT_EQ(S_OK, container->AddRequest(name.get()));
  EXPECT_EQ(S_OK, container->AddRequest(request.get()));
  EXPECT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  return bidi_test::output_count(request.get()) == 0 ? "" : output_of(request.get()).data;
}

TEST(BidiClock, PiecesAndSilenceOfAReplyTakeTheirTimeToTheMillisecond) {
  far_side::reset();
  far_side::add_printer({.name = "Label", .port = "USB001"});
  test::run_virtual_schedules(5, [] {
    const Apartment apartment;
    far_side::plug({.port = "USB001",
                    .languages = {"ZRDLABEL"},
                    .latency_ms = 300,
                    .piece_bytes = 2,
                    .piece_ms = 70,
                    .silence_ms = 100});
    EXPECT_EQ("abcde", label_reply(TEXT("Label"), "~ECabcde\n"));
    EXPECT_EQ(300U + 70 + 70 + 100, test::elapsed_ms());
    EXPECT_TRUE(far_side::breaches().empty());
  });
}

TEST(BidiClock, CommandsOfTwoPrinterNamesAtOnePortFollowEachOther) {
  far_side::reset();
  far_side::add_printer({.name = "One", .port = "USB001"});
  far_side::add_printer({.name = "Two", .port = "usb001"});
  test::run_virtual_schedules(5, [] {
    const Apartment apartment;
    far_side::plug({.port = "USB001",
                    .languages = {"ZRDLABEL"},
                    .latency_ms = 300,
                    .piece_bytes = 1,
                    .piece_ms = 50,
                    .silence_ms = 100});
    std::string first;
    test::TestThread asker =
        test::spawn("asker", [&] { first = label_reply(TEXT("One"), "~ECab\n"); });
    test::settle();
    EXPECT_EQ("xyz", label_reply(TEXT("Two"), "~ECxyz\n"));
    EXPECT_TRUE(asker.ended());
    EXPECT_EQ("ab", first);
    EXPECT_EQ(300U + 50 + 100 + 300 + 50 + 50 + 100, test::elapsed_ms());
    EXPECT_TRUE(far_side::breaches().empty());
  });
}

// --- Described printers --------------------------------------------------------------------

TEST_F(BidiTest, PrinterOfTheMachinesHardwareAnswers) {
  far_side::add_printer({.name = "Slow", .port = "usb007"});
  ASSERT_EQ(std::nullopt,
            platform::add_hardware("seven.ini", "[Printer]\nPort=USB007\nDeviceID=MFG:\\x41;\n"));
  std::string answer;
  timed_query(answer);
  EXPECT_EQ("MFG:A;", answer);
}

TEST_F(BidiTest, ChangedHardwareReplacesWhatWasThere) {
  far_side::add_printer({.name = "Slow", .port = "USB007"});
  std::string answer;
  for (const char* id : {"MFG:One;", "MFG:Two;"}) {
    ASSERT_EQ(std::nullopt,
              platform::add_hardware("seven.ini",
                                     std::string("[Printer]\nPort=USB007\nDeviceID=") + id + "\n"));
    timed_query(answer);
    EXPECT_EQ(id, answer);
  }
}

TEST_F(BidiTest, UnpluggedHardwareStaysAway) {
  far_side::add_printer({.name = "Slow", .port = "USB007"});
  ASSERT_EQ(std::nullopt,
            platform::add_hardware("seven.ini", "[Printer]\nPort=USB007\nDeviceID=X\n"));
  std::string answer;
  timed_query(answer);
  far_side::unplug("USB007");
  const Ref<IBidiSpl> spl = make_spl();
  ASSERT_EQ(S_OK, spl->BindDevice(TEXT("Slow"), BIDI_ACCESS_USER));
  const Ref<IBidiRequestContainer> container = make_container();
  EXPECT_EQ(static_cast<HRESULT>(0x800732CC), spl->MultiSendRecv(TEXT("Get"), container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
}

}  // namespace
