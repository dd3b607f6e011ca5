// Several callers on links that stay whole: every byte arrives, and the credit is exact.

#include <memory>
#include <optional>

#include "tests/d4/device_talk.h"
#include "tests/d4/schedules.h"

namespace d4_test {
namespace {

using simulator::D4Act;
using simulator::D4CreditPolicy;
using simulator::D4Device;
using simulator::D4Options;

constexpr std::uint8_t kFour[] = {0x02, 0x21, 0x40, 0x50};
constexpr std::uint8_t kTwo[] = {0x02, 0x50};

D4Options echoing(std::uint64_t number) {
  D4Options options;
  options.latency_ms = number % 3;
  options.data_latency_ms = number % 2;
  options.empty_after_ms = number % 5;
  options.transfer_bytes = number % 5 == 0 ? 5 : 0;
  options.coalesce = number % 4 == 1;
  for (const std::uint8_t socket : kFour) {
    options.answers.push_back({.socket = socket, .echo = true});
  }
  return options;
}

TEST(Schedules, TwoCallersOnEachOfTwoCommandLinksGetTheirOwnAnswers) {
  in_many_orders([](std::uint64_t number) {
    DevicePort first(echoing(number));
    DevicePort second(echoing(number + 1));
    vlp::CD4CmdIO one(nullptr, first.handle(), first.ops(), &kTalkSettings);
    vlp::CD4CmdIO other(nullptr, second.handle(), second.ops(), &kTalkSettings);
    auto opener = test::spawn("opener", [&] { EXPECT_TRUE(one.D4Open()); });
    EXPECT_TRUE(other.D4Open());
    opener.join();
    std::vector<test::TestThread> callers;
    for (std::uint8_t lane = 0; lane < 4; ++lane) {
      callers.push_back(test::spawn("caller", [&, lane] {
        vlp::CD4CmdIO& io = lane % 2 == 0 ? one : other;
        for (std::uint8_t round = 0; round < 2; ++round) {
          const Bytes bytes =
              filled(std::size_t{5} + lane * 7, static_cast<std::uint8_t>(lane * 50 + round));
          const Answered answered = command(io, bytes);
          EXPECT_TRUE(answered.done);
          EXPECT_EQ(bytes, answered.bytes);
        }
      }));
    }
    for (test::TestThread& caller : callers) caller.join();
    EXPECT_TRUE(one.D4Close());
    EXPECT_TRUE(other.D4Close());
    EXPECT_EQ(0u, one.FatalError() + other.FatalError());
  });
}

// A sender and a receiver for each of four channels, in packets of a few bytes.
TEST(Schedules, EightThreadsOnFourChannelsOfOneLinkLoseNoByte) {
  in_many_orders([](std::uint64_t number) {
    D4Options options = echoing(number);
    options.any_socket = {.write_size = 24, .read_size = 22, .open_credit = 2, .grant = 3};
    options.sockets[0x40] = {.write_size = 24,
                             .read_size = 22,
                             .credit = D4CreditPolicy::own_command,
                             .own_credit = 2,
                             .own_credit_ms = 1};
    options.sockets[0x50] = {.write_size = 20,
                             .read_size = 30,
                             .credit = D4CreditPolicy::on_request,
                             .refusals = 1,
                             .piggyback = 1};
    DevicePort port(options);
    Engine engine;
    vlp::XdltLink* const link = open_link(port).link;
    ASSERT_NE(nullptr, link);
    set_retry_timing(link, 1, 1, 4);
    std::vector<test::TestThread> threads;
    for (const std::uint8_t socket : kFour) {
      EXPECT_EQ(0, open_channel_on(link, socket).result);
      const Bytes message = filled(std::size_t{20} + socket / 4, socket);
      threads.push_back(test::spawn("sender", [=] {
        EXPECT_EQ(0, write_message(link, socket, as_written(socket, message)));
      }));
      threads.push_back(test::spawn("receiver", [=] {
        const Received received = receive(link, socket, message.size());
        EXPECT_EQ(0, received.result);
        EXPECT_EQ(message, received.bytes) << "socket " << int{socket};
        EXPECT_EQ(vlp::IsFlagSocket(socket), received.complete);
      }));
    }
    for (test::TestThread& thread : threads) thread.join();
    test::settle();
    for (const std::uint8_t socket : kFour) {
      expect_credits_agree(port, link, socket);
      EXPECT_EQ(0, close_channel_on(link, socket).result);
    }
    EXPECT_EQ(0, close_link(link).result);
  });
}

// What the device says by itself in the following, in this order; a few bytes a packet.
Bytes plan_own_talk(DevicePort& port, std::uint8_t socket, std::uint64_t number) {
  Bytes all;
  port.with([&](D4Device& device, std::uint64_t now) {
    for (std::uint64_t step = 0; step < 6; ++step) {
      const Bytes bytes = filled(std::size_t{4} + step, static_cast<std::uint8_t>(step * 16));
      all.insert(all.end(), bytes.begin(), bytes.end());
      const std::uint64_t at = now + step * (1 + number % 3);
      device.plan({.kind = D4Act::Kind::data, .at_ms = at, .socket = socket, .bytes = bytes});
      device.plan(
          {.kind = D4Act::Kind::credit_request, .at_ms = at, .socket = socket, .amount = 1});
      device.plan({.kind = D4Act::Kind::credit, .at_ms = at, .socket = socket, .amount = 2});
    }
  });
  return all;
}

TEST(Schedules, ADeviceThatTalksAllTheTimeIsHeardAndAnswered) {
  in_many_orders([](std::uint64_t number) {
    D4Options options = echoing(number);
    options.any_socket = {.write_size = 40, .read_size = 40, .open_credit = 1, .grant = 1};
    options.any_socket.piggyback = static_cast<std::uint8_t>(number % 2);
    options.answers.clear();
    DevicePort port(options);
    Engine engine;
    vlp::XdltLink* const link = open_link(port).link;
    ASSERT_NE(nullptr, link);
    const Bytes message = filled(80);
    std::vector<test::TestThread> threads;
    for (const std::uint8_t socket : kTwo) {
      EXPECT_EQ(0, open_channel_on(link, socket).result);
      const Bytes said = plan_own_talk(port, socket, number);
      threads.push_back(
          test::spawn("sender", [=] { EXPECT_EQ(0, write_message(link, socket, message)); }));
      threads.push_back(test::spawn("receiver", [=] {
        EXPECT_EQ(said, receive(link, socket, said.size(), 7).bytes) << "socket " << int{socket};
      }));
    }
    for (test::TestThread& thread : threads) thread.join();
    for (const std::uint8_t socket : kTwo) {
      EXPECT_EQ(0, size_query(link, socket).result);
      EXPECT_EQ(0, size_query(link, socket).result);
    }
    test::settle();
    for (const std::uint8_t socket : kTwo) {
      expect_credits_agree(port, link, socket);
      EXPECT_EQ(0, close_channel_on(link, socket).result);
    }
    const auto heard =
        port.with([](D4Device& device, std::uint64_t) { return device.take_messages(); });
    ASSERT_EQ(2u, heard.size());
    EXPECT_EQ(message, heard[0].bytes);
    EXPECT_EQ(message, heard[1].bytes);
    EXPECT_EQ(0, close_link(link).result);
  });
}

TEST(Schedules, SixteenLinksLiveSideBySide) {
  in_many_orders(
      [](std::uint64_t number) {
        std::vector<std::unique_ptr<DevicePort>> ports;
        for (std::uint64_t at = 0; at < vlp::kMaxLinks; ++at) {
          D4Options options = echoing(number + at);
          options.transfer_bytes = 0;
          options.empty_after_ms = 4;  // fewer reads
          ports.push_back(std::make_unique<DevicePort>(options));
        }
        Engine engine;
        std::vector<test::TestThread> threads;
        for (std::uint8_t at = 0; at < vlp::kMaxLinks; ++at) {
          threads.push_back(test::spawn("link", [&, at] {
            DevicePort& port = *ports[at];
            vlp::XdltLink* const link = open_link(port).link;
            ASSERT_NE(nullptr, link);
            EXPECT_EQ(0, open_channel_on(link, 0x02).result);
            const Bytes bytes = filled(20, at);
            EXPECT_EQ(0, write_message(link, 0x02, bytes));
            EXPECT_EQ(bytes, receive(link, 0x02, bytes.size()).bytes);
            expect_credits_agree(port, link, 0x02);
            EXPECT_EQ(0, close_channel_on(link, 0x02).result);
            EXPECT_EQ(0, close_link(link).result);
          }));
        }
        for (test::TestThread& thread : threads) thread.join();
      },
      kFewSeeds);
}

// The sizes of a channel are asked for without the gate, and the waits set, while it comes
// and goes.
TEST(Schedules, ParametersAreAskedForAndSetWhileChannelsComeAndGo) {
  in_many_orders([](std::uint64_t number) {
    DevicePort port(echoing(number));
    Engine engine;
    vlp::XdltLink* const link = open_link(port).link;
    ASSERT_NE(nullptr, link);
    auto asker = test::spawn("asker", [=] {
      for (unsigned round = 0; round < 12; ++round) {
        const vlp::XdltParameters sizes = packet_sizes(link, 0x02);
        EXPECT_TRUE(sizes.writePacketSize == 0 || sizes.writePacketSize == 4102);
        EXPECT_EQ(sizes.writePacketSize, sizes.readPacketSize);
        if (round % 2 == 0) set_plain_wait(link, round);
        if (round % 3 == 0) set_retry_timing(link, 1, 1, round);
        test::sleep_ms(round % 2);
      }
    });
    for (std::uint8_t round = 0; round < 3; ++round) {
      EXPECT_EQ(0, open_channel_on(link, 0x02).result);
      const Bytes bytes = filled(9, round);
      EXPECT_EQ(0, write_message(link, 0x02, bytes));
      EXPECT_EQ(bytes, receive(link, 0x02, bytes.size()).bytes);
      EXPECT_EQ(0, close_channel_on(link, 0x02).result);
    }
    asker.join();
    EXPECT_EQ(0, close_link(link).result);
  });
}

}  // namespace
}  // namespace d4_test
