// Commands that go to a printer as bytes and come back as its own reply.

#include "tests/platform/bidi_fixture.h"

namespace {

using bidi_test::BidiTest;
using bidi_test::make_container;
using bidi_test::make_request;
using bidi_test::output_count;
using bidi_test::output_of;
using bidi_test::Ref;
using bidi_test::row_result;
using bidi_test::wide_bytes;
using far_side::bytes_of;
using far_side::PushPlace;
using far_side::Way;
using far_side::WireMessage;

const std::string probe = "@QPL ID\r\n";
const std::string identity = "@QPL ID\r\nQN42000017\r\n\x0C";

std::string in_envelope(const std::string& command) {
  return "\x1B\x01" + command + probe + "\x1B\x01";
}

std::string number(uint32_t value) { return {static_cast<char>(value), '\0', '\0', '\0'}; }

const std::string record = number(1) + number(1) + number(0) + number(9) + number(9) + number(0) +
                           "\x0C\n" + probe + probe;

class BidiExchange : public BidiTest {
 protected:
  void SetUp() override {
    BidiTest::SetUp();
    far_side::plug({.port = "USB001",
                    .serial_number = "QN42000017",
                    .languages = {"QPL", "BDC", "END4", "ZRDLABEL"},
                    .piece_bytes = 8,
                    .piece_ms = 1,
                    .silence_ms = 20,
                    .first_byte_ms = 50});
  }

  // Sends the command with its rows and gives the reply; empty where there was no output.
  std::string run(LPCWSTR schema, const std::string& command, const std::string& terminate = {}) {
    const Ref<IBidiRequestContainer> container = make_container();
    const Ref<IBidiRequest> name = make_request(name_schema, wide_bytes(wide_printer));
    const Ref<IBidiRequest> request = make_request(schema, command);
    EXPECT_EQ(S_OK, container->AddRequest(name.get()));
    EXPECT_EQ(S_OK, container->AddRequest(request.get()));
    if (!terminate.empty()) {
      const Ref<IBidiRequest> end =
          make_request(TEXT("\\Printer.VELNO_SCHEMA:SetTerminateInf"), terminate);
      EXPECT_EQ(S_OK, container->AddRequest(end.get()));
    }
    const Ref<IBidiSpl> spl = make_bound_spl();
    EXPECT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), container.get()));
    EXPECT_EQ(S_OK, spl->UnbindDevice());
    EXPECT_EQ(0, row_result(request.get()));
    return output_count(request.get()) == 0 ? std::string() : output_of(request.get()).data;
  }

  static constexpr LPCWSTR send_schema = TEXT("\\Printer.VELNO_SCHEMA:SendCommand");
};

TEST_F(BidiExchange, ReplyComesBackWithTheProbesAnswer) {
  const std::string command = in_envelope("@QPL ECHO hello\r\n");
  EXPECT_EQ("@QPL ECHO hello\r\n\x0C" + identity, run(send_schema, command, record));
  EXPECT_EQ(bytes_of(command), far_side::wire("USB001"));
  EXPECT_EQ(1U, far_side::counts(printer).commands);
  EXPECT_TRUE(far_side::breaches().empty());
}

TEST_F(BidiExchange, PushedStatusComesAlongOnce) {
  far_side::push_status("USB001", {.place = PushPlace::before});
  const std::string with_item = run(send_schema, in_envelope(""), record);
  EXPECT_EQ(0U, with_item.find("@BDC ST\r\nST:"));
  EXPECT_EQ(identity, with_item.substr(with_item.size() - identity.size()));
  EXPECT_EQ(identity, run(send_schema, in_envelope(""), record));
}

TEST_F(BidiExchange, ReplyWithoutARecordEndsWithSilence) {
  EXPECT_EQ("~HI,V1.7,203DPI\r\n", run(send_schema, "~HI\n"));
  EXPECT_EQ(std::string(1, '\0'), run(send_schema, "~CL\n"));
}

TEST_F(BidiExchange, FaxAndThroughCommandsGoTheirOwnWays) {
  const std::string fax("FX\x01\x00\x01", 5);
  const std::string through("ti\x00\x00", 4);
  EXPECT_EQ("FX:READY;SN:QN42000017;\r\n", run(TEXT("\\Printer.VELNO_SCHEMA:SendFaxCommand"), fax));
  EXPECT_EQ("", run(TEXT("\\Printer.VELNO_SCHEMA:SendThroughREMOTE"), through));
  EXPECT_EQ((std::vector<WireMessage>{{Way::fax, bytes_of(fax)}, {Way::remote, bytes_of(through)}}),
            far_side::wire_messages("USB001"));
  EXPECT_EQ(1U, far_side::counts(printer).fax);
  EXPECT_EQ(1U, far_side::counts(printer).through);
}

TEST_F(BidiExchange, WhatAPrinterDoesNotTakeIsReported) {
  run(send_schema, in_envelope("@QPL DANCE\r\n"), number(1));
  EXPECT_EQ(
      (std::vector<std::string>{"row 2: the end of the reply can't be read: only 4 bytes",
                                "port usb001: the job language has no command \"@QPL DANCE\""}),
      far_side::breaches());
}

}  // namespace
