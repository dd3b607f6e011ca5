// Whatever bytes come, the device goes on, and what it keeps has a limit.

#include "tests/simulator/d4_fixture.h"

#include <random>

namespace {

using namespace simulator_test;

// A block of exactly this size, so that a sanitizer sees the first byte read beyond it.
void write_exact(D4Device& device, const Bytes& bytes, uint64_t now_ms) {
  const Bytes block(bytes.begin(), bytes.end());
  device.write(block, now_ms);
}

std::vector<Bytes> orderly() {
  return {host::entry,
          host::init,
          host::open(0x02),
          host::data(0x02, "question"),
          host::credit_request(0x02),
          host::credit(0x02),
          host::credit_answer(0, 0x02),
          host::request_answer(0, 0x02, 7),
          host::close_answer(0, 0x02),
          host::exit_answer(0),
          host::error(0x80),
          host::close(0x02),
          host::exit};
}

TEST(D4Hostile, EveryCutOfEveryPacketIsSurvived) {
  for (const Bytes& packet : orderly()) {
    for (size_t length = 0; length <= packet.size(); ++length) {
      Wire wire = opened(0x02);
      write_exact(wire.device, Bytes(packet.begin(), packet.begin() + static_cast<int>(length)), 0);
      wire.read_all();
      write_exact(wire.device, host::entry, 0);
      EXPECT_EQ(wire::entry_reply, wire.read_all()) << wire.device.report();
    }
  }
}

TEST(D4Hostile, EveryByteOfEveryPacketCanBeAnything) {
  for (const Bytes& packet : orderly()) {
    for (size_t at = 0; at < packet.size(); ++at) {
      for (const int value : {0x00, 0x01, 0x05, 0x06, 0x07, 0x7F, 0x80, 0xFF}) {
        Wire wire = opened(0x02);
        Bytes wrong = packet;
        wrong[at] = static_cast<uint8_t>(value);
        write_exact(wire.device, wrong, 0);
        wire.read_all();
        EXPECT_FALSE(wire.device.report().empty());
      }
    }
  }
}

TEST(D4Hostile, RandomBytesAreSurvived) {
  std::mt19937 random(20240607);
  const std::vector<Bytes> packets = orderly();
  for (int round = 0; round < 300; ++round) {
    D4Options options;
    options.coalesce = random() % 2 != 0;
    options.transfer_bytes = random() % 9;
    options.any_socket.credit = static_cast<D4CreditPolicy>(random() % 4);
    options.any_socket.read_size = static_cast<uint16_t>(random() % 20);
    options.any_socket.piggyback = static_cast<uint8_t>(random() % 3);
    options.answers = {{.echo = true}};
    D4Device device(options);
    for (int step = 0; step < 60; ++step) {
      const auto now = static_cast<uint64_t>(step);
      Bytes bytes = packets[random() % packets.size()];
      for (auto changes = random() % 3; changes > 0 && step > 3; --changes) {
        bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
      }
      write_exact(device, bytes, now);
      if (random() % 4 == 0) {
        device.push_raw(packets[random() % packets.size()], now);
      }
      device.take(now, 1 + random() % 40);
    }
    device.check_end(60);
    EXPECT_LE(device.breaches().size(), 1000U);
    EXPECT_FALSE(device.report().empty());
  }
}

TEST(D4Hostile, WhatIsRecordedHasALimit) {
  Wire wire = opened(0x02);
  for (int i = 0; i < 30000; ++i) {
    wire.write({2, 3, 0, 6, 0, 1});
  }
  EXPECT_EQ(simulator::D4Conversation::kept_lines, wire.device.conversation().lines().size());
  EXPECT_EQ(1000U, wire.device.breaches().size());
  EXPECT_EQ(30000U, wire.device.breaches(D4Rule::data_empty));
  EXPECT_NE(std::string::npos, wire.device.report().find(" lines more\n"));
}

TEST(D4Hostile, LongPacketsAreKeptInPart) {
  Wire wire = opened(0x02, {.any_socket = {.write_size = 0xFFFF}});
  wire.write(host::data(0x02, std::string(60000, 'x')));
  const D4Line& line = wire.device.conversation().lines().back();
  EXPECT_EQ(60006U, line.count);
  EXPECT_EQ(simulator::D4Conversation::kept_bytes, line.bytes.size());
  expect_clean(wire);
}

TEST(D4Hostile, AMegabyteOfTheSmallestPacketsIsReadAtOnce) {
  Wire wire = opened(0x02, {.one_packet_a_transfer = false, .tolerated = {D4Rule::data_credit}});
  Bytes many;
  const Bytes one = host::data(0x02, "x", 0, 0);
  while (many.size() < (size_t{1} << 20)) {
    many.insert(many.end(), one.begin(), one.end());
  }
  wire.write(many);
  EXPECT_EQ(3 + many.size() / one.size(), wire.device.host_packets());
  expect_clean(wire);
}

}  // namespace
