// The trace: where it goes, when there is one, and how its lines look.

#include <gmock/gmock.h>

#include "d4/trace.h"
#include "platform/faults.h"
#include "tests/d4/engine_calls_spy.h"
#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EngineTrace : public EngineTest {
 protected:
  void TearDown() override { platform::clear_faults(); }

  // A log beside the fixture's own.
  std::unique_ptr<vlp::DbgLog> other_log(const char* name, std::uint32_t mask = vlp::kLogObjects) {
    return std::make_unique<vlp::DbgLog>(name, directory_.c_str(), mask, 0);
  }
  std::size_t lines_of(const char* name) const {
    return log_lines::read(directory_ + name + ".dat").size();
  }
};

TEST_F(EngineTrace, TextWithTimeStandsInTwentySixColumns) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    vlp::XdltTrace(1, "");
    vlp::XdltTrace(1, "short");
    vlp::XdltTrace(7, "abcdefghijklmnopqrstuvwxy");
    vlp::XdltTrace(1, "abcdefghijklmnopqrstuvwxyz");
    vlp::XdltTrace(1, "abcdefghijklmnopqrstuvwxyz!");
    vlp::XdltTrace(1, std::string(300, 'x').c_str());
  });
  EXPECT_THAT(
      trace(),
      ElementsAre("                           <time>", "short                      <time>",
                  "abcdefghijklmnopqrstuvwxy  <time>", "abcdefghijklmnopqrstuvwxyz <time>",
                  "abcdefghijklmnopqrstuvwxyz <time>", "xxxxxxxxxxxxxxxxxxxxxxxxxx <time>"));
}

TEST_F(EngineTrace, TimeIsSecondsMillisecondsAndMicrosecondsOfTheMinute) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    for (const std::int64_t microseconds :
         {std::int64_t{0}, std::int64_t{7}, std::int64_t{12'345'678}, std::int64_t{59'999'999},
          std::int64_t{60'000'000}, std::int64_t{61'002'003}}) {
      set_counter({.count = microseconds * 10});
      vlp::XdltTrace(1, "at");
    }
    set_counter({});
  });
  std::vector<std::string> times;
  for (const std::string& line : trace_with_times()) times.push_back(line.substr(27));
  EXPECT_THAT(times, ElementsAre("00.000.000", "00.000.007", "12.345.678", "59.999.999",
                                 "00.000.000", "01.002.003"));
}

TEST_F(EngineTrace, FurtherTextsStandBehind) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    vlp::XdltTrace(0, "one");
    vlp::XdltTrace(0, "one", " two");
    vlp::XdltTrace(0, "one", " two", " three");
    vlp::XdltTrace(0, "one", nullptr, " three");
    vlp::XdltTrace(0, "one %s %d", " 100%s", " %n");
    vlp::XdltTrace(1, "one", " two", " three");
    vlp::XdltTrace(0, "");
  });
  EXPECT_THAT(trace(), ElementsAre("one", "one two", "one two three", "one", "one %s %d 100%s %n",
                                   "one                        <time> two three", ""));
}

TEST_F(EngineTrace, TextWithoutTimeOfMoreThan128BytesIsDropped) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    vlp::XdltTrace(0, std::string(127, 'a').c_str());
    vlp::XdltTrace(0, std::string(128, 'b').c_str(), " more");
    vlp::XdltTrace(0, std::string(129, 'c').c_str());
    vlp::XdltTrace(0, std::string(4096, 'd').c_str(), " more");
    vlp::XdltTrace(0, "e", std::string(200, 'e').c_str());
  });
  EXPECT_THAT(trace(), ElementsAre(std::string(127, 'a'), std::string(128, 'b') + " more",
                                   std::string(201, 'e')));
}

TEST_F(EngineTrace, LastErrorIsKept) {
  run_virtual_parallel([&] {
    Engine engine(&log());
    SetLastError(4711);
    vlp::XdltTrace(1, "text");
    EXPECT_EQ(4711u, GetLastError());
    vlp::XdltTrace(0, std::string(500, 'x').c_str());
    EXPECT_EQ(4711u, GetLastError());
    for (const char* const call : {"CreateFileA", "WriteFile"}) {
      platform::fail_call_from(call, 1, ERROR_DISK_FULL);
      vlp::XdltTrace(1, "text", "more");
      EXPECT_EQ(4711u, GetLastError()) << call;
      EXPECT_NE(0u, platform::faults_met()) << call;
      platform::clear_faults();
    }
  });
}

TEST_F(EngineTrace, LogWithAnyLevelOnIsTraced) {
  for (const std::uint32_t mask : {vlp::kLogD4, vlp::kLogPrinter, vlp::kLogUncut, 0xFFFF'FFFFu}) {
    auto traced = other_log("any", mask);
    run_virtual_parallel([&] {
      const Engine engine(traced.get());
      EXPECT_TRUE(vlp::TraceIsOn());
      vlp::XdltTrace(0, "line");
    });
  }
  EXPECT_EQ(4u, lines_of("any"));
}

TEST_F(EngineTrace, WithoutALevelOrALogThereIsNone) {
  auto mute = other_log("mute", 0);
  for (vlp::DbgLog* const given : {mute.get(), static_cast<vlp::DbgLog*>(nullptr)}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine(given);
      EXPECT_FALSE(vlp::TraceIsOn());
      platform::watch_calls();
      vlp::XdltLink* const link = opened_link(port);
      opened_channel(port, link, 0x02, {.credit = 1});
      port.expect(data(0x02, {1}));
      EXPECT_EQ(1, write(link, 0x02, {1}).result);
      EXPECT_EQ(0, fetch(link, 0x02, 4).result);
      set_plain_wait(link, 5);
      set_retry_timing(link, 1, 2, 3);
      closed_channel(port, link, 0x02);
      closed_link(port, link);
      EXPECT_EQ(0u, platform::calls_of("CreateFileA"));
      EXPECT_EQ(0u, platform::calls_of("QueryPerformanceCounter"));
      platform::clear_faults();
    });
  }
  EXPECT_EQ(0u, lines_of("mute"));
}

