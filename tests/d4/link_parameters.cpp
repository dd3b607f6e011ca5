// The waits for credit and the question for a channel's sizes.

#include <gmock/gmock.h>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using ::testing::ElementsAre;

struct Waits {
  std::uint32_t wait;
  std::uint32_t base;
  std::uint32_t backoff;
  std::uint32_t maximum;
  bool operator==(const Waits&) const = default;
};
void PrintTo(const Waits& waits, std::ostream* to) {
  *to << waits.wait << "/" << waits.base << "/" << waits.backoff << "/" << waits.maximum;
}

Waits waits_of(const vlp::XdltLink* link) {
  return {link->creditWait.load(), link->creditWaitBase.load(), link->creditBackoff.load(),
          link->creditWaitMax.load()};
}

constexpr std::uint32_t kMost = 0xFFFF'FFFF;

class LinkParameters : public EngineTest {
 protected:
  void with_link(const std::function<void(ScriptedPort&, vlp::XdltLink*)>& work,
                 vlp::DbgLog* into = nullptr) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine(into);
      vlp::XdltLink* const link = opened_link(port);
      work(port, link);
      closed_link(port, link);
    });
  }
};

TEST_F(LinkParameters, PlainWaitSetsAllThreeWaitsAndNoBackoff) {
  with_link([](ScriptedPort&, vlp::XdltLink* link) {
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {0, 50},       {1, 1},       {50, 50},     {999, 999},
        {1000, 1000},  {1001, 1000}, {5000, 1000}, {0x8000'0000, 1000},
        {kMost, 1000},
    };
    for (const auto& [timing, expected] : cases) {
      set_retry_timing(link, 1, 3, 4);
      set_plain_wait(link, timing);
      EXPECT_EQ((Waits{expected, expected, 0, expected}), waits_of(link)) << timing;
    }
  });
}

TEST_F(LinkParameters, RetryTimingWithAModeBacksOff) {
  struct Case {
    std::uint32_t timing, maximum, wait, most;
  };
  const Case cases[] = {
      {0, 0, 1, 25},
      {1, 1, 1, 1},
      {4, 25, 4, 25},
      {999, 999, 999, 999},
      {1000, 1000, 1000, 1000},
      {1001, 1001, 1000, 1000},
      {5000, 5000, 1000, 1000},
      {kMost, kMost, 1000, 1000},
      {0x8000'0000, 7, 1000, 7},
      {200, 10, 200, 10},
      {0, 999, 1, 999},
      {999, 0, 999, 25},
  };
  with_link([&](ScriptedPort&, vlp::XdltLink* link) {
    for (const std::uint32_t mode : {1u, 2u, kMost}) {
      for (const Case& one : cases) {
        set_plain_wait(link, 77);
        set_retry_timing(link, mode, one.timing, one.maximum);
        EXPECT_EQ((Waits{one.wait, one.wait, 1, one.most}), waits_of(link))
            << mode << " " << one.timing << " " << one.maximum;
      }
    }
  });
}

TEST_F(LinkParameters, RetryTimingWithoutAModeIgnoresTheMaximum) {
  with_link([](ScriptedPort&, vlp::XdltLink* link) {
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {0, 50}, {1, 1}, {999, 999}, {1000, 1000}, {5000, 1000}, {kMost, 1000},
    };
    for (const auto& [timing, expected] : cases) {
      for (const std::uint32_t maximum : {0u, 25u, 3u, kMost}) {
        set_retry_timing(link, 1, 3, 4);
        set_retry_timing(link, 0, timing, maximum);
        EXPECT_EQ((Waits{expected, expected, 0, expected}), waits_of(link)) << timing;
      }
    }
  });
}

