// Openings for which the system has nothing left.

#include <gmock/gmock.h>

#include "platform/faults.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;

class LinkOpenFaults : public ::testing::Test {
 protected:
  void TearDown() override { platform::clear_faults(); }

  // The next opening meets this fault, the one behind it doesn't.
  void expect_out_of(ScriptedPort& port, const std::string& call, unsigned nth) {
    platform::fail_call(call, nth, ERROR_NOT_ENOUGH_MEMORY);
    const Opened opened = open_link(port);
    EXPECT_EQ(std::vector<std::string>{call}, platform::failed_calls());
    EXPECT_EQ(vlp::XDLT_ERR_RESOURCE, opened.result);
    EXPECT_EQ(nullptr, opened.link);
    EXPECT_EQ(0u, opened.ms);
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
    expect_free(record(0));
    platform::clear_faults();
  }
};

TEST_F(LinkOpenFaults, EachEventThatCannotBeMade) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    for (unsigned nth = 1; nth <= 5; ++nth) {
      SCOPED_TRACE(nth);
      expect_out_of(port, "CreateEventA", nth);
      EXPECT_EQ(0u, port.call_count());
    }
    closed_link(port, opened_link(port));
  });
}

TEST_F(LinkOpenFaults, FiveEventsAreMadeForALink) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    platform::watch_calls();
    vlp::XdltLink* const link = opened_link(port);
    EXPECT_EQ(5u, platform::calls_of("CreateEventA"));
    closed_link(port, link);
    EXPECT_EQ(5u, platform::calls_of("CreateEventA"));
  });
}

TEST_F(LinkOpenFaults, EventsThatCannotBeMadeLeaveThePriority) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    port.ops()->keepPriority = 0;
    expect_out_of(port, "CreateEventA", 3);
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, GetThreadPriority(GetCurrentThread()));
  });
}

TEST_F(LinkOpenFaults, ReadThreadThatCannotBeHad) {
  for (const std::string call : {"GetModuleHandleExA", "CreateThread", "ResumeThread"}) {
    SCOPED_TRACE(call);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      port.ops()->skipDummyRead = 1;
      for (int round = 0; round < 3; ++round) {
        port.expect(entry_string());
        expect_out_of(port, call, 1);
        EXPECT_EQ(0u, port.read_count());
      }
      closed_link(port, opened_link(port));
    });
  }
}

TEST_F(LinkOpenFaults, ReadThreadThatCannotBeHadGivesThePriorityBack) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    port.ops()->keepPriority = 0;
    port.expect(entry_string());
    expect_out_of(port, "CreateThread", 1);
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, GetThreadPriority(GetCurrentThread()));
  });
}

TEST_F(LinkOpenFaults, ModuleIsGivenBackWithTheThreadThatNeverRan) {
  struct Fault {
    std::string call;
    unsigned given_back;
  };
  for (const Fault& fault :
       {Fault{"GetModuleHandleExA", 0}, Fault{"CreateThread", 1}, Fault{"ResumeThread", 1}}) {
    SCOPED_TRACE(fault.call);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      port.expect(entry_string());
      platform::watch_calls();
      platform::fail_call(fault.call, 1, ERROR_NOT_ENOUGH_MEMORY);
      EXPECT_EQ(vlp::XDLT_ERR_RESOURCE, open_link(port).result);
      EXPECT_EQ(1u, platform::calls_of("GetModuleHandleExA"));
      EXPECT_EQ(fault.given_back, platform::calls_of("FreeLibrary"));
      platform::clear_faults();
    });
  }
}

TEST_F(LinkOpenFaults, RecordWithoutAGateIsRefused) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    platform::fail_call("CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY);
    Engine engine;
    platform::clear_faults();
    ASSERT_FALSE(record(0).gateEvent);
    const Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_RESOURCE, opened.result);
    EXPECT_EQ(nullptr, opened.link);
    EXPECT_EQ(0u, record(0).callers.load());
    EXPECT_EQ(0u, port.call_count());
  });
}

TEST_F(LinkOpenFaults, OperationsOnALinkWhoseGateIsGoneAreRefused) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    vlp::XdltLink* const link = opened_link(port);
    vlp::KernelHandle gate = std::move(link->gateEvent);
    expect_all_refused(link, vlp::XDLT_ERR_NOLINK);
    EXPECT_EQ(0u, link->callers.load());
    link->gateEvent = std::move(gate);
    closed_link(port, link);
  });
}

// Any one call of the system that fails on the way: the opening either works all the same or fails
// and leaves nothing. Behind it the same port opens.
TEST_F(LinkOpenFaults, AnyOneCallMayFail) {
  bool met = true;
  unsigned nth = 1;
  for (; met; ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_LT(nth, 1000u);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      port.ignores_the_rest();
      port.expect(entry_string()).answer(entry_reply()).at_any_time().times(2);
      port.expect(init()).answer(init_reply()).at_any_time().times(2);
      port.expect(exit_link()).answer(exit_reply()).at_any_time().times(2);
      platform::fail_nth_system_call(nth, ERROR_NOT_ENOUGH_MEMORY);
      const Opened opened = open_link(port);
      met = platform::faults_met() != 0;
      platform::clear_faults();
      if (opened.result == 0) {
        EXPECT_EQ(0, close_link(opened.link).result);
      } else {
        EXPECT_EQ(nullptr, opened.link);
        EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
      }
      expect_free(record(0));
      const Opened again = open_link(port);
      EXPECT_EQ(0, again.result);
      if (again.result == 0) {
        EXPECT_EQ(0, close_link(again.link).result);
      }
      static_cast<void>(port.forgive());
    });
    if (HasFailure()) break;
  }
  EXPECT_GT(nth, 10u);
}

}  // namespace
}  // namespace d4_test
