// What the port monitor does with the bytes of a batch: the whole way to a printer and back.

#include "tests/simulator/port_monitor_fixture.h"
#include "tests/simulator/printer_fixture.h"

namespace {

using namespace simulator_test;
using simulator::RowResult;
using simulator::Script;
using simulator::Trouble;
using simulator::WireMessage;

const std::u16string family = u"\\Printer.VELNO_SCHEMA:";

// The records as a computer writes them, byte by byte.
Bytes record(std::string_view lengths, char end, const std::string& fields) {
  std::string bytes("\x01\0\0\0"sv);
  for (const char length : lengths) {
    bytes += length + std::string(3, '\0');
  }
  return bytes_of(bytes + end + fields);
}
const Bytes job_record = record("\x01\0\x09\x09\0"sv, '\x0C', "\n" + job_probe + job_probe);
const Bytes text_record = record("\0\0\x05\x0C\0"sv, '\x0C', remote_probe + "@BDC PS\r\nST:");
const Bytes binary_record =
    record("\0\x0A\x05\x0C\0"sv, '\x0C', "@BDC ST2\r\n" + remote_probe + "@BDC PS\r\nST:");
const Bytes page_record = record("\0\0\x0D\x0D\x02"sv, '\n', page_probe + "ZRD/PAGE mlS \x1B\x01");

SeenRow row(const std::u16string& name, const Bytes& input) {
  return {family + name, input.empty() ? 0 : blob, input};
}

const std::string text_request = in_remote(std::string("ST\x02\x00\x00\x01"sv) + remote_probe);
const std::string binary_request = in_remote(std::string("ST\x02\x00\x00\x11"sv) + remote_probe);

class Exchanges : public PortMonitorTest {
 protected:
  void SetUp() override { plug(every_language()); }
  void plug(PrinterOptions options) { monitor_.plug(std::move(options)); }

  // The command's row of the answer, and in took_ms_ how long it was waited for.
  RowResult run(const std::u16string& schema, const std::string& command,
                const Bytes& terminate = {}) {
    std::vector<SeenRow> rows = {name_row(u"Printer"), row(schema, bytes_of(command))};
    if (!terminate.empty()) {
      rows.push_back(row(u"SetTerminateInf", terminate));
    }
    const uint64_t start = now_;
    const Answer answer = send(batch_of(rows));
    took_ms_ = now_ - start;
    EXPECT_EQ(0U, answer.ending.result);
    for (const RowResult& result : answer.rows) {
      EXPECT_EQ(0U, result.result);
      EXPECT_EQ(&result == &answer.rows[1] && !result.data.empty() ? 1U : 0U, result.outputs);
    }
    return answer.rows[1];
  }
  std::string reply(const std::u16string& schema, const std::string& command,
                    const Bytes& terminate = {}) {
    const std::string text = text_of(run(schema, command, terminate).data);
    EXPECT_EQ(no_breach, monitor_.breaches());
    return text;
  }
  // What was handed to the printer, a message a text.
  std::vector<std::string> messages() {
    std::vector<std::string> texts;
    for (const WireMessage& message : monitor_.wire("USB001")) {
      texts.push_back(text_of(message.bytes));
    }
    return texts;
  }

