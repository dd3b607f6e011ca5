// The bidi objects as ordinary SDK code meets them.

#include "tests/platform/bidi_fixture.h"

namespace {

using bidi_test::BidiTest;
using bidi_test::Event;
using bidi_test::make_container;
using bidi_test::make_request;
using bidi_test::make_spl;
using bidi_test::Output;
using bidi_test::output_count;
using bidi_test::output_of;
using bidi_test::Ref;
using bidi_test::row_result;
using bidi_test::TestThread;
using bidi_test::wide_bytes;
using far_side::bytes_of;

constexpr DWORD untouched = 0xDEADBEEF;

HRESULT hresult(DWORD number) { return static_cast<HRESULT>(number); }

TEST_F(BidiTest, ObjectsAnswerToTheirOwnInterfaceAndToTheCommonOne) {
  const Ref<IBidiSpl> spl = make_spl();
  Ref<IUnknown> unknown;
  ASSERT_EQ(S_OK, spl->QueryInterface(IID_IUnknown, unknown.out()));
  Ref<IBidiSpl> again;
  ASSERT_EQ(S_OK, unknown->QueryInterface(IID_IBidiSpl, again.out()));
  EXPECT_EQ(spl.get(), again.get());
  void* other = &other;
  EXPECT_EQ(E_NOINTERFACE, spl->QueryInterface(IID_IBidiRequest, &other));
  EXPECT_EQ(nullptr, other);
}

TEST_F(BidiTest, ReferencesAreCounted) {
  Ref<IBidiRequest> request = make_request(id_schema);
  EXPECT_EQ(2U, request->AddRef());
  EXPECT_EQ(1U, request->Release());
  EXPECT_EQ(1U, far_side::live_objects().requests);
  request.reset();
  EXPECT_EQ(0U, far_side::live_objects().requests);
}

TEST_F(BidiTest, ContainerKeepsItsRequestsAlive) {
  Ref<IBidiRequestContainer> container = make_container();
  ASSERT_EQ(S_OK, container->AddRequest(make_request(id_schema).get()));
  ULONG count = 99;
  EXPECT_EQ(S_OK, container->GetRequestCount(&count));
  EXPECT_EQ(1U, count);
  EXPECT_EQ(1U, far_side::live_objects().requests);
  container.reset();
  EXPECT_EQ(0U, far_side::live_objects().requests);
}

TEST_F(BidiTest, BindOfAnUnknownPrinterFailsWithItsErrorAsLastError) {
  const Ref<IBidiSpl> spl = make_spl();
  SetLastError(untouched);
  EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_INVALID_PRINTER_NAME),
            spl->BindDevice(TEXT("No Such Printer"), BIDI_ACCESS_ADMINISTRATOR));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PRINTER_NAME), GetLastError());
  EXPECT_EQ(0U, far_side::counts("No Such Printer").bound);
}

TEST_F(BidiTest, PrinterNamesCountWithoutCase) {
  const Ref<IBidiSpl> spl = make_spl();
  EXPECT_EQ(S_OK, spl->BindDevice(TEXT("bidi CALLS"), BIDI_ACCESS_USER));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
}

TEST_F(BidiTest, RefusedBindLeavesTheLastErrorOfTheRefusal) {
  far_side::set_trouble({.bind_administrator = {.result = 0x80070005}});
  const Ref<IBidiSpl> spl = make_spl();
  SetLastError(untouched);
  EXPECT_EQ(E_ACCESSDENIED, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_ADMINISTRATOR));
  EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
  EXPECT_EQ(S_OK, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_USER));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  const far_side::Counts counts = far_side::counts(printer);
  EXPECT_EQ(1U, counts.binds_administrator);
  EXPECT_EQ(1U, counts.binds_user);
  EXPECT_EQ(1U, counts.bound);
  EXPECT_EQ(1U, counts.unbinds);
}

TEST_F(BidiTest, RefusedBindMayLeaveAnotherLastError) {
  far_side::set_trouble({.bind_administrator = {.result = 0x80004005, .last_error = 5}});
  const Ref<IBidiSpl> spl = make_spl();
  EXPECT_EQ(E_FAIL, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_ADMINISTRATOR));
  EXPECT_EQ(5U, GetLastError());
}

TEST_F(BidiTest, DeviceIdComesBackAsBytesWithItsSchema) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  ASSERT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  EXPECT_EQ(S_OK, row_result(query.name.get()));
  EXPECT_EQ(0U, output_count(query.name.get()));
  EXPECT_EQ(S_OK, row_result(query.id.get()));
  EXPECT_EQ(1U, output_count(query.id.get()));
  const Output output = output_of(query.id.get());
  EXPECT_EQ(S_OK, output.result);
  EXPECT_EQ(static_cast<DWORD>(BIDI_BLOB), output.type);
  EXPECT_EQ("MFG:X;CMD:BDC;", output.data);
  EXPECT_EQ(id_schema, output.schema);
  EXPECT_EQ(std::vector<std::string>{}, far_side::breaches());
}

