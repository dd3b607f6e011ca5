// How a message is cut into packets and what stands in them.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

// The packets written since so many writes.
std::vector<Bytes> packets_since(const ScriptedPort& port, std::size_t writes) {
  std::vector<Bytes> packets;
  for (const Transfer& transfer : port.writes()) packets.push_back(transfer.bytes);
  packets.erase(packets.begin(), packets.begin() + static_cast<std::ptrdiff_t>(writes));
  return packets;
}

TEST(WritePackets, NothingToSendSendsNothing) {
  run_virtual_parallel([] {
    for (const std::uint8_t socket : Bytes{0x02, 0x40, 0x33, 0x21, 0x22}) {
      DataLink d(socket, {.credit = 0});
      const Called written = d.write({});
      EXPECT_EQ(0, written.result);
      EXPECT_EQ(0u, written.count);
      EXPECT_EQ(0u, written.ms);
      d.close();
    }
  });
}

TEST(WritePackets, FlagAloneSendsNothingAndCounts) {
  run_virtual_parallel([] {
    for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
      for (const std::uint8_t flag : Bytes{0, 1}) {
        DataLink d(socket, {.credit = 0});
        const Called written = d.write({flag});
        EXPECT_EQ(1, written.result);
        EXPECT_EQ(1u, written.count);
        EXPECT_EQ(0u, d.users());
        d.close();
      }
    }
  });
}

TEST(WritePackets, MessageOfOneFullPacketIsOnePacket) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 4102, .credit = 2});
    d.port.expect(joined({hex("02 02 10 06 00 01"), filled(4096)}));
    const Called written = d.write(filled(4096));
    EXPECT_EQ(4096, written.result);
    EXPECT_EQ(4096u, written.count);
    EXPECT_EQ(1, d.held());
    d.close();
  });
}

TEST(WritePackets, OneByteMoreIsASecondPacket) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 4102, .credit = 2});
    d.port.expect(joined({hex("02 02 10 06 00 00"), filled(4096)}));
    d.port.expect(hex("02 02 00 07 00 01 00"));
    const Called written = d.write(filled(4097));
    EXPECT_EQ(4097, written.result);
    EXPECT_EQ(4097u, written.count);
    EXPECT_EQ(0, d.held());
    d.close();
  });
}

struct Split {
  std::size_t bytes;
  std::vector<std::uint16_t> lengths;
};

TEST(WritePackets, LengthIsThatOfThePacketAndTheFlagIsOnTheLastOnly) {
  const Split splits[] = {
      {1, {7}}, {13, {19}}, {14, {20}}, {15, {20, 7}}, {28, {20, 20}}, {29, {20, 20, 7}},
  };
  for (const std::uint8_t socket : Bytes{0x02, 0x40, 0x33}) {
    for (const Split& split : splits) {
      run_virtual_parallel([&] {
        DataLink d(socket, {.write_size = 20, .credit = 9});
        d.port.ignores_the_rest();
        const std::size_t before = d.port.write_count();
        const Bytes message = filled(split.bytes, 0x11);
        EXPECT_EQ(static_cast<std::int32_t>(split.bytes), d.write(message).result);
        const std::vector<Bytes> packets = packets_since(d.port, before);
        ASSERT_EQ(split.lengths.size(), packets.size()) << split.bytes;
        Bytes payload;
        for (std::size_t at = 0; at < packets.size(); ++at) {
          const bool last = at + 1 == packets.size();
          const auto length = static_cast<std::uint8_t>(split.lengths[at]);
          ASSERT_EQ(length, packets[at].size());
          EXPECT_EQ((Bytes{socket, socket, 0, length, 0, last ? std::uint8_t{1} : std::uint8_t{0}}),
                    cut(packets[at], 6));
          payload.insert(payload.end(), packets[at].begin() + 6, packets[at].end());
        }
        EXPECT_EQ(message, payload);
      });
    }
  }
}

TEST(WritePackets, LongestPacketHasAllOfItsLength) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 65535, .credit = 2});
    d.port.expect(joined({hex("02 02 FF FF 00 00"), filled(65529)}));
    d.port.expect(joined({hex("02 02 00 07 00 01"), Bytes{filled(65530).back()}}));
    EXPECT_EQ(65530, d.write(filled(65530)).result);
    d.close();
  });
}

