// What an earlier conversation left in the port is thrown away when a link is opened.

#include <gmock/gmock.h>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using ::testing::ElementsAre;

class LinkDummyRead : public EngineTest {
 protected:
  // How many bytes each read brought that went before the entry string.
  static std::vector<std::uint32_t> reads_before_entry(const ScriptedPort& port) {
    std::vector<std::uint32_t> moved;
    const std::uint64_t entry = port.writes().front().order;
    for (const Transfer& read : port.reads()) {
      if (read.order > entry) break;
      EXPECT_EQ(1024u, read.asked);
      moved.push_back(read.moved);
    }
    return moved;
  }

  static std::vector<std::uint32_t> reads_of(const Bytes& left_over,
                                             const std::function<void(ScriptedPort&)>& arrange) {
    std::vector<std::uint32_t> moved;
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      if (!left_over.empty()) port.say(left_over);
      arrange(port);
      port.expect(entry_string()).answer(entry_reply());
      port.expect(init()).answer(init_reply());
      const Opened opened = open_link(port);
      EXPECT_EQ(0, opened.result);
      moved = reads_before_entry(port);
      if (opened.link != nullptr) closed_link(port, opened.link);
    });
    return moved;
  }
  static std::vector<std::uint32_t> reads_of(const Bytes& left_over) {
    return reads_of(left_over, [](ScriptedPort&) {});
  }
};

TEST_F(LinkDummyRead, IsOneEmptyReadOnAQuietPort) { EXPECT_THAT(reads_of({}), ElementsAre(0)); }

TEST_F(LinkDummyRead, EndsWithTheFirstReadThatIsNotFull) {
  EXPECT_THAT(reads_of(filled(1)), ElementsAre(1));
  EXPECT_THAT(reads_of(filled(1023)), ElementsAre(1023));
  EXPECT_THAT(reads_of(filled(1024)), ElementsAre(1024, 0));
  EXPECT_THAT(reads_of(filled(1025)), ElementsAre(1024, 1));
  EXPECT_THAT(reads_of(filled(3 * 1024)), ElementsAre(1024, 1024, 1024, 0));
}

TEST_F(LinkDummyRead, EndsWithAReadThatFails) {
  EXPECT_THAT(reads_of({}, [](ScriptedPort& port) { port.fail_read(1); }), ElementsAre(0));
  const auto full_but_failed = [](ScriptedPort& port) { port.fail_read(2, {.bytes = 1024}); };
  EXPECT_THAT(reads_of(filled(2048), full_but_failed), ElementsAre(1024, 1024));
}

TEST_F(LinkDummyRead, PacketsOfTheFormerConversationAreNotHeard) {
  const Bytes former = joined({entry_reply(1), init_reply(2), error_packet(0x80)});
  EXPECT_THAT(reads_of(former), ElementsAre(former.size()));
}

TEST_F(LinkDummyRead, IsLeftOutIfThePortSaysSo) {
  for (const std::uint32_t skip : {1u, 2u, 0xFFFF'FFFFu}) {
    const auto skips = [skip](ScriptedPort& port) { port.ops()->skipDummyRead = skip; };
    EXPECT_THAT(reads_of({}, skips), ElementsAre());
  }
}

TEST_F(LinkDummyRead, HoldsThePortAndComesBeforeTheLinkIsOpen) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.reads_wait(70);
    port.opens();
    auto opening = transact("opening", [&] { return static_cast<Called>(open_link(port)); });
    test::sleep_ms(35);
    EXPECT_TRUE(port.read_is_inside());
    EXPECT_EQ(vlp::kLinkFree, record(0).state.load());
    // The port's, and the link's own for who is inside.
    EXPECT_EQ(2u, platform::locks_held_by(opening.thread()).size());
    EXPECT_EQ(0u, port.write_count());
    EXPECT_EQ(0, opening.get().result);
    EXPECT_EQ(70u, port.writes().front().began_ms);
    closed_link(port, &record(0));
  });
}

TEST_F(LinkDummyRead, EachReadIsTraced) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine(&log());
    port.say(joined({filled(1024), hex("00 00 00 08 01 00 C5 00")}));
    vlp::XdltLink* const link = opened_link(port);
    closed_link(port, link);
  });
  EXPECT_THAT(
      trace_of("  *Dummy Read*"),
      ElementsAre(
          "  *Dummy Read*  Size=1024(1024) 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ",
          "  *Dummy Read*  Size=1024(0008) 00 00 00 08 01 00 C5 00 "));
}

TEST_F(LinkDummyRead, EmptyOneIsTracedWithABlank) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine(&log());
    vlp::XdltLink* const link = opened_link(port);
    closed_link(port, link);
  });
  EXPECT_THAT(trace_of("  *Dummy Read*"), ElementsAre("  *Dummy Read*  Size=1024(0000)  "));
}

// A port that claims more than it was asked for must not be believed.
TEST_F(LinkDummyRead, CountBeyondTheBufferIsTracedButNotFollowed) {
  static unsigned reads;
  reads = 0;
  run_virtual_parallel([&] {
    Engine engine(&log());
    vlp::XdltPortOps liar;
    liar.keepPriority = 1;
    liar.write = [](vlp::XdltPortHandle, const std::uint8_t*, std::uint32_t, std::uint32_t*) {
      return std::uint32_t{0};
    };
    liar.read = [](vlp::XdltPortHandle, std::uint8_t* buffer, std::uint32_t capacity,
                   std::uint32_t* got) {
      std::fill_n(buffer, capacity, std::uint8_t{0x5A});
      *got = ++reads < 3 ? 0xFFFF'FFFFu : 0;
      return std::uint32_t{1};
    };
    vlp::XdltLink* link = nullptr;
    EXPECT_EQ(vlp::XDLT_ERR_ENTRY_WRITE, vlp::XDLT_Open(77, &liar, &link));
    EXPECT_EQ(3u, reads);
  });
  const std::vector<std::string> lines = trace_of("  *Dummy Read*");
  ASSERT_EQ(3u, lines.size());
  EXPECT_THAT(lines[0], ::testing::EndsWith(" 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A 5A "));
}

}  // namespace
}  // namespace d4_test
