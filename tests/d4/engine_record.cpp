// What a link is made of: its defaults, its thread, priorities, channels that are over.

#include <gmock/gmock.h>

#include "tests/d4/engine_calls_spy.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

TEST(EngineRecord, CreditWaitsBeginAtFiftyMillisecondsWithoutBackoff) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    EXPECT_EQ(50u, link->creditWait.load());
    EXPECT_EQ(50u, link->creditWaitBase.load());
    EXPECT_EQ(0u, link->creditBackoff.load());
    EXPECT_EQ(50u, link->creditWaitMax.load());
    opened_channel(port, link, 0x02, {.credit = 0});
    for (int round = 0; round < 3; ++round) {
      port.grants(0x02, 0);
      const Called refused = write(link, 0x02, {1});
      EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, refused.result);
      EXPECT_EQ(50u, refused.ms);
    }
    closed_channel(port, link, 0x02);
    closed_link(port, link);
  });
}

TEST(EngineRecord, SocketsWithAMeaning) {
  EXPECT_EQ(0x02, vlp::kSocketCommand);
  EXPECT_EQ(0x40, vlp::kSocketControl);
  EXPECT_EQ(0x50, vlp::kSocketPrint);
  EXPECT_EQ(0x21, vlp::kSocketEomA);
  EXPECT_EQ(0x22, vlp::kSocketEomB);
  for (unsigned socket = 0; socket < 256; ++socket) {
    EXPECT_EQ(socket == 0x21 || socket == 0x22,
              vlp::IsFlagSocket(static_cast<std::uint8_t>(socket)));
  }
}

// What each means shows in how its channel is opened and where its receive buffer ends.
TEST(EngineRecord, SocketsDifferInWhatIsOfferedAndHeld) {
  struct Socket {
    std::uint8_t number;
    std::uint16_t write, read;
    std::uint32_t held;
  };
  const Socket sockets[] = {
      {0x02, 65535, 65535, 0x20000}, {0x40, 4102, 512, 4048},       {0x50, 65535, 65535, 0x20000},
      {0x21, 65535, 65535, 0x20000}, {0x22, 65535, 65535, 0x20000}, {0x33, 65535, 65535, 65535},
  };
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    for (const Socket& socket : sockets) {
      port.expect(open_channel(socket.number, socket.write, socket.read))
          .answer(open_channel_reply(socket.number, 600, 600, 0));
      EXPECT_EQ(0, open_channel_on(link, socket.number).result);
      EXPECT_EQ(socket.held, vlp::FindChannel(*link, socket.number)->rxSize);
      closed_channel(port, link, socket.number);
    }
    closed_link(port, link);
  });
}

