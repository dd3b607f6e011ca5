// How the port is read: heads, bodies, bytes that are carried over, and the port's lock.

#include <gmock/gmock.h>

#include "d4/port_read.h"
#include "d4/read_thread.h"
#include "platform/kernel/scenario.h"
#include "tests/d4/bare_link.h"
#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Got {
  std::int32_t result = 0;
  Bytes bytes;
  std::uint64_t ms = 0;
};

template <typename Read>
Got got_by(Read read, BareLink& bare, std::uint32_t count) {
  const std::uint64_t began = elapsed_ms();
  Got got;
  std::uint32_t total = 0;
  got.bytes.resize(count);
  got.result = read(bare.link, got.bytes.data(), count, &total);
  EXPECT_LE(total, count);
  got.bytes.resize(std::min(total, count));
  got.ms = elapsed_ms() - began;
  return got;
}
Got head(BareLink& bare, std::uint32_t count) { return got_by(vlp::XdltReadHead, bare, count); }
Got body(BareLink& bare, std::uint32_t count) { return got_by(vlp::XdltReadBody, bare, count); }

// --- Heads -----------------------------------------------------------------------------------

TEST(ReadThreadPort, HeadStopsAtTheFirstReadThatBringsNothing) {
  run_virtual_parallel([] {
    BareLink bare;
    EXPECT_EQ(0, head(bare, 6).result);
    EXPECT_EQ(1u, bare.port.read_count());
    bare.port.say(text("abcde"), at_once(), {1, 2, 0});
    const Got first = head(bare, 6);
    EXPECT_EQ(3, first.result);
    EXPECT_EQ(text("abc"), first.bytes);
    EXPECT_EQ(4u, bare.port.read_count());
    bare.port.say(text("fghijk"));
    const Got second = head(bare, 6);
    EXPECT_EQ(6, second.result);
    EXPECT_EQ(text("defghi"), second.bytes);
    EXPECT_EQ(2u, bare.port.unread());
    EXPECT_EQ(4u, bare.port.reads().back().asked);  // what was still missing
  });
}

TEST(ReadThreadPort, HeadWhoseLastReadFailedIsAFailureWithItsBytes) {
  run_virtual_parallel([] {
    BareLink bare;
    bare.port.fail_read(1);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_READ, head(bare, 6).result);
    bare.port.say(text("abc"));
    bare.port.fail_read(2);
    const Got part = head(bare, 6);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_READ, part.result);
    EXPECT_EQ(text("abc"), part.bytes);
    // Bytes of a failed read count, and a later good one makes up for it.
    bare.port.say(text("abcdef"));
    bare.port.fail_read(1, {.bytes = 2});
    EXPECT_EQ(6, head(bare, 6).result);
    bare.port.say(text("abcdef"));
    bare.port.fail_read(1, {.bytes = 6});
    const Got whole = head(bare, 6);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_READ, whole.result);
    EXPECT_EQ(text("abcdef"), whole.bytes);
  });
}

TEST(ReadThreadPort, NothingIsReadForALinkThatIsDownOrNone) {
  run_virtual_parallel([] {
    BareLink bare;
    for (const std::uint32_t state : {vlp::kLinkFree, vlp::kLinkClosed, vlp::kLinkLost}) {
      bare.link.state.store(state);
      EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, head(bare, 6).result);
      EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, body(bare, 6).result);
    }
    bare.link.portHandle.store(0);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, head(bare, 6).result);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, body(bare, 6).result);
    EXPECT_EQ(0u, bare.port.read_count());
  });
}

// --- Bodies ----------------------------------------------------------------------------------

TEST(ReadThreadPort, BodyGoesOnOverEmptyAndFailedReads) {
  run_virtual_parallel([] {
    BareLink bare;
    bare.port.say(text("abc"), at_once(), {0, 1, 0, 1, 0});
    bare.port.say(text("def"), after_ms(500));
    bare.port.say(text("later"), after_ms(500));
    bare.port.fail_read(3);
    const Got got = body(bare, 6);
    EXPECT_EQ(6, got.result);
    EXPECT_EQ(text("abcdef"), got.bytes);
    EXPECT_EQ(500u, got.ms);
    EXPECT_EQ(5u, bare.port.unread());  // exactly what was asked for
  });
}