TEST_F(EngineTrace, WithoutAnEngineThereIsNone) {
  run_virtual_parallel([&] {
    EXPECT_FALSE(vlp::TraceIsOn());
    vlp::XdltTrace(0, "before");
    {
      const Engine engine(&log());
      EXPECT_TRUE(vlp::TraceIsOn());
      vlp::XdltTrace(0, "in");
    }
    EXPECT_FALSE(vlp::TraceIsOn());
    vlp::XdltTrace(0, "behind");
  });
  EXPECT_THAT(trace(), ElementsAre("in"));
}

TEST_F(EngineTrace, FirstLogGivenIsKept) {
  auto second = other_log("second");
  auto third = other_log("third");
  run_virtual_parallel([&] {
    const Engine none;
    EXPECT_FALSE(vlp::TraceIsOn());
    const Engine one(&log());
    EXPECT_TRUE(vlp::TraceIsOn());
    const Engine two(second.get());
    vlp::XdltTrace(0, "line");
    const Engine three;
    vlp::XdltTrace(0, "line");
    EXPECT_TRUE(vlp::TraceIsOn());
  });
  EXPECT_EQ(2u, trace().size());
  EXPECT_EQ(0u, lines_of("second"));
  // A new table begins without one.
  run_virtual_parallel([&] {
    const Engine engine(third.get());
    vlp::XdltTrace(0, "line");
  });
  EXPECT_EQ(2u, trace().size());
  EXPECT_EQ(1u, lines_of("third"));
}

TEST_F(EngineTrace, LogWithoutLevelsIsKeptToo) {
  auto mute = other_log("mute", 0);
  run_virtual_parallel([&] {
    const Engine first(mute.get());
    const Engine second(&log());
    EXPECT_FALSE(vlp::TraceIsOn());
    vlp::XdltTrace(0, "line");
  });
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(EngineTrace, ForgottenLogGetsNoLineMoreAndTheNextOneGiven) {
  auto second = other_log("second");
  run_virtual_parallel([&] {
    ScriptedPort port;
    const Engine engine(&log());
    vlp::XdltForgetLog(second.get());
    vlp::XdltForgetLog(nullptr);
    EXPECT_TRUE(vlp::TraceIsOn());
    vlp::XdltTrace(0, "last");
    vlp::XdltForgetLog(log_.get());
    EXPECT_FALSE(vlp::TraceIsOn());
    log_.reset();
    vlp::XdltTrace(0, "lost");
    closed_link(port, opened_link(port));
    const Engine next(second.get());
    EXPECT_TRUE(vlp::TraceIsOn());
    vlp::XdltTrace(0, "next");
  });
  EXPECT_THAT(trace(), ElementsAre("last"));
  EXPECT_EQ(1u, lines_of("second"));
}

TEST_F(EngineTrace, ForgettingWithoutAnEngineIsNoMatter) {
  run_virtual_parallel([&] {
    vlp::XdltForgetLog(&log());
    vlp::XdltForgetLog(nullptr);
  });
  EXPECT_THAT(trace(), IsEmpty());
}

// Links live on all sides while their log goes away: from the moment at which it is forgotten
// nobody touches it, which the sanitizers see, and no line comes any more.
TEST_F(EngineTrace, LogMayGoWhileOthersTrace) {
  for (unsigned seed = 0; seed < 16; ++seed) {
    directory_ = far_side::fresh_log_directory();
    log_.reset();
    std::size_t at_the_end = 0;
    const auto scenario = [&] {
      std::vector<std::unique_ptr<ScriptedPort>> all;
      for (int i = 0; i < 4; ++i) all.push_back(std::make_unique<ScriptedPort>());
      Engine engine(&log());
      std::vector<test::TestThread> threads;
      for (const auto& port : all) {
        threads.push_back(test::spawn("linker", [&port] {
          for (int round = 0; round < 5; ++round) {
            vlp::XdltLink* const link = opened_link(*port);
            opened_channel(*port, link, 0x02);
            closed_channel(*port, link, 0x02);
            closed_link(*port, link);
            test::sleep_ms(1);
          }
        }));
      }
      test::sleep_ms(2);
      for (unsigned i = 0; i < seed; ++i) Sleep(0);
      vlp::XdltForgetLog(log_.get());
      log_.reset();
      at_the_end = trace().size();
      threads.clear();
    };
    if (seed % 2 == 0) {
      run_virtual_parallel(scenario);
    } else {
      test::run_virtual_serial(seed, scenario);
    }
    EXPECT_NE(0u, at_the_end);
    EXPECT_EQ(at_the_end, trace().size()) << seed;
  }
}

TEST_F(EngineTrace, LinesOfSeveralThreadsAreWhole) {
  run_virtual_schedules(5, [&] {
    directory_ = far_side::fresh_log_directory();
    log_.reset();
    {
      Engine engine(&log());
      std::vector<test::TestThread> threads;
      for (int i = 0; i < 4; ++i) {
        threads.push_back(test::spawn("writer", [] {
          for (int line = 0; line < 10; ++line) vlp::XdltTrace(0, "one", " two", " three");
        }));
      }
    }
    log_.reset();
    EXPECT_EQ(std::vector<std::string>(40, "one two three"), trace());
  });
}

}  // namespace
}  // namespace d4_test
