// Each language: what is answered, what is silent, and what no printer takes.

#include "tests/simulator/printer_fixture.h"

namespace {

using namespace simulator_test;

struct Talk {
  const char* what;
  std::string message;
  std::string reply;
  Way way = Way::data;
};

void PrintTo(const Talk& talk, std::ostream* out) { *out << talk.what; }

class Languages : public testing::TestWithParam<Talk> {};

TEST_P(Languages, AnswerAsTheyShould) {
  const Outcome outcome = say(every_language(), GetParam().message, GetParam().way);
  EXPECT_EQ(GetParam().reply, outcome.reply);
  EXPECT_TRUE(outcome.breaches.empty()) << testing::PrintToString(outcome.breaches);
}

// Cut in two anywhere, and byte by byte, a message is the same message.
TEST_P(Languages, AnswerTheSameHoweverTheMessageIsCut) {
  const std::string& message = GetParam().message;
  for (size_t cut = 0; cut <= message.size(); ++cut) {
    Printer printer(every_language());
    write_text(printer, message.substr(0, cut), GetParam().way);
    const Outcome outcome = say(printer, message.substr(cut), GetParam().way);
    EXPECT_EQ(GetParam().reply, outcome.reply) << "cut at " << cut;
    EXPECT_TRUE(outcome.breaches.empty()) << testing::PrintToString(outcome.breaches);
  }
  Printer printer(every_language());
  for (const char byte : message) {
    write_text(printer, std::string(1, byte), GetParam().way);
  }
  EXPECT_EQ(GetParam().reply, say(printer, "", GetParam().way).reply);
}

const std::string letters = "abcdefghijklmnopqrstuvwxyzabcd";

INSTANTIATE_TEST_SUITE_P(
    JobLanguage, Languages,
    testing::Values(
        Talk{"probe", in_job(job_probe), job_identity},
        Talk{"nothing between the ends", in_job(""), ""},
        Talk{"configuration", in_job("@QPL INFO CONFIG\r\n" + job_probe),
             "@QPL INFO CONFIG\r\nMEMORY=64\r\nSERIAL=QN42000017\r\n\x0C" + job_identity},
        Talk{"echo", in_job("@QPL ECHO a b\r\n" + job_probe),
             "@QPL ECHO a b\r\n\x0C" + job_identity},
        Talk{"fill", in_job("@QPL FILL 30\n" + job_probe), letters + job_identity},
        Talk{"status", in_job("@QPL INFO STATUS\r\n" + job_probe), job_status + job_identity},
        Talk{"settings", in_job("@QPL\r\n@QPL SET A=1\r\n@QPL COMMENT x\n" + job_probe),
             job_identity},
        Talk{"the probe as a command", in_job(job_probe + job_probe), job_identity + job_identity},
        Talk{"two envelopes", in_job(job_probe) + in_job("@QPL FILL 1\n"), job_identity + "a"}));

INSTANTIATE_TEST_SUITE_P(
    Remote, Languages,
    testing::Values(
        Talk{"probe", in_remote(remote_probe), remote_identity},
        Talk{"text status", in_remote(std::string("ST\x02\x00\x00\x01"sv) + remote_probe),
             text_status + remote_identity},
        Talk{"binary status", in_remote(std::string("ST\x02\x00\x00\x11"sv) + remote_probe),
             binary_status + remote_identity},
        Talk{"status off", in_remote(std::string("ST\x01\x00\x00"sv)), ""},
        Talk{"time", in_remote(std::string("ti\x00\x00"sv) + remote_probe),
             "@BDC TI\r\nTI:20260301120000;\x0C" + remote_identity},
        Talk{"version", in_remote(std::string("VI\x00\x00"sv)),
             "@BDC VI\r\nVI:0107;SN:QN42000017;\x0C"},
        Talk{"echo of any bytes", in_remote(std::string("EC\x04\x00\x1B\x00\x0C\x01"sv)),
             std::string("\x1B\x00\x0C\x01"sv)},
        Talk{"fill", in_remote(std::string("FL\x04\x00\x1E\x00\x00\x00"sv)), letters},
        Talk{"silent commands",
             in_remote(std::string("LD\x00\x00JE\x01\x00\x00JS\x02\x00xySN\x00\x00"sv)), ""},
        Talk{"one way", std::string("ti\x00\x00SN\x01\x00z"sv), "", Way::remote},
        Talk{"one way, switched", in_remote(std::string("ti\x00\x00"sv)), "", Way::remote}));

INSTANTIATE_TEST_SUITE_P(
    PageLanguage, Languages,
    testing::Values(Talk{"probe", in_page(page_probe), page_identity},
                    Talk{"second half of the probe alone",
                         in_page("\x1D"
                                 "12mlS"),
                         ""},
                    Talk{"configuration",
                         in_page("\x1D"
                                 "0iS" +
                                 page_probe),
                         "ZRD/PAGE iS MEMORY=64;SERIAL=QN42000017\n" + page_identity},
                    Talk{"fill",
                         in_page("\x1D"
                                 "30fS" +
                                 page_probe),
                         letters + page_identity},
                    Talk{"a page",
                         in_page("\x1D"
                                 "1;2pP"
                                 "Hello\r\n\x1D"
                                 "100X"
                                 "\x0C" +
                                 page_probe),
                         page_identity},
                    Talk{"status before the switch",
                         "\x1B\x01@QPL INFO STATUS\r\n@QPL EN LA=ZRD/PAGE\n" + page_probe,
                         job_status + page_identity},
                    Talk{"left and entered again",
                         in_page(page_probe) + "\x1B\x01" + in_page(page_probe),
                         page_identity + page_identity},
                    Talk{"a page stream without an envelope",
                         "\x1D"
                         "0iS",
                         "ZRD/PAGE iS MEMORY=64;SERIAL=QN42000017\n"}));

INSTANTIATE_TEST_SUITE_P(
    WithoutEnvelope, Languages,
    testing::Values(
        Talk{"status on D4", std::string("st\x01\x00\x01"sv), text_status},
        Talk{"binary status on D4", std::string("st\x02\x00\x00\x11"sv), binary_status},
        Talk{"echo on D4", std::string("ec\x02\x00\x00\x01"sv), std::string("\x00\x01"sv)},
        Talk{"label status", "~HS\n", "~HS,0400,QN42000017\r\n"},
        Talk{"label identity", "~HI\n", "~HI,V1.7,203DPI\r\n"}, Talk{"label echo", "~ECxy\n", "xy"},
        Talk{"label fill", "~FL30\n", letters},
        Talk{"label without a reply", "~PRtext\n", std::string(1, '\0')},
        Talk{"labels without a reply", "~CL\n~SD1\n~PRtext\n", std::string(1, '\0')},
        Talk{"label, replied and not", "~CL\n~ECxy\n~PR\n", "xy"},
        Talk{"fax state", std::string("FX\x01\x00\x01"sv), "FX:READY;SN:QN42000017;\r\n", Way::fax},
        Talk{"fax dial",
             std::string("FX\x04\x00\x02"
                         "123"sv),
             "FX:OK\r\n", Way::fax},
        Talk{"fax stop", std::string("FX\x01\x00\x03"sv), "", Way::fax},
        Talk{"fax echo", std::string("FX\x03\x00\x04\x00z"sv), std::string("\x00z"sv), Way::fax}));

struct Fault {
  const char* what;
  std::string message;
  const char* says;
  Way way = Way::data;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.what; }

class Breaches : public testing::TestWithParam<Fault> {};

TEST_P(Breaches, AreToldOnceAndTheNextMessageIsHeard) {
  const std::string& message = GetParam().message;
  for (size_t cut = 0; cut <= message.size(); ++cut) {
    Printer printer(every_language());
    write_text(printer, message.substr(0, cut), GetParam().way);
    const Outcome outcome = say(printer, message.substr(cut), GetParam().way);
    ASSERT_EQ(1U, outcome.breaches.size()) << "cut at " << cut;
    EXPECT_NE(std::string::npos, outcome.breaches[0].find(GetParam().says)) << outcome.breaches[0];
    EXPECT_EQ(remote_identity, say(printer, in_remote(remote_probe)).reply);
  }
}

INSTANTIATE_TEST_SUITE_P(
    WhatNoPrinterTakes, Breaches,
    testing::Values(
        Fault{"bytes without a language", "hello!", "there is no command"},
        Fault{"digits without a language", "123", "no command begins with"},
        Fault{"unknown switch",
              "\x1B"
              "E",
              "no switch begins with"},
        Fault{"broken switch",
              "\x1B@\x1B"
              "E",
              "no switch begins with"},
        Fault{"half a switch", "\x1B@\x1B@\x1B(R", "the message ended inside"},
        Fault{"leave without enter", std::string("\x1B\x00\x00\x00"sv), "wasn't entered"},
        Fault{"left twice", in_remote(remote_probe) + std::string("\x1B\x00\x00\x00"sv),
              "wasn't entered"},
        Fault{"REMOTE1 not left", in_remote(remote_probe).substr(0, 17 + 5),
              "ended inside REMOTE1"},
        Fault{"REMOTE1 half left", in_remote(remote_probe).substr(0, 17 + 5 + 3),
              "ended inside \"\\x1B\\x00\\x00\""},
        Fault{"envelope not closed", "\x1B\x01" + job_probe, "ended inside the job language"},
        Fault{"job line without end", "\x1B\x01@QPL ID\x1B\x01", "has no end"},
        Fault{"unknown job command", in_job("@QPL DANCE\r\n"), "has no command \"@QPL DANCE\""},
        Fault{"lower-case job command", in_job("@qpl ID\r\n"), "has no line"},
        Fault{"prefix of another word", in_job("@QPLID\r\n"), "has no line"},
        Fault{"text in the job language", in_job("hello\r\n"), "begins with"},
        Fault{"page command in the job language", in_job(page_probe), "a page command"},
        Fault{"REMOTE1 command in the job language", in_job(remote_probe), "begins with"},
        Fault{"fill of nonsense", in_job("@QPL FILL x\r\n"), "has no command"},
        Fault{"job line in REMOTE1", in_remote(job_probe), "no command begins with"},
        Fault{"unknown REMOTE1 command", in_remote(std::string("QQ\x00\x00"sv)),
              "there is no command \"QQ\""},
        Fault{"lower-case status in REMOTE1", in_remote(std::string("st\x01\x00\x01"sv)),
              "there is no command \"st\""},
        Fault{"upper-case status on D4", std::string("ST\x01\x00\x01"sv),
              "there is no command \"ST\""},
        Fault{"status without data", in_remote(std::string("ST\x00\x00"sv)), "with 0 bytes"},
        Fault{"status with a third byte", in_remote(std::string("ST\x03\x00\x00\x11\x00"sv)),
              "with 3 bytes"},
        Fault{"unknown status request", in_remote(std::string("ST\x01\x00\x02"sv)),
              "a status request with the data"},
        Fault{"wrong length", in_remote(std::string("ti\x01\x00\x00"sv)), "with 1 bytes"},
        Fault{"length that swallows the leaving", in_remote(std::string("EC\x05\x00z"sv)),
              "ended inside REMOTE1"},
        Fault{"length past the end", in_remote(std::string("EC\x06\x00z"sv)),
              "the message ended inside"},
        Fault{"page language without the switch's end", "\x1B\x01@QPL EN LA=ZRD/PAGE" + page_probe,
              "the message ended inside"},
        Fault{"other language", in_job("@QPL EN LA=OTHER\n"), "has no command"},
        Fault{"page command without letters",
              in_page("\x1D"
                      "10;1\x1D"),
              "is broken"},
        Fault{"unknown page command",
              in_page("\x1D"
                      "10;2lS"),
              "has no command"},
        Fault{"half a page command",
              in_page("\x1D"
                      "10;1l"),
              "the message ended inside"},
        Fault{"REMOTE1 in the page language", in_page(in_remote("")), "in the page language"},
        Fault{"control byte on the page", in_page("\x02"), "in the page language"},
        Fault{"label line without end", "~HS", "the message ended inside"},
        Fault{"unknown label command", "~XX\n", "has no command"},
        Fault{"fax command of no length", std::string("FX\x00\x00"sv), "without its code",
              Way::fax},
        Fault{"unknown fax command", std::string("FX\x01\x00\x09"sv), "has no command", Way::fax},
        Fault{"REMOTE1 on the fax way", in_remote(""), "no fax command", Way::fax},
        Fault{"unknown one-way command", std::string("QQ\x00\x00"sv), "there is no command",
              Way::remote}));

struct Missing {
  const char* language;
  std::string message;
  Way way = Way::data;
};

TEST(Languages, ThatAPrinterHasntGotAreRefused) {
  const Missing cases[] = {{"BDC", in_remote(remote_probe)},
                           {"BDC", std::string("ti\x00\x00"sv), Way::remote},
                           {"D4", std::string("st\x01\x00\x01"sv)},
                           {"ZRDLABEL", "~HS\n"},
                           {"ZRDPAGES-01",
                            "\x1D"
                            "0iS"},
                           {"ZRDPAGE", in_page(page_probe)},
                           {"END4", std::string("FX\x01\x00\x01"sv), Way::fax}};
  for (const Missing& missing : cases) {
    PrinterOptions options = every_language();
    std::erase(options.languages, missing.language);
    EXPECT_EQ(1U, say(options, missing.message, missing.way).breaches.size()) << missing.language;
  }
  PrinterOptions options = every_language();
  options.languages = {"BDC"};
  EXPECT_EQ(1U, say(options, in_job(job_probe)).breaches.size());
}

TEST(Languages, AreThoseOfTheDeviceIdWhereNoneIsNamed) {
  PrinterOptions options{.device_id = bytes_of("MFG:Q;CMD:QPL,ZRDPAGES-02,D4;MDL:BDC;")};
  EXPECT_TRUE(simulator::speaks(options, "QPL"));
  EXPECT_TRUE(simulator::speaks(options, "ZRDPAGE"));
  EXPECT_TRUE(simulator::speaks(options, "ZRDPAGES"));
  EXPECT_TRUE(simulator::speaks(options, "D4"));
  EXPECT_FALSE(simulator::speaks(options, "BDC"));
  options.languages = {"bdc"};
  EXPECT_TRUE(simulator::speaks(options, "BDC"));
  EXPECT_FALSE(simulator::speaks(options, "QPL"));
  EXPECT_FALSE(simulator::speaks({}, "QPL"));
}

TEST(Languages, PageLanguageHasToBeLeftWhenTheExchangeEnds) {
  Printer printer(every_language());
  say(printer, in_page(page_probe));
  printer.end_exchange();
  EXPECT_EQ((std::vector<std::string>{"the exchange ended inside the page language"}),
            printer.take_breaches());
  say(printer, in_page(page_probe));
  say(printer, "\x1B\x01");
  printer.end_exchange();
  EXPECT_TRUE(printer.take_breaches().empty());
}

}  // namespace
