#include "tests/simulator/port_monitor_fixture.h"

namespace {

using namespace simulator_test;
using simulator::Ending;
using simulator::Reach;
using simulator::Trouble;

TEST_F(PortMonitorTest, DeviceIdIsAnsweredBehindTheNameOfThePrinter) {
  const Answer answer = send(batch_of({name_row(u"Printer"), {id_schema}}));
  EXPECT_EQ(0U, answer.ending.result);
  ASSERT_EQ(2U, answer.rows.size());
  EXPECT_EQ(0U, answer.rows[0].result);
  EXPECT_EQ(0U, answer.rows[0].outputs);
  EXPECT_EQ(1U, answer.rows[1].outputs);
  EXPECT_EQ(blob, answer.rows[1].type);
  EXPECT_EQ(bytes_of("MFG:X;"), answer.rows[1].data);
  EXPECT_EQ(no_breach, monitor_.breaches());
}

TEST_F(PortMonitorTest, DeviceIdMayHoldAnyBytesAtAnyLength) {
  Bytes id(5000, 0);
  id[4999] = 0xFF;
  monitor_.plug({.port = "USB001", .device_id = id});
  EXPECT_EQ(id, send(batch_of({name_row(u"Printer"), {id_schema}})).rows[1].data);
}

TEST_F(PortMonitorTest, EmptyDeviceIdAndMutePrinterGiveNoOutput) {
  monitor_.plug({.port = "USB001"});
  EXPECT_EQ(0U, send(batch_of({name_row(u"Printer"), {id_schema}})).rows[1].outputs);
  monitor_.plug({.port = "USB001", .device_id = bytes_of("MFG:X;"), .mute = true});
  EXPECT_EQ(0U, send(batch_of({name_row(u"Printer"), {id_schema}})).rows[1].outputs);
}

TEST_F(PortMonitorTest, UnknownSchemaIsRefusedInItsRowOnly) {
  const Answer answer = send(batch_of({name_row(u"Printer"), {u"\\Printer.Other"}, {id_schema}}));
  EXPECT_EQ(0U, answer.ending.result);
  EXPECT_EQ(13005U, answer.rows[1].result);
  EXPECT_EQ(1U, answer.rows[2].outputs);
  EXPECT_EQ(no_breach, monitor_.breaches());
}

TEST_F(PortMonitorTest, SchemaTextsCountWithCase) {
  const Answer answer =
      send(batch_of({name_row(u"Printer"), {u"\\Printer.VELNO_SCHEMA:getdeviceid"}}));
  EXPECT_EQ(13005U, answer.rows[1].result);
}

TEST_F(PortMonitorTest, PortNamesCountWithoutCase) {
  EXPECT_TRUE(monitor_.plugged("usb001"));
  EXPECT_EQ(1U, send(batch_of({name_row(u"Printer"), {id_schema}}), "Usb001").rows[1].outputs);
}

struct BadBatch {
  const char* what;
  std::vector<SeenRow> rows;
};

class BreachTest : public PortMonitorTest, public testing::WithParamInterface<BadBatch> {};

TEST_P(BreachTest, IsReported) {
  send(batch_of(GetParam().rows));
  EXPECT_EQ(1U, monitor_.breaches().size())
      << GetParam().what << ": " << testing::PrintToString(monitor_.breaches());
}

INSTANTIATE_TEST_SUITE_P(
    WhatAPrinterDoesNotAccept, BreachTest,
    testing::Values(
        BadBatch{"no name first", {{id_schema}}},
        BadBatch{"name of another printer", {name_row(u"Other")}},
        BadBatch{"name in another case", {name_row(u"PRINTER")}},
        BadBatch{"name without terminator", {{name_schema, blob, units(u"Printer")}}},
        BadBatch{"name with two terminators", {name_row(std::u16string(u"Printer\0", 8))}},
        BadBatch{"odd number of bytes", {{name_schema, blob, bytes_of("Pri")}}},
        BadBatch{"name of another type",
                 {{name_schema, 4, units(std::u16string(u"Printer\0", 8))}}},
        BadBatch{"name again", {name_row(u"Printer"), name_row(u"Printer")}},
        BadBatch{"query with bytes", {name_row(u"Printer"), {id_schema, blob, bytes_of("x")}}},
        BadBatch{"bytes of no type", {name_row(u"Printer"), {u"Other", 0, bytes_of("x")}}},
        BadBatch{"type of no bytes", {name_row(u"Printer"), {u"Other", blob, {}}}}));

TEST_F(PortMonitorTest, NameThatIsMissingLeavesTheDeviceIdUnanswered) {
  EXPECT_EQ(0U, send(batch_of({{id_schema}})).rows[0].outputs);
  EXPECT_EQ(0U, send(batch_of({name_row(u"Other"), {id_schema}})).rows[1].outputs);
}

TEST_F(PortMonitorTest, OtherActionIsReportedAndRefused) {
  SeenBatch batch = batch_of({name_row(u"Printer")});
  batch.action = u"Set";
  EXPECT_TRUE(send(batch).ending.failed());
  EXPECT_EQ(1U, monitor_.breaches().size());
}

TEST_F(PortMonitorTest, BatchOfNoRowsIsAnswered) {
  EXPECT_EQ(0U, send(batch_of({})).ending.result);
  EXPECT_EQ(no_breach, monitor_.breaches());
}

TEST_F(PortMonitorTest, SendSaysWhichSideIsOffline) {
  const SeenBatch batch = batch_of({name_row(u"Printer"), {id_schema}});
  EXPECT_EQ(0x800732CCU, send(batch, "USB002").ending.result);
  monitor_.plug({.port = "USB001", .reach = Reach::server_offline});
  EXPECT_EQ(0x800732CBU, send(batch).ending.result);
  monitor_.plug({.port = "USB001", .reach = Reach::device_offline});
  const Answer answer = send(batch);
  EXPECT_EQ(0x800732CCU, answer.ending.result);
  EXPECT_EQ(2U, answer.rows.size());
}

TEST_F(PortMonitorTest, PrinterThatGoesWhileItIsAwaitedIsOffline) {
  const SeenBatch batch = batch_of({name_row(u"Printer"), {id_schema}});
  const Arrival arrival = monitor_.arrive(batch, "USB001");
  monitor_.unplug("USB001");
  EXPECT_EQ(0x800732CCU, monitor_.answer(arrival.ticket).ending.result);
}

TEST_F(PortMonitorTest, CarrierIsToldHowLongToWait) {
  int started = 0;
  int gate = 0;
  monitor_.plug({.port = "USB001", .latency_ms = 250, .started = &started, .gate = &gate});
  const Arrival arrival = monitor_.arrive(batch_of({}), "USB001");
  EXPECT_EQ(1250U, monitor_.proceed(arrival.ticket, 1000));
  EXPECT_EQ(1250U, monitor_.proceed(arrival.ticket, 1249));
  EXPECT_EQ(std::nullopt, monitor_.proceed(arrival.ticket, 1250));
  EXPECT_EQ(&started, arrival.started);
  EXPECT_EQ(&gate, arrival.gate);
}

TEST_F(PortMonitorTest, RefusalNamesTheCallByItsNumberSinceTheTroubleWasSet) {
  monitor_.set_trouble({.add_request = {.result = 0x80004005, .at = 2}});
  EXPECT_FALSE(monitor_.check(&Trouble::add_request).failed());
  EXPECT_TRUE(monitor_.check(&Trouble::add_request).failed());
  EXPECT_FALSE(monitor_.check(&Trouble::add_request).failed());
  monitor_.set_trouble({.add_request = {.result = 0x80004005, .at = 1}});
  EXPECT_TRUE(monitor_.check(&Trouble::add_request).failed());
}

TEST_F(PortMonitorTest, StepsAreCountedApart) {
  monitor_.set_trouble({.set_schema = {.result = 0x80004005, .at = 2},
                        .add_request = {.result = 0x80004001, .at = 1}});
  EXPECT_EQ(0U, monitor_.check(&Trouble::set_schema).result);
  EXPECT_EQ(0x80004001U, monitor_.check(&Trouble::add_request).result);
  EXPECT_EQ(0x80004005U, monitor_.check(&Trouble::set_schema).result);
}

TEST_F(PortMonitorTest, FailedBindLeavesTheErrorOfItsResultOrTheOneAskedFor) {
  const Ending unknown = monitor_.bind(u"Unknown", false, 1);
  EXPECT_EQ(0x80070709U, unknown.result);
  EXPECT_EQ(1801U, unknown.last_error);
  monitor_.set_trouble({.bind_administrator = {.result = 0x80070005},
                        .bind_user = {.result = 0x80070005, .last_error = 0}});
  EXPECT_EQ(5U, monitor_.bind(u"Printer", true, 1).last_error);
  EXPECT_EQ(0U, monitor_.bind(u"Printer", true, 2).last_error);
  monitor_.set_trouble({.bind_administrator = {.result = 0x80004005}});
  EXPECT_EQ(std::nullopt, monitor_.bind(u"Printer", true, 1).last_error);
}

TEST_F(PortMonitorTest, OtherAccessIsReported) {
  EXPECT_TRUE(monitor_.bind(u"Printer", true, 3).failed());
  EXPECT_EQ(1U, monitor_.breaches().size());
}

TEST_F(PortMonitorTest, CountsAreKeptByPrinter) {
  monitor_.bind(u"Printer", true, 1);
  monitor_.bind(u"Printer", true, 2);
  monitor_.unbind(u"Printer");
  send(batch_of({name_row(u"Printer"), {id_schema}}));
  const simulator::Counts expected{.binds_administrator = 1,
                                   .binds_user = 1,
                                   .bound = 2,
                                   .unbinds = 1,
                                   .sends = 1,
                                   .rows = 2,
                                   .device_id_queries = 1};
  EXPECT_EQ(expected, monitor_.counts(u"Printer"));
  EXPECT_EQ(simulator::Counts{}, monitor_.counts(u"Other"));
}

TEST_F(PortMonitorTest, ScriptedRowsAnswerWithoutTheNameOfThePrinter) {
  Trouble trouble;
  trouble.rows[u"Echo"] = {.result = 5, .data = bytes_of("abc"), .type = 4, .outputs = 2};
  monitor_.set_trouble(trouble);
  const Answer answer = send(batch_of({{u"Echo"}}));
  EXPECT_EQ(5U, answer.rows[0].result);
  EXPECT_EQ(2U, answer.rows[0].outputs);
  EXPECT_EQ(4U, answer.rows[0].type);
  EXPECT_EQ(bytes_of("abc"), answer.rows[0].data);
  EXPECT_EQ(no_breach, monitor_.breaches());
}

TEST_F(PortMonitorTest, RefusedSendArrivesAndAnswersNothing) {
  monitor_.set_trouble({.send = {.result = 0x800732CD}});
  const Answer answer = send(batch_of({name_row(u"Printer"), {id_schema}}));
  EXPECT_EQ(0x800732CDU, answer.ending.result);
  EXPECT_EQ(0U, answer.rows[1].outputs);
  EXPECT_EQ(1U, monitor_.batches().size());
}

TEST_F(PortMonitorTest, ResetForgetsEverything) {
  monitor_.bind(u"Printer", true, 1);
  monitor_.set_trouble({.unbind = {.result = 0x80004005}});
  send(batch_of({{id_schema}}));
  monitor_.reset();
  EXPECT_FALSE(monitor_.plugged("USB001"));
  EXPECT_FALSE(monitor_.check(&Trouble::unbind).failed());
  EXPECT_EQ(simulator::Counts{}, monitor_.counts(u"Printer"));
  EXPECT_TRUE(monitor_.batches().empty());
  EXPECT_TRUE(monitor_.breaches().empty());
}

TEST(Readable, EscapesWhatIsNotPrintable) {
  EXPECT_EQ("a\\u0000\\u00E9\\u3042~", simulator::readable(std::u16string(u"a\0\u00E9\u3042~", 5)));
}

}  // namespace