TEST_F(LinkParameters, UnknownKindsDoNothing) {
  with_link([](ScriptedPort&, vlp::XdltLink* link) {
    for (const std::uint32_t kind : {0u, 4u, 5u, 0x1'0001u, kMost}) {
      vlp::XdltParameters parameters{.kind = kind,
                                     .timing = 9,
                                     .mode = 1,
                                     .maximum = 9,
                                     .socket = 2,
                                     .writePacketSize = 7,
                                     .readPacketSize = 8};
      vlp::XDLT_SetParameters(link, &parameters);
      EXPECT_EQ((Waits{50, 50, 0, 50}), waits_of(link));
      EXPECT_EQ(7, parameters.writePacketSize);
      EXPECT_EQ(8, parameters.readPacketSize);
    }
    vlp::XDLT_SetParameters(link, nullptr);
    EXPECT_EQ((Waits{50, 50, 0, 50}), waits_of(link));
  });
}

TEST_F(LinkParameters, SizesAreThoseOfTheChannelAsked) {
  with_link([](ScriptedPort& port, vlp::XdltLink* link) {
    opened_channel(port, link, 0x02, {.write_size = 300, .read_size = 400});
    opened_channel(port, link, 0x40, {.write_size = 4102, .read_size = 0});
    EXPECT_EQ(300, packet_sizes(link, 0x02).writePacketSize);
    EXPECT_EQ(400, packet_sizes(link, 0x02).readPacketSize);
    EXPECT_EQ(4102, packet_sizes(link, 0x40).writePacketSize);
    EXPECT_EQ(0, packet_sizes(link, 0x40).readPacketSize);
    closed_channel(port, link, 0x02);
    closed_channel(port, link, 0x40);
  });
}

TEST_F(LinkParameters, SizesOfNoChannelAreZero) {
  with_link([](ScriptedPort& port, vlp::XdltLink* link) {
    opened_channel(port, link, 0x02);
    closed_channel(port, link, 0x02);
    for (const std::uint8_t socket : Bytes{0x00, 0x02, 0x50, 0xFF}) {
      vlp::XdltParameters parameters{.kind = vlp::kAskPacketSizes,
                                     .socket = socket,
                                     .writePacketSize = 7,
                                     .readPacketSize = 8};
      vlp::XDLT_SetParameters(link, &parameters);
      EXPECT_EQ(0, parameters.writePacketSize);
      EXPECT_EQ(0, parameters.readPacketSize);
    }
  });
}

TEST_F(LinkParameters, BadLinkChangesNothing) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const stale = opened_link(port);
    closed_link(port, stale);
    auto* const inside = reinterpret_cast<vlp::XdltLink*>(reinterpret_cast<char*>(stale) + 8);
    for (vlp::XdltLink* const link : {static_cast<vlp::XdltLink*>(nullptr), stale, inside}) {
      for (const std::uint32_t kind :
           {vlp::kSetPlainWait, vlp::kSetRetryTiming, vlp::kAskPacketSizes}) {
        vlp::XdltParameters parameters{.kind = kind,
                                       .timing = 9,
                                       .mode = 1,
                                       .maximum = 9,
                                       .socket = 2,
                                       .writePacketSize = 7,
                                       .readPacketSize = 8};
        vlp::XDLT_SetParameters(link, &parameters);
        EXPECT_EQ(7, parameters.writePacketSize);
        EXPECT_EQ(8, parameters.readPacketSize);
        EXPECT_EQ((Waits{50, 50, 0, 50}), waits_of(stale));
      }
    }
  });
}

TEST_F(LinkParameters, NoGateIsTaken) {
  with_link([](ScriptedPort& port, vlp::XdltLink* link) {
    block_reads(port);
    port.opens_channel(0x02, {.write_size = 300}, after_ms(500));
    auto opening = transact("opening", [&] { return open_channel_on(link, 0x02); });
    test::sleep_ms(100);
    const Called set = timed([&] {
      set_plain_wait(link, 12);
      EXPECT_EQ(0, packet_sizes(link, 0x02).writePacketSize);
    });
    EXPECT_EQ(0u, set.ms);
    EXPECT_EQ((Waits{12, 12, 0, 12}), waits_of(link));
    EXPECT_EQ(1u, link->callers.load());
    EXPECT_EQ(0, opening.get().result);
    EXPECT_EQ(500u, opening.get().ms);
    EXPECT_EQ(300, packet_sizes(link, 0x02).writePacketSize);
    free_reads(port);
    closed_channel(port, link, 0x02);
  });
}

TEST_F(LinkParameters, WaitSetWhileOneIsSleptCountsFromTheNext) {
  with_link([](ScriptedPort& port, vlp::XdltLink* link) {
    opened_channel(port, link, 0x02, {.credit = 0});
    set_plain_wait(link, 400);
    port.grants(0x02, 0);
    auto writing = transact("writing", [&] { return write(link, 0x02, {1}); });
    test::sleep_ms(100);
    set_plain_wait(link, 30);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, writing.get().result);
    EXPECT_EQ(400u, writing.get().ms);
    port.grants(0x02, 0);
    EXPECT_EQ(30u, write(link, 0x02, {1}).ms);
    closed_channel(port, link, 0x02);
  });
}

TEST_F(LinkParameters, AreTracedAsGivenAndAsTaken) {
  with_link(
      [](ScriptedPort& port, vlp::XdltLink* link) {
        set_plain_wait(link, 0);
        set_plain_wait(link, 12345);
        set_retry_timing(link, 1, 4, 25);
        set_retry_timing(link, 0, 5000, 7);
        set_retry_timing(link, kMost, 0, 0);
        packet_sizes(link, 0x02);
        vlp::XdltParameters unknown{.kind = 9};
        vlp::XDLT_SetParameters(link, &unknown);
        static_cast<void>(port);
      },
      &log());
  EXPECT_THAT(trace_of("XDLT_SetParameters"),
              ElementsAre("XDLT_SetParameters1 (0000) <time>", "XDLT_SetParameters1 (12345) <time>",
                          "XDLT_SetParameters (02 0004 01 0025) <time>",
                          "XDLT_SetParameters (02 5000 00 0007) <time>",
                          "XDLT_SetParameters (02 0000 -1 0000) <time>"));
  EXPECT_THAT(trace_of("     Timing"), ElementsAre("     Timing(0004) Max(0025)          <time>",
                                                   "     Timing(1000) Max(1000)          <time>",
                                                   "     Timing(0001) Max(0025)          <time>"));
}

}  // namespace
}  // namespace d4_test
