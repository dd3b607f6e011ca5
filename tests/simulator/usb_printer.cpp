// The printer behind the command socket of the D4 transport, and the fax unit behind its own.

#include "simulator/usb_printer.h"

#include "tests/simulator/d4_fixture.h"

namespace simulator_test {
namespace {

using simulator::D4Act;
using simulator::PrinterOptions;
using simulator::UsbPrinter;

constexpr uint8_t command_socket = 0x02;
constexpr uint8_t fax_socket = 0x21;

const std::string status_request("st\x01\x00\x01", 5);

PrinterOptions archive() { return {.port = "USB002", .serial_number = "QN90000203"}; }

// A host at the printer's pipes, with a clock that only the test moves.
struct Host {
  explicit Host(PrinterOptions options = archive(), D4Options d4 = {})
      : printer(std::move(options), std::move(d4)) {}

  void write(const Bytes& bytes) {
    const auto written = printer.write(bytes, now_ms);
    EXPECT_EQ(D4Transfer::done, written.how);
    EXPECT_EQ(bytes.size(), written.count);
  }
  Bytes read() {
    const auto taken = printer.take(now_ms, buffer_size);
    EXPECT_EQ(D4Transfer::done, taken.how);
    return taken.bytes;
  }
  Bytes say(const Bytes& bytes) {
    write(bytes);
    return read();
  }
  void open(uint8_t socket) {
    EXPECT_EQ(wire::entry_reply, say(host::entry));
    EXPECT_EQ(wire::init_reply, say(host::init));
    open_channel(socket);
  }
  // With credit for one packet of the device.
  void open_channel(uint8_t socket) {
    EXPECT_EQ(wire::open_reply(socket), say(host::open(socket)));
    give_credit(socket);
  }
  void give_credit(uint8_t socket) {
    EXPECT_EQ(wire::credit_reply(0, socket), say(host::credit(socket)));
  }
  void ask_credit(uint8_t socket) {
    EXPECT_EQ(wire::request_reply(0, socket, 1), say(host::credit_request(socket)));
  }
  void expect_clean() { EXPECT_EQ(std::vector<std::string>{}, printer.take_breaches()); }

