// Replies and status items that end anywhere, and buffers of sizes that can hardly be. In
// virtual time, as the far side waits for what doesn't come.

#include "tests/support/virtual_time.h"
#include "tests/system/talk.h"

namespace system_test {
namespace {

struct Cut {
  const char* name;  // of the test
  Channel channel;
  const char* listed;
  std::string command;
  std::string reply;
  std::string probe;  // the answer to the envelope's own request; its head:
  std::size_t head;
};

void PrintTo(const Cut& cut, std::ostream* out) { *out << cut.listed; }

std::vector<Cut> AllCuts() {
  const std::string config = "@QPL INFO CONFIG\r\n";
  return {
      {"Bdc", TextBdc(), "BDC", "ti\0\0"s, "@BDC TI\r\nTI:20260301120000;\f", kBdcProbe, 12},
      {"BdcWithoutAReply", TextBdc(), "BDC", kSilent, "", kBdcProbe, 12},
      {"BdcWithBinaryStatus", BinaryBdc(), "BDC", Fill(30), Filling(30), kBdcProbe, 12},
      {"TheJobLanguage", Qpl(), "QPL", config, config + "MEMORY=64\r\nSERIAL=QN42000017\r\n\f",
       kQplProbe, 9},
      {"ThePageLanguage", ZrdPage(), "QPL",
       "\x1D"
       "30fS",
       Filling(30), kPageProbe, 13},
      {"D4", D4(), "D4", Fill(30), Filling(30), "", 0},
      {"Fax", End4(), "END4", "FX\x01\x00\x02"s, "FX:OK\r\n", "", 0},
      {"Labels", Label(), "ZRDLABEL", "~HI\n", "~HI,V1.7,203DPI\r\n", "", 0},
  };
}

class CutReplies : public TalkTest, public ::testing::WithParamInterface<Cut> {
 protected:
  // What the first bytes of the answer come to; none where nothing is queued.
  static std::optional<std::string> Kept(const std::string& answer) {
    const Cut& cut = GetParam();
    const bool label = cut.channel.kind == ChnlKindLabel;
    if (answer.size() <= (label ? 1U : 0U)) return std::nullopt;
    // From a whole head on it's the probe's answer, with or without its end.
    if (cut.head != 0 && answer.size() >= cut.reply.size() + cut.head) {
      return cut.reply.empty() ? std::nullopt : std::optional(cut.reply);
    }
    return answer;
  }
  static std::int32_t Code(std::size_t size) {
    const bool label = GetParam().channel.kind == ChnlKindLabel;
    if (size == 0) return label ? VLPER_SEND : VLPER_PARAM;
    return static_cast<std::int32_t>(GetParam().command.size());
  }
};

TEST_P(CutReplies, AreTakenAsFarAsTheyCame) {
  const Cut& cut = GetParam();
  Open({cut.channel}, cut.listed);
  const std::string answer = cut.reply + cut.probe;
  for (std::size_t size = 0; size <= answer.size(); ++size) {
    SCOPED_TRACE(size);
    Behave({.silent_after = static_cast<std::uint32_t>(size)});
    EXPECT_EQ(Send(cut.channel.kind, cut.command, 9), Code(size));
    EXPECT_EQ(TakeIfAny(9), Kept(answer.substr(0, size)));
  }
  Behave({});
  EXPECT_EQ(Reply(cut.channel.kind, cut.command), Kept(answer));
}

INSTANTIATE_TEST_SUITE_P(Of, CutReplies, ::testing::ValuesIn(AllCuts()),
                         [](const auto& each) { return std::string(each.param.name); });

class CutStatus : public TalkTest {
 protected:
  // The channel's status, or the code of its failure.
  std::string Outcome(ChannelKind kind) {
    const std::int32_t code = Ask(kind, 9);
    const std::optional<std::string> item = TakeIfAny(9);
    EXPECT_EQ(item.has_value(), code == 0);
    return item ? *item : std::to_string(code);
  }
};

const char* const kFailed = "-9";

TEST_F(CutStatus, ThatGoesSilentIsNone) {
  const std::pair<Channel, std::string> kinds[] = {
      {TextBdc(), kTextItem}, {Qpl(), kJobItem}, {ZrdPage(), kJobItem}};
  for (const auto& [channel, item] : kinds) {
    Open({channel}, channel.kind == ChnlKindBdc ? "BDC" : "QPL", "LPT_StatusNoChkTime=0\n");
    for (std::size_t size = 0; size <= item.size(); ++size) {
      Behave({.silent_after = static_cast<std::uint32_t>(size)});
      EXPECT_EQ(Outcome(channel.kind), size < item.size() ? kFailed : item) << size;
    }
    DropProvider();
  }
}

TEST_F(CutStatus, OfBinaryFormThatGoesSilentIsNone) {
  Open({BinaryBdc()}, "BDC", "LPT_StatusNoChkTime=0\n");
  for (std::size_t size = 0; size <= kBinaryItem.size(); ++size) {
    Behave({.silent_after = static_cast<std::uint32_t>(size)});
    EXPECT_EQ(Outcome(ChnlKindBdc), size < kBinaryItem.size() ? kFailed : kBinaryItem) << size;
  }
}

// What comes behind the cut item is the answer to the probe, whose end may stand in.
TEST_F(CutStatus, AsTextBorrowsTheEndOfWhatFollows) {
  Open({TextBdc()}, "BDC", "LPT_StatusNoChkTime=0\n");
  for (std::size_t size = 0; size < kTextItem.size(); ++size) {
    const std::string part = kTextItem.substr(0, size);
    Behave({.status_item = bytes_of(part)});
    EXPECT_EQ(Outcome(ChnlKindBdc), size < 12 ? kFailed : part + kBdcProbe) << size;
  }
}

TEST_F(CutStatus, InBinaryFormTakesWhatFollowsIfThatIsEnough) {
  Open({BinaryBdc()}, "BDC", "LPT_StatusNoChkTime=0\n");
  for (std::size_t size = 0; size < kBinaryItem.size(); ++size) {
    const std::string part = kBinaryItem.substr(0, size);
    Behave({.status_item = bytes_of(part)});
    const std::string data = part + kBdcProbe;
    // With the count cut away two bytes of what follows are the count.
    const bool whole = size >= 12 && data.size() >= kBinaryItem.size();
    EXPECT_EQ(Outcome(ChnlKindBdc), whole ? data.substr(0, kBinaryItem.size()) : kFailed) << size;
  }
}

TEST_F(CutStatus, AmongAReplyIsCutOutAsFarAsItCame) {
  Open({TextBdc()}, "BDC");
  for (std::size_t size = 1; size < kTextItem.size(); ++size) {
    SCOPED_TRACE(size);
    const std::string part = kTextItem.substr(0, size);
    Behave({.status_item = bytes_of(part)});
    far_side::push_status(kTalkerPort, {.place = far_side::PushPlace::inside});
    EXPECT_EQ(Send(ChnlKindBdc, Echo("headtail"), 9), 12);
    // From its head to the end of the probe's answer, which is its end.
    EXPECT_EQ(TakeIfAny(9), size < 12 ? "head" + part + "tail" : "head");
  }
}

class VastBuffers : public TalkTest {};

TEST_F(VastBuffers, OfAProfileAreServedOrRefusedForWantOfMemory) {
  for (const char* size : {"0x7FFFFFFF", "2147483647", "-1", "0xFFFFFFFF", "-2147483648"}) {
    SCOPED_TRACE(size);
    Open({TextBdc()}, "BDC", "LPT_RcvDatBuffSize="s + size + "\n");
    const std::int32_t code = Ask(ChnlKindBdc, 9);
    EXPECT_TRUE(code == 0 || code == VLPER_MEMORY) << code;
    EXPECT_EQ(TakeIfAny(9), code == 0 ? std::optional(kTextItem) : std::nullopt);
    const std::int32_t sent = Send(ChnlKindBdc, Echo("x"), 9);
    EXPECT_TRUE(sent == 5 || sent == VLPER_MEMORY) << sent;
    EXPECT_EQ(TakeIfAny(9), sent == 5 ? std::optional("x"s) : std::nullopt);
    EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
    DropProvider();
  }
}

class VanishingInside : public TalkTest {};

TEST_F(VanishingInside, OfAnExchangeIsAFailedSend) {
  Open({TextBdc()}, "BDC");
  const std::function<std::int32_t()> requests[] = {
      [&] { return Ask(ChnlKindBdc, 9); }, [&] { return Send(ChnlKindBdc, Fill(100), 9); }};
  for (const auto& request : requests) {
    // Some pieces of the answer have come when the printer goes.
    Behave({.piece_bytes = 10, .piece_ms = 100, .give_up_ms = 20000});
    const std::uint64_t begin = test::elapsed_ms();
    std::int32_t code = 0;
    test::TestThread asker = test::spawn("asker", [&] { code = request(); });
    test::sleep_ms(350);
    far_side::unplug(kTalkerPort);
    asker.join();
    EXPECT_EQ(code, VLPER_SEND);
    EXPECT_EQ(test::elapsed_ms() - begin, 400U) << "at the next piece it shows";
    EXPECT_EQ(TakeIfAny(9), std::nullopt);
  }
  Behave({});
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
}

}  // namespace
}  // namespace system_test
