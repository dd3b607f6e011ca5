// The command layer's read half: polls, limits, the fetch.

#include "tests/d4/cmd_fixture.h"

#include <numeric>

namespace {

using cmd_test::CmdTest;
using cmd_test::kBackOff;
using cmd_test::kUntouched;
using cmd_test::Lines;
using cmd_test::Settings;
using test::elapsed_ms;
using test::run_virtual_parallel;
using test::sleep_ms;

class CmdRead : public CmdTest {
 protected:
  // With an open command channel.
  struct Reader : Device {
    explicit Reader(const std::optional<vlp::GenVlSettings>& settings = cmd_test::kUsual)
        : Device(settings) {
      entry = open_channel();
      start = GetTickCount();
    }
    bool read(std::uint32_t capacity = 64) {
      return io.D4ReadCmd(entry, answer, capacity, &count, start);
    }

    vlp::D4ChannelEntry* entry;
    DWORD start;
  };

  // The times at which the engine was asked for a size.
  static Lines sizes_at(const std::vector<unsigned>& times) {
    Lines lines;
    for (const unsigned time : times) lines.push_back(std::to_string(time) + ": Size 02");
    return lines;
  }

  // The first polls of these settings, with an answer behind them.
  static Lines polls(const std::optional<vlp::GenVlSettings>& settings, unsigned count) {
    fake_engine::reset();
    Lines times;
    run_virtual_parallel([&] {
      Reader reader(settings);
      for (unsigned i = 0; i < count; ++i) fake_engine::scripts().size.first.push_back({0});
      fake_engine::scripts().size.otherwise.result = 5;
      EXPECT_TRUE(reader.read());
      times = fake_engine::calls_of("Size");
    });
    return times;
  }
};

TEST_F(CmdRead, WhatWaitsIsFetchedInItsOwnSize) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise.result = 5;
    EXPECT_TRUE(reader.read());
    EXPECT_EQ(reader.count, 5u);
    EXPECT_EQ(std::vector<int>(reader.answer, reader.answer + 6),
              (std::vector<int>{1, 2, 3, 4, 5, 0}));
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: Size 02", "0: Fetch 02 of 5"}));
  });
}

TEST_F(CmdRead, TheCountIsThatOfTheFetch) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise.result = 5;
    fake_engine::scripts().fetch.otherwise.result = 2;
    EXPECT_TRUE(reader.read());
    EXPECT_EQ(reader.count, 2u);
    EXPECT_EQ(fake_engine::calls_of("Fetch").size(), 1u);
  });
}

TEST_F(CmdRead, BadArgumentsAreRefusedWithoutACall) {
  run_virtual_parallel([] {
    Reader reader;
    const auto refused = [&reader](vlp::D4ChannelEntry* entry, std::uint8_t* buffer,
                                   std::uint32_t capacity, std::uint32_t* count) {
      SetLastError(kUntouched);
      return !reader.io.D4ReadCmd(entry, buffer, capacity, count, reader.start) &&
             GetLastError() == 0;
    };
    EXPECT_TRUE(refused(nullptr, reader.answer, 64, &reader.count));
    EXPECT_TRUE(refused(reader.entry, nullptr, 64, &reader.count));
    EXPECT_TRUE(refused(reader.entry, reader.answer, 0, &reader.count));
    EXPECT_TRUE(refused(reader.entry, reader.answer, 64, nullptr));
    EXPECT_EQ(reader.count, 99u);
    reader.io.D4CloseChnl(reader.entry);
    fake_engine::forget_calls();
    EXPECT_TRUE(refused(reader.entry, reader.answer, 64, &reader.count)) << "a closed channel";
    EXPECT_EQ(reader.count, 0u);
    EXPECT_EQ(fake_engine::calls(), Lines{});
  });
}

TEST_F(CmdRead, TheCountIsNothingUntilAnAnswerCame) {
  run_virtual_parallel([] {
    Reader reader;
    sleep_ms(10'000);
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(reader.count, 0u);
  });
}

TEST_F(CmdRead, ASpentLimitAsksForNothing) {
  run_virtual_parallel([] {
    Reader reader;
    sleep_ms(10'000);
    EXPECT_FALSE(reader.read()) << "exactly the limit is too late";
    EXPECT_EQ(fake_engine::calls(), Lines{});
  });
}

TEST_F(CmdRead, AMillisecondBeforeTheLimitStillAsks) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise.result = 5;
    sleep_ms(9'999);
    EXPECT_TRUE(reader.read());
  });
}

TEST_F(CmdRead, AnAnswerWithinTheLimitIsWaitedFor) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size = {{{0}, {0}, {-33}, {0}}, {5}};
    EXPECT_TRUE(reader.read());
    EXPECT_EQ(reader.count, 5u);
    EXPECT_EQ(fake_engine::calls_of("Size"), sizes_at({0, 4, 12, 28, 53}));
    EXPECT_EQ(fake_engine::calls_of("Fetch"), Lines{"53: Fetch 02 of 5"});
  });
}

