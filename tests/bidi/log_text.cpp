// The lines that an exchange leaves in the printer's log.

#include "tests/bidi/bidi_fixture.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiTest;
using bidi_test::Form;
using far_side::bytes_of;

class BidiLog : public BidiTest {
 protected:
  // The texts up to the times, which aren't the same in each run.
  std::vector<std::string> LinesWithoutTimes() const {
    std::vector<std::string> lines = Lines();
    for (std::string& line : lines) {
      const std::string::size_type times = line.find(" : S ");
      if (times != std::string::npos) line.resize(times);
    }
    return lines;
  }
};

TEST_F(BidiLog, OfAContainerHasEachStepAndEachRow) {
  Start(kLogBidi);
  far_side::Trouble trouble;
  trouble.rows[u"\\A:One"] = {};
  trouble.rows[u"\\A:Two"] = {.data = bytes_of("answer")};
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Tell(u"\\A:One", "in").Ask(u"\\A:Two", 8);
  EXPECT_EQ(0, Call(batch));

  const std::vector<std::string> expected = {
      "CBidiIF::SendRecvBidiContainer Enter",
      "  BidiSchema : \\A:One = 0",
      "  BidiSchema : \\A:Two = 1",
      "CBidiIF::CallBindDevice Return : rc = 0",
      "CBidiIF::SetRequest Return : rc = 0",
      "CBidiIF::SetRequest Return : rc = 0",
      "CBidiIF::CallSendRecv Return : rc = 0",
      "CBidiIF::GetRespons Return",
      "CBidiIF::CallUnbindDevice Return : rc = 0",
      "CBidiIF::SendRecvBidiContainer Return : rc = 0",
  };
  EXPECT_EQ(expected, LinesWithoutTimes());
}

TEST_F(BidiLog, OfASingleRowHasEachStep) {
  Start(kLogBidi);
  SetAnswer({.data = bytes_of("answer")});
  EXPECT_EQ(0, Ask(8, Form::kSingle));

  const std::vector<std::string> expected = {
      "CBidiIF::SendRecvBidi Enter",
      "  BidiSchema : \\Printer.VELNO_SCHEMA:GetDeviceID = 0",
      "CBidiIF::CallBindDevice Return : rc = 0",
      "CBidiIF::SetRequest Return : rc = 0",
      "CBidiIF::CallSendRecv Return : rc = 0",
      "CBidiIF::GetRespons Return",
      "CBidiIF::CallUnbindDevice Return : rc = 0",
      "CBidiIF::SendRecvBidi Return : rc = 0",
  };
  EXPECT_EQ(expected, LinesWithoutTimes());
}

TEST_F(BidiLog, DumpsInputAndAnswer) {
  Start(kLogBidi);
  SetAnswer({.data = far_side::Bytes{0x00, 0xFF, 0x41}});
  Batch batch;
  batch.Ask(kSchema, 8, std::string("\x01\x80", 2));
  EXPECT_EQ(0, Call(batch));

  const auto input = LinesOf("CBidiIF::SetRequest Return");
  ASSERT_EQ(1u, input.size());
  EXPECT_EQ((std::vector<std::string>{"Dump(2): 01 80 "}), input[0].bytes);
  const auto answer = LinesOf("CBidiIF::GetRespons Return");
  ASSERT_EQ(1u, answer.size());
  EXPECT_EQ("CBidiIF::GetRespons Return", answer[0].shown());
  EXPECT_EQ((std::vector<std::string>{"Dump(3): 00 ff 41 "}), answer[0].bytes);
}

TEST_F(BidiLog, MarksARefusedInput) {
  Start(kLogBidi);
  far_side::set_trouble({.set_input_data = {.result = 0x80004005, .at = 1}});
  Batch batch;
  batch.Ask(kSchema, 8, "in");
  EXPECT_EQ(VLPER_NOTSUPPORT, Call(batch));
  const auto lines = LinesOf("CBidiIF::SetRequest Return");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("### CBidiIF::SetRequest Return : rc = -1", lines[0].shown());
  EXPECT_EQ((std::vector<std::string>{"Dump(2): 69 6e "}), lines[0].bytes);
}

