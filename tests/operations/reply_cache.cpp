// The reply that waits for the second call of the length protocol.

#include "support/reply_cache.h"

#include "tests/operations/exchange_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcProbe;
using operations_test::ExchangeTest;
using operations_test::InBdc;
using operations_test::TextItem;

class KeptReply : public ExchangeTest {
 protected:
  void SetUp() override {
    ExchangeTest::SetUp();
    Open({{ChnlKindBdc}, {ChnlKindZrdPage}});
    Answer("SendCommand", "reply" + BdcProbe());
  }
};

TEST_F(KeptReply, IsGivenByTheSecondCallAndThePrinterAskedOnce) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  EXPECT_EQ(5u, length_);
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd", 5));
  EXPECT_EQ(5u, length_);
  EXPECT_EQ("reply", got_);
  EXPECT_EQ(1u, Batches());
}

TEST_F(KeptReply, WaitsUntilTheBufferIsLargeEnough) {
  for (const std::uint32_t capacity : {0u, 1u, 4u, 0u}) {
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", capacity));
    EXPECT_EQ(5u, length_);
  }
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd", 6));
  EXPECT_EQ(5u, length_);
  EXPECT_EQ("reply", got_);
  EXPECT_EQ(1u, Batches());
}

TEST_F(KeptReply, IsGivenOnce) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  Answer("SendCommand", "again" + BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ("again", got_);
  EXPECT_EQ(2u, Batches());
}

TEST_F(KeptReply, IsntNeededWhereTheFirstBufferIsLargeEnough) {
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd", 5));
  EXPECT_EQ("reply", got_);
  EXPECT_EQ(1u, Batches());
  // It was handed out, so the same command is a new one.
  Answer("SendCommand", "again" + BdcProbe());
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  EXPECT_EQ(2u, Batches());
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ("again", got_);
  EXPECT_EQ(2u, Batches());
}

TEST_F(KeptReply, GoesWithAnotherCommand) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  Answer("SendCommand", "other" + BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmx"));
  EXPECT_EQ("other", got_);
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ("other", got_);
  EXPECT_EQ(3u, Batches());
}

TEST_F(KeptReply, IsThatOfTheWholeCommandAsItWasGiven) {
  for (const std::string& other : {"cm"s, "cmd\0"s, "Cmd"s, InBdc("cmd")}) {
    Forget();
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
    EXPECT_EQ(0, Send(ChnlKindBdc, other));
    EXPECT_EQ(2u, Batches());
  }
}

// Its length alone would fit.
TEST_F(KeptReply, IsntGivenForACommandWithoutBytes) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  std::uint8_t room[64];
  length_ = sizeof(room);
  EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindBdc, nullptr, 3, room, &length_));
  EXPECT_EQ(sizeof(room), length_);
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ(2u, Batches());
}

TEST_F(KeptReply, IsFoundWhateverTheChannel) {
  for (const ChannelKind kind : {ChnlKindZrdPage, ChnlKindQpl, ChannelKind{0}}) {
    Forget();
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
    EXPECT_EQ(0, Send(kind, "cmd"));
    EXPECT_EQ("reply", got_);
    EXPECT_EQ(1u, Batches());
  }
}

TEST_F(KeptReply, HasNoAge) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  Answer("GetStatus", TextItem("1"));
  EXPECT_EQ(0, Ask(ChnlKindBdc));
  EXPECT_EQ(2, GetConnectInf());
  EXPECT_EQ(0, SendThrough(ChnlKindBdc, "through"));
  printer_->StopBidiWorker();
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ("reply", got_);
  EXPECT_EQ(3u, Batches());
}

TEST_F(KeptReply, IsNoneOfACommandWithoutAReply) {
  Answer("SendCommand", BdcProbe());
  for (std::size_t number = 1; number <= 3; ++number) {
    EXPECT_EQ(0, Send(ChnlKindBdc, "cmd", number == 2 ? 0 : 100));
    EXPECT_EQ(0u, length_);
    EXPECT_EQ(number, Batches());
  }
}

TEST_F(KeptReply, GoesWithACommandWithoutAReply) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, "cmd", 0));
  Answer("SendCommand", BdcProbe());
  EXPECT_EQ(0, Send(ChnlKindBdc, "other"));
  EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
  EXPECT_EQ(0u, length_);
  EXPECT_EQ(3u, Batches());
}

TEST_F(KeptReply, IsBytesOfAnyValue) {
  const std::string command = "\0\xFF\0"s;
  const std::string reply = "\0\r\n\xFF\0"s;
  Answer("SendCommand", reply + BdcProbe());
  EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindBdc, command, 0));
  EXPECT_EQ(0, Send(ChnlKindBdc, command));
  EXPECT_EQ(reply, got_);
  EXPECT_EQ(1u, Batches());
}

// --- The record itself ------------------------------------------------------------------------

Bytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(ReplyCache, HoldsAReplyOnlyBesideItsCommand) {
  ReplyCache cache;
  EXPECT_FALSE(cache.HoldsReplyTo({}));
  EXPECT_FALSE(cache.HoldsReplyTo(BytesOf("c")));
  cache.replyCommand = {'c'};
  EXPECT_FALSE(cache.HoldsReplyTo(BytesOf("c")));
  cache.replyData = {'r'};
  EXPECT_TRUE(cache.HoldsReplyTo(BytesOf("c")));
  EXPECT_FALSE(cache.HoldsReplyTo(BytesOf("d")));
  EXPECT_FALSE(cache.HoldsReplyTo(BytesOf("cc")));
  EXPECT_FALSE(cache.HoldsReplyTo({}));
}

// What is claimed to be longer isn't read.
TEST(ReplyCache, ComparesTheLengthFirst) {
  ReplyCache cache;
  cache.replyCommand = {'c'};
  cache.replyData = {'r'};
  const std::vector<std::uint8_t> command = {'c'};
  EXPECT_FALSE(cache.HoldsReplyTo({command.data(), 0xFFFFFFFF}));
}

TEST(ReplyCache, ClearsBoth) {
  ReplyCache cache;
  cache.replyCommand = {'c'};
  cache.replyData = {'r'};
  cache.Clear();
  EXPECT_TRUE(cache.replyCommand.empty());
  EXPECT_TRUE(cache.replyData.empty());
}

}  // namespace
}  // namespace vlp
