// Credit that the print socket's data packets give along.

#include <gmock/gmock.h>

#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

// The read size that makes the print socket's buffer of 131072 bytes so many packets, or the
// nearest number above.
constexpr std::uint16_t read_size_for(std::uint32_t packets) {
  return static_cast<std::uint16_t>(0x20000 / packets + 6);
}

// One packet with the end of a message.
Bytes packet_with(std::uint8_t credit_byte, std::uint8_t socket = 0x50) {
  return data(socket, text("abc"), {.credit = credit_byte});
}

std::int32_t write_one(OpenLink& up, std::uint8_t socket = 0x50) {
  return write(up.link, socket, text("abc")).result;
}

TEST(Piggyback, TheFirstPacketGivesAllTheRoomAndTheNextNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50, {.read_size = read_size_for(128), .credit = 9});
    up.port.expect(packet_with(128));
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(128, up.given(0x50));
    up.port.expect(packet_with(0));
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(128, up.given(0x50));
  });
}

TEST(Piggyback, GoesUpToTwoHundredFiftyFiveAndNoFurther) {
  struct Case {
    std::uint16_t read_size;
    std::uint8_t credit;
  };
  // 131072 bytes in payloads of 65529, 515, 514, 512, 511, 2 and 1.
  for (const Case& one : {Case{65535, 2}, Case{521, 254}, Case{520, 255}, Case{518, 0},
                          Case{517, 0}, Case{8, 0}, Case{7, 0}}) {
    run_virtual_parallel([&one] {
      OpenLink up;
      up.channel(0x50, {.read_size = one.read_size});
      up.port.expect(packet_with(one.credit));
      EXPECT_EQ(3, write_one(up)) << one.read_size;
      EXPECT_EQ(one.credit, up.given(0x50));
    });
  }
}

TEST(Piggyback, IsOnThePrintSocketAlone) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t socket : Bytes{0x02, 0x40, 0x51, 0x05, 0xFE}) {
      up.channel(socket, {.write_size = 512, .read_size = 512});
      up.port.expect(packet_with(0, socket));
      EXPECT_EQ(3, write_one(up, socket));
      EXPECT_EQ(0, up.given(socket));
    }
    for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
      up.channel(socket, {.read_size = 2000});
      up.port.expect(data(socket, text("ab"), {.credit = 0, .control = 1}));
      EXPECT_EQ(3, write(up.link, socket, hex("61 62 01")).result);
      EXPECT_EQ(0, up.given(socket));
    }
  });
}

TEST(Piggyback, GivesBackWhatThePacketsOfTheDeviceUsedUp) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50, {.read_size = read_size_for(16), .credit = 9});
    up.port.expect(packet_with(16)).answer(data(0x50, filled(8192))).answer(data(0x50, filled(1)));
    EXPECT_EQ(3, write_one(up));
    for (int i = 0; i < 2; ++i) EXPECT_LT(0, size_query(up.link, 0x50).result);
    test::settle();
    ASSERT_EQ(8193u, up.record(0x50)->rxTail.load());
    EXPECT_EQ(14, up.given(0x50));
    // Room for 14 only until they are fetched.
    up.port.expect(packet_with(0));
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(8193, fetch(up.link, 0x50, 9000).result);
    up.port.expect(packet_with(2));
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(16, up.given(0x50));
  });
}

TEST(Piggyback, CountsWhatWasGivenOtherwise) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50, {.read_size = read_size_for(16), .credit = 9}).credit_given(0x50);
    up.port.expect(packet_with(15));
    EXPECT_EQ(3, write_one(up));
    up.port.expect(credit_request_reply(0x50, 100));
    up.port.say(credit_request(0x50, 100));
    EXPECT_EQ(0, size_query(up.link, 0x50).result);
    EXPECT_EQ(116, up.given(0x50));
    up.port.expect(packet_with(0));
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(116, up.given(0x50));
  });
}

TEST(Piggyback, OfAPacketThatDidNotGoOutIsNotGiven) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50, {.read_size = read_size_for(16), .credit = 9});
    up.port.expect(packet_with(16)).fails();
    EXPECT_EQ(-31, write_one(up));
    EXPECT_EQ(0, up.given(0x50));
    up.port.expect(packet_with(16)).is_short_by(1);
    EXPECT_EQ(-61, write_one(up));
    EXPECT_EQ(0, up.given(0x50));
    up.port.expect(packet_with(16));
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(16, up.given(0x50));
    EXPECT_EQ(8, up.held(0x50));
  });
}

TEST(Piggyback, IsInTheFirstPacketOfAMessage) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50, {.write_size = 8, .read_size = read_size_for(16), .credit = 9});
    up.port.expect(data(0x50, text("ab"), {.credit = 16, .control = 0}));
    up.port.expect(data(0x50, text("cd"), {.credit = 0, .control = 0}));
    up.port.expect(data(0x50, text("e"), {.credit = 0, .control = 1}));
    EXPECT_EQ(5, write(up.link, 0x50, text("abcde")).result);
    EXPECT_EQ(16, up.given(0x50));
  });
}

TEST(Piggyback, SparesTheSizeQueryItsCredit) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x50, {.read_size = read_size_for(16), .credit = 9});
    up.port.expect(packet_with(16));
    EXPECT_EQ(3, write_one(up));
    const std::size_t writes = up.port.write_count();
    EXPECT_EQ(0, size_query(up.link, 0x50).result);
    EXPECT_EQ(writes, up.port.write_count());
  });
}

TEST(Piggyback, IsThereForDataThatFollowsAtOnce) {
  run_virtual_schedules(100, [] {
    OpenLink up;
    up.channel(0x50, {.read_size = read_size_for(16), .credit = 9});
    up.port.expect(packet_with(16)).answer(data(0x50, text("xyz")));
    // The read thread may be in a pass of its own.
    SetEvent(up.link->wakeEvent.Get());
    EXPECT_EQ(3, write_one(up));
    EXPECT_EQ(3, size_query(up.link, 0x50).result);
    EXPECT_EQ(15, up.given(0x50));
  });
}

}  // namespace
}  // namespace d4_test