TEST_F(BidiTest, FarSideSeesTheWholeBatch) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  ASSERT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  const auto batches = far_side::batches();
  ASSERT_EQ(1U, batches.size());
  EXPECT_EQ(u"Bidi Calls", batches[0].printer);
  EXPECT_EQ(u"Get", batches[0].action);
  EXPECT_TRUE(batches[0].container);
  const std::vector<far_side::SeenRow> rows = {
      {u"\\Printer.VELNO_SCHEMA:SetPrinterName", BIDI_BLOB, bytes_of(wide_bytes(wide_printer))},
      {u"\\Printer.VELNO_SCHEMA:GetDeviceID", BIDI_NULL, {}}};
  EXPECT_EQ(rows, batches[0].rows);
  const far_side::Counts counts = far_side::counts(printer);
  EXPECT_EQ(1U, counts.sends);
  EXPECT_EQ(2U, counts.rows);
  EXPECT_EQ(1U, counts.device_id_queries);
}

TEST_F(BidiTest, OneRequestCanBeSentAlone) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Ref<IBidiRequest> request = make_request(name_schema, wide_bytes(wide_printer));
  EXPECT_EQ(S_OK, spl->SendRecv(TEXT("Get"), request.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  ASSERT_EQ(1U, far_side::batches().size());
  EXPECT_FALSE(far_side::batches()[0].container);
  EXPECT_EQ(std::vector<std::string>{}, far_side::breaches());
}

TEST_F(BidiTest, UnknownSchemaHasThePlainNumberAsItsResult) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  const Ref<IBidiRequest> unknown = make_request(TEXT("\\Printer.Other:Thing"));
  ASSERT_EQ(S_OK, query.container->AddRequest(unknown.get()));
  ASSERT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  EXPECT_EQ(hresult(ERROR_BIDI_SCHEMA_NOT_SUPPORTED), row_result(unknown.get()));
  EXPECT_EQ(0U, output_count(unknown.get()));
}

TEST_F(BidiTest, OutputBehindTheLastIsRefusedAndHandsOutNothing) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  ASSERT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  const Output output = output_of(query.id.get(), 1);
  EXPECT_EQ(E_INVALIDARG, output.result);
  EXPECT_TRUE(output.null_data);
}

TEST_F(BidiTest, AnswersCanBeScriptedByRow) {
  far_side::Trouble trouble;
  trouble.rows[u"Typed"] = {.data = bytes_of("text"), .type = BIDI_STRING, .outputs = 3};
  trouble.rows[u"Null"] = {.data = bytes_of("size"), .null_data = true};
  trouble.rows[u"Empty"] = {.data = far_side::Bytes{}};
  trouble.rows[u"Bad"] = {.result = 0x800732CD};
  far_side::set_trouble(trouble);
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Ref<IBidiRequestContainer> container = make_container();
  const Ref<IBidiRequest> typed = make_request(TEXT("Typed"));
  const Ref<IBidiRequest> null = make_request(TEXT("Null"));
  const Ref<IBidiRequest> empty = make_request(TEXT("Empty"));
  const Ref<IBidiRequest> bad = make_request(TEXT("Bad"));
  for (IBidiRequest* request : {typed.get(), null.get(), empty.get(), bad.get()}) {
    ASSERT_EQ(S_OK, container->AddRequest(request));
  }
  ASSERT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  EXPECT_EQ(3U, output_count(typed.get()));
  EXPECT_EQ(static_cast<DWORD>(BIDI_STRING), output_of(typed.get()).type);
  EXPECT_EQ("text", output_of(typed.get(), 2).data);
  EXPECT_TRUE(output_of(null.get()).null_data);
  EXPECT_EQ(4U, output_of(null.get()).size);
  EXPECT_EQ(S_OK, output_of(empty.get()).result);
  EXPECT_EQ(0U, output_of(empty.get()).size);
  EXPECT_EQ(hresult(0x800732CD), row_result(bad.get()));
  EXPECT_EQ(0U, output_count(bad.get()));
}

