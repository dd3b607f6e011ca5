// The end of the engine, with links open and calls inside.

#include <gmock/gmock.h>

#include "platform/faults.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::AnyOf;
using ::testing::HasSubstr;

// A scenario that leaves something behind on purpose: what, line by line, handles left out.
std::vector<std::string> left_by(const std::function<void()>& body) {
  platform::begin_scenario({});
  body();
  const std::string report = platform::end_scenario();
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < report.size();) {
    const std::size_t end = report.find('\n', begin);
    const std::string line = report.substr(begin, end - begin);
    if (line.rfind("handle ", 0) != 0) lines.push_back(line);
    begin = end + 1;
  }
  return lines;
}

// A port that a link names for good: its owner may never free it.
ScriptedPort& port_for_good() {
  static auto* const kept = new std::vector<std::unique_ptr<ScriptedPort>>;
  kept->push_back(std::make_unique<ScriptedPort>("port for good"));
  return *kept->back();
}

class EngineEnd : public EngineTest {
 protected:
  void TearDown() override { platform::clear_faults(); }
};

TEST_F(EngineEnd, LinksLeftOpenAreFreedWithoutAWordToTheDevice) {
  run_virtual_schedules(10, [] {
    ScriptedPort port("one");
    ScriptedPort other("other");
    ScriptedPort lost("lost");
    Engine engine;
    opened_channel(port, opened_link(port), 0x02);
    opened_link(other);
    vlp::XdltLink* const third = opened_link(lost);
    ++third->callers;
    vlp::XdltTerminate(the_engine(), *third, vlp::XDLT_ERR_REPLY_TIMEOUT, vlp::kWithoutLimit);
    --third->callers;
    const Called ended = timed([&] { engine.end(); });
    EXPECT_LE(ended.ms, 100u);  // a lost link's thread looks ten times a second
    for (const ScriptedPort* const each : {&port, &other, &lost}) {
      EXPECT_FALSE(vlp::XdltPortIsInUse(each->handle()));
    }
    EXPECT_EQ(3u, port.write_count());
    EXPECT_EQ(2u, other.write_count());
  });
}

TEST_F(EngineEnd, EverythingMadeIsGivenBack) {
  for (const bool closed : {true, false}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      platform::watch_calls();
      {
        Engine engine;
        vlp::XdltLink* const link = opened_link(port);
        for (const std::uint8_t socket : Bytes{0x02, 0x40, 0x33}) {
          opened_channel(port, link, socket);
        }
        if (closed) {
          for (const std::uint8_t socket : Bytes{0x40, 0x33, 0x02}) {
            closed_channel(port, link, socket);
          }
          closed_link(port, link);
        }
      }
      EXPECT_EQ(16u + 5u + 3u, platform::calls_of("CreateEventA"));
      EXPECT_EQ(16u + 5u + 3u + 1u, platform::calls_of("CloseHandle"));
      EXPECT_EQ(6u, platform::calls_of("VirtualAlloc"));
      EXPECT_EQ(6u, platform::calls_of("VirtualFree"));
      EXPECT_EQ(3u, platform::calls_of("GlobalAlloc"));
      EXPECT_EQ(3u, platform::calls_of("GlobalFree"));
      // A table's lock, a trace's, and four of each record.
      EXPECT_EQ(2u + 16u * 4u, platform::calls_of("DeleteCriticalSection"));
      EXPECT_EQ(0u, platform::calls_of("TerminateThread"));
      platform::clear_faults();
    });
  }
}

TEST_F(EngineEnd, PriorityOfAnOpenLinkIsGivenBack) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.ops()->keepPriority = 0;
    opened_link(port);
    EXPECT_EQ(THREAD_PRIORITY_HIGHEST, GetThreadPriority(GetCurrentThread()));
    engine.end();
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, GetThreadPriority(GetCurrentThread()));
  });
}

TEST_F(EngineEnd, ReadThatEndsWithinFiveSecondsIsWaitedFor) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    block_reads(port);
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    ASSERT_TRUE(port.read_is_inside());
    port.say(exit_reply(), at_ms(4'999));
    platform::watch_calls();
    const Called ended = timed([&] { engine.end(); });
    EXPECT_EQ(4'999u, ended.ms);
    EXPECT_EQ(0u, platform::calls_of("TerminateThread"));
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
  });
}

