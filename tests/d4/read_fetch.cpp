// The fetch: copies what waits, and on the flag sockets tells of the message's end.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;

// The device sent these packets, in answer to a size query each.
void received(DataLink& d, const std::vector<Bytes>& packets) {
  d.let_device_send(static_cast<std::uint16_t>(packets.size()));
  for (const Bytes& packet : packets) d.receive(packet);
}

void expect_fetched(const Bytes& bytes, const Called& fetched) {
  EXPECT_EQ(static_cast<std::int32_t>(bytes.size()), fetched.result);
  EXPECT_EQ(bytes.size(), fetched.count);
  EXPECT_EQ(bytes, fetched.bytes);
  EXPECT_EQ(0u, fetched.ms);
}

TEST(ReadFetch, TakesWhatFitsAndLeavesTheRest) {
  run_virtual_parallel([] {
    DataLink d;
    received(d, {data(0x02, text("abcdefghij"))});
    expect_fetched(text("abcd"), d.fetch(4));
    expect_fetched({}, d.fetch(0));
    expect_fetched(text("efgh"), d.fetch(4));
    expect_fetched(text("ij"), d.fetch(4));
    expect_fetched({}, d.fetch(4));
    EXPECT_EQ(0u, d.users());
    d.close();
  });
}

TEST(ReadFetch, CapacityOfJustWhatWaitsIsEnough) {
  run_virtual_parallel([] {
    DataLink d;
    received(d, {data(0x02, text("abcd"))});
    expect_fetched(text("abcd"), d.fetch(4));
    EXPECT_EQ(0u, d.channel->rxHead.load());
    EXPECT_EQ(0u, d.channel->rxTail.load());
    d.close();
  });
}

TEST(ReadFetch, NeverTouchesThePort) {
  run_virtual_parallel([] {
    DataLink d;
    received(d, {data(0x02, text("abcd"))});
    const std::size_t calls = d.port.call_count();
    d.fetch(2);
    d.fetch(100);
    d.fetch(100);
    settle();
    EXPECT_EQ(calls, d.port.call_count());
    d.close();
  });
}

TEST(ReadFetch, RestMovesToTheStartAndNewBytesStandBehindIt) {
  run_virtual_parallel([] {
    DataLink d;
    received(d, {data(0x02, text("abcdefghij"))});
    expect_fetched(text("abc"), d.fetch(3));
    EXPECT_EQ(0u, d.channel->rxHead.load());
    EXPECT_EQ(7u, d.channel->rxTail.load());
    EXPECT_EQ('d', d.channel->rxBuffer.Get()[0]);
    d.port.expect(credit(0x02)).answer(credit_reply(0x02)).answer(data(0x02, text("kl")));
    d.query();
    settle();
    expect_fetched(text("defghijkl"), d.fetch(100));
  });
}

TEST(ReadFetch, BufferCanBeFilledOverAndOver) {
  run_virtual_parallel([] {
    DataLink d(0x40);
    for (std::uint8_t round = 0; round < 20; ++round) {
      d.port.expect(credit(0x40)).answer(credit_reply(0x40)).answer(data(0x40, filled(506, round)));
      EXPECT_EQ(506, d.query().result);
      expect_fetched(filled(506, round), d.fetch(4048));
    }
    settle();
    d.close();
  });
}

// --- Flag sockets ----------------------------------------------------------------------------

TEST(ReadFetch, FlagStandsBehindTheDataAndCounts) {
  const std::pair<std::uint8_t, std::uint8_t> controls[] = {{0x00, 0}, {0x01, 1}, {0x02, 0},
                                                            {0x03, 1}, {0xFE, 0}, {0xFF, 1}};
  run_virtual_parallel([&] {
    for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
      for (const auto& [control, flag] : controls) {
        DataLink d(socket);
        received(d, {data(socket, text("abc"), {.control = control})});
        expect_fetched({'a', 'b', 'c', flag}, d.fetch(100));
        d.close();
      }
    }
  });
}

TEST(ReadFetch, FlagIsZeroWhileBytesRemain) {
  run_virtual_parallel([] {
    for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
      DataLink d(socket);
      received(d, {data(socket, text("abcde"))});
      expect_fetched({'a', 'b', 0}, d.fetch(3));
      expect_fetched({0}, d.fetch(1));  // room for the flag alone
      expect_fetched({'c', 'd', 0}, d.fetch(3));
      expect_fetched({'e', 1}, d.fetch(3));
      d.close();
    }
  });
}