TEST(EngineRecord, ResultCodes) {
  EXPECT_EQ(-20, vlp::XDLT_ERR_PARAM);
  EXPECT_EQ(-21, vlp::XDLT_ERR_RESOURCE);
  EXPECT_EQ(-22, vlp::XDLT_ERR_NOLINK);
  EXPECT_EQ(-23, vlp::XDLT_ERR_PORT_IN_USE);
  EXPECT_EQ(-24, vlp::XDLT_ERR_NOCHANNEL);
  EXPECT_EQ(-25, vlp::XDLT_ERR_CHANNEL_OPEN);
  EXPECT_EQ(-26, vlp::XDLT_ERR_LINK_LOST);
  EXPECT_EQ(-27, vlp::XDLT_ERR_TABLE_FULL);
  EXPECT_EQ(-28, vlp::XDLT_ERR_BAD_SIZE);
  EXPECT_EQ(-29, vlp::XDLT_ERR_CREDIT_RANGE);
  EXPECT_EQ(-30, vlp::XDLT_ERR_CTRL_BUSY);
  EXPECT_EQ(-31, vlp::XDLT_ERR_PORT_WRITE);
  EXPECT_EQ(-32, vlp::XDLT_ERR_PORT_READ);
  EXPECT_EQ(-33, vlp::XDLT_ERR_NOT_READY);
  EXPECT_EQ(-34, vlp::XDLT_ERR_GATE_TIMEOUT);
  EXPECT_EQ(-50, vlp::XDLT_ERR_ENTRY_WRITE);
  EXPECT_EQ(-51, vlp::XDLT_ERR_PEER_ERROR);
  EXPECT_EQ(-52, vlp::XDLT_ERR_ENTRY_REFUSED);
  EXPECT_EQ(-53, vlp::XDLT_ERR_LINK_DOWN);
  EXPECT_EQ(-54, vlp::XDLT_ERR_NO_MEMORY);
  EXPECT_EQ(-55, vlp::XDLT_ERR_REPLY_TIMEOUT);
  EXPECT_EQ(-56, vlp::XDLT_ERR_BUFFER_TIMEOUT);
  EXPECT_EQ(-61, vlp::XDLT_ERR_SHORT_WRITE);
  EXPECT_EQ(-62, vlp::XDLT_ERR_SHORT_READ);
  EXPECT_EQ(-80, vlp::XDLT_ERR_MALFORMED);
  EXPECT_EQ(-81, vlp::XDLT_ERR_NO_CREDIT);
  EXPECT_EQ(-82, vlp::XDLT_ERR_UNEXPECTED_REPLY);
  EXPECT_EQ(-83, vlp::XDLT_ERR_TOO_BIG);
  EXPECT_EQ(-84, vlp::XDLT_ERR_UNKNOWN_CHANNEL);
  EXPECT_EQ(-85, vlp::XDLT_ERR_BAD_RESULT);
  EXPECT_EQ(-86, vlp::XDLT_ERR_CREDIT_OVERFLOW);
  EXPECT_EQ(-87, vlp::XDLT_ERR_BAD_COMMAND);
  EXPECT_FALSE(vlp::IsLinkLost(0));
  EXPECT_FALSE(vlp::IsLinkLost(-49));
  EXPECT_TRUE(vlp::IsLinkLost(-50));
  EXPECT_TRUE(vlp::IsLinkLost(-87));
}

TEST(EngineRecord, ReadThreadHasASmallStackAndRunsAboveNormal) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    take_made_threads();
    vlp::XdltLink* const link = opened_link(port);
    const std::vector<MadeThread> made = take_made_threads();
    ASSERT_EQ(1u, made.size());
    EXPECT_EQ(16384u, made[0].stack_size);
    // So that its priority stands before its first step.
    EXPECT_EQ(DWORD{CREATE_SUSPENDED}, made[0].flags);
    EXPECT_EQ(THREAD_PRIORITY_ABOVE_NORMAL, GetThreadPriority(link->readThread.Get()));
    EXPECT_EQ(1, THREAD_PRIORITY_ABOVE_NORMAL);
    opened_channel(port, link, 0x02);
    closed_channel(port, link, 0x02);
    closed_link(port, link);
    EXPECT_EQ(0u, take_made_threads().size());
  });
}

TEST(EngineRecord, OpeningThreadRunsAtHighestPriorityUntilTheLinksEnd) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.ops()->keepPriority = 0;
    for (const int before : {THREAD_PRIORITY_NORMAL, THREAD_PRIORITY_LOWEST}) {
      SetThreadPriority(GetCurrentThread(), before);
      vlp::XdltLink* link = opened_link(port);
      EXPECT_EQ(2, GetThreadPriority(GetCurrentThread()));
      EXPECT_EQ(before, the_engine().savedPriority.load());
      EXPECT_EQ(2, the_engine().raisedPriority.load());
      closed_link(port, link);
      EXPECT_EQ(before, GetThreadPriority(GetCurrentThread()));
      // So does an opening that fails.
      port.expect(entry_string()).answer(entry_reply(1));
      EXPECT_EQ(vlp::XDLT_ERR_ENTRY_REFUSED, open_link(port).result);
      EXPECT_EQ(before, GetThreadPriority(GetCurrentThread()));
    }
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL);
  });
}

TEST(EngineRecord, WhoeverEndsTheLinkGetsThePriorityThatTheOpenerHad) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.ops()->keepPriority = 0;
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
    vlp::XdltLink* const link = opened_link(port);
    port.exits();
    int of_the_closer = 99;
    test::spawn("closer", [&] {
      EXPECT_EQ(0, close_link(link).result);
      of_the_closer = GetThreadPriority(GetCurrentThread());
    }).join();
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, of_the_closer);
    EXPECT_EQ(THREAD_PRIORITY_HIGHEST, GetThreadPriority(GetCurrentThread()));
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL);
  });
}