TEST_F(BidiTest, SendSaysWhichSideIsOffline) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  far_side::plug({.port = "USB001", .reach = far_side::Reach::server_offline});
  EXPECT_EQ(hresult(0x800732CB), spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  far_side::plug({.port = "USB001", .reach = far_side::Reach::device_offline});
  EXPECT_EQ(hresult(0x800732CC), spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  far_side::unplug("USB001");
  EXPECT_EQ(hresult(0x800732CC), spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(0U, output_count(query.id.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
}

TEST_F(BidiTest, SendWithNothingBoundIsRefusedAndReported) {
  const Ref<IBidiSpl> spl = make_spl();
  const Query query = make_query();
  EXPECT_EQ(E_HANDLE, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(E_HANDLE, spl->UnbindDevice());
  EXPECT_EQ(2U, far_side::breaches().size());
}

TEST_F(BidiTest, EmptyContainerIsSent) {
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Ref<IBidiRequestContainer> container = make_container();
  EXPECT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  EXPECT_EQ(1U, far_side::counts(printer).sends);
  EXPECT_EQ(std::vector<std::string>{}, far_side::breaches());
}

TEST_F(BidiTest, EachStepCanBeMadeToFail) {
  constexpr uint32_t failure = 0x80004005;
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  far_side::set_trouble({.unbind = {.result = failure},
                         .set_schema = {.result = failure},
                         .set_input_data = {.result = failure},
                         .add_request = {.result = failure},
                         .send = {.result = failure},
                         .get_request_count = {.result = failure},
                         .get_result = {.result = failure},
                         .get_enum_count = {.result = failure},
                         .get_output_data = {.result = failure}});
  EXPECT_EQ(E_FAIL, query.id->SetSchema(id_schema));
  EXPECT_EQ(E_FAIL, query.id->SetInputData(BIDI_NULL, nullptr, 0));
  EXPECT_EQ(E_FAIL, query.container->AddRequest(query.id.get()));
  EXPECT_EQ(E_FAIL, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  ULONG count = 99;
  EXPECT_EQ(E_FAIL, query.container->GetRequestCount(&count));
  HRESULT result = 99;
  EXPECT_EQ(E_FAIL, query.id->GetResult(&result));
  EXPECT_EQ(S_OK, result);
  DWORD outputs = 99;
  EXPECT_EQ(E_FAIL, query.id->GetEnumCount(&outputs));
  EXPECT_EQ(0U, outputs);
  EXPECT_EQ(E_FAIL, output_of(query.id.get()).result);
  EXPECT_EQ(E_FAIL, spl->UnbindDevice());
}

TEST_F(BidiTest, OnlyTheNamedCallOfAStepFails) {
  far_side::set_trouble({.create_request = {.result = 0x8007000E, .at = 2}});
  Ref<IBidiRequest> first;
  Ref<IBidiRequest> second;
  Ref<IBidiRequest> third;
  EXPECT_EQ(S_OK, bidi_test::create(CLSID_BidiRequest, IID_IBidiRequest, first));
  EXPECT_EQ(E_OUTOFMEMORY, bidi_test::create(CLSID_BidiRequest, IID_IBidiRequest, second));
  EXPECT_FALSE(second);
  EXPECT_EQ(S_OK, bidi_test::create(CLSID_BidiRequest, IID_IBidiRequest, third));
}

TEST_F(BidiTest, RequestCountAndSendResultCanBeOverridden) {
  far_side::set_trouble({.request_count = 7, .send_result = 1});
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  EXPECT_EQ(S_FALSE, spl->MultiSendRecv(TEXT("Get"), query.container.get()));
  EXPECT_EQ(S_OK, spl->UnbindDevice());
  ULONG count = 0;
  EXPECT_EQ(S_OK, query.container->GetRequestCount(&count));
  EXPECT_EQ(7U, count);
  EXPECT_EQ("MFG:X;CMD:BDC;", output_of(query.id.get()).data);
}

TEST_F(BidiTest, AnswerWaitsForTheGate) {
  Event started(FALSE);
  Event gate(TRUE);
  far_side::plug({.port = "USB001",
                  .device_id = bytes_of("MFG:Late;"),
                  .started = started.get(),
                  .gate = gate.get()});
  const Ref<IBidiSpl> spl = make_bound_spl();
  const Query query = make_query();
  HRESULT sent = E_FAIL;
  TestThread sender([&] { sent = spl->MultiSendRecv(TEXT("Get"), query.container.get()); });
  started.await();
  EXPECT_EQ(1U, far_side::counts(printer).sends);
  EXPECT_EQ(E_FAIL, sent);
  gate.set();
  sender.join();
  EXPECT_EQ(S_OK, sent);
  EXPECT_EQ("MFG:Late;", output_of(query.id.get()).data);
  EXPECT_EQ(S_OK, spl->UnbindDevice());
}

TEST_F(BidiTest, PrintersOfTwoPortsAnswerSideBySide) {
  Event started(FALSE);
  Event gate(TRUE);
  far_side::plug({.port = "USB001", .started = started.get(), .gate = gate.get()});
  far_side::add_printer({.name = "Second", .port = "usb002"});
  far_side::set_device_id("USB002", bytes_of("MFG:Second;"));
  const Ref<IBidiSpl> first = make_bound_spl();
  const Query blocked = make_query();
  TestThread sender([&] { first->MultiSendRecv(TEXT("Get"), blocked.container.get()); });
  started.await();
  const Ref<IBidiSpl> second = make_spl();
  ASSERT_EQ(S_OK, second->BindDevice(TEXT("Second"), BIDI_ACCESS_USER));
  const Ref<IBidiRequestContainer> container = make_container();
  const Ref<IBidiRequest> name = make_request(name_schema, wide_bytes(TEXT("Second")));
  const Ref<IBidiRequest> id = make_request(id_schema);
  ASSERT_EQ(S_OK, container->AddRequest(name.get()));
  ASSERT_EQ(S_OK, container->AddRequest(id.get()));
  EXPECT_EQ(S_OK, second->MultiSendRecv(TEXT("Get"), container.get()));
  EXPECT_EQ("MFG:Second;", output_of(id.get()).data);
  EXPECT_EQ(S_OK, second->UnbindDevice());
  gate.set();
  sender.join();
  EXPECT_EQ(S_OK, first->UnbindDevice());
}

}  // namespace
