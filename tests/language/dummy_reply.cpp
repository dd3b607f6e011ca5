// The one byte that a label printer answers with, and the line about it in the log.

#include "tests/language/language_fixture.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"

namespace {

using language_test::Answer;
using language_test::BinaryBdc;
using language_test::Block;
using language_test::Channel;
using language_test::Channels;
using language_test::Reply;
using language_test::Splitter;
using namespace std::string_literals;

constexpr std::uint32_t kAllLines = 0xBFFFFFFF;
constexpr const char* kLine = "CSepareteData::SepareteRecvData - DummyReply was deleted";

class DummyReply : public ::testing::Test {
 protected:
  DummyReply() {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
  }

  // The lines that one call leaves in a log with this mask.
  std::vector<std::string> LinesOf(std::uint32_t mask, ChannelKind kind,
                                   const std::string& received) {
    vlp::DbgLog log("label", directory_.c_str(), mask, 0);
    Splitter splitter(Channels({Channel(ChnlKindLabel), BinaryBdc(), Channel(ChnlKindQpl)}), &log);
    splitter.Separate(kind, received);
    return log_lines::shown(directory_ + "label.dat");
  }

  std::string directory_;
};

TEST_F(DummyReply, IsDroppedAndLeavesAnEmptyReplyAndOneLine) {
  vlp::DbgLog log("label", directory_.c_str(), kAllLines, 0);
  Splitter splitter(Channels({Channel(ChnlKindLabel)}), &log);
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindLabel, "\0"s));
  EXPECT_EQ(std::vector<std::string>{kLine}, log_lines::shown(directory_ + "label.dat"));
}

TEST_F(DummyReply, IsALineAboutDetails) {
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(~vlp::kLogObjects, ChnlKindLabel, "\0"s));
  EXPECT_EQ(std::vector<std::string>{kLine}, LinesOf(vlp::kLogObjects, ChnlKindLabel, "\0"s));
}

TEST_F(DummyReply, IsTheOnlyThingThatIsLogged) {
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(kAllLines, ChnlKindLabel, ""));
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(kAllLines, ChnlKindLabel, "xy"));
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(kAllLines, ChnlKindBdc, "@BDC PS\r\nST:\f"));
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(kAllLines, ChnlKindQpl, "A@BDC ST2\r\n\1\0x"s));
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(kAllLines, ChnlKindD4, "no record"));
  EXPECT_EQ(std::vector<std::string>{}, LinesOf(kAllLines, 0, "x"));
}

TEST_F(DummyReply, MayHaveAnyValueAndNeedsNoRoomAndNoRecord) {
  Splitter splitter(Channels({}));
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(Reply(""),
              splitter.Separate(ChnlKindLabel, std::string(1, static_cast<char>(value)), 0));
  }
}

TEST_F(DummyReply, IsDroppedWithoutALog) {
  Splitter splitter(Channels({Channel(ChnlKindLabel)}), nullptr);
  EXPECT_EQ(Reply(""), splitter.Separate(ChnlKindLabel, "\0"s));
}

TEST_F(DummyReply, HasOneByteAndNotTwo) {
  Splitter splitter(Channels({Channel(ChnlKindLabel)}));
  EXPECT_EQ(Reply("\0\0"s), splitter.Separate(ChnlKindLabel, "\0\0"s));
  EXPECT_EQ(Reply("xy"), splitter.Separate(ChnlKindLabel, "xy"));
}

TEST_F(DummyReply, IsKnownOnLabelPrintersOnly) {
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4,
                                 ChnlKindEnd4, ChnlKindZrdPages, language_test::kUnknownKind}) {
    Splitter splitter(Channels({Channel(kind)}));
    EXPECT_EQ(Reply("\0"s), splitter.Separate(kind, "\0"s)) << std::hex << kind;
  }
}

TEST_F(DummyReply, OfNoByteFailsAndLeavesLengthZero) {
  Splitter splitter(Channels({Channel(ChnlKindLabel)}));
  EXPECT_EQ((Answer{VLPER_SEND, "", 0}), splitter.Separate(ChnlKindLabel, "", 16));
  for (const ChannelKind kind : {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4,
                                 ChnlKindEnd4, ChnlKindZrdPages, language_test::kUnknownKind}) {
    Splitter other(Channels({Channel(kind)}));
    EXPECT_EQ(VLPER_PARAM, other.Separate(kind, "", 16).code) << std::hex << kind;
  }
}

TEST_F(DummyReply, IsNoneWhereTheCallerTakesNoLength) {
  vlp::DbgLog log("label", directory_.c_str(), kAllLines, 0);
  Splitter splitter(Channels({Channel(ChnlKindLabel)}), &log);
  Block byte("\0"s);
  std::uint8_t output[4] = {};
  EXPECT_EQ(VLPER_PARAM,
            splitter.get().SepareteRecvData(ChnlKindLabel, byte.data(), 0, output, nullptr));
  EXPECT_EQ(VLPER_SEND,
            splitter.get().SepareteRecvData(ChnlKindLabel, byte.data(), 1, output, nullptr));
  EXPECT_EQ(std::vector<std::string>{}, log_lines::shown(directory_ + "label.dat"));
}

}  // namespace
