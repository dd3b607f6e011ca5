// Links and channels that end, from either side, while callers are in them and wait for
// them. Each caller is told of it, nothing is left, and the port opens again.

#include <memory>
#include <optional>

#include "tests/d4/device_talk.h"
#include "tests/d4/schedules.h"

namespace d4_test {
namespace {

using simulator::D4Act;
using simulator::D4Device;
using simulator::D4Options;
using simulator::D4Rule;

D4Options echoing(std::uint64_t number) {
  D4Options options;
  options.latency_ms = number % 3;
  options.empty_after_ms = number % 4;
  options.any_socket = {.write_size = 30, .read_size = 30, .open_credit = 2, .grant = 2};
  options.answers = {{.socket = 0x02, .echo = true}, {.socket = 0x50, .echo = true}};
  return options;
}

// A lost link says to most calls that it isn't ready, and of its channels that they are
// closed, until somebody closes it.
bool ends(vlp::XdltLink* link, std::int32_t result) {
  return is_over(listed(result)) || link->state.load() != vlp::kLinkOpen;
}

// Writes, reads, and opens and closes a channel of its own, until the link is over.
std::vector<test::TestThread> busy_callers(vlp::XdltLink* link) {
  std::vector<test::TestThread> callers;
  callers.push_back(test::spawn("writer", [link] {
    while (!ends(link, write(link, 0x02, filled(50)).result)) test::sleep_ms(1);
  }));
  callers.push_back(test::spawn("reader", [link] {
    while (true) {
      const std::int32_t size = size_query(link, 0x02).result;
      if (ends(link, size)) return;
      if (size > 0 && ends(link, fetch(link, 0x02, 64).result)) return;
      test::sleep_ms(1);
    }
  }));
  callers.push_back(test::spawn("opener", [link] {
    while (!ends(link, open_channel_on(link, 0x50).result)) {
      test::sleep_ms(1);
      if (ends(link, write(link, 0x50, filled(5)).result)) return;
      if (ends(link, close_channel_on(link, 0x50).result)) return;
    }
  }));
  return callers;
}

void join(std::vector<test::TestThread>& callers) {
  for (test::TestThread& caller : callers) caller.join();
}

// The same port and device once more, from the entry string to a message and back.
void expect_opens_again(DevicePort& port) {
  const Opened opened = open_link(port);
  ASSERT_EQ(0, opened.result) << port.report();
  EXPECT_EQ(0, open_channel_on(opened.link, 0x02).result);
  const Bytes bytes = filled(60, 7);
  EXPECT_EQ(0, write_message(opened.link, 0x02, bytes));
  EXPECT_EQ(bytes, receive(opened.link, 0x02, bytes.size()).bytes);
  test::settle();
  expect_credits_agree(port, opened.link, 0x02);
  EXPECT_EQ(0, close_channel_on(opened.link, 0x02).result);
  EXPECT_EQ(0, close_link(opened.link).result);
}

struct Talk {
  explicit Talk(std::uint64_t number, std::set<D4Rule> tolerated = {}) : port(echoing(number)) {
    for (const D4Rule rule : tolerated) {
      port.with([rule](D4Device& device, std::uint64_t) { device.tolerate(rule); });
    }
    link = open_link(port).link;
    EXPECT_NE(nullptr, link);
    EXPECT_EQ(0, open_channel_on(link, 0x02).result);
    callers = busy_callers(link);
    test::sleep_ms(static_cast<std::uint32_t>(number % 11));
  }

