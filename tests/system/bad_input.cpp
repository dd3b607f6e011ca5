// Hostile callers, profiles and far sides: sizes that can't be, answers that nobody asked for,
// printers that vanish.

#include <cstring>

#include "tests/system/talk.h"

namespace system_test {
namespace {

using far_side::RowAnswer;
using far_side::Trouble;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char16_t* kStatusRow = u"\\Printer.VELNO_SCHEMA:GetStatus";
constexpr const char16_t* kCommandRow = u"\\Printer.VELNO_SCHEMA:SendCommand";
constexpr const char16_t* kThroughRow = u"\\Printer.VELNO_SCHEMA:SendThroughREMOTE";

// An address that nobody can read.
const std::uint8_t* Nowhere() {
  const std::uintptr_t number = 8;
  const std::uint8_t* address = nullptr;
  std::memcpy(&address, &number, sizeof(address));
  return address;
}

class BadInput : public TalkTest {
 protected:
  void ExpectFailures(std::int32_t status, std::int32_t command) {
    EXPECT_EQ(Ask(ChnlKindBdc, 9), status);
    EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 9), command);
    EXPECT_EQ(TakeIfAny(9), std::nullopt);
  }
  static void AnswerBoth(const RowAnswer& answer) {
    Trouble trouble;
    trouble.rows = {{kStatusRow, answer}, {kCommandRow, answer}};
    far_side::set_trouble(trouble);
  }
};

TEST_F(BadInput, OfCommandsThatClaimTooMuchIsNotRead) {
  LogTo(kLogOperations | kLogUncut);  // which would show the command's bytes
  Open({TextBdc()}, "BDC");
  const VlpSendCommand operations[] = {provider().table().SendCommand,
                                       provider().table().SendThroughCommand};
  for (const VlpSendCommand send : operations) {
    for (const std::uint32_t length : {0U, 0x80000000U, 0x80000001U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
      EXPECT_EQ(send(1, kTalker, ChnlKindBdc, Nowhere(), length), VLPER_PARAM) << length;
    }
  }
  EXPECT_THAT(Lines(), Not(Contains(HasSubstr("Command")))) << "it got as far as the printer";
  EXPECT_EQ(Wire(), Texts{});
  EXPECT_EQ(TakeIfAny(1), std::nullopt);
}

TEST_F(BadInput, OfCommandsOfOneByteIsSent) {
  Open({Qpl(), TextBdc(), ZrdPages()}, "QPL,BDC,ZRDPAGES-01", "",
       {.scripts = {{bytes_of("!"), bytes_of("one byte")}}});
  EXPECT_EQ(Reply(ChnlKindBdc, "!"), "one byte");
  EXPECT_EQ(Reply(ChnlKindQpl, "!"), "one byte");
  EXPECT_EQ(Reply(ChnlKindZrdPages, "!"), "one byte");
  EXPECT_EQ(Through(ChnlKindBdc, "!"), 1);
  EXPECT_EQ(Wire(), (Texts{InBdc("!"), InQpl("!"), "!", "!"}));
}

TEST_F(BadInput, OfCommandsOfNulsIsSentAsItIs) {
  const std::string nuls(300, '\0');
  Open({TextBdc()}, "BDC", "", {.scripts = {{bytes_of(nuls), bytes_of("nuls")}}});
  EXPECT_EQ(Reply(ChnlKindBdc, nuls), "nuls");
  EXPECT_EQ(Wire(), Texts{InBdc(nuls)});
}

TEST_F(BadInput, OfAProfileWithoutRoomForRepliesRefusesThem) {
  for (const char* size : {"0", "1"}) {
    Open({TextBdc(), Label()}, "BDC,ZRDLABEL", "LPT_RcvDatBuffSize="s + size + "\n");
    ExpectFailures(VLPER_BUFFERSIZE, VLPER_BUFFERSIZE);
    EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
    if (size[0] == '0') {
      EXPECT_EQ(Send(ChnlKindLabel, "~CL\n", 9), VLPER_BUFFERSIZE);
      EXPECT_EQ(TakeIfAny(9), std::nullopt);
    } else {
      EXPECT_EQ(Reply(ChnlKindLabel, "~CL\n"), std::nullopt) << "the dummy just fits";
    }
    DropProvider();
  }
}

TEST_F(BadInput, OfAProfileWithoutASizeMeansTwoKilobytes) {
  Open({ZrdPages()}, "ZRDPAGES-01", "LPT_RcvDatBuffSizes=1\nXLPT_RcvDatBuffSize=1\n");
  EXPECT_EQ(Reply(ChnlKindZrdPages,
                  "\x1D"
                  "2048fS"),
            Filling(2048));
  EXPECT_EQ(Send(ChnlKindZrdPages,
                 "\x1D"
                 "2049fS",
                 9),
            VLPER_BUFFERSIZE);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
}

TEST_F(BadInput, OfAProfileWithNonsenseForARequestIsSentAsTheBytesThatItMakes) {
  const std::string bytes = "\x27\x00\x0B"s;  // every character counts as a digit
  Open({{ChnlKindBdc}}, "BDC", "LPT_ChnlStsCmd00=frog,,;\n",
       {.scripts = {{bytes_of(bytes), bytes_of("what?" + kTextItem)}}});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Wire(), Texts{bytes});
}

