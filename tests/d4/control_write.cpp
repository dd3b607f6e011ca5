// The one door to the port's write, and its line in the trace.

#include <gmock/gmock.h>

#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::int32_t put(OpenLink& up, const Bytes& bytes, const vlp::OnWritten& then = {}) {
  return XdltPortWrite(*up.link, vlp::Bytes(bytes), then);
}

TEST(PortWrite, GivesTheCountAndAwaitsWhatItWasTold) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(text("seven b"));
    up.port.expect(text("a"));
    EXPECT_EQ(7, put(up, text("seven b"), {.awaitedReply = 0x84}));
    EXPECT_EQ(0x84, up.awaited());
    EXPECT_EQ(1, put(up, text("a")));
    EXPECT_EQ(0x84, up.awaited()) << "a packet without a reply leaves it alone";
    up.link->awaitedReply.store(0);
  });
}

TEST(PortWrite, WritesNothingUnlessTheLinkIsOpen) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    const std::size_t before = up.port.call_count();
    for (const std::uint32_t state : {0u, 2u, 3u}) {
      up.link->state.store(state);
      EXPECT_EQ(-53, put(up, text("abc"), {0x84, up.record(0x02).get(), 5})) << state;
      EXPECT_EQ(0, up.awaited());
      EXPECT_EQ(0, up.given(0x02));
    }
    EXPECT_EQ(before, up.port.call_count());
    up.link->state.store(1);
  });
}

TEST(PortWrite, AFailureAwaitsGivesAndSpendsNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 3});
    const vlp::OnWritten then{0x84, up.record(0x02).get(), 5, 1};
    up.port.expect(text("abc")).fails();
    EXPECT_EQ(-31, put(up, text("abc"), then));
    // Even if the port says that all went out.
    up.port.expect(text("abc")).fails({.bytes = 3});
    EXPECT_EQ(-31, put(up, text("abc"), then));
    up.port.expect(text("abc")).is_short_by(1);
    EXPECT_EQ(-61, put(up, text("abc"), then));
    up.port.expect(text("abc")).is_short_by(3);
    EXPECT_EQ(-61, put(up, text("abc"), then));
    EXPECT_EQ(0, up.awaited());
    EXPECT_EQ(0, up.given(0x02));
    EXPECT_EQ(3, up.held(0x02));
    up.port.expect(text("abc"));
    EXPECT_EQ(3, put(up, text("abc"), then));
    EXPECT_EQ(0x84, up.awaited());
    EXPECT_EQ(5, up.given(0x02));
    EXPECT_EQ(2, up.held(0x02));
    up.link->awaitedReply.store(0);
  });
}

TEST(PortWrite, ThatClosesTheLinkLetsNothingFollow) {
  run_virtual_parallel([] {
    OpenLink up;
    const vlp::OnWritten then{.closesLink = true};
    up.port.expect(text("last")).takes_ms(100);
    auto last = transact("last", [&] { return put(up, text("last"), then); });
    test::settle();
    const Called queued = timed([&] { return put(up, text("abc")); });
    EXPECT_EQ(-53, queued.result) << "though it was queued while the link was open";
    EXPECT_EQ(100u, queued.ms);
    EXPECT_EQ(4, last.get().result);
    EXPECT_EQ(2u, up.link->state.load());
  });
}

TEST(PortWrite, WaitsForTheReadThatIsInside) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).credit_given(0x02);
    up.port.reads_wait(700);
    auto query = transact("query", [&] { return size_query(up.link, 0x02); });
    test::settle();
    ASSERT_TRUE(up.port.read_is_inside());
    up.port.expect(text("abc"));
    EXPECT_EQ(700u, timed([&] { return put(up, text("abc")); }).ms);
    EXPECT_EQ(700u, query.get().ms);
    up.port.reads_return_at_once();
  });
}

TEST(PortWrite, TwoAtOnceGoOneAfterTheOther) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(text("one")).takes_ms(300);
    up.port.expect(text("two")).takes_ms(400);
    auto first = transact("first", [&] { return put(up, text("one")); });
    test::sleep_ms(1);
    EXPECT_EQ(699u, timed([&] { return put(up, text("two")); }).ms);
    EXPECT_EQ(300u, first.get().ms);
  });
}

TEST(PortWrite, AnErrorPacketWaitsForNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(hex("00 00 00 0A 00 00 7F 00 00 83"));
    const Called sent = timed([&] { return XdltSendError(*up.link, 0x83); });
    EXPECT_EQ(10, sent.result);
    EXPECT_EQ(0u, sent.ms);
    EXPECT_EQ(0, up.awaited());
  });
}

class PortWriteTrace : public EngineTest {};

constexpr char kWriteLine[] = "  *WRITE*";

TEST_F(PortWriteTrace, ShowsCountsBytesAndBothTimes) {
  vlp::DbgLog& to = log();
  run_virtual_parallel([&] {
    OpenLink up(&to);
    up.port.writes_take(1234);
    up.port.expect(hex("01 AB")).fails();
    up.port.expect(hex("01 AB 03")).is_short_by(1);
    up.port.expect(filled(16, 0xF0));
    up.port.expect(filled(17, 0xF0));
    put(up, hex("01 AB"));
    put(up, hex("01 AB 03"));
    put(up, filled(16, 0xF0));
    put(up, filled(17, 0xF0));
  });
  std::vector<std::string> lines;
  for (const std::string& line : trace_with_times()) {
    if (line.rfind(kWriteLine, 0) == 0) lines.push_back(line);
  }
  ASSERT_EQ(6u, lines.size());
  const std::string full = "F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF ";
  EXPECT_THAT(
      std::vector<std::string>(lines.begin() + 2, lines.end()),
      ElementsAre("  *WRITE* Size=0002(0000)    : Start=00.000.000 / End=01.234.000",
                  "  *WRITE* Size=0003(0002) 01 AB : Start=01.234.000 / End=02.468.000",
                  "  *WRITE* Size=0016(0016) " + full + ": Start=02.468.000 / End=03.702.000",
                  "  *WRITE* Size=0017(0017) " + full + ": Start=03.702.000 / End=04.936.000"));
}

TEST_F(PortWriteTrace, ShowsNothingOfWhatWasNotTried) {
  vlp::DbgLog& to = log();
  run_virtual_parallel([&] {
    OpenLink up(&to);
    up.link->state.store(2);
    put(up, text("abc"));
    up.link->state.store(1);
  });
  EXPECT_THAT(trace_of(kWriteLine),
              ElementsAre("  *WRITE* Size=0027(0027) 00 00 00 1B 01 40 51 50 4C 20 31 32 38 34 2E "
                          "34 : Start=<time> / End=<time>",
                          "  *WRITE* Size=0008(0008) 00 00 00 08 01 00 00 10 : Start=<time> / "
                          "End=<time>"));
}

TEST_F(PortWriteTrace, IsSilentForALogThatWritesNothing) {
  vlp::DbgLog& to = log(0);
  run_virtual_parallel([&] { OpenLink up(&to); });
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(PortWriteTrace, ShowsTheAnswersOfTheReadThreadToo) {
  vlp::DbgLog& to = log();
  run_virtual_parallel([&] {
    OpenLink up(&to);
    up.channel(0x02).credit_given(0x02);
    up.port.expect(credit_reply(0x02));
    up.port.say(credit(0x02, 1));
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
  });
  EXPECT_EQ("  *WRITE* Size=0010(0010) 00 00 00 0A 01 00 83 00 02 02 : Start=<time> / End=<time>",
            trace_of(kWriteLine).back());
}

}  // namespace
}  // namespace d4_test