  uint64_t took_ms_ = 0;
};

TEST_F(Exchanges, JobLanguageReplyEndsWithItsProbe) {
  EXPECT_EQ("abc" + job_identity,
            reply(u"SendCommand", in_job("@QPL FILL 3\r\n" + job_probe), job_record));
  EXPECT_EQ(0U, took_ms_);
}

TEST_F(Exchanges, RemoteReplyEndsWithItsProbe) {
  EXPECT_EQ(
      "z" + remote_identity,
      reply(u"SendCommand", in_remote(std::string("EC\x01\x00z"sv) + remote_probe), text_record));
}

TEST_F(Exchanges, PageReplyEndsWithItsProbeAndTheTrailerLeavesTheLanguage) {
  const std::string command = in_page(
      "\x1D"
      "3fS" +
      page_probe);
  EXPECT_EQ("abc" + page_identity, reply(u"SendCommand", command, page_record));
  EXPECT_EQ((std::vector<std::string>{command, "\x1B\x01"}), messages());
}

TEST_F(Exchanges, StatusIsAskedInEveryForm) {
  EXPECT_EQ(text_status + remote_identity, reply(u"GetStatus", text_request, text_record));
  EXPECT_EQ(binary_status + remote_identity, reply(u"GetStatus", binary_request, binary_record));
  EXPECT_EQ(job_status + job_identity,
            reply(u"GetStatus", in_job("@QPL INFO STATUS\r\n" + job_probe), job_record));
  EXPECT_EQ(job_status + page_identity,
            reply(u"GetStatus", "\x1B\x01@QPL INFO STATUS\r\n@QPL EN LA=ZRD/PAGE\n" + page_probe,
                  page_record));
}

TEST_F(Exchanges, StatusRequestWithoutAProbeEndsWithItsItem) {
  EXPECT_EQ(text_status,
            reply(u"GetStatus", in_remote(std::string("ST\x02\x00\x00\x01"sv)), text_record));
  EXPECT_EQ(binary_status,
            reply(u"GetStatus", in_remote(std::string("ST\x02\x00\x00\x11"sv)), binary_record));
  EXPECT_EQ(job_status, reply(u"GetStatus", in_job("@QPL INFO STATUS\r\n"), job_record));
  EXPECT_EQ(0U, took_ms_);
}

TEST_F(Exchanges, BareReplyEndsWithSilence) {
  EXPECT_EQ(text_status, reply(u"GetStatus", std::string("st\x01\x00\x01"sv)));
  EXPECT_EQ(200U, took_ms_);
  EXPECT_EQ(std::string(1, '\0'), reply(u"SendCommand", "~PRtext\n"));
  EXPECT_EQ("FX:OK\r\n", reply(u"SendFaxCommand", std::string("FX\x02\x00\x02"
                                                              "1"sv)));
  EXPECT_EQ(0U, run(u"SendCommand", std::string("sn\x00\x00"sv)).outputs);
  EXPECT_EQ(2000U, took_ms_);
}

TEST_F(Exchanges, SilenceIsCountedFromTheLastPiece) {
  PrinterOptions options = every_language();
  options.latency_ms = 1999;
  options.piece_bytes = 1;
  options.piece_ms = 199;
  plug(options);
  EXPECT_EQ("xyz", reply(u"SendCommand", "~ECxyz\n"));
  EXPECT_EQ(1999U + 2 * 199 + 200, took_ms_);
}

TEST_F(Exchanges, ProbeIsAwaitedThroughAllPauses) {
  PrinterOptions options = every_language();
  options.latency_ms = 500;
  options.piece_bytes = 7;
  options.piece_ms = 1000;
  plug(options);
  const std::string whole = "abc" + job_identity;
  EXPECT_EQ(whole, reply(u"SendCommand", in_job("@QPL FILL 3\r\n" + job_probe), job_record));
  EXPECT_EQ(500U + (whole.size() - 1) / 7 * 1000, took_ms_);
}

TEST_F(Exchanges, AsManyProbesAreAwaitedAsWereSent) {
  PrinterOptions options = every_language();
  options.piece_bytes = 1;
  options.piece_ms = 10;
  plug(options);
  EXPECT_EQ(job_identity + job_identity,
            reply(u"SendCommand", in_job(job_probe + job_probe), job_record));
}

TEST_F(Exchanges, PushedItemsComeAlong) {
  ASSERT_TRUE(monitor_.push_status("usb001", {.place = PushPlace::before, .count = 2}));
  ASSERT_TRUE(monitor_.push_status("USB001", {.place = PushPlace::inside}));
  ASSERT_TRUE(monitor_.push_status("USB001", {.place = PushPlace::behind}));
  EXPECT_EQ(text_status + text_status + "a" + text_status + "b" + remote_identity + text_status,
            reply(u"SendCommand",
                  in_remote(std::string("EC\x02\x00"
                                        "ab"sv) +
                            remote_probe),
                  text_record));
  EXPECT_FALSE(monitor_.push_status("USB002", {}));
}

TEST_F(Exchanges, BinaryItemsAreSteppedOverInPiecesOfAnySize) {
  for (uint32_t size = 1; size < 40; ++size) {
    PrinterOptions options = every_language();
    options.status_form = StatusForm::binary;
    options.pushes = {{.place = PushPlace::before}, {.place = PushPlace::inside}};
    options.piece_bytes = size;
    options.piece_ms = 1;
    plug(options);
    EXPECT_EQ(binary_status + "a" + binary_status + "b" + remote_identity,
              reply(u"SendCommand",
                    in_remote(std::string("EC\x02\x00"
                                          "ab"sv) +
                              remote_probe),
                    binary_record));
  }
}

TEST_F(Exchanges, WhatComesBehindTheEndStandsBeforeTheNextReply) {
  PrinterOptions options = every_language();
  options.piece_bytes = 1;
  options.piece_ms = 1;
  plug(options);
  monitor_.push_status("USB001", {.place = PushPlace::behind});
  EXPECT_EQ(job_identity, reply(u"SendCommand", in_job(job_probe), job_record));
  EXPECT_EQ(text_status + job_identity, reply(u"SendCommand", in_job(job_probe), job_record));
}

TEST_F(Exchanges, ReplyWithoutItsEndIsGivenUpAndHandedOver) {
  PrinterOptions options = every_language();
  options.silent_after = 5;
  plug(options);
  EXPECT_EQ("@QPL ", reply(u"SendCommand", in_job(job_probe), job_record));
  EXPECT_EQ(30000U, took_ms_);
  options.silent_after.reset();
  options.mute = true;
  options.give_up_ms = 100;
  plug(options);
  EXPECT_EQ(0U, run(u"SendCommand", in_page(page_probe), page_record).outputs);
  EXPECT_EQ(100U, took_ms_);
  EXPECT_EQ(no_breach, monitor_.breaches());  // the page language was left all the same
}

TEST_F(Exchanges, ThroughCommandTakesTheLatencyAndBringsNothing) {
  PrinterOptions options = every_language();
  options.latency_ms = 70;
  plug(options);
  EXPECT_EQ("", reply(u"SendThroughREMOTE", std::string("ti\x00\x00"sv)));
  EXPECT_EQ(70U, took_ms_);
  EXPECT_EQ((std::vector<WireMessage>{{Way::remote, bytes_of(std::string("ti\x00\x00"sv))}}),
            monitor_.wire("usb001"));
  EXPECT_EQ(job_identity, reply(u"SendCommand", in_job(job_probe), job_record));
}

TEST_F(Exchanges, EmptyStatusRequestBringsNothing) {
  EXPECT_EQ("", reply(u"GetStatus", ""));
  EXPECT_TRUE(messages().empty());
}

TEST_F(Exchanges, BatchesForOnePortWaitForEachOther) {
  PrinterOptions options = every_language();
  options.latency_ms = 100;
  plug(options);
  const SeenBatch batch =
      batch_of({name_row(u"Printer"), row(u"SendCommand", bytes_of(in_job(job_probe))),
                row(u"SetTerminateInf", job_record)});
  const uint64_t first = monitor_.arrive(batch, "USB001").ticket;
  const uint64_t second = monitor_.arrive(batch, "usb001").ticket;
  EXPECT_EQ(1100U, monitor_.proceed(first, 1000));
  EXPECT_EQ(1001U, monitor_.proceed(second, 1000));
  EXPECT_EQ(1100U, monitor_.proceed(second, 1099));
  EXPECT_EQ(std::nullopt, monitor_.proceed(first, 1100));
  EXPECT_EQ(1200U, monitor_.proceed(second, 1100));
  EXPECT_EQ(std::nullopt, monitor_.proceed(second, 1200));
  EXPECT_EQ(bytes_of(job_identity), monitor_.answer(first).rows[1].data);
  EXPECT_EQ(bytes_of(job_identity), monitor_.answer(second).rows[1].data);
  EXPECT_EQ(no_breach, monitor_.breaches());
}

TEST_F(Exchanges, PrinterThatGoesMeanwhileIsOffline) {
  PrinterOptions options = every_language();
  options.latency_ms = 100;
  plug(options);
  const Arrival arrival = monitor_.arrive(
      batch_of({name_row(u"Printer"), row(u"SendCommand", bytes_of("~HI\n"))}), "USB001");
  EXPECT_EQ(1100U, monitor_.proceed(arrival.ticket, 1000));
  monitor_.unplug("USB001");
  EXPECT_EQ(std::nullopt, monitor_.proceed(arrival.ticket, 1050));
  EXPECT_EQ(0x800732CCU, monitor_.answer(arrival.ticket).ending.result);
}

TEST_F(Exchanges, OfflinePrinterHearsNothing) {
  PrinterOptions options = every_language();
  options.reach = simulator::Reach::device_offline;
  plug(options);
  EXPECT_TRUE(send(batch_of({name_row(u"Printer"), row(u"SendCommand", bytes_of("nonsense"))}))
                  .ending.failed());
  EXPECT_TRUE(messages().empty());
  EXPECT_EQ(no_breach, monitor_.breaches());
}

TEST_F(Exchanges, AreCountedByKind) {
  run(u"GetStatus", text_request, text_record);
  run(u"SendCommand", "~HI\n");
  run(u"SendCommand", "~HI\n");
  run(u"SendFaxCommand", std::string("FX\x01\x00\x01"sv));
  for (int i = 0; i < 3; ++i) {
    run(u"SendThroughREMOTE", std::string("ti\x00\x00"sv));
  }
  const simulator::Counts counts = monitor_.counts(u"Printer");
  EXPECT_EQ(1U, counts.status_queries);
  EXPECT_EQ(2U, counts.commands);
  EXPECT_EQ(1U, counts.fax);
  EXPECT_EQ(3U, counts.through);
  EXPECT_EQ(0U, counts.device_id_queries);
}

TEST_F(Exchanges, ScriptedRowsDoNotReachThePrinter) {
  Trouble trouble;
  trouble.rows[family + u"SendCommand"] = {.data = bytes_of("scripted")};
  monitor_.set_trouble(trouble);
  EXPECT_EQ("scripted", reply(u"SendCommand", "nonsense", job_record));
  EXPECT_TRUE(messages().empty());
}

struct BadOrder {
  const char* what;
  std::vector<SeenRow> rows;
  const char* says;
};

void PrintTo(const BadOrder& order, std::ostream* out) { *out << order.what; }

class BadBatches : public Exchanges, public testing::WithParamInterface<BadOrder> {};

TEST_P(BadBatches, AreReported) {
  send(batch_of(GetParam().rows));
  ASSERT_FALSE(monitor_.breaches().empty());
  EXPECT_NE(std::string::npos, monitor_.breaches()[0].find(GetParam().says))
      << monitor_.breaches()[0];
}

const SeenRow named = name_row(u"Printer");
const SeenRow command = row(u"SendCommand", bytes_of(in_job(job_probe)));
const SeenRow ended = row(u"SetTerminateInf", job_record);

INSTANTIATE_TEST_SUITE_P(
    WhatThePortMonitorDoesNotTake, BadBatches,
    testing::Values(
        BadOrder{"no name", {command, ended}, "before the printer was named"},
        BadOrder{"end without a command", {named, ended}, "no command stands before the end"},
        BadOrder{
            "end before the command", {named, ended, command}, "no command stands before the end"},
        BadOrder{"two ends", {named, command, ended, ended}, "no command stands before the end"},
        BadOrder{"two commands", {named, command, command}, "behind the command"},
        BadOrder{"query behind the command", {named, command, {id_schema}}, "behind the command"},
        BadOrder{"query before the command", {named, {id_schema}, command}, "isn't the second row"},
        BadOrder{"through with an end",
                 {named, row(u"SendThroughREMOTE", bytes_of("sn\0\0"s)), ended},
                 "no command stands before the end"},
        BadOrder{"fax with an end",
                 {named, row(u"SendFaxCommand", bytes_of("FX\1\0\1"s)), ended},
                 "no command stands before the end"},
        BadOrder{"command of no bytes", {named, row(u"SendCommand", {})}, "a command of no bytes"},
        BadOrder{"end that can't be read",
                 {named, command, row(u"SetTerminateInf", {1, 0})},
                 "can't be read: only 2 bytes"},
        BadOrder{"probe of another language",
                 {named, command, row(u"SetTerminateInf", text_record)},
                 "the probe isn't in the command"},
        BadOrder{"bytes that no printer takes",
                 {named,
                  row(u"SendCommand", bytes_of("\x1B"
                                               "E" +
                                               job_probe)),
                  ended},
                 "port usb001: no switch begins with"},
        BadOrder{"page language that is never left",
                 {named, row(u"SendCommand", bytes_of(in_page(page_probe)))},
                 "the exchange ended inside the page language"}));

}  // namespace