TEST(EngineRecord, PrioritiesStayIfThePortSaysSo) {
  for (const std::uint32_t keep : {1u, 2u, 0xFFFF'FFFFu}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      port.ops()->keepPriority = keep;
      SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
      vlp::XdltLink* const link = opened_link(port);
      EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, GetThreadPriority(GetCurrentThread()));
      EXPECT_EQ(0, the_engine().savedPriority.load());
      EXPECT_EQ(0, the_engine().raisedPriority.load());
      SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_ABOVE_NORMAL);
      closed_link(port, link);
      EXPECT_EQ(THREAD_PRIORITY_ABOVE_NORMAL, GetThreadPriority(GetCurrentThread()));
      SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL);
    });
  }
}

// --- Channels that the device has closed -----------------------------------------------------

struct ClosedByPeer {
  ClosedByPeer() {
    link = opened_link(port);
    opened_channel(port, link, 0x02, {.credit = 3});
    channel = vlp::FindChannel(*link, 0x02);
    port.say(close_channel(0x02));
    port.expect(close_channel_reply(0x02));
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    EXPECT_EQ(vlp::kChannelClosedByPeer, channel->state.load());
  }
  ~ClosedByPeer() { closed_link(port, link); }
  ClosedByPeer(const ClosedByPeer&) = delete;
  ClosedByPeer& operator=(const ClosedByPeer&) = delete;

  ScriptedPort port;
  Engine engine;
  vlp::XdltLink* link = nullptr;
  vlp::ChannelPointer channel;
};

TEST(EngineRecord, ChannelClosedByTheDeviceIsFreedByTheNextDataCall) {
  const NamedCall data_calls[] = {
      {"write", [](vlp::XdltLink* link) { return write(link, 0x02, {1}).result; }},
      {"size query", [](vlp::XdltLink* link) { return size_query(link, 0x02).result; }},
      {"fetch", [](vlp::XdltLink* link) { return fetch(link, 0x02, 8).result; }},
  };
  for (const NamedCall& named : data_calls) {
    SCOPED_TRACE(named.name);
    run_virtual_schedules(5, [&] {
      ClosedByPeer closed;
      EXPECT_EQ(1u, channel_count(*closed.link));
      EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, named.call(closed.link));
      EXPECT_EQ(0u, channel_count(*closed.link));
      EXPECT_EQ(1, closed.channel.use_count());
      EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, named.call(closed.link));
      // Its socket can be opened again.
      opened_channel(closed.port, closed.link, 0x02);
      closed_channel(closed.port, closed.link, 0x02);
    });
  }
}

TEST(EngineRecord, ClosingAChannelThatTheDeviceClosedFreesNothing) {
  run_virtual_parallel([] {
    ClosedByPeer closed;
    for (int round = 0; round < 3; ++round) {
      const Called called = close_channel_on(closed.link, 0x02);
      EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, called.result);
      EXPECT_EQ(0u, called.ms);
      EXPECT_EQ(1u, channel_count(*closed.link));
    }
    EXPECT_EQ(vlp::XDLT_ERR_CHANNEL_OPEN, open_channel_on(closed.link, 0x02).result);
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, fetch(closed.link, 0x02, 8).result);
    EXPECT_EQ(0u, channel_count(*closed.link));
  });
}

TEST(EngineRecord, ChannelThatIsUsedIsNotFreed) {
  run_virtual_parallel([] {
    ClosedByPeer closed;
    ++closed.channel->users;
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, fetch(closed.link, 0x02, 8).result);
    EXPECT_EQ(1u, channel_count(*closed.link));
    EXPECT_EQ(1u, closed.channel->users.load());
    --closed.channel->users;
    EXPECT_EQ(vlp::XDLT_ERR_NOCHANNEL, write(closed.link, 0x02, {1}).result);
    EXPECT_EQ(0u, channel_count(*closed.link));
  });
}

}  // namespace
}  // namespace d4_test
