// What a printer does besides its languages: pushed status items, pieces, delays, silence.

#include "simulator/printer.h"

#include "tests/simulator/printer_fixture.h"

namespace {

using namespace simulator_test;
using simulator::Script;
using simulator::StatusPush;

const std::string letters8 = "abcdefgh";
const std::string fill8 = in_job("@QPL FILL 8\r\n" + job_probe);

PrinterOptions with(std::vector<StatusPush> pushes) {
  PrinterOptions options = every_language();
  options.pushes = std::move(pushes);
  return options;
}

TEST(PushedStatus, StandsBeforeInsideOrBehindTheReply) {
  EXPECT_EQ(text_status + letters8 + job_identity,
            say(with({{.place = PushPlace::before}}), fill8).reply);
  EXPECT_EQ("abcd" + text_status + "efgh" + job_identity,
            say(with({{.place = PushPlace::inside}}), fill8).reply);
  EXPECT_EQ(letters8 + job_identity + text_status,
            say(with({{.place = PushPlace::behind}}), fill8).reply);
  EXPECT_EQ(text_status + "abcd" + text_status + text_status + "efgh" + job_identity + text_status,
            say(with({{.place = PushPlace::inside, .count = 2},
                      {.place = PushPlace::behind},
                      {.place = PushPlace::before}}),
                fill8)
                .reply);
}

TEST(PushedStatus, HasTheFormOfTheLanguageOrTheOneAskedFor) {
  PrinterOptions options = with({{.place = PushPlace::before}});
  EXPECT_EQ(job_status + page_identity, say(options, in_page(page_probe)).reply);
  EXPECT_EQ(text_status + remote_identity, say(options, in_remote(remote_probe)).reply);
  options.status_form = StatusForm::binary;
  EXPECT_EQ(binary_status + remote_identity, say(options, in_remote(remote_probe)).reply);
  EXPECT_EQ(binary_status + job_identity, say(options, in_job(job_probe)).reply);
  options.languages = {"QPL"};
  EXPECT_EQ(job_status + job_identity, say(options, in_job(job_probe)).reply);
  options.pushes[0].form = StatusForm::text;
  EXPECT_EQ(text_status + job_identity, say(options, in_job(job_probe)).reply);
}

TEST(PushedStatus, WaitsForAnAnswerThatItFitsAndIsSentOnce) {
  Printer printer(every_language());
  printer.push_status({.place = PushPlace::inside});
  printer.push_status({.place = PushPlace::behind});
  EXPECT_EQ("", say(printer, in_job("@QPL SET A=1\r\n")).reply);
  EXPECT_EQ("a" + job_identity + text_status,
            say(printer, in_job("@QPL FILL 1\r\n" + job_probe)).reply);
  EXPECT_EQ("a" + text_status + "b" + job_identity,
            say(printer, in_job("@QPL FILL 2\r\n" + job_probe)).reply);
  EXPECT_EQ("ab" + job_identity, say(printer, in_job("@QPL FILL 2\r\n" + job_probe)).reply);
}

TEST(PushedStatus, StandsTheSameHoweverTheMessageIsCut) {
  const std::vector<StatusPush> pushes = {{.place = PushPlace::before, .count = 2},
                                          {.place = PushPlace::inside},
                                          {.place = PushPlace::behind}};
  const std::string whole = say(with(pushes), fill8).reply;
  for (size_t cut = 0; cut <= fill8.size(); ++cut) {
    Printer printer(with(pushes));
    write_text(printer, fill8.substr(0, cut));
    EXPECT_EQ(whole, say(printer, fill8.substr(cut)).reply) << "cut at " << cut;
  }
}

TEST(StatusItems, CanBeAnyBytes) {
  PrinterOptions options = every_language();
  options.status_item = Bytes{'@', 0, 0xFF};
  EXPECT_EQ(std::string("@\0\xFF", 3),
            say(options, in_remote(std::string("ST\x02\x00\x00\x11"sv))).reply);
  EXPECT_EQ(std::string("@\0\xFF", 3), say(options, in_job("@QPL INFO STATUS\r\n")).reply);
}

TEST(StatusItems, FillAShortSerialNumberWithZeroes) {
  PrinterOptions options = every_language();
  options.serial_number = "A1";
  EXPECT_NE(std::string::npos,
            say(options, std::string("st\x01\x00\x01"sv)).reply.find("MC:41310000000000000000;"));
  options.status_form = StatusForm::binary;
  EXPECT_NE(std::string::npos, say(options, std::string("st\x01\x00\x01"sv))
                                   .reply.find("\x40\x0A"
                                               "A1\0\0\0\0\0\0\0\0"sv));
}

struct Answer {
  uint64_t due;
  std::string bytes;
  bool operator==(const Answer&) const = default;
};

std::vector<Answer> answers_of(Printer& printer) {
  std::vector<Answer> answers;
  while (const auto due = printer.next_due()) {
    EXPECT_EQ("", text_of(printer.take(*due - 1)));
    answers.push_back({*due, text_of(printer.take(*due))});
  }
  return answers;
}

TEST(Delays, LatencyRunsFromTheCommand) {
  PrinterOptions options = every_language();
  options.latency_ms = 250;
  Printer printer(options);
  printer.write(bytes_of("\x1B\x01@QPL FILL 3\r\n"), 1000);
  printer.write(bytes_of("@QPL FILL 2\r\n\x1B\x01"), 1100);
  printer.end_message(1100);
  EXPECT_EQ((std::vector<Answer>{{1250, "abc"}, {1350, "ab"}}), answers_of(printer));
}

TEST(Delays, PiecesAreFullAndComeOneAfterTheOther) {
  PrinterOptions options = every_language();
  options.latency_ms = 100;
  options.piece_bytes = 4;
  options.piece_ms = 30;
  Printer printer(options);
  printer.write(bytes_of(in_job("@QPL FILL 6\r\n@QPL FILL 3\r\n")), 1000);
  printer.end_message(1000);
  EXPECT_EQ((std::vector<Answer>{{1100, "abcd"}, {1130, "efab"}, {1160, "c"}}),
            answers_of(printer));
}

TEST(Delays, TakeGivesAllThatHasComeDue) {
  PrinterOptions options = every_language();
  options.piece_bytes = 1;
  options.piece_ms = 10;
  Printer printer(options);
  printer.write(bytes_of(in_job("@QPL FILL 5\r\n")), 0);
  printer.end_message(0);
  EXPECT_EQ("abc", text_of(printer.take(29)));
  EXPECT_EQ(30U, printer.next_due());
  EXPECT_EQ("de", text_of(printer.take(1000)));
  EXPECT_EQ(std::nullopt, printer.next_due());
}

TEST(Silence, MutePrinterHearsAndSaysNothing) {
  PrinterOptions options = every_language();
  options.mute = true;
  EXPECT_EQ("", say(options, fill8).reply);
  EXPECT_EQ("", say(options, "~PR\n").reply);
  EXPECT_EQ(1U, say(options,
                    "\x1B"
                    "E")
                    .breaches.size());
}

TEST(Silence, CanFallAfterAnyNumberOfBytesOfEachMessage) {
  const std::string whole = letters8 + job_identity;
  for (uint32_t count = 0; count <= whole.size() + 1; ++count) {
    PrinterOptions options = every_language();
    options.silent_after = count;
    Printer printer(options);
    EXPECT_EQ(whole.substr(0, count), say(printer, fill8).reply);
    EXPECT_EQ(whole.substr(0, count), say(printer, fill8).reply);
  }
}

TEST(Scripts, AnswerInAnyLanguageHoweverTheyAreCut) {
  PrinterOptions options = every_language();
  options.scripts = {{bytes_of("\x01\x02\x03"), bytes_of("reply")},
                     {bytes_of("\x01\x02\x03\x04"), bytes_of("longer")},
                     {bytes_of("ST"), {}},
                     {{}, bytes_of("never")}};
  for (const std::string& bytes : {std::string("\x01\x02\x03"), std::string("\x01\x02\x03\x04")}) {
    const std::string reply = bytes.size() == 3 ? "reply" : "longer";
    EXPECT_EQ(reply, say(options, bytes).reply);
    EXPECT_EQ(reply, say(options, bytes, Way::fax).reply);
    EXPECT_EQ(reply + page_identity, say(options, in_page(bytes + page_probe)).reply);
    const std::string message = in_job(bytes + job_probe);
    for (size_t cut = 0; cut <= message.size(); ++cut) {
      Printer printer(options);
      write_text(printer, message.substr(0, cut));
      const Outcome outcome = say(printer, message.substr(cut));
      EXPECT_EQ(reply + job_identity, outcome.reply) << "cut at " << cut;
      EXPECT_TRUE(outcome.breaches.empty());
    }
  }
  EXPECT_EQ("", say(options, in_remote("ST")).reply);
}

TEST(Scripts, BareCommandWithoutReplyIsALabelCommandToALabelPrinter) {
  PrinterOptions options = every_language();
  options.scripts = {{bytes_of("\x01"), {}}};
  EXPECT_EQ(std::string(1, '\0'), say(options, "\x01").reply);
  options.languages = {"D4"};
  EXPECT_EQ("", say(options, "\x01").reply);
}

}  // namespace