TEST_F(EngineEnd, ReadThatDoesNotIsKilledAndItsPortStaysInUse) {
  const std::vector<std::string> left = left_by([] {
    ScriptedPort& port = port_for_good();
    ScriptedPort other("other");
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    vlp::XdltLink* const quiet = opened_link(other);
    EXPECT_NE(link, quiet);
    block_reads(port);
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    ASSERT_TRUE(port.read_is_inside());
    platform::watch_calls();
    const Called ended = timed([&] { engine.end(); });
    EXPECT_EQ(5'000u, ended.ms);
    EXPECT_EQ(1u, platform::calls_of("TerminateThread"));
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    EXPECT_FALSE(vlp::XdltPortIsInUse(other.handle()));
    // What the thread was in the midst of is left as it was.
    EXPECT_EQ(port.handle(), link->portHandle.load());
    EXPECT_EQ(1u, channel_count(*link));
    EXPECT_TRUE(link->wakeEvent);
    // A new engine knows nothing of the link, but the port is still the old one's.
    expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
    {
      Engine next;
      expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
      EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
      closed_link(other, opened_link(other));
      EXPECT_FALSE(vlp::XdltPortIsInUse(other.handle()));
    }
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    port.finish();
  });
  // The lock of the port, which was held in the read.
  ASSERT_EQ(1u, left.size()) << ::testing::PrintToString(left);
  EXPECT_THAT(left[0], HasSubstr("lock left: critical section of the ended"));
}

TEST_F(EngineEnd, EachThreadHasItsOwnFiveSeconds) {
  const std::vector<std::string> left = left_by([] {
    ScriptedPort& first = port_for_good();
    ScriptedPort& second = port_for_good();
    Engine engine;
    for (ScriptedPort* const port : {&first, &second}) {
      vlp::XdltLink* const link = opened_link(*port);
      block_reads(*port);
      vlp::Signal(link->wakeEvent.Get());
      test::settle();
    }
    const Called ended = timed([&] { engine.end(); });
    EXPECT_EQ(10'000u, ended.ms);
    EXPECT_TRUE(vlp::XdltPortIsInUse(first.handle()));
    EXPECT_TRUE(vlp::XdltPortIsInUse(second.handle()));
    first.finish();
    second.finish();
  });
  EXPECT_EQ(2u, left.size()) << ::testing::PrintToString(left);
}

TEST_F(EngineEnd, KilledThreadSilencesTheTraceAndTheLogCanGo) {
  left_by([&] {
    ScriptedPort& port = port_for_good();
    Engine engine(&log());
    vlp::XdltLink* const link = opened_link(port);
    ScriptedPort other("other");
    opened_link(other);
    block_reads(port);
    vlp::Signal(link->wakeEvent.Get());
    test::settle();
    engine.end();
    // Also the other link's end isn't told any more: the lock for it may be held for good.
    EXPECT_EQ(" >>>>>>   STOP Read Thread (Terminate)", trace().back());
    EXPECT_EQ(1u, trace_of(" >>>>>>").size());
    vlp::XdltForgetLog(log_.get());
    log_.reset();
    // The next engine begins without one.
    Engine next;
    closed_link(other, opened_link(other));
    EXPECT_EQ(" >>>>>>   STOP Read Thread (Terminate)", trace().back());
    port.finish();
  });
}

TEST_F(EngineEnd, CallInsideGoesOnWithWhatItKnowsAndEndsItsLink) {
  run_virtual_schedules(20,
                        [] {
                          ScriptedPort port;
                          ScriptedPort other("other");
                          Engine engine;
                          vlp::XdltLink* const link = opened_link(port);
                          port.expect(open_channel(0x02, 65535, 65535));
                          auto inside =
                              transact("inside", [&] { return open_channel_on(link, 0x02); });
                          test::sleep_ms(1'000);
                          const Called ended = timed([&] { engine.end(); });
                          EXPECT_EQ(0u, ended.ms);
                          EXPECT_FALSE(inside.ended());
                          EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
                          expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
                          // Another engine can begin meanwhile.
                          Engine next;
                          vlp::XdltLink* const fresh = opened_link(other);
                          EXPECT_NE(link, fresh);
                          EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
                          EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, inside.get().result);
                          EXPECT_LE(inside.get().ms, 1'300u);
                          EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
                          EXPECT_EQ(open_channel(0x02, 65535, 65535), port.last_write());
                          closed_link(other, fresh);
                        },
                        {.may_leave_handles = true});
}

TEST_F(EngineEnd, CallsAtTheGateComeThroughToo) {
  run_virtual_schedules(
      20,
      [] {
        ScriptedPort port;
        Engine engine;
        vlp::XdltLink* const link = opened_link(port);
        port.expect(open_channel(0x02, 65535, 65535));
        auto inside = transact("inside", [&] { return open_channel_on(link, 0x02); });
        test::sleep_ms(50);
        std::vector<Transaction> queued;
        for (const NamedCall& named : calls_on_a_link()) {
          queued.push_back(transact(named.name, [link, named] { return named.call(link); }));
        }
        test::settle();
        engine.end();
        EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, inside.get().result);
        for (Transaction& one : queued) {
          // Before its end, or behind it.
          EXPECT_LE(one.get().result, 0);
          EXPECT_LE(one.get().ms, 1'000u);
        }
        EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
        EXPECT_EQ(open_channel(0x02, 65535, 65535), port.last_write());
      },
      {.may_leave_handles = true});
}

TEST_F(EngineEnd, ReadCallInsideLeavesItsLinkBehind) {
  const std::vector<std::string> left = left_by([] {
    ScriptedPort& port = port_for_good();
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    opened_channel(port, link, 0x02);
    port.takes_credit(0x02);
    EXPECT_EQ(0, size_query(link, 0x02).result);
    test::settle();
    port.reads_wait(700);
    auto asking = transact("asking", [&] { return size_query(link, 0x02); });
    test::sleep_ms(200);
    engine.end();
    EXPECT_EQ(0, asking.get().result);
    EXPECT_EQ(700u, asking.get().ms);
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    test::settle();
    const std::size_t calls = port.call_count();
    test::sleep_ms(60'000);
    EXPECT_EQ(calls, port.call_count());
    port.finish();
  });
  // Its thread.
  ASSERT_EQ(1u, left.size()) << ::testing::PrintToString(left);
  EXPECT_THAT(left[0], HasSubstr("thread left: "));
}

TEST_F(EngineEnd, OpeningInsideFailsAndLeavesNothing) {
  run_virtual_schedules(20,
                        [] {
                          ScriptedPort port;
                          Engine engine;
                          port.expect(entry_string());
                          Opened opened;
                          auto opening = transact("opening", [&] {
                            opened = open_link(port);
                            return static_cast<Called>(opened);
                          });
                          test::sleep_ms(1'000);
                          engine.end();
                          EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
                          EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, opening.get().result);
                          EXPECT_EQ(nullptr, opened.link);
                          EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
                        },
                        {.may_leave_handles = true});
}

// The end of the engine and the last call out may both find a link that nobody is inside.
TEST_F(EngineEnd, CallsThatComeAtItsEndAreRefusedOrServed) {
  run_virtual_schedules(120,
                        [] {
                          ScriptedPort port;
                          Engine engine;
                          vlp::XdltLink* const link = opened_link(port);
                          std::vector<Transaction> calls;
                          for (int i = 0; i < 2; ++i) {
                            calls.push_back(transact("caller", [&] {
                              std::int32_t result = 0;
                              for (int round = 0; round < 5; ++round)
                                result = close_channel_on(link, 0x02).result;
                              return result;
                            }));
                          }
                          engine.end();
                          for (Transaction& call : calls) {
                            EXPECT_THAT(call.get().result,
                                        AnyOf(vlp::XDLT_ERR_NOCHANNEL, vlp::XDLT_ERR_NOLINK));
                          }
                          EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
                        },
                        {.may_leave_handles = true});
}

}  // namespace
}  // namespace d4_test
