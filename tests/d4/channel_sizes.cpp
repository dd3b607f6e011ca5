// What the engine offers for a channel, what is agreed on, and the memory that follows.

#include <gmock/gmock.h>

#include <malloc.h>

#include "platform/faults.h"
#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;

// Allocators round up a little.
void expect_size(std::size_t expected, const vlp::VirtualMemory& memory) {
  const std::size_t size = malloc_usable_size(memory.Get());
  EXPECT_GE(size, expected);
  EXPECT_LT(size, expected + 64);
}

TEST(ChannelSizes, AreOfferedBySocket) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(hex("00 00 00 11 01 00 01 40 40 10 06 02 00 00 00 00 00"))
        .answer(open_channel_reply(0x40, 4102, 512, 1));
    EXPECT_EQ(0, open_channel_on(up.link, 0x40).result);
    for (const std::uint8_t socket : Bytes{0x50, 0x02, 0x21, 0x22, 0x01, 0x03, 0x41, 0xFE}) {
      up.port
          .expect(joined(
              {hex("00 00 00 11 01 00 01"), Bytes{socket, socket}, hex("FF FF FF FF 00 00 00 00")}))
          .answer(open_channel_reply(socket, 512, 512, 1));
      EXPECT_EQ(0, open_channel_on(up.link, socket).result) << int{socket};
    }
  });
}

TEST(ChannelSizes, EverySocketButTheFirstAndTheLastCanBeOpened) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t socket : every_byte()) {
      if (socket != 0 && socket != 255) opened_channel(up.port, up.link, socket);
    }
    const std::size_t before = up.port.call_count();
    for (const std::uint8_t socket : every_byte()) {
      const bool valid = socket != 0 && socket != 255;
      EXPECT_EQ(valid ? -25 : -20, open_channel_on(up.link, socket).result) << int{socket};
      EXPECT_EQ(valid ? 512 : 0, packet_sizes(up.link, socket).writePacketSize);
    }
    EXPECT_EQ(before, up.port.call_count());
  });
}

TEST(ChannelSizes, OfTheControlSocketFollowItsSetting) {
  struct Case {
    std::uint32_t setting;
    std::uint16_t offered;
  };
  const Case cases[] = {{0, 4102},      {1, 0},         {5, 0},
                        {6, 6},         {7, 7},         {512, 512},
                        {65535, 65535}, {65536, 65535}, {0xFFFFFFFF, 65535}};
  run_virtual_parallel([&] {
    OpenLink up;
    for (const Case& one : cases) {
      up.link->controlWriteSize = one.setting;
      up.port.expect(open_channel(0x40, one.offered, 512))
          .answer(open_channel_reply(0x40, 65535, 65535, 1));
      EXPECT_EQ(0, open_channel_on(up.link, 0x40).result) << one.setting;
      EXPECT_EQ(one.offered, packet_sizes(up.link, 0x40).writePacketSize);
      EXPECT_EQ(512, packet_sizes(up.link, 0x40).readPacketSize);
      closed_channel(up.port, up.link, 0x40);
    }
  });
}

TEST(ChannelSizes, AreLoweredByTheReplyButNeverRaised) {
  struct Case {
    std::uint16_t write;
    std::uint16_t read;
    std::uint16_t write_agreed;
    std::uint16_t read_agreed;
  };
  const Case cases[] = {{4101, 511, 4101, 511},
                        {4102, 512, 4102, 512},
                        {4103, 513, 4102, 512},
                        {65535, 65535, 4102, 512},
                        {100, 65535, 100, 512}};
  run_virtual_parallel([&] {
    OpenLink up;
    for (const Case& one : cases) {
      for (const std::uint8_t result : Bytes{0, 6}) {
        up.port.expect(open_channel(0x40, 4102, 512))
            .answer(open_channel_reply(0x40, one.write, one.read, 1, result));
        EXPECT_EQ(0, open_channel_on(up.link, 0x40).result);
        EXPECT_EQ(one.write_agreed, packet_sizes(up.link, 0x40).writePacketSize);
        EXPECT_EQ(one.read_agreed, packet_sizes(up.link, 0x40).readPacketSize);
        EXPECT_EQ(one.write_agreed, up.record(0x40)->maxWritePacket);
        closed_channel(up.port, up.link, 0x40);
      }
    }
  });
}