  DevicePort port;
  Engine engine;
  vlp::XdltLink* link = nullptr;
  std::vector<test::TestThread> callers;
};

TEST(Schedules, AClosedLinkLetsItsQueuedCallersGo) {
  in_many_orders([](std::uint64_t number) {
    Talk talk(number);
    // Each channel that is left costs the gate's whole limit.
    if (number % 2 == 0) {
      EXPECT_EQ(0, close_channel_on(talk.link, 0x02).result);
    }
    EXPECT_EQ(0, close_link(talk.link).result);
    join(talk.callers);
    expect_opens_again(talk.port);
  });
}

TEST(Schedules, TwoThreadsCloseOneLink) {
  in_many_orders([](std::uint64_t number) {
    Talk talk(number);
    Transaction other = transact("other", [&] { return close_link(talk.link); });
    const std::int32_t own = close_link(talk.link).result;
    const std::int32_t others = other.get().result;
    EXPECT_TRUE(own == 0 || others == 0);
    for (const std::int32_t result : {own, others}) {
      EXPECT_TRUE(result == 0 || result == vlp::XDLT_ERR_NOLINK ||
                  result == vlp::XDLT_ERR_GATE_TIMEOUT)
          << result;
    }
    join(talk.callers);
    expect_opens_again(talk.port);
  });
}

// Each ends reading for good; callers learn of it, and the link's end doesn't wait for long.
// With the reading ends the wait for a reply that was under way, and the next caller's command
// goes out though the device never answered the one before.
TEST(Schedules, ADeviceThatBreaksTheRulesLosesItsLink) {
  in_many_orders([](std::uint64_t number) {
    Talk talk(number, {D4Rule::one_at_a_time});
    talk.port.with([number](D4Device& device, std::uint64_t now) {
      switch (number % 4) {
        case 0:
          return device.send_data_without_credit(0x33, filled(4), now);
        case 1:
          return device.push_raw(credit_reply(0x02, 9), now);
        case 2:
          return device.push_raw(with_length(exit_link(), 9), now);
        default:
          return device.push_raw(hex("02 03 00 09 00 00 00 00 00"), now);
      }
    });
    join(talk.callers);
    const std::int32_t closed = close_link(talk.link).result;
    EXPECT_TRUE(closed == 0 || closed == vlp::XDLT_ERR_NOLINK) << closed;
    expect_opens_again(talk.port);
  });
}

// A link whose reading has ended is still written to until a caller ends it.
TEST(Schedules, TheDevicesErrorEndsTheLinkUnderItsCallers) {
  in_many_orders([](std::uint64_t number) {
    Talk talk(number, {D4Rule::nothing_after_error});
    talk.port.with([](D4Device& device, std::uint64_t now) { device.send_error(0x81, now); });
    join(talk.callers);
    const std::int32_t closed = close_link(talk.link).result;
    EXPECT_TRUE(closed == 0 || closed == vlp::XDLT_ERR_NOLINK) << closed;
    expect_opens_again(talk.port);
  });
}

TEST(Schedules, TheDevicesExitMeetsTheOwnClose) {
  in_many_orders([](std::uint64_t number) {
    Talk talk(number);
    talk.port.with([](D4Device& device, std::uint64_t now) { device.send_exit(now); });
    test::sleep_ms(static_cast<std::uint32_t>(number % 4));
    const std::int32_t closed = close_link(talk.link).result;
    EXPECT_TRUE(closed == 0 || closed == vlp::XDLT_ERR_NOLINK) << closed;
    join(talk.callers);
    expect_opens_again(talk.port);
  });
}

TEST(Schedules, TheDevicesCloseMeetsTheOwnClose) {
  in_many_orders([](std::uint64_t number) {
    DevicePort port(echoing(number));
    Engine engine;
    vlp::XdltLink* const link = open_link(port).link;
    ASSERT_NE(nullptr, link);
    EXPECT_EQ(0, open_channel_on(link, 0x02).result);
    EXPECT_EQ(0, open_channel_on(link, 0x50).result);
    std::vector<test::TestThread> callers;
    callers.push_back(test::spawn("writer", [=] {
      while (listed(write(link, 0x02, filled(50)).result) != vlp::XDLT_ERR_NOCHANNEL) {
        test::sleep_ms(1);
      }
    }));
    callers.push_back(test::spawn("reader", [=] {
      while (listed(size_query(link, 0x02).result) != vlp::XDLT_ERR_NOCHANNEL) test::sleep_ms(1);
    }));
    callers.push_back(test::spawn("neighbour", [=] {
      const Bytes bytes = filled(50);
      EXPECT_EQ(0, write_message(link, 0x50, bytes));
      EXPECT_EQ(bytes, receive(link, 0x50, bytes.size()).bytes);
    }));
    test::sleep_ms(static_cast<std::uint32_t>(number % 5));
    port.with([](D4Device& device, std::uint64_t now) { device.send_close(0x02, now); });
    test::sleep_ms(static_cast<std::uint32_t>(number % 3));
    const std::int32_t closed = close_channel_on(link, 0x02).result;
    // 8: the device had closed it, and its command wasn't read yet.
    EXPECT_TRUE(closed == 0 || closed == -8 || closed == vlp::XDLT_ERR_NOCHANNEL) << closed;
    join(callers);
    // What the device closed is freed by a data call.
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, write(link, 0x02, filled(1)).result);
    EXPECT_EQ(0, open_channel_on(link, 0x02).result);
    const Bytes bytes = filled(60, 3);
    EXPECT_EQ(0, write_message(link, 0x02, bytes));
    EXPECT_EQ(bytes, receive(link, 0x02, bytes.size()).bytes);
    test::settle();
    for (const std::uint8_t socket : {std::uint8_t{0x02}, std::uint8_t{0x50}}) {
      expect_credits_agree(port, link, socket);
      EXPECT_EQ(0, close_channel_on(link, socket).result);
    }
    EXPECT_EQ(0, close_link(link).result);
  });
}

TEST(Schedules, RemovalEndsEveryCall) {
  in_many_orders([](std::uint64_t number) {
    Talk talk(number);
    talk.port.remove();
    const std::int32_t closed = close_link(talk.link).result;
    EXPECT_TRUE(closed == 0 || closed == vlp::XDLT_ERR_NOLINK) << closed;
    join(talk.callers);
    EXPECT_FALSE(vlp::XdltPortIsInUse(talk.port.handle()));
    talk.port.with([](D4Device& device, std::uint64_t now) { device.replug(now); });
    expect_opens_again(talk.port);
  });
}

// The engine's last user goes while calls are inside: they end all the same, and the last
// one takes its link with it. The engine's own events stay.
TEST(Schedules, TheEngineEndsUnderCallsThatAreInside) {
  in_many_orders(
      [](std::uint64_t number) {
        D4Options options = echoing(number);
        options.latency_ms = 30;
        DevicePort port(options);
        Engine engine;
        vlp::XdltLink* const link = open_link(port).link;
        ASSERT_NE(nullptr, link);
        std::vector<Transaction> callers;
        for (const std::uint8_t socket : {std::uint8_t{0x02}, std::uint8_t{0x21}}) {
          callers.push_back(transact("opener", [=] { return open_channel_on(link, socket); }));
        }
        // Both are counted in by then, and the first reply isn't there yet.
        test::sleep_ms(1 + static_cast<std::uint32_t>(number % 28));
        engine.end();
        for (Transaction& caller : callers) EXPECT_TRUE(is_listed(caller.get().result));
        EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
        EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(link).result);
      },
      kSeeds, {.may_leave_handles = true});
}