TEST_F(CmdRead, ThePollBacksOffToItsMaximum) {
  EXPECT_EQ(polls(Settings(kBackOff, 4, 25, 20000), 6), sizes_at({0, 4, 12, 28, 53, 78, 103}))
      << "waits of 4, 8, 16, 25, 25, 25";
}

TEST_F(CmdRead, WithoutSettingsThePollBeginsAtOneMillisecondAndEndsAtFifty) {
  EXPECT_EQ(polls(std::nullopt, 8), sizes_at({0, 1, 3, 7, 15, 31, 63, 113, 163}));
}

TEST_F(CmdRead, AMaximumOfNothingWaitsOnceThenPollsEachMillisecond) {
  EXPECT_EQ(polls(Settings(kBackOff, 4, 0, 20000), 4), sizes_at({0, 4, 5, 6, 7}));
}

TEST_F(CmdRead, ATimingOfNothingPollsEachMillisecond) {
  EXPECT_EQ(polls(Settings(kBackOff, 0, 25, 20000), 3), sizes_at({0, 1, 2, 3}));
}

TEST_F(CmdRead, ATimingAboveTheMaximumFallsToIt) {
  EXPECT_EQ(polls(Settings(kBackOff, 40, 25, 20000), 3), sizes_at({0, 40, 65, 90}));
}

TEST_F(CmdRead, ThePollGoesToTheMaximumFromItsHalf) {
  EXPECT_EQ(polls(Settings(kBackOff, 4, 8, 20000), 2), sizes_at({0, 4, 12}));
  EXPECT_EQ(polls(Settings(kBackOff, 4, 10, 20000), 2), sizes_at({0, 4, 12}));
  EXPECT_EQ(polls(Settings(kBackOff, 5, 11, 20000), 2), sizes_at({0, 5, 16}));
  EXPECT_EQ(polls(Settings(kBackOff, 2, 5, 20000), 2), sizes_at({0, 2, 7}));
}

TEST_F(CmdRead, OnlyModeOneBacksOff) {
  for (const std::uint32_t mode : {0u, 2u, 3u, 0xffffffffu}) {
    EXPECT_EQ(polls(Settings(mode, 4, 25, 20000), 3), sizes_at({0, 100, 200, 300})) << mode;
  }
}

TEST_F(CmdRead, AnotherNonZeroModeReachesTheEngineAsItIs) {
  run_virtual_parallel([] {
    vlp::XdltPortOps ops;
    const vlp::GenVlSettings settings = Settings(2, 4, 25, 20000);
    vlp::CD4CmdIO io(nullptr, cmd_test::kPort, &ops, &settings);
    EXPECT_TRUE(io.D4Open());
    EXPECT_EQ(fake_engine::calls_of("SetParameters"),
              Lines{"0: SetParameters 2 timing=4 mode=2 max=25"});
  });
}

TEST_F(CmdRead, ThePollsEndAtTheLimit) {
  run_virtual_parallel([] {
    Reader reader(Settings(0, 50, 0, 600));
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(fake_engine::calls(), sizes_at({0, 100, 200}));
    EXPECT_EQ(elapsed_ms(), 300u);
    EXPECT_EQ(reader.count, 0u);
    EXPECT_EQ(reader.io.FatalError(), 0u);
  });
}

TEST_F(CmdRead, ABackingOffPollEndsAtTheLimitItself) {
  run_virtual_parallel([] {
    Reader reader(Settings(kBackOff, 4, 25, 120));
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(fake_engine::calls(), sizes_at({0, 4, 12, 28, 53}));
    EXPECT_EQ(elapsed_ms(), 60u);
  });
}

TEST_F(CmdRead, AHugeTimingSleepsNoLongerThanTheCommandMayTake) {
  for (const std::uint32_t timing : {10'001u, 0x7fffffffu, 0xffffffffu}) {
    fake_engine::reset();
    run_virtual_parallel([timing] {
      Reader reader(Settings(kBackOff, timing, timing, 20000));
      fake_engine::scripts().size.first = {{0, 4'000}};
      EXPECT_FALSE(reader.read());
      EXPECT_EQ(fake_engine::calls(), sizes_at({0})) << timing;
      EXPECT_EQ(elapsed_ms(), 10'000u) << timing;
    });
  }
}

TEST_F(CmdRead, AHugeMaximumDoesNotWrapTheWait) {
  run_virtual_parallel([] {
    Reader reader(Settings(kBackOff, 0x40000000, 0xffffffff, 20000));
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(fake_engine::calls(), sizes_at({0}));
    EXPECT_EQ(elapsed_ms(), 10'000u);
  });
}

TEST_F(CmdRead, AQueryThatOverranTheLimitIsTheLast) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise = {0, 11'000};
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(fake_engine::calls(), sizes_at({0}));
    EXPECT_EQ(elapsed_ms(), 11'001u) << "a poll lasts a millisecond at least";
  });
}

TEST_F(CmdRead, ALimitOfNothingFailsEveryReadWithoutACall) {
  for (const std::uint32_t time : {0u, 1u}) {
    fake_engine::reset({.size = {{}, {5}}});
    run_virtual_parallel([time] {
      Reader reader(Settings(kBackOff, 4, 25, time));
      EXPECT_FALSE(reader.read()) << time;
      EXPECT_EQ(fake_engine::calls(), Lines{}) << time;
    });
  }
}

TEST_F(CmdRead, AnAnswerLargerThanTheBufferStaysInTheChannel) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise.result = 5000;
    std::vector<std::uint8_t> buffer(4096, 0x77);
    SetLastError(kUntouched);
    EXPECT_FALSE(
        reader.io.D4ReadCmd(reader.entry, buffer.data(), 4096, &reader.count, reader.start));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(reader.count, 0u);
    EXPECT_EQ(buffer, std::vector<std::uint8_t>(4096, 0x77));
    EXPECT_EQ(fake_engine::calls(), Lines{"0: Size 02"});
    buffer.resize(5000);
    EXPECT_TRUE(
        reader.io.D4ReadCmd(reader.entry, buffer.data(), 5000, &reader.count, reader.start));
    EXPECT_EQ(reader.count, 5000u) << "the next command finds it";
  });
}

TEST_F(CmdRead, AnAnswerOfExactlyTheBuffersSizeIsFetched) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise.result = 64;
    EXPECT_TRUE(reader.read(64));
    EXPECT_FALSE(reader.read(63));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  });
}