TEST(ChannelSizes, MustCarryDataOrBeNothingOneWay) {
  struct Case {
    std::uint16_t write;
    std::uint16_t read;
    std::int32_t result;
  };
  std::vector<Case> cases = {{0, 0, -28}, {0, 6, 0},   {6, 0, 0},
                             {6, 6, 0},   {0, 512, 0}, {512, 0, 0}};
  for (std::uint16_t small = 1; small <= 5; ++small) {
    for (const std::uint16_t other : std::initializer_list<std::uint16_t>{0, 3, 6, 512}) {
      cases.push_back({small, other, -28});
      cases.push_back({other, small, -28});
    }
  }
  run_virtual_parallel([&] {
    OpenLink up;
    for (const Case& one : cases) {
      up.port.expect(open_channel(0x02, 65535, 65535))
          .answer(open_channel_reply(0x02, one.write, one.read, 1));
      EXPECT_EQ(one.result, open_channel_on(up.link, 0x02).result) << one.write << ", " << one.read;
      EXPECT_EQ(one.result == 0 ? one.write : 0, packet_sizes(up.link, 0x02).writePacketSize);
      EXPECT_EQ(one.result == 0 ? one.read : 0, packet_sizes(up.link, 0x02).readPacketSize);
      // A refused one isn't closed at the device either: the next write is the next opening.
      if (one.result == 0) closed_channel(up.port, up.link, 0x02);
    }
    EXPECT_EQ(1u, up.link->state.load());
  });
}

TEST(ChannelSizes, OfNothingOneWayLeaveThatWayWithoutUse) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.write_size = 0}).channel(0x50, {.read_size = 0});
    EXPECT_FALSE(up.record(0x02)->writeBuffer);
    EXPECT_EQ(-33, write(up.link, 0x02, text("abc")).result);
    up.credit_given(0x02);
    EXPECT_EQ(-33, size_query(up.link, 0x50).result);
    up.port.expect(data(0x50, text("abc")));
    EXPECT_EQ(3, write(up.link, 0x50, text("abc")).result);
  });
}

TEST(ChannelSizes, ThatHoldNoPayloadOpenButMoveNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t socket : Bytes{0x02, 0x50, 0x21, 0x40, 0x77}) {
      up.channel(socket, {.write_size = 6, .read_size = 6});
      const std::size_t writes = up.port.write_count();
      const Called query = size_query(up.link, socket);
      EXPECT_EQ(0, query.result) << "no credit is given for no room";
      EXPECT_EQ(-33, write(up.link, socket, text("abc")).result);
      EXPECT_EQ(writes, up.port.write_count());
      EXPECT_EQ(0, up.given(socket));
    }
  });
}

TEST(ChannelMemory, OfReceivingFollowsTheSocket) {
  struct Case {
    std::uint8_t socket;
    std::uint32_t size;
  };
  run_virtual_parallel([] {
    OpenLink up;
    for (const Case& one :
         {Case{0x40, 4048}, Case{0x50, 0x20000}, Case{0x02, 0x20000}, Case{0x21, 0x20000},
          Case{0x22, 0x20000}, Case{0x01, 65535}, Case{0xFE, 65535}}) {
      // By what was offered, whatever is agreed on.
      up.channel(one.socket, {.read_size = 20});
      EXPECT_EQ(one.size, up.record(one.socket)->rxSize) << int{one.socket};
      expect_size(one.size, up.record(one.socket)->rxBuffer);
    }
  });
}

TEST(ChannelMemory, OfSendingHoldsAtLeastAUsualPacket) {
  struct Case {
    std::uint16_t agreed;
    std::size_t size;
  };
  run_virtual_parallel([] {
    OpenLink up;
    for (const Case& one :
         {Case{6, 4102}, Case{100, 4102}, Case{4102, 4102}, Case{4103, 4103}, Case{65535, 65535}}) {
      up.channel(0x02, {.write_size = one.agreed});
      expect_size(one.size, up.record(0x02)->writeBuffer);
      closed_channel(up.port, up.link, 0x02);
    }
  });
}

TEST(ChannelMemory, TheLargestPacketFitsTheSmallestBuffers) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x77, {.write_size = 65535, .read_size = 65535}).credit_given(0x77);
    up.port.expect(data(0x77, filled(65529)));
    EXPECT_EQ(65529, write(up.link, 0x77, filled(65529)).result);
    up.port.say(data(0x77, filled(65529, 7)));
    EXPECT_EQ(65529, size_query(up.link, 0x77).result);
    EXPECT_EQ(filled(65529, 7), fetch(up.link, 0x77, 65529).bytes);
  });
}

// --- When there is none ---