// Users of the engine come and go, the last and the first among them, each with its log.
TEST_F(EngineTest, LivesOfTheCommandLayerOverlapInManyOrders) {
  std::vector<std::unique_ptr<vlp::DbgLog>> logs;
  for (const char* const name : {"A", "B", "C"}) {
    logs.push_back(std::make_unique<vlp::DbgLog>(name, directory_.c_str(), vlp::kLogObjects, 4096));
  }
  in_many_orders(
      [&](std::uint64_t number) {
        std::vector<test::TestThread> lives;
        for (std::uint8_t at = 0; at < 3; ++at) {
          lives.push_back(test::spawn("life", [&, at] {
            D4Options options = echoing(number);
            options.empty_after_ms = 4;  // fewer reads, which are all in the log
            DevicePort port(options);
            test::sleep_ms(static_cast<std::uint32_t>((number + at * std::uint64_t{3}) % 7));
            vlp::CD4CmdIO io(logs[at].get(), port.handle(), port.ops(), &kTalkSettings);
            EXPECT_TRUE(io.IsInitialized());
            EXPECT_TRUE(io.D4Open());
            const Bytes bytes = filled(12, at);
            EXPECT_EQ(bytes, command(io, bytes).bytes);
            if (at == 0) {
              EXPECT_TRUE(io.D4Close());
            }
          }));
        }
        join(lives);
      },
      kFewSeeds);
}

}  // namespace
}  // namespace d4_test
