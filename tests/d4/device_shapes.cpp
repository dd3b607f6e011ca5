// Every way in which a good device may give credit and cut what it sends: each message comes
// whole, to the byte, and both count the same credit.

#include "tests/d4/device_exchange.h"

namespace d4_test {
namespace {

using simulator::D4CreditPolicy;
using simulator::D4Device;
using simulator::D4Options;
using simulator::D4SocketOptions;

// A buffer that has room for 65536 packets or twice as many counts as full.
constexpr std::uint16_t kLeastRead = 9;

void expect_whole(const D4Options& options, std::uint64_t seed = 0) {
  live(seed, [&] {
    DevicePort port(options);
    const Engine engine;
    const Exchange with = exchange(port, {.patience = 300, .credits_agree = true});
    EXPECT_TRUE(with.whole) << with.first_failure << "\n" << port.report();
  });
}

D4Options with_sockets(const D4SocketOptions& sockets) {
  D4Options options = small_device();
  options.any_socket = sockets;
  options.sockets.clear();
  return options;
}

TEST(DeviceShapes, CreditOfEveryPolicy) {
  for (const std::uint8_t piggyback : {std::uint8_t{0}, std::uint8_t{2}}) {
    for (D4SocketOptions sockets : std::vector<D4SocketOptions>{
             {.open_credit = 1, .grant = 1},
             {.open_credit = 0xFFFF - 40, .grant = 1},
             {.open_credit = 0, .grant = 0xFFFF},
             {.credit = D4CreditPolicy::on_request, .grant = 1},
             {.credit = D4CreditPolicy::on_request, .grant = 128, .refusals = 1},
             {.credit = D4CreditPolicy::on_request, .grant = 2, .refusals = 7},
             {.credit = D4CreditPolicy::own_command, .own_credit = 1},
             {.credit = D4CreditPolicy::own_command, .refusals = 3, .own_credit = 2},
             {.credit = D4CreditPolicy::own_command, .own_credit = 1, .own_credit_ms = 250}}) {
      SCOPED_TRACE(static_cast<int>(sockets.credit));
      sockets.write_size = 15;
      sockets.read_size = 20;
      sockets.piggyback = piggyback;
      expect_whole(with_sockets(sockets));
    }
  }
}

TEST(DeviceShapes, ADeviceThatNeverGivesCreditGetsNoData) {
  live(0, [] {
    DevicePort port(with_sockets({.credit = D4CreditPolicy::never}));
    const Engine engine;
    const Exchange with = exchange(port, {.patience = 5});
    EXPECT_FALSE(with.whole);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, with.first_failure);
    port.with([](D4Device& device, std::uint64_t) {
      EXPECT_TRUE(device.messages().empty());
      device.options().any_socket.credit = D4CreditPolicy::on_open;
    });
    expect_recovery(port);
  });
}

TEST(DeviceShapes, PacketsOfEverySize) {
  for (const std::uint16_t write_size :
       std::initializer_list<std::uint16_t>{7, 8, 11, 4102, 65535}) {
    for (const std::uint16_t read_size :
         std::initializer_list<std::uint16_t>{kLeastRead, 10, 13, 4102, 65535}) {
      SCOPED_TRACE(std::to_string(write_size) + " and " + std::to_string(read_size));
      D4Options options = with_sockets(
          {.write_size = write_size, .read_size = read_size, .open_credit = 3, .grant = 3});
      options.sockets[0x21] = {.write_size = 30, .read_size = kLeastRead};
      options.sockets[0x40] = {.write_size = 6 + 1, .read_size = 512};
      expect_whole(options);
    }
  }
}

TEST(DeviceShapes, TransfersCutAndJoinedInEveryWay) {
  for (const std::size_t most : std::initializer_list<std::size_t>{0, 1, 2, 5, 6, 7, 16, 17}) {
    for (const bool coalesce : {false, true}) {
      for (const std::uint32_t empties : std::initializer_list<std::uint32_t>{0, 1, 2, 11, 35}) {
        SCOPED_TRACE(std::to_string(most) + (coalesce ? " joined, " : ", ") +
                     std::to_string(empties) + " empty");
        D4Options options = small_device();
        options.transfer_bytes = most;
        options.coalesce = coalesce;
        options.empty_before_packet = empties;
        expect_whole(options);
      }
    }
  }
}

TEST(DeviceShapes, LatenciesUpToWhatIsWaitedFor) {
  for (const std::uint64_t latency :
       std::initializer_list<std::uint64_t>{0, 1, 15, 99, 1000, 10'600}) {
    for (const std::uint64_t data_latency : std::initializer_list<std::uint64_t>{0, 3, 120, 2000}) {
      for (const std::uint64_t held : std::initializer_list<std::uint64_t>{0, 1, 50, 5000}) {
        SCOPED_TRACE(std::to_string(latency) + ", " + std::to_string(data_latency) + ", held " +
                     std::to_string(held));
        D4Options options = small_device();
        options.latency_ms = latency;
        options.data_latency_ms = data_latency;
        options.empty_after_ms = held;
        expect_whole(options);
      }
    }
  }
}

// Everything at once, as the number says.
D4Options mixture(std::uint64_t number) {
  std::uint64_t state = number * 0x9E3779B97F4A7C15 + 1;
  const auto upto = [&state](std::uint64_t most) {
    state = state * 6364136223846793005 + 1442695040888963407;
    return (state >> 33) % (most + 1);
  };
  const auto half = [&upto] { return upto(1) == 1; };
  D4Options options = small_device();
  options.latency_ms = half() ? 0 : upto(40);
  options.data_latency_ms = half() ? 0 : upto(40);
  options.transfer_bytes = half() ? 0 : 1 + upto(20);
  options.coalesce = half();
  options.empty_before_packet = static_cast<std::uint32_t>(half() ? 0 : upto(12));
  options.empty_after_ms = half() ? 0 : upto(30);
  for (const std::uint8_t socket : kSockets) {
    D4SocketOptions& of = options.sockets[socket];
    of.write_size = static_cast<std::uint16_t>(7 + upto(60));
    of.read_size = static_cast<std::uint16_t>(kLeastRead + upto(60));
    of.credit = static_cast<D4CreditPolicy>(upto(2));
    of.open_credit = static_cast<std::uint16_t>(upto(3));
    of.grant = static_cast<std::uint16_t>(1 + upto(3));
    of.refusals = static_cast<std::uint32_t>(upto(2));
    of.own_credit = static_cast<std::uint16_t>(1 + upto(3));
    of.own_credit_ms = upto(20);
    of.piggyback = static_cast<std::uint8_t>(upto(2));
  }
  return options;
}

TEST(DeviceShapes, MixturesOfAll) {
  for (std::uint64_t number = 0; number < 1000 && !HasFailure(); number += kStep) {
    SCOPED_TRACE(number);
    expect_whole(mixture(number), number);
  }
}

// Far more than a receive buffer holds, both ways.
TEST(DeviceShapes, LargeMessagesAreWholeToTheByte) {
  constexpr std::size_t kSize = 300'000;
  for (const std::uint8_t socket : kSockets) {
    for (const std::size_t transfer : {std::size_t{0}, std::size_t{1000}}) {
      SCOPED_TRACE(socket);
      live(0, [&] {
        D4Options options;
        options.latency_ms = 1;
        options.empty_after_ms = 2;
        options.transfer_bytes = transfer;
        options.any_socket = {.open_credit = 2, .grant = 5};
        options.sockets[0x50] = {.write_size = 65535, .read_size = 9000, .piggyback = 1};
        options.answers = {{.socket = socket, .echo = true}};
        DevicePort port(options);
        const Engine engine;
        vlp::XdltLink* const link = open_link(port).link;
        ASSERT_NE(nullptr, link);
        EXPECT_EQ(0, open_channel_on(link, socket).result);
        Bytes message(kSize);
        for (std::size_t at = 0; at < kSize; ++at) {
          message[at] = static_cast<std::uint8_t>(at * 31 + at / 256);
        }
        EXPECT_EQ(0, write_message(link, socket, as_written(socket, message)));
        const Received received = receive(link, socket, kSize, 3000);
        EXPECT_EQ(kSize, received.bytes.size());
        EXPECT_TRUE(message == received.bytes);
        EXPECT_EQ(vlp::IsFlagSocket(socket), received.complete);
        test::settle();
        expect_credits_agree(port, link, socket);
        EXPECT_EQ(0, close_channel_on(link, socket).result);
        EXPECT_EQ(0, close_link(link).result);
      });
    }
  }
}

// Many messages that nobody asked for and nobody has fetched yet stay in order.
TEST(DeviceShapes, WhatTheDeviceSaysByItselfIsReadInItsOrder) {
  live(0, [] {
    D4Options options = small_device();
    options.answers.clear();
    DevicePort port(options);
    const Engine engine;
    vlp::XdltLink* const link = open_link(port).link;
    EXPECT_EQ(0, open_channel_on(link, 0x02).result);
    EXPECT_EQ(0, open_channel_on(link, 0x50).result);
    Bytes said;
    port.with([&](D4Device& device, std::uint64_t now) {
      device.send_credit_request(0x02, 60, now);
      for (std::uint8_t turn = 0; turn < 60; ++turn) {
        const Bytes words = filled(std::size_t{1} + turn % 18, turn);
        said.insert(said.end(), words.begin(), words.end());
        EXPECT_TRUE(device.reply(0x02, words, now));
      }
    });
    // It is taken in while another channel is looked at.
    for (int round = 0; round < 80; ++round) EXPECT_EQ(0, size_query(link, 0x50).result);
    EXPECT_EQ(said, receive(link, 0x02, said.size(), 11).bytes);
    test::settle();
    expect_credits_agree(port, link, 0x02);
    expect_credits_agree(port, link, 0x50);
    EXPECT_EQ(0, close_channel_on(link, 0x02).result);
    EXPECT_EQ(0, close_channel_on(link, 0x50).result);
    EXPECT_EQ(0, close_link(link).result);
  });
}

}  // namespace
}  // namespace d4_test