TEST_F(BidiLog, MarksAnAnswerThatCantBeTaken) {
  Start(kLogBidi);
  SetAnswer({.data = bytes_of("123456789")});
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(8));
  const auto lines = LinesOf("CBidiIF::GetRespons Return");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("### CBidiIF::GetRespons Return : rc = -5", lines[0].shown());
  EXPECT_TRUE(lines[0].bytes.empty());
  EXPECT_EQ("### CBidiIF::SendRecvBidiContainer Return : rc = -5", Lines().back());
}

TEST_F(BidiLog, NamesASchemaThatIsNotSupported) {
  Start(kLogBidi);
  SetAnswer({.result = 13005});
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(8));
  const auto lines = LinesOf("CBidiIF::GetRespons");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("### CBidiIF::GetRespons BidiSchema Not Supported  : rc = -1", lines[0].shown());
}

TEST_F(BidiLog, NamesAMissingAnswer) {
  Start(kLogBidi);
  SetAnswer({});
  EXPECT_EQ(0, Ask(8));
  const auto lines = LinesOf("CBidiIF::GetRespons");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("CBidiIF::GetRespons No Respons Return  : rc = 0", lines[0].shown());
}

TEST_F(BidiLog, OfARowWithoutOutputHasNoAnswerLine) {
  Start(kLogBidi);
  SetAnswer({});
  Batch batch;
  batch.Tell(kSchema);
  EXPECT_EQ(0, Call(batch));
  EXPECT_TRUE(LinesOf("CBidiIF::GetRespons").empty());
}

TEST_F(BidiLog, TimesTheSend) {
  Start(kLogBidi);
  far_side::set_trouble({.send = {.result = 0x800732CC}});
  Batch batch;
  batch.Name(u"Printer");
  EXPECT_EQ(VLPER_NOTCONNECT, Call(batch));
  const auto lines = LinesOf("CBidiIF::CallSendRecv Return");
  ASSERT_EQ(1u, lines.size());
  EXPECT_TRUE(lines[0].error);
  EXPECT_EQ(0u, lines[0].text.find("CBidiIF::CallSendRecv Return : rc = -2"));
}

TEST_F(BidiLog, KeepsDetailsOfRequestsToTheirOwnCategory) {
  Start(kLogObjects);
  SetAnswer({});
  EXPECT_EQ(0, Ask(8));
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(0u, lines[0].find("CBidiIF::DeleteRequest: Enter pRequest=0x"));
  EXPECT_NE("CBidiIF::DeleteRequest: Enter pRequest=0x0", lines[0]);
}

TEST_F(BidiLog, StaysEmptyWhileItsCategoryIsOff) {
  Start(~(kLogBidi | kLogObjects));
  SetAnswer({.data = bytes_of("123456789")});
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(8));
  EXPECT_EQ(std::nullopt, far_side::read_file(LogPath()));
}

TEST_F(BidiLog, CutsASchemaThatIsTooLong) {
  Start(kLogBidi);
  const std::u16string schema = u"\\A:" + std::u16string(400, u'x');
  far_side::Trouble trouble;
  trouble.rows[schema] = {.data = bytes_of("ok")};
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Ask(schema, 8);
  EXPECT_EQ(0, Call(batch));
  EXPECT_EQ("ok", batch.Text(0));
  const auto lines = LinesOf("  BidiSchema : \\A:xxx");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("  BidiSchema : \\A:" + std::string(256, 'x') + " = 0", lines[0].text);
}

TEST_F(BidiLog, MayBeMissing) {
  bidi_ = std::make_unique<CBidiIF>(nullptr);
  SetAnswer({.data = bytes_of("ok")});
  EXPECT_EQ(0, Ask(8));
  EXPECT_EQ(0, Ask(8, Form::kSingle));
  bidi_->StopBidiWorker();
  EXPECT_EQ(VLPER_TERMINATE, Ask(8));
}

}  // namespace
}  // namespace vlp
