// What a link's life shows in the trace.

#include <gmock/gmock.h>

#include "platform/multimedia.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;

class LinkTrace : public EngineTest {
 protected:
  // All but the transfers, whose number isn't the same each time.
  std::vector<std::string> steps() const {
    std::vector<std::string> kept;
    for (const std::string& line : trace()) {
      if (line.rfind("  *READ*", 0) != 0 && line.rfind("  *Dummy Read*", 0) != 0) {
        kept.push_back(line);
      }
    }
    return kept;
  }
};

const std::string kEntryWrite =
    "  *WRITE* Size=0027(0027) 00 00 00 1B 01 40 51 50 4C 20 31 32 38 34 2E 34 "
    ": Start=<time> / End=<time>";
const std::string kInitWrite =
    "  *WRITE* Size=0008(0008) 00 00 00 08 01 00 00 10 : Start=<time> / End=<time>";
const std::string kExitWrite =
    "  *WRITE* Size=0007(0007) 00 00 00 07 01 00 08 : Start=<time> / End=<time>";
const std::string kStop = " >>>>>>   STOP Read Thread (Terminate)";
const std::string kThreadEnd = " >>>>>>   Read Thread End (ReadThread)";
const std::string kAfterEnd = " >>>>>>   After Read Thread END (Terminate)";
const std::string kTheEnd = " >>>>>>   The End of Termination (Terminate)";

TEST_F(LinkTrace, OpenAndClose) {
  run_virtual_schedules(10, [&] {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
    log_.reset();
    {
      ScriptedPort port;
      Engine engine(&log());
      closed_link(port, opened_link(port));
    }
    log_.reset();
    EXPECT_THAT(steps(), ElementsAre(stamped("XDLT_Open(S)"), stamped("MMTimerRes: Min=1"),
                                     stamped("MMTimerRes: Max=65535"), kEntryWrite, kInitWrite,
                                     stamped("XDLT_Open(E)"), stamped("XDLT_Close(S)"), kExitWrite,
                                     stamped("XDLT_Close(M)"), kStop, kThreadEnd, kAfterEnd,
                                     kTheEnd, stamped("XDLT_Close(E)")));
  });
}

TEST_F(LinkTrace, OpeningThatFails) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine(&log());
    port.expect(entry_string()).answer(entry_reply(1));
    EXPECT_EQ(vlp::XDLT_ERR_ENTRY_REFUSED, open_link(port).result);
  });
  EXPECT_THAT(steps(), ElementsAre(stamped("XDLT_Open(S)"), stamped("MMTimerRes: Min=1"),
                                   stamped("MMTimerRes: Max=65535"), kEntryWrite, kStop, kThreadEnd,
                                   kAfterEnd, kTheEnd, stamped("XDLT_Open(E)")));
}

TEST_F(LinkTrace, OpeningThatFailsBeforeThereIsAThread) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine(&log());
    port.expect(entry_string()).fails({.bytes = 5});
    EXPECT_EQ(vlp::XDLT_ERR_ENTRY_WRITE, open_link(port).result);
  });
  EXPECT_THAT(steps(),
              ElementsAre(stamped("XDLT_Open(S)"), stamped("MMTimerRes: Min=1"),
                          stamped("MMTimerRes: Max=65535"),
                          "  *WRITE* Size=0027(0005) 00 00 00 1B 01 : Start=<time> / End=<time>",
                          kTheEnd, stamped("XDLT_Open(E)")));
}

TEST_F(LinkTrace, OpeningThatIsRefusedShowsItsBeginningOnly) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine(&log());
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, vlp::XDLT_Open(0, port.ops(), nullptr));
  });
  EXPECT_THAT(trace(), ElementsAre(stamped("XDLT_Open(S)")));
}

TEST_F(LinkTrace, CloseOfABadLinkShowsNothing) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(&record(2)).result);
    EXPECT_EQ(vlp::XDLT_ERR_PARAM, close_link(nullptr).result);
  });
  EXPECT_THAT(trace(), ElementsAre());
}

TEST_F(LinkTrace, TimerPeriodsAreTheSystems) {
  run_virtual_parallel([&] {
    platform::set_timer_period_min(5);
    ScriptedPort port;
    Engine engine(&log());
    platform::set_timer_period_min(1);
    closed_link(port, opened_link(port));
  });
  EXPECT_THAT(trace_of("MMTimerRes"),
              ElementsAre(stamped("MMTimerRes: Min=5"), stamped("MMTimerRes: Max=65535")));
}

TEST_F(LinkTrace, EngineThatEndsShowsTheThreadsEnd) {
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine(&log());
    opened_link(port);
    engine.end();
  });
  const std::vector<std::string> lines = steps();
  ASSERT_LE(3u, lines.size());
  EXPECT_THAT(std::vector<std::string>(lines.end() - 3, lines.end()),
              ElementsAre(kStop, kThreadEnd, kAfterEnd));
}

}  // namespace
}  // namespace d4_test
