// The table of links, and how long it lives.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "platform/faults.h"
#include "tests/d4/link_look.h"
#include "tests/support/fault_memory.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

std::vector<std::unique_ptr<ScriptedPort>> ports(std::size_t count) {
  std::vector<std::unique_ptr<ScriptedPort>> made;
  for (std::size_t i = 0; i < count; ++i) {
    made.push_back(std::make_unique<ScriptedPort>("port " + std::to_string(i)));
  }
  return made;
}

TEST(EngineTable, SixteenPortsOpenAtOnceAndTheSeventeenthFindsItFull) {
  run_virtual_schedules(6, [] {
    const auto all = ports(17);
    Engine engine;
    std::array<vlp::XdltLink*, 16> links{};
    {
      std::vector<test::TestThread> threads;
      for (std::size_t i = 0; i < 16; ++i) {
        threads.push_back(test::spawn("opener", [&, i] {
          all[i]->opens(after_ms(i));
          const Opened opened = open_link(*all[i]);
          EXPECT_EQ(0, opened.result);
          links[i] = opened.link;
        }));
      }
    }
    const Opened beyond = open_link(*all[16]);
    EXPECT_EQ(vlp::XDLT_ERR_TABLE_FULL, beyond.result);
    EXPECT_EQ(nullptr, beyond.link);
    EXPECT_EQ(0u, all[16]->call_count());
    // Each has a record of its own, and each port is still known by it.
    auto sorted = links;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(&record(i), sorted[i]);
      EXPECT_EQ(all[i]->handle(), links[i]->portHandle.load());
      EXPECT_EQ(vlp::XDLT_ERR_PORT_IN_USE, open_link(*all[i]).result);
    }
    {
      std::vector<test::TestThread> threads;
      for (std::size_t i = 0; i < 16; ++i) {
        threads.push_back(test::spawn("closer", [&, i] { closed_link(*all[i], links[i]); }));
      }
    }
    closed_link(*all[16], opened_link(*all[16]));
    for (std::size_t i = 0; i < 16; ++i) expect_free(record(i));
  });
}

TEST(EngineTable, SecondLinkOnAPortIsRefusedWhateverTheLoad) {
  run_virtual_parallel([] {
    const auto all = ports(16);
    Engine engine;
    std::vector<vlp::XdltLink*> links;
    for (std::size_t count = 0; count < 16; ++count) {
      links.push_back(opened_link(*all[count]));
      for (std::size_t i = 0; i <= count; ++i) {
        EXPECT_EQ(vlp::XDLT_ERR_PORT_IN_USE, open_link(*all[i]).result) << count << " " << i;
      }
    }
    // Also if a free record stands before it.
    closed_link(*all[0], links[0]);
    EXPECT_EQ(vlp::XDLT_ERR_PORT_IN_USE, open_link(*all[15]).result);
    for (std::size_t i = 1; i < 16; ++i) closed_link(*all[i], links[i]);
  });
}

TEST(EngineTable, FirstFreeRecordIsTaken) {
  run_virtual_parallel([] {
    const auto all = ports(4);
    Engine engine;
    vlp::XdltLink* const first = opened_link(*all[0]);
    vlp::XdltLink* const second = opened_link(*all[1]);
    vlp::XdltLink* const third = opened_link(*all[2]);
    EXPECT_EQ(0, vlp::XdltCheckLink(first));
    EXPECT_EQ(1, vlp::XdltCheckLink(second));
    EXPECT_EQ(2, vlp::XdltCheckLink(third));
    closed_link(*all[1], second);
    EXPECT_EQ(second, opened_link(*all[3]));
    closed_link(*all[0], first);
    closed_link(*all[3], second);
    closed_link(*all[2], third);
  });
}

TEST(EngineTable, CheckTellsEachLinksIndex) {
  run_virtual_parallel([] {
    const auto all = ports(16);
    Engine engine;
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XdltCheckLink(nullptr));
    for (std::size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XdltCheckLink(&record(i)));
      EXPECT_EQ(static_cast<std::int32_t>(i), vlp::XdltCheckLink(opened_link(*all[i])));
    }
    for (std::size_t i = 0; i < 16; ++i) {
      closed_link(*all[i], &record(i));
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XdltCheckLink(&record(i)));
    }
  });
}

TEST(EngineTable, CheckFindsNoLinkBesideARecordsStart) {
  run_virtual_parallel([] {
    ScriptedPort port;
    ScriptedPort other;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_link(other);
    char* const start = reinterpret_cast<char*>(link);
    constexpr std::ptrdiff_t size = sizeof(vlp::XdltLink);
    for (const std::ptrdiff_t offset : {std::ptrdiff_t{-1}, std::ptrdiff_t{1}, std::ptrdiff_t{8},
                                        size / 2, size - 1, size + 1, -size, 16 * size}) {
      auto* const wrong = reinterpret_cast<vlp::XdltLink*>(start + offset);
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XdltCheckLink(wrong)) << offset;
      expect_all_refused(wrong, vlp::XDLT_ERR_NOLINK);
    }
    EXPECT_EQ(1, vlp::XdltCheckLink(reinterpret_cast<vlp::XdltLink*>(start + size)));
    closed_link(other, &record(1));
    closed_link(port, link);
  });
}