  UsbPrinter printer;
  uint64_t now_ms = 0;
};

Bytes command(const std::string& text) { return host::data(command_socket, text); }
Bytes answer(const std::string& text, uint8_t control = 1) {
  return host::data(command_socket, text, 0, control);
}

const std::string text_status = "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3930303030323033;SE:01;\x0C";

TEST(UsbPrinter, StatusRequestIsAnsweredWithTheStatusItemThatHoldsTheSerialNumber) {
  Host host;
  host.open(command_socket);
  EXPECT_EQ(answer(text_status), host.say(command(status_request)));
  host.printer.end_exchange(host.now_ms);
  host.expect_clean();
}

TEST(UsbPrinter, BinaryStatusItemHoldsTheTenBytes) {
  PrinterOptions options = archive();
  options.status_form = simulator::StatusForm::binary;
  options.serial_number = "AB";
  Host host(options);
  host.open(command_socket);
  const std::string item(
      "@BDC ST2\r\n\x18\x00\x01\x04"
      "0400\x19\x04\x0C\x0A\x1B\x00\x40\x0A"
      "AB\0\0\0\0\0\0\0\0",
      12 + 6 + 6 + 12);
  EXPECT_EQ(answer(item), host.say(command(status_request)));
  host.expect_clean();
}

TEST(UsbPrinter, CommandsRunAndReplyAndSilentOnesDoNot) {
  Host host;
  host.open(command_socket);
  EXPECT_EQ(answer("@BDC VI\r\nVI:0107;SN:QN90000203;\x0C"),
            host.say(command(std::string("vi\0\0", 4))));
  host.ask_credit(command_socket);
  EXPECT_EQ(Bytes{}, host.say(command(std::string("ld\0\0", 4))));
  host.expect_clean();
}

TEST(UsbPrinter, CommandInSeveralPacketsRunsWhenItsMessageEnds) {
  Host host;
  host.open(command_socket);
  EXPECT_EQ(Bytes{},
            host.say(host::data(command_socket, std::string("ec\x06\x00", 4) + "ab", 0, 0)));
  host.ask_credit(command_socket);
  EXPECT_EQ(answer("abcdef"), host.say(command("cdef")));
  host.expect_clean();
}

TEST(UsbPrinter, AnswerComesWhenThePrinterHasItReady) {
  PrinterOptions options = archive();
  options.latency_ms = 60;
  Host host(options, {.silent_when_idle = true});
  host.open(command_socket);
  host.now_ms = 100;
  host.write(command(status_request));
  EXPECT_EQ(std::optional<uint64_t>(160), host.printer.next_due());
  host.now_ms = 159;
  EXPECT_EQ(D4Transfer::pending, host.printer.take(host.now_ms, buffer_size).how);
  host.now_ms = 160;
  EXPECT_EQ(answer(text_status), host.read());
  EXPECT_EQ(std::nullopt, host.printer.next_due());
  host.expect_clean();
}

TEST(UsbPrinter, PiecesAreOneMessageOfWhichTheLastPacketIsTheEnd) {
  PrinterOptions options = archive();
  options.piece_bytes = 4;
  options.piece_ms = 10;
  Host host(options);
  host.open(command_socket);
  EXPECT_EQ(answer("abcd", 0), host.say(command(std::string("ec\x06\x00", 4) + "abcdef")));
  host.give_credit(command_socket);
  host.now_ms = 9;
  EXPECT_EQ(Bytes{}, host.read());
  host.now_ms = 10;
  EXPECT_EQ(answer("ef", 1), host.read());
  host.expect_clean();
}

TEST(UsbPrinter, AnswerLeftOverFromAnExchangeIsNotSaidToTheNext) {
  PrinterOptions options = archive();
  options.latency_ms = 50;
  for (const bool by_exit : {false, true}) {
    Host host(options);
    host.open(command_socket);
    host.write(command(status_request));
    host.now_ms = 10;
    if (by_exit) {
      EXPECT_EQ(wire::exit_reply, host.say(host::exit));
      host.open(command_socket);
    } else {
      EXPECT_EQ(wire::close_reply(0, command_socket), host.say(host::close(command_socket)));
      host.open_channel(command_socket);
    }
    host.now_ms = 50;
    EXPECT_EQ(Bytes{}, host.read());
    host.now_ms = 1000;
    EXPECT_EQ(Bytes{}, host.read());
    host.expect_clean();
  }
}

TEST(UsbPrinter, AnswerLeftOverWhenTheFileIsClosedIsLost) {
  PrinterOptions options = archive();
  options.latency_ms = 50;
  Host host(options);
  host.open(command_socket);
  host.write(command(status_request));
  host.printer.end_exchange(10);
  host.now_ms = 60;
  EXPECT_EQ(Bytes{}, host.read());
  host.expect_clean();
}

TEST(UsbPrinter, AnswerThatCameDueBeforeTheHostClosesIsUnderWayThen) {
  PrinterOptions options = archive();
  options.latency_ms = 50;
  for (const bool before : {false, true}) {
    Host host(options, {.data_survive_close = true});
    host.open(command_socket);
    host.write(command(status_request));
    host.now_ms = before ? 49 : 50;
    host.write(host::close(command_socket));
    if (!before) {
      EXPECT_EQ(answer(text_status), host.read());
    }
    EXPECT_EQ(wire::close_reply(0, command_socket), host.read());
    EXPECT_EQ(Bytes{}, host.read());
    host.expect_clean();
  }
}

TEST(UsbPrinter, FaxUnitKeepsEachMessageAndAnswersNothing) {
  Host host;
  host.open(fax_socket);
  EXPECT_EQ(Bytes{}, host.say(host::data(fax_socket, "page ", 0, 0)));
  host.ask_credit(fax_socket);
  EXPECT_EQ(Bytes{}, host.say(host::data(fax_socket, "one")));
  host.ask_credit(fax_socket);
  EXPECT_EQ(Bytes{}, host.say(host::data(fax_socket, "two")));
  EXPECT_EQ((std::vector<Bytes>{bytes_of("page one"), bytes_of("two")}), host.printer.faxes());
  host.expect_clean();
}

TEST(UsbPrinter, WhatThePrinterDoesNotTakeIsABreachOnce) {
  Host host;
  host.open(command_socket);
  EXPECT_EQ(Bytes{}, host.say(command("?")));
  const std::vector<std::string> told = host.printer.take_breaches();
  ASSERT_EQ(1U, told.size());
  EXPECT_NE(std::string::npos, told[0].find("no command begins with")) << told[0];
  host.expect_clean();
}

TEST(UsbPrinter, CommandThatBreaksOffIsABreach) {
  Host host;
  host.open(command_socket);
  EXPECT_EQ(Bytes{}, host.say(command(status_request.substr(0, 4))));
  const std::vector<std::string> told = host.printer.take_breaches();
  ASSERT_EQ(1U, told.size());
  EXPECT_NE(std::string::npos, told[0].find("ended inside")) << told[0];
}

TEST(UsbPrinter, BreachesOfTheTransportAreToldOnceAndStayWithTheDevice) {
  Host host;
  host.write(host::init);
  EXPECT_EQ(1U, host.printer.take_breaches().size());
  host.expect_clean();
  EXPECT_EQ(1U, host.printer.device().breaches(D4Rule::entry_first));
  host.printer.breach("of another kind");
  EXPECT_EQ(std::vector<std::string>{"of another kind"}, host.printer.take_breaches());
}

TEST(UsbPrinter, HostThatClosesWithoutAnAnswerToTheDeviceIsToldSo) {
  Host host;
  host.open(command_socket);
  host.printer.device().send_credit_request(command_socket, 1, host.now_ms);
  EXPECT_FALSE(host.read().empty());
  host.expect_clean();
  host.printer.end_exchange(host.now_ms);
  EXPECT_EQ(1U, host.printer.take_breaches().size());
  EXPECT_EQ(1U, host.printer.device().breaches(D4Rule::answer_missing));
}

TEST(UsbPrinter, RemovedDeviceOwesNoAnswers) {
  Host host;
  host.open(command_socket);
  host.printer.device().send_credit_request(command_socket, 1, host.now_ms);
  EXPECT_FALSE(host.read().empty());
  host.printer.unplug(host.now_ms);
  host.printer.end_exchange(host.now_ms);
  host.expect_clean();
}

TEST(UsbPrinter, LanguagesAreThoseOfTheCommandChannelUnlessOthersAreNamed) {
  PrinterOptions options = archive();
  options.languages = {"QPL"};
  Host host(options);
  host.open(command_socket);
  EXPECT_EQ(Bytes{}, host.say(command(status_request)));
  EXPECT_EQ(1U, host.printer.take_breaches().size());

  options.languages.clear();
  options.device_id = bytes_of("CMD:BDC,D4;");
  Host named(options);
  named.open(command_socket);
  EXPECT_EQ(answer(text_status), named.say(command(status_request)));
  named.expect_clean();
}

TEST(UsbPrinter, PlannedRemovalHappensWhenSomebodyLooks) {
  Host host(archive(), {.acts = {D4Act{.kind = D4Act::Kind::removal, .at_ms = 500}}});
  EXPECT_EQ(std::optional<uint64_t>(500), host.printer.next_due());
  host.printer.look(499);
  EXPECT_FALSE(host.printer.gone());
  host.printer.look(500);
  EXPECT_TRUE(host.printer.gone());
  EXPECT_EQ(std::nullopt, host.printer.next_due());
  EXPECT_EQ(D4Transfer::gone, host.printer.take(500, buffer_size).how);
  EXPECT_EQ(D4Transfer::gone, host.printer.write(host::entry, 500).how);
}

TEST(UsbPrinter, PluggedInAgainItKnowsNothingOfTheExchangeBefore) {
  PrinterOptions options = archive();
  options.latency_ms = 50;
  Host host(options);
  host.open(command_socket);
  host.write(command(status_request));
  host.printer.unplug(10);
  EXPECT_EQ(std::nullopt, host.printer.next_due());
  host.printer.replug(20);
  host.now_ms = 70;
  EXPECT_EQ(Bytes{}, host.read());
  host.open(command_socket);
  EXPECT_EQ(Bytes{}, host.say(command(status_request)));
  host.now_ms = 120;
  EXPECT_EQ(answer(text_status), host.read());
  host.expect_clean();
}

}  // namespace
}  // namespace simulator_test