// On the flag sockets the caller's last byte is no data.

TEST(WritePackets, LastByteBecomesTheFlagOfAFlagSocket) {
  run_virtual_parallel([] {
    const std::pair<std::uint8_t, std::uint8_t> flags[] = {{0x00, 0}, {0x01, 1}, {0x02, 0},
                                                           {0x03, 1}, {0xFE, 0}, {0xFF, 1}};
    for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
      for (const auto& [given, sent] : flags) {
        DataLink d(socket);
        d.port.expect({socket, socket, 0, 9, 0, sent, 'a', 'b', 'c'});
        const Called written = d.write(joined({text("abc"), Bytes{given}}));
        EXPECT_EQ(4, written.result);
        EXPECT_EQ(4u, written.count);
        d.close();
      }
    }
  });
}

TEST(WritePackets, OnlyTheLastPacketOfAFlagSocketHasTheFlag) {
  run_virtual_parallel([] {
    DataLink d(0x21, {.write_size = 9, .credit = 3});
    d.port.expect(joined({hex("21 21 00 09 00 00"), text("abc")}));
    d.port.expect(joined({hex("21 21 00 09 00 00"), text("def")}));
    d.port.expect(joined({hex("21 21 00 07 00 01"), text("g")}));
    const Called written = d.write(joined({text("abcdefg"), Bytes{1}}));
    EXPECT_EQ(8, written.result);
    EXPECT_EQ(8u, written.count);
    d.close();
  });
}

TEST(WritePackets, FlagByteTakesNoRoomInThePacket) {
  run_virtual_parallel([] {
    DataLink d(0x21, {.write_size = 4102, .credit = 1});
    d.port.expect(joined({hex("21 21 10 06 00 01"), filled(4096)}));
    const Called written = d.write(joined({filled(4096), Bytes{1}}));
    EXPECT_EQ(4097, written.result);
    EXPECT_EQ(4097u, written.count);
    d.close();
  });
}

// What a packet costs.

TEST(WritePackets, PacketWithCreditCostsOneTransferAndNoTime) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.credit = 1});
    const std::size_t calls = d.port.call_count();
    d.port.expect(data(0x02, text("@PJL")));
    EXPECT_EQ(0u, d.write(text("@PJL")).ms);
    EXPECT_EQ(calls + 1, d.port.call_count());
  });
}

TEST(WritePackets, EachPacketCostsOneCreditWhateverItsSize) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 512, .credit = 3});
    d.port.expect(data(0x02, filled(1)));
    d.port.expect(data(0x02, filled(506)));
    d.port.expect(data(0x02, filled(5)));
    EXPECT_EQ(1, d.write(filled(1)).result);
    EXPECT_EQ(2, d.held());
    EXPECT_EQ(506, d.write(filled(506)).result);
    EXPECT_EQ(1, d.held());
    EXPECT_EQ(5, d.write(filled(5)).result);
    EXPECT_EQ(0, d.held());
    // The fourth has none left.
    d.port.grants(0x02, 7);
    d.port.expect(data(0x02, filled(2)));
    EXPECT_EQ(2, d.write(filled(2)).result);
    EXPECT_EQ(6, d.held());
    d.close();
  });
}

// Packets go out in order, also with the read thread busy in between.

TEST(WritePackets, AnswersToTheDeviceMayComeBetweenPackets) {
  run_virtual_schedules(20, [] {
    DataLink d(0x02, {.write_size = 9, .credit = 1});
    d.port.expect(data(0x02, text("abc"), {.control = 0}));
    d.port.expect(credit_request(0x02))
        .answer(credit(0x02, 2))
        .answer(credit_request_reply(0x02, 1));
    d.port.expect(credit_reply(0x02));
    d.port.expect(data(0x02, text("def"), {.control = 0}));
    d.port.expect(data(0x02, text("g")));
    EXPECT_EQ(7, d.write(text("abcdefg")).result);
    EXPECT_EQ(1, d.held());
  });
}

}  // namespace
}  // namespace d4_test