TEST(EngineTable, NullLinkIsAParameterErrorEverywhere) {
  run_virtual_parallel([] {
    expect_all_refused(nullptr, vlp::XDLT_ERR_PARAM);
    Engine engine;
    expect_all_refused(nullptr, vlp::XDLT_ERR_PARAM);
  });
}

TEST(EngineTable, StaleLinkIsSafeInEveryOperation) {
  run_virtual_parallel([] {
    ScriptedPort port;
    vlp::XdltLink* link = nullptr;
    {
      Engine engine;
      link = opened_link(port);
      opened_channel(port, link, 0x02);
      closed_channel(port, link, 0x02);
      closed_link(port, link);
      const std::size_t calls = port.call_count();
      expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
      EXPECT_EQ(calls, port.call_count());
      expect_free(*link);
      // One that was lost instead of closed.
      link = opened_link(port);
      port.expect(open_channel(0x02, 65535, 65535)).answer(error_packet(0x80));
      EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, open_channel_on(link, 0x02).result);
      expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
      EXPECT_EQ(0u, link->callers.load());
    }
    // Its memory is gone now.
    expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
    vlp::XdltParameters parameters{.kind = vlp::kAskPacketSizes, .writePacketSize = 7};
    vlp::XDLT_SetParameters(link, &parameters);
    EXPECT_EQ(7, parameters.writePacketSize);
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XdltCheckLink(link));
  });
}

TEST(EngineTable, FurtherUsersNeitherResetItNorEndIt) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    vlp::Engine* const built = &the_engine();
    {
      const Engine second;
      const Engine third;
      EXPECT_EQ(built, &the_engine());
      EXPECT_EQ(0, vlp::XdltCheckLink(link));
    }
    EXPECT_EQ(built, &the_engine());
    EXPECT_EQ(0, vlp::XdltCheckLink(link));
    opened_channel(port, link, 0x02);
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

TEST(EngineTable, FirstUserMayLeaveBeforeTheLast) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine first;
    vlp::XdltLink* const link = opened_link(port);
    Engine second;
    first.end();
    closed_link(port, link);
    second.end();
    EXPECT_EQ(nullptr, vlp::EngineUse().Get());
  });
}

TEST(EngineTable, IsBuiltAnewAfterTheLastUser) {
  run_virtual_parallel([] {
    ScriptedPort port;
    for (int round = 0; round < 4; ++round) {
      EXPECT_EQ(nullptr, vlp::EngineUse().Get());
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      opened_channel(port, link, 0x40, {.write_size = 4102});
      closed_channel(port, link, 0x40);
      closed_link(port, link);
    }
    EXPECT_EQ(nullptr, vlp::EngineUse().Get());
  });
}

TEST(EngineTable, OneUninitialiseTooManyIsNoMatter) {
  run_virtual_parallel([] {
    ScriptedPort port;
    vlp::XdltUninitialize();
    vlp::XdltUninitialize();
    Engine engine;
    closed_link(port, opened_link(port));
    engine.end();
    EXPECT_EQ(nullptr, vlp::EngineUse().Get());
    vlp::XdltUninitialize();
  });
}

TEST(EngineTable, WithoutMemoryInitialiseStillSucceedsAndALaterOneBuilds) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  run_virtual_parallel([] {
    ScriptedPort port;
    {
      const platform::UnderTest tested;
      platform::fail_call("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
      EXPECT_EQ(1, vlp::XdltInitialize(nullptr));
    }
    EXPECT_EQ(1u, platform::faults_met());
    platform::clear_faults();
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, open_link(port).result);
    EXPECT_EQ(0u, port.call_count());
    {
      const Engine second;
      closed_link(port, opened_link(port));
    }
    vlp::XdltUninitialize();
    EXPECT_EQ(nullptr, vlp::EngineUse().Get());
  });
}

TEST(EngineTable, NewRecordsAreFreeAndTheirGatesOpen) {
  run_virtual_parallel([] {
    Engine engine;
    for (std::size_t i = 0; i < vlp::kMaxLinks; ++i) {
      vlp::XdltLink& link = record(i);
      expect_free(link);
      // One signal, and one only.
      EXPECT_TRUE(vlp::IsSignalled(link.gateEvent.Get(), 0));
      EXPECT_FALSE(vlp::IsSignalled(link.gateEvent.Get(), 0));
      vlp::Signal(link.gateEvent.Get());
    }
    EXPECT_EQ(16u, vlp::kMaxLinks);
  });
}

TEST(EngineTable, ManyUsersComingAndGoingAtOnce) {
  run_virtual_schedules(12, [] {
    const auto all = ports(6);
    {
      std::vector<test::TestThread> threads;
      for (const auto& port : all) {
        threads.push_back(test::spawn("user", [&port] {
          for (int round = 0; round < 4; ++round) {
            Engine engine;
            closed_link(*port, opened_link(*port));
          }
        }));
      }
    }
    EXPECT_EQ(nullptr, vlp::EngineUse().Get());
    for (const auto& port : all) EXPECT_FALSE(vlp::XdltPortIsInUse(port->handle()));
  });
}

}  // namespace
}  // namespace d4_test