class ChannelShortage : public ::testing::Test {
 protected:
  ~ChannelShortage() override { platform::clear_faults(); }
};

constexpr char kVirtualAlloc[] = "VirtualAlloc";

void fail_first(unsigned count) {
  platform::clear_faults();
  for (unsigned nth = 1; nth <= count; ++nth) {
    platform::fail_call(kVirtualAlloc, nth, ERROR_NOT_ENOUGH_MEMORY);
  }
}

TEST_F(ChannelShortage, HalvesALargeSocketsBufferTwice) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t socket : Bytes{0x50, 0x02, 0x21, 0x22}) {
      std::uint32_t size = 0x20000;
      for (const unsigned failing : {0u, 1u, 2u}) {
        fail_first(failing);
        opened_channel(up.port, up.link, socket);
        EXPECT_EQ(failing, platform::faults_met());
        EXPECT_EQ(size, up.record(socket)->rxSize) << int{socket};
        expect_size(size, up.record(socket)->rxBuffer);
        closed_channel(up.port, up.link, socket);
        size /= 2;
      }
    }
  });
}

TEST_F(ChannelShortage, OfAllThreeRefusesALargeSocketUnasked) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t socket : Bytes{0x50, 0x02, 0x21, 0x22}) {
      const std::size_t before = up.port.call_count();
      fail_first(3);
      EXPECT_EQ(-21, open_channel_on(up.link, socket).result);
      EXPECT_EQ(3u, platform::faults_met());
      EXPECT_EQ(before, up.port.call_count());
      platform::clear_faults();
      up.channel(socket);
    }
  });
}

TEST_F(ChannelShortage, OfOneRefusesAnyOtherSocket) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t socket : Bytes{0x40, 0x01, 0x51, 0xFE}) {
      const std::size_t before = up.port.call_count();
      fail_first(1);
      EXPECT_EQ(-21, open_channel_on(up.link, socket).result);
      EXPECT_EQ(1u, platform::faults_met());
      EXPECT_EQ(before, up.port.call_count());
      platform::clear_faults();
      up.channel(socket);
    }
  });
}

TEST_F(ChannelShortage, BehindTheDevicesConsentDropsTheChannelHere) {
  for (const char* const call : {kVirtualAlloc, "CreateEventA"}) {
    run_virtual_parallel([call] {
      OpenLink up;
      up.port.expect(open_channel(0x02, 65535, 65535))
          .answer(open_channel_reply(0x02, 512, 512, 1));
      platform::clear_faults();
      // The first memory is the receive buffer's.
      platform::fail_call(call, call == kVirtualAlloc ? 2 : 1, ERROR_NOT_ENOUGH_MEMORY);
      EXPECT_EQ(-21, open_channel_on(up.link, 0x02).result) << call;
      EXPECT_EQ(1u, platform::faults_met()) << call;
      platform::clear_faults();
      EXPECT_EQ(nullptr, up.record(0x02));
      EXPECT_EQ(1u, up.link->state.load());
      up.channel(0x02);
    });
  }
}

TEST_F(ChannelShortage, OfARecordRefusesTheChannel) {
  run_virtual_parallel([] {
    OpenLink up;
    platform::fail_call("GlobalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(-21, open_channel_on(up.link, 0x02).result);
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    EXPECT_EQ(nullptr, up.record(0x02));
    up.channel(0x02);
  });
}

TEST_F(ChannelShortage, LeavesNothingBehindWhereverItStrikes) {
  unsigned failed = 0;
  for (unsigned nth = 1; nth <= 60; ++nth) {
    run_virtual_parallel([&] {
      OpenLink up;
      up.channel(0x40);
      up.port.expect(open_channel(0x02, 65535, 65535))
          .answer(open_channel_reply(0x02, 512, 512, 1));
      up.port.ignores_the_rest();
      std::int32_t result = 0;
      {
        const platform::UnderTest under_test;
        platform::clear_faults();
        platform::fail_nth_call(nth, ERROR_NOT_ENOUGH_MEMORY);
        result = open_channel_on(up.link, 0x02).result;
      }
      if (platform::faults_met() != 0) ++failed;
      platform::clear_faults();
      EXPECT_TRUE(result == 0 || result < -19) << nth << ": " << result;
      EXPECT_EQ(result == 0, up.link->portHandle.load() != 0 && up.record(0x02) != nullptr) << nth;
      if (up.port.steps_left() != 0) up.port.forgive();
    });
  }
  EXPECT_GT(failed, 5u);
}

}  // namespace
}  // namespace d4_test
