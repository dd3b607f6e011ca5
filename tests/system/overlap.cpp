// Several requests to one printer at the same time.

#include "tests/system/session.h"
#include "tests/system/talk.h"

#include <map>
#include <memory>

namespace system_test {
namespace {

class Overlaps : public TalkTest {
 protected:
  // From here on the spooler holds each batch until the gate is open.
  void Hold() { Behave({.started = started_.Get(), .gate = gate_.Get()}); }

  Signal started_;
  Signal gate_;
};

TEST_F(Overlaps, AYoungStatusIsToldBesideACommandUnderWay) {
  Open({TextBdc()}, "BDC");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  Hold();
  std::int32_t code = 0;
  Thread sender([&] { code = Send(ChnlKindBdc, Echo("x"), 1); });
  started_.Wait();
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  gate_.Set();
  sender.Join();
  EXPECT_EQ(code, 5);
  EXPECT_EQ(TakeIfAny(1), "x");
}

TEST_F(Overlaps, ACommandBehindTerminateWaitsForNobody) {
  Open({TextBdc()}, "BDC");
  Hold();
  std::int32_t code = 0;
  Thread sender([&] { code = Send(ChnlKindBdc, Echo("x"), 1); });
  started_.Wait();
  Thread terminator([&] { EXPECT_EQ(provider().Terminate(), 0); });
  EXPECT_EQ(provider().Take().code, VLPER_TERMINATE);
  gate_.Set();
  terminator.Join();
  sender.Join();
  EXPECT_EQ(code, 5) << "what is under way is finished";
  EXPECT_EQ(Wire(), Texts{InBdc(Echo("x"))});
}

TEST_F(Overlaps, BatchesOfOnePrinterGoOneAfterTheOther) {
  Open({TextBdc()}, "BDC");
  Hold();
  const std::uint32_t before = Counts().sends;
  std::int32_t codes[3] = {};
  Thread sender([&] { codes[0] = Send(ChnlKindBdc, Echo("x"), 1); });
  started_.Wait();
  Thread asker([&] { codes[1] = Ask(ChnlKindBdc, 2); });
  Thread through([&] { codes[2] = Through(ChnlKindBdc, kSilent, 3); });
  LetOthersSettle();
  EXPECT_EQ(Counts().sends, before + 1);
  gate_.Set();
  sender.Join();
  asker.Join();
  through.Join();
  EXPECT_EQ(codes[0], 5);
  EXPECT_EQ(codes[1], 0);
  EXPECT_EQ(codes[2], 4);
  std::map<std::uint32_t, std::string> results;
  for (int n = 0; n < 2; ++n) {
    const Result result = provider().Take();
    results[result.request_id] = TextOf(result.data);
  }
  EXPECT_EQ(results, (std::map<std::uint32_t, std::string>{{1, "x"}, {2, kTextItem}}));
}

TEST_F(Overlaps, HoldUpNoOtherPrinter) {
  Open({TextBdc()}, "BDC");
  AddPrinter("Other", "USB002", "CMD:BDC;", {TextBdc()});
  EXPECT_EQ(provider().Connect("Other").code, 1);
  Hold();
  Thread sender([&] { EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 1), 5); });
  started_.Wait();
  EXPECT_EQ(provider().Command(2, "Other", ChnlKindBdc, bytes_of(Echo("other"))), 9);
  EXPECT_EQ(TextOf(provider().Take().data), "other");
  gate_.Set();
  sender.Join();
  EXPECT_EQ(TakeIfAny(1), "x");
}

TEST_F(Overlaps, EachRequestOfManyThreadsGetsItsOwnAnswer) {
  Open({Qpl(), TextBdc()}, "QPL,BDC", "LPT_StatusNoChkTime=0\n");
  constexpr std::uint32_t kEach = 8;
  std::vector<std::unique_ptr<Thread>> threads;
  for (std::uint32_t n = 0; n < 4; ++n) {
    threads.push_back(std::make_unique<Thread>([this, n] {
      for (std::uint32_t call = 0; call < kEach; ++call) {
        const std::uint32_t id = 1000 * (n + 1) + call;
        const std::string text = std::to_string(id);
        switch (n) {
          case 0:
            EXPECT_EQ(Ask(ChnlKindBdc, id), 0);
            break;
          case 1:
            EXPECT_EQ(Send(ChnlKindBdc, Echo(text), id), 8);
            break;
          case 2:
            EXPECT_EQ(Send(ChnlKindQpl, "@QPL ECHO " + text + "\r\n", id), 16);
            break;
          default:
            EXPECT_EQ(Through(ChnlKindBdc, Echo(text), id), 8);
        }
      }
    }));
  }
  threads.clear();
  for (std::uint32_t n = 0; n < 3 * kEach; ++n) {
    const Result result = provider().Take();
    const std::string id = std::to_string(result.request_id);
    const std::string expected = id[0] == '1'   ? kTextItem
                                 : id[0] == '2' ? id
                                                : "@QPL ECHO " + id + "\r\n\f";
    EXPECT_EQ(TextOf(result.data), expected);
  }
  ExpectNothingQueued();
  EXPECT_EQ(Counts().commands, 2 * kEach) << "each command once";
  EXPECT_EQ(Counts().through, kEach);
}

}  // namespace
}  // namespace system_test