TEST_F(CmdRead, ATooLargeAnswerIsToldEvenBehindTheLimit) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise = {65, 10'000};
    EXPECT_FALSE(reader.read(64));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  });
}

TEST_F(CmdRead, AnAnswerThatComesAtTheLimitIsNotFetched) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise = {5, 10'000};
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(fake_engine::calls(), Lines{"0: Size 02"});
    EXPECT_EQ(reader.count, 0u);
  });
  fake_engine::reset({.size = {{}, {5, 9'999}}});
  run_virtual_parallel([] {
    Reader reader;
    EXPECT_TRUE(reader.read());
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: Size 02", "9999: Fetch 02 of 5"}));
  });
}

TEST_F(CmdRead, AFetchThatFailsIsMadeAgainEveryTenthOfASecond) {
  run_virtual_parallel([] {
    Reader reader;
    fake_engine::scripts().size.otherwise.result = 5;
    fake_engine::scripts().fetch.first = {{0}, {-34}, {-33}};
    EXPECT_TRUE(reader.read());
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: Size 02", "0: Fetch 02 of 5", "100: Fetch 02 of 5",
                                           "200: Fetch 02 of 5", "300: Fetch 02 of 5"}));
    EXPECT_EQ(reader.count, 5u);
  });
}

TEST_F(CmdRead, FetchesEndAtTheLimit) {
  run_virtual_parallel([] {
    Reader reader(Settings(kBackOff, 4, 25, 600));
    fake_engine::scripts().size.otherwise.result = 5;
    fake_engine::scripts().fetch.otherwise.result = -33;
    EXPECT_FALSE(reader.read());
    EXPECT_EQ(fake_engine::calls_of("Fetch").size(), 3u) << "the one at exactly 300 is too late";
    EXPECT_EQ(elapsed_ms(), 300u);
    EXPECT_EQ(reader.count, 0u);
    EXPECT_EQ(reader.io.FatalError(), 0u);
  });
}

TEST_F(CmdRead, ALostLinkEndsThePollAtOnce) {
  for (const std::int32_t result : {-22, -24, -50, -80}) {
    fake_engine::reset({.size = {{{0}}, {result}}});
    run_virtual_parallel([result] {
      Reader reader;
      EXPECT_FALSE(reader.read());
      EXPECT_EQ(reader.io.FatalError(), 1u) << result;
      EXPECT_EQ(fake_engine::calls(), sizes_at({0, 4})) << result;
      EXPECT_EQ(elapsed_ms(), 4u) << result;
    });
  }
}

TEST_F(CmdRead, ALostLinkEndsTheFetchAtOnce) {
  for (const std::int32_t result : {-22, -24, -50, -80}) {
    fake_engine::reset({.size = {{}, {5}}, .fetch = {{}, {result}}});
    run_virtual_parallel([result] {
      Reader reader;
      EXPECT_FALSE(reader.read());
      EXPECT_EQ(reader.io.FatalError(), 1u) << result;
      EXPECT_EQ(fake_engine::calls().size(), 2u) << result;
      EXPECT_EQ(elapsed_ms(), 0u) << result;
    });
  }
}

TEST_F(CmdRead, WithoutItsEventThePollSleepsInstead) {
  run_virtual_parallel([] {
    platform::fail_call("CreateEventA", 1, ERROR_NOT_ENOUGH_MEMORY);
    Reader reader(Settings(kBackOff, 4, 0, 20000));
    ASSERT_EQ(platform::faults_met(), 1u);
    fake_engine::scripts().size = {{{0}, {0}, {0}}, {5}};
    platform::watch_calls();
    EXPECT_TRUE(reader.read());
    EXPECT_EQ(fake_engine::calls_of("Size"), sizes_at({0, 4, 5, 6}));
    EXPECT_EQ(platform::calls_of("timeSetEvent"), 0u);
  });
}

}  // namespace