TEST(ReadThreadPort, BodyEndsAfterElevenSeconds) {
  for (const std::uint64_t late : {10'999u, 11'001u}) {
    run_virtual_parallel([&] {
      BareLink bare;
      bare.port.say(text("abc"));
      bare.port.say(text("def"), after_ms(late));
      const Got got = body(bare, 6);
      EXPECT_EQ(late < 11'000 ? text("abcdef") : text("abc"), got.bytes);
      EXPECT_EQ(late < 11'000 ? 6 : 3, got.result);
      EXPECT_EQ(late < 11'000 ? late : 11'000, got.ms);
    });
  }
}

TEST(ReadThreadPort, BodyMeasuresItsTimeAcrossTheClocksWrap) {
  run_virtual_parallel(
      [] {
        BareLink bare;
        const Got got = body(bare, 6);
        EXPECT_EQ(0, got.result);
        EXPECT_EQ(11'000u, got.ms);
      },
      {.tick_start_ms = 0xFFFFFFFF - 5'000});
}

TEST(ReadThreadPort, BodyOfAFailingPortEndsAfterElevenSecondsWithoutASpin) {
  run_virtual_parallel([] {
    BareLink bare;
    bare.port.fail_reads_from(1);
    const Got got = body(bare, 6);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_READ, got.result);
    EXPECT_EQ(11'000u, got.ms);
    EXPECT_EQ(11'001u, bare.port.read_count());
    EXPECT_EQ(1u, bare.port.reads_between(1'000, 1'001));
  });
}

TEST(ReadThreadPort, BodyEndsWithTheLink) {
  run_virtual_parallel([] {
    BareLink bare;
    bare.port.say(text("abc"));
    auto closer = test::spawn("closer", [&] {
      test::sleep_ms(700);
      bare.link.state.store(vlp::kLinkClosed);
    });
    const Got got = body(bare, 6);
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, got.result);
    EXPECT_GE(701u, got.ms);
    closer.join();
  });
}

// --- What is carried over --------------------------------------------------------------------

TEST(ReadThreadPort, BytesThatWereReadAlreadyCostNoRead) {
  run_virtual_parallel([] {
    BareLink bare;
    vlp::PacketReader reader(bare.link);
    vlp::ReceivedPacket packet;
    bare.port.reads_span_answers(true);
    bare.port.say(data(0x02, text("a")));
    bare.port.say(control_packet(0x08, {}));
    bare.port.say(data(0x03, text("bc")));
    EXPECT_EQ(7, reader.Take(16, &packet));
    EXPECT_EQ(0x02, packet.header.primary);
    EXPECT_EQ('a', packet.payload.Get()[0]);
    EXPECT_EQ(1u, bare.port.read_count());
    // 9 bytes are left, of which 6 are wanted.
    EXPECT_EQ(7, reader.Take(6, &packet));
    EXPECT_EQ(0x08, packet.control.Command());
    EXPECT_EQ(1u, bare.port.read_count());
    // 2 are left: 4 are missing for the header, then the body.
    EXPECT_EQ(8, reader.Take(6, &packet));
    EXPECT_EQ(0x03, packet.header.primary);
    EXPECT_EQ('c', packet.payload.Get()[1]);
    std::vector<std::uint32_t> asked;
    for (const Transfer& read : bare.port.reads()) asked.push_back(read.asked);
    EXPECT_THAT(asked, ElementsAre(16, 4, 2));
    EXPECT_EQ(0, reader.Take(6, &packet));
  });
}

TEST(ReadThreadPort, JustAHeaderThatWasReadAlreadyCostsNoReadForIt) {
  run_virtual_parallel([] {
    BareLink bare;
    vlp::PacketReader reader(bare.link);
    vlp::ReceivedPacket packet;
    bare.port.reads_span_answers(true);
    bare.port.say(data(0x02, text("abcd")));
    bare.port.say(data(0x03, text("ef")));
    EXPECT_EQ(10, reader.Take(16, &packet));
    EXPECT_EQ(8, reader.Take(6, &packet));
    EXPECT_EQ('f', packet.payload.Get()[1]);
    std::vector<std::uint32_t> asked;
    for (const Transfer& read : bare.port.reads()) asked.push_back(read.asked);
    EXPECT_THAT(asked, ElementsAre(16, 2));
  });
}

TEST(ReadThreadPort, WholePacketIsTakenThoughMoreBytesWereHopedFor) {
  run_virtual_parallel([] {
    BareLink bare;
    vlp::PacketReader reader(bare.link);
    vlp::ReceivedPacket packet;
    bare.port.say(joined({data(0x02, text("a")), cut(data(0x02, text("b")), 6)}));
    EXPECT_EQ(7, reader.Take(16, &packet));
    bare.port.say(text("b"));
    bare.port.fail_read(2);  // what a later read of the fetch brings is all one
    EXPECT_EQ(7, reader.Take(16, &packet));
    EXPECT_EQ('b', packet.payload.Get()[0]);
  });
}

TEST(ReadThreadPort, LessThanAHeaderIsAShortRead) {
  run_virtual_parallel([] {
    for (std::size_t count = 1; count < 6; ++count) {
      BareLink bare;
      vlp::PacketReader reader(bare.link);
      vlp::ReceivedPacket packet;
      bare.port.say(cut(data(0x02, text("abc")), count));
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_READ, reader.Take(16, &packet));
    }
  });
}

// --- The port's lock -------------------------------------------------------------------------

// From a packet's first byte to its last no writer gets at the port.
TEST(ReadThreadPort, WriterWaitsUntilTheBodyIsThere) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 1});
    d.let_device_send(1);
    d.port.reads_wait(100'000);
    const Bytes packet = data(0x02, filled(100));
    d.port.say(cut(packet, 50), after_ms(10'000));
    d.port.say(Bytes(packet.begin() + 50, packet.end()), after_ms(20'000));
    EXPECT_EQ(0, d.query().result);
    const DWORD reader = d.port.reads().back().thread;
    EXPECT_THAT(platform::locks_held_by(reader), ::testing::SizeIs(1));
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(11'000u, elapsed_ms());
    const Called written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(9'000u, written.ms);
    settle();
    EXPECT_THAT(platform::locks_held_by(reader), IsEmpty());
    EXPECT_EQ(filled(100), d.fetch(200).bytes);
  });
}

TEST(ReadThreadPort, PayloadIsReadBehindItsHeader) {
  run_virtual_parallel([] {
    DataLink d;
    d.let_device_send(1);
    const std::size_t before = d.port.read_count();
    EXPECT_EQ(100, d.query_that_brings(data(0x02, filled(100))).result);
    settle();
    EXPECT_EQ(6u, d.port.reads()[before].asked);
    EXPECT_EQ(100u, d.port.reads()[before + 1].asked);
    EXPECT_EQ(before + 2, d.port.read_count());
    EXPECT_EQ(filled(100), d.fetch(200).bytes);
    d.close();
  });
}

class ReadThreadTrace : public EngineTest {};

TEST_F(ReadThreadTrace, TellsOfEachReadAndOfTheEnd) {
  run_virtual_parallel([&] {
    DataLink d(0x02, {}, &log());
    d.let_device_send(1);
    d.query_that_brings(data(0x02, filled(20, 1)));
    settle();
    d.close();
  });
  const std::string times = ": Start=<time> / End=<time>";
  EXPECT_THAT(trace_of("  *READ*  Size=0010(0010)").front(),
              "  *READ*  Size=0010(0010) 00 00 00 0A 01 00 83 00 02 02 \t" + times);
  EXPECT_THAT(trace_of("  *READ*  Size=0006(0006)"),
              ElementsAre("  *READ*  Size=0006(0006) 02 02 00 1A 00 01 \t" + times));
  EXPECT_THAT(trace_of("  *READ*  Size=0006(0000)").front(),
              "  *READ*  Size=0006(0000)    \t" + times);
  EXPECT_THAT(trace_of("  *READ2*"),
              ElementsAre("  *READ2*  Size=0020(0020) 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E "
                          "0F 10 " +
                          times));
  EXPECT_THAT(trace_of(" >>>>>>   Read Thread End"),
              ElementsAre(" >>>>>>   Read Thread End (ReadThread)"));
}

}  // namespace
}  // namespace d4_test