TEST(ReadFetch, CapacityOfDataAndFlagIsEnoughAndOneLessIsNot) {
  run_virtual_parallel([] {
    for (const std::uint32_t capacity : {4u, 3u}) {
      DataLink d(0x21);
      received(d, {data(0x21, text("abc"))});
      const Bytes expected = capacity == 4 ? Bytes{'a', 'b', 'c', 1} : Bytes{'a', 'b', 0};
      expect_fetched(expected, d.fetch(capacity));
      d.close();
    }
  });
}

TEST(ReadFetch, EmptyFlagSocketGivesTheFlagAlone) {
  run_virtual_parallel([] {
    DataLink d(0x21);
    expect_fetched({0}, d.fetch(100));
    received(d, {data(0x21, text("abc"))});
    expect_fetched({'a', 'b', 'c', 1}, d.fetch(100));
    expect_fetched({1}, d.fetch(100));  // of the newest packet still
    expect_fetched({1}, d.fetch(1));
    d.close();
  });
}

TEST(ReadFetch, FlagSocketNeedsRoomForTheFlag) {
  run_virtual_parallel([] {
    DataLink d(0x22);
    received(d, {data(0x22, text("abc"))});
    std::uint32_t count = 0;
    std::uint8_t untouched = 0xA5;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Read(d.link, 0x22, &untouched, &count));
    EXPECT_EQ(0xA5, untouched);
    EXPECT_EQ(0u, d.users());
    expect_fetched({'a', 'b', 'c', 1}, d.fetch(100));
    d.close();
  });
}

TEST(ReadFetch, FlagIsThatOfTheNewestPacket) {
  run_virtual_parallel([] {
    DataLink d(0x21);
    received(d, {data(0x21, text("ab")), data(0x21, text("cd"), {.control = 0})});
    expect_fetched({'a', 'b', 'c', 'd', 0}, d.fetch(100));
    d.port.expect(credit(0x21)).answer(credit_reply(0x21)).answer(data(0x21, text("e")));
    d.query();
    expect_fetched({'e', 1}, d.fetch(100));
    settle();
    d.close();
  });
}

TEST(ReadFetch, OtherSocketsKeepNoFlag) {
  run_virtual_parallel([] {
    for (const std::uint8_t socket : Bytes{0x02, 0x40, 0x50, 0x20, 0x23}) {
      DataLink d(socket);
      received(d, {data(socket, text("abc"))});
      EXPECT_EQ(0u, d.channel->lastEom);
      expect_fetched(text("abc"), d.fetch(100));
      d.close();
    }
  });
}

// --- The buffer's lock -----------------------------------------------------------------------

TEST(ReadFetch, BufferIsWaitedForForElevenSeconds) {
  run_virtual_parallel([] {
    DataLink d;
    received(d, {data(0x02, text("abc"))});
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(d.channel->bufferEvent.Get(), 0));
    std::uint32_t count = 3;
    Bytes buffer(3, 0xA5);
    const Called fetched =
        timed([&] { return vlp::XDLT_Read(d.link, 0x02, buffer.data(), &count); });
    EXPECT_EQ(vlp::XDLT_ERR_BUFFER_TIMEOUT, fetched.result);
    EXPECT_EQ(11'000u, fetched.ms);
    EXPECT_EQ(3u, count);  // nothing else happens
    EXPECT_EQ(Bytes(3, 0xA5), buffer);
    EXPECT_EQ(0u, d.users());
    EXPECT_TRUE(vlp::XdltPortIsInUse(d.port.handle()));
    auto giver = test::spawn("giver", [&] {
      test::sleep_ms(10'999);
      SetEvent(d.channel->bufferEvent.Get());
    });
    const Called again = d.fetch(3);
    EXPECT_EQ(text("abc"), again.bytes);
    EXPECT_EQ(10'999u, again.ms);
    giver.join();
    d.close();
  });
}

TEST(ReadFetch, BytesOfALostLinkAreStillToBeHad) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(2);
    d.receive(data(0x02, text("abc")));
    d.query_that_brings(hex("00 01 00 07 01 00 08"));
    settle();
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, d.link->readStatus.load());
    expect_fetched(text("ab"), d.fetch(2));
    expect_fetched(text("c"), d.fetch(2));
  });
}

}  // namespace
}  // namespace d4_test
