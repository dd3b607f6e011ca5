// The two counts of a channel by themselves, at the edges of their ranges.

#include <gtest/gtest.h>

#include <limits>

#include "d4/credit.h"
#include "d4/xdlt_codes.h"

namespace d4_test {
namespace {

using vlp::XdltChannel;

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

TEST(SendCredit, GrowsUpToTheLargestSixteenBitNumber) {
  XdltChannel channel;
  EXPECT_EQ(0, vlp::AddSendCredit(channel, 0xFFFE));
  EXPECT_EQ(0, vlp::AddSendCredit(channel, 1));
  EXPECT_EQ(0xFFFF, channel.sendCredit.load());
  EXPECT_EQ(0, vlp::AddSendCredit(channel, 0));
  EXPECT_EQ(0xFFFF, channel.sendCredit.load());
}

TEST(SendCredit, ASumBeyondThatIsRefusedAndNothingAdded) {
  for (const std::int32_t held : {1, 2, 0x8000, 0xFFFE, 0xFFFF}) {
    XdltChannel channel;
    channel.sendCredit.store(held);
    const auto missing = static_cast<std::uint32_t>(0x10000 - held);
    EXPECT_EQ(-29, vlp::AddSendCredit(channel, missing)) << held;
    EXPECT_EQ(held, channel.sendCredit.load());
    EXPECT_EQ(-29, vlp::AddSendCredit(channel, 0xFFFFFFFF)) << held;
    EXPECT_EQ(held, channel.sendCredit.load());
    EXPECT_EQ(0, vlp::AddSendCredit(channel, missing - 1)) << held;
    EXPECT_EQ(0xFFFF, channel.sendCredit.load());
  }
}

TEST(GrantedCredit, GrowsWithoutACeilingOfTheWire) {
  XdltChannel channel;
  vlp::AddGrantedCredit(channel, 0xFFFF);
  vlp::AddGrantedCredit(channel, 1);
  EXPECT_EQ(0x10000, channel.grantedCredit.load());
}

TEST(GrantedCredit, StaysAtTheLargestNumber) {
  XdltChannel channel;
  channel.grantedCredit.store(kMost - 0xFFFF);
  vlp::AddGrantedCredit(channel, 0xFFFE);
  EXPECT_EQ(kMost - 1, channel.grantedCredit.load());
  vlp::AddGrantedCredit(channel, 1);
  EXPECT_EQ(kMost, channel.grantedCredit.load());
  vlp::AddGrantedCredit(channel, 1);
  vlp::AddGrantedCredit(channel, 0xFFFF);
  vlp::AddGrantedCredit(channel, 0xFFFFFFFF);
  EXPECT_EQ(kMost, channel.grantedCredit.load());
}

TEST(GrantedCredit, AllRequestsThatItTakesToGetThereAreAdded) {
  XdltChannel channel;
  for (std::int32_t request = 1; request <= 32768; ++request) {
    vlp::AddGrantedCredit(channel, 0xFFFF);
    ASSERT_EQ(request * 0xFFFF, channel.grantedCredit.load());
  }
  vlp::AddGrantedCredit(channel, 0xFFFF);
  EXPECT_EQ(kMost, channel.grantedCredit.load());
}

struct Room {
  std::uint32_t buffer;
  std::uint32_t head;
  std::uint32_t tail;
  std::uint16_t packet;
  std::uint16_t expected;
};

void set(XdltChannel& channel, const Room& room) {
  channel.rxSize = room.buffer;
  channel.rxHead.store(room.head);
  channel.rxTail.store(room.tail);
  channel.readPacketSize = room.packet;
}

TEST(RoomForPackets, IsCountedInWholePayloads) {
  const Room rooms[] = {
      {0x20000, 0, 0, 518, 256},
      {0x20000, 0, 1, 518, 255},
      {0x20000, 100, 101, 518, 255},
      {0x20000, 100, 100, 518, 256},
      {0x20000, 0, 0x20000, 518, 0},
      {0x20000, 0, 0x20000 - 511, 518, 0},
      {0x20000, 0, 0x20000 - 512, 518, 1},
      {0x20000, 0, 0, 65535, 2},
      {0x10000, 0, 0, 65535, 1},
      {0x8000, 0, 0, 65535, 0},
      {4048, 0, 0, 512, 8},
      {65535, 0, 0, 65535, 1},
      {65535, 0, 6, 65535, 1},
      {65535, 0, 7, 65535, 0},
  };
  for (const Room& room : rooms) {
    XdltChannel channel;
    set(channel, room);
    EXPECT_EQ(room.expected, vlp::RoomInPackets(channel))
        << room.buffer << ", " << room.head << " to " << room.tail << ", " << room.packet;
  }
}

TEST(RoomForPackets, OnlySixteenBitsOfTheNumberCount) {
  const Room rooms[] = {
      {0x20000, 0, 0, 7, 0},                              // 131072
      {0x20000, 0, 1, 7, 0xFFFF}, {0x20000, 0, 0, 8, 0},  // 65536
      {0x20000, 0, 2, 8, 0xFFFF}, {0x20000, 0, 0, 9, 43690},
      {0x10000, 0, 0, 7, 0},      {0x10000, 0, 0, 8, 0x8000},
  };
  for (const Room& room : rooms) {
    XdltChannel channel;
    set(channel, room);
    EXPECT_EQ(room.expected, vlp::RoomInPackets(channel)) << room.buffer << ", " << room.packet;
  }
}

TEST(RoomForPackets, APacketThatCarriesNothingHasNone) {
  for (const std::uint16_t packet : std::initializer_list<std::uint16_t>{0, 1, 5, 6}) {
    XdltChannel channel;
    set(channel, {0x20000, 0, 0, packet, 0});
    EXPECT_EQ(0, vlp::RoomInPackets(channel)) << packet;
  }
}

struct Piggyback {
  std::uint8_t socket;
  std::uint32_t room;
  std::int32_t given;
  std::uint8_t expected;
};

TEST(PiggybackedCredit, IsWhatIsMissingToTheRoomOnThePrintSocketAlone) {
  const Piggyback cases[] = {
      {0x50, 1, 0, 1},     {0x50, 255, 0, 255},  {0x50, 255, 254, 1}, {0x50, 255, 255, 0},
      {0x50, 255, 256, 0}, {0x50, 128, 28, 100}, {0x50, 256, 0, 0},   {0x50, 256, 200, 0},
      {0x50, 257, 2, 0},   {0x50, 65535, 0, 0},  {0x50, 0, 0, 0},     {0x50, 5, kMost, 0},
      {0x02, 128, 0, 0},   {0x21, 128, 0, 0},    {0x40, 128, 0, 0},   {0x51, 128, 0, 0},
  };
  for (const Piggyback& one : cases) {
    XdltChannel channel;
    channel.socket = one.socket;
    set(channel, {one.room * 100, 0, 0, 106, 0});
    channel.grantedCredit.store(one.given);
    ASSERT_EQ(one.room, vlp::RoomInPackets(channel));
    EXPECT_EQ(one.expected, vlp::PiggybackedCredit(channel))
        << "room " << one.room << ", given " << one.given;
  }
}

}  // namespace
}  // namespace d4_test