TEST_F(BadInput, OfAFarSideThatAnswersMoreThanThereIsRoomForIsRefused) {
  Open({TextBdc()}, "BDC", "LPT_RcvDatBuffSize=64\n");
  for (const std::size_t size : {std::size_t{65}, std::size_t{2049}, std::size_t{5000000}}) {
    AnswerBoth({.data = Bytes(size, 'x')});
    ExpectFailures(VLPER_BUFFERSIZE, VLPER_BUFFERSIZE);
  }
  AnswerBoth({.data = Bytes(64, 'x')});
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), std::string(64, 'x'));
}

TEST_F(BadInput, OfAFarSideThatAnswersNothingIsRefused) {
  Open({TextBdc()}, "BDC");
  for (const RowAnswer& nothing :
       {RowAnswer{}, RowAnswer{.data = Bytes{}}, RowAnswer{.data = bytes_of("x"), .type = 0},
        RowAnswer{.data = bytes_of("x"), .outputs = 0}}) {
    AnswerBoth(nothing);
    ExpectFailures(VLPER_SEND, VLPER_PARAM);
  }
}

TEST_F(BadInput, OfAFarSideWithASizeAndNoDataIsRefused) {
  Open({TextBdc()}, "BDC");
  for (const std::size_t size : {std::size_t{1}, std::size_t{2048}}) {
    AnswerBoth({.data = Bytes(size, 'x'), .null_data = true});
    ExpectFailures(VLPER_SEND, VLPER_SEND);
  }
  AnswerBoth({.data = Bytes(2049, 'x'), .null_data = true});
  ExpectFailures(VLPER_BUFFERSIZE, VLPER_BUFFERSIZE);
}

TEST_F(BadInput, OfAFarSideWithMoreOutputsIsItsFirst) {
  Open({TextBdc()}, "BDC");
  AnswerBoth({.data = bytes_of("any" + kTextItem + kBdcProbe), .type = 4, .outputs = 1000});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "any");
}

TEST_F(BadInput, OfAFarSideOnRowsThatWantNoAnswerIsIgnored) {
  Open({TextBdc()}, "BDC");
  Trouble trouble;
  for (const char16_t* schema : {u"\\Printer.VELNO_SCHEMA:SetPrinterName",
                                 u"\\Printer.VELNO_SCHEMA:SetTerminateInf", kThroughRow}) {
    trouble.rows[schema] = {.result = 13005, .data = Bytes(100000, 'x')};
  }
  trouble.rows[kCommandRow] = {.data = bytes_of("reply")};
  far_side::set_trouble(trouble);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "reply");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(TakeIfAny(1), std::nullopt);
}

TEST_F(BadInput, OfAFarSideFullOfHeadsIsCutAtThem) {
  Open({TextBdc()}, "BDC", "LPT_RcvDatBuffSize=100000\n");
  std::string heads;
  for (int n = 0; n < 5000; ++n) heads += "@BDC ST\r\nST:";
  AnswerBoth({.data = bytes_of("reply" + heads)});
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "reply");
  AnswerBoth({.data = bytes_of(heads)});
  ExpectFailures(VLPER_SEND, VLPER_SEND);
}

// A printer that goes while its exchange is under way.
class Vanishing : public TalkTest {
 protected:
  // Begins the request, pulls the plug, and gives what came of it.
  template <typename Request>
  std::int32_t Vanish(Request request) {
    const Signal started;
    const Signal gate;
    Behave({.started = started.Get(), .gate = gate.Get()});
    std::int32_t code = 0;
    Thread asker([&] { code = request(); });
    started.Wait();
    far_side::unplug(kTalkerPort);
    gate.Set();
    asker.Join();
    EXPECT_EQ(TakeIfAny(9), std::nullopt);
    return code;
  }
};

TEST_F(Vanishing, PrintersMakeTheirRequestsFailAndMayComeBack) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(Vanish([&] { return Ask(ChnlKindBdc, 9); }), VLPER_SEND);
  EXPECT_EQ(Vanish([&] { return Send(ChnlKindBdc, Echo("x"), 9); }), VLPER_SEND);
  EXPECT_EQ(Vanish([&] { return Through(ChnlKindBdc, kSilent, 9); }), VLPER_SEND);
  EXPECT_EQ(Ask(ChnlKindBdc, 9), VLPER_SEND);
  EXPECT_EQ(Wire(), Texts{});
  Behave({});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
}

TEST_F(Vanishing, PrintersMayLeaveAnotherInTheirPlace) {
  Open({TextBdc()}, "BDC");
  far_side::plug({.port = kTalkerPort, .device_id = bytes_of("CMD:BDC;"), .status_text = "9999"});
  EXPECT_EQ(Status(ChnlKindBdc),
            "@BDC ST\r\nST:9999;ER:00;PA:A4;MC:" + std::string(20, '0') + ";SE:01;\f");
}

TEST_F(Vanishing, SpoolerPrintersAreRefusedAtOnce) {
  Open({TextBdc()}, "BDC");
  far_side::remove_printer(kTalker);
  EXPECT_EQ(Ask(ChnlKindBdc), VLPER_NOTSUPPORT);
  EXPECT_EQ(Send(ChnlKindBdc, Echo("x")), VLPER_NOTSUPPORT);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), VLPER_NOTSUPPORT);
  EXPECT_EQ(Wire(), Texts{});
}

}  // namespace
}  // namespace system_test
