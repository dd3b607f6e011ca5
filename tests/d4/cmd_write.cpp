// The command layer's write half.

#include "tests/d4/cmd_fixture.h"

namespace {

using cmd_test::CmdTest;
using cmd_test::kBackOff;
using cmd_test::kCommand;
using cmd_test::kUntouched;
using cmd_test::kWritten;
using cmd_test::Lines;
using cmd_test::Settings;
using test::elapsed_ms;
using test::run_virtual_parallel;
using test::sleep_ms;

class CmdWrite : public CmdTest {
 protected:
  // With an open command channel and a command limit of so many ms.
  struct Writer : Device {
    explicit Writer(std::uint32_t limit) : Device(Settings(kBackOff, 4, 25, limit * 2)) {
      entry = open_channel();
      start = GetTickCount();
    }
    bool write() { return io.D4WriteCmd(entry, kCommand, sizeof kCommand, start); }

    vlp::D4ChannelEntry* entry;
    DWORD start;
  };
};

TEST_F(CmdWrite, WhatTheEngineTakesIsWritten) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    EXPECT_TRUE(writer.write());
    EXPECT_EQ(fake_engine::calls(), Lines{"0: " + kWritten});
    EXPECT_EQ(elapsed_ms(), 0u);
  });
}

TEST_F(CmdWrite, APartialWriteCountsAsDone) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    fake_engine::scripts().write.otherwise.result = 1;
    EXPECT_TRUE(writer.write());
    EXPECT_EQ(fake_engine::calls().size(), 1u);
  });
}

TEST_F(CmdWrite, BadArgumentsAreRefusedWithoutACall) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    const auto refused = [&writer](vlp::D4ChannelEntry* entry, const std::uint8_t* bytes,
                                   std::uint32_t count) {
      SetLastError(kUntouched);
      return !writer.io.D4WriteCmd(entry, bytes, count, writer.start) && GetLastError() == 0;
    };
    EXPECT_TRUE(refused(nullptr, kCommand, 3));
    EXPECT_TRUE(refused(writer.entry, nullptr, 3));
    EXPECT_TRUE(refused(writer.entry, kCommand, 0));
    writer.io.D4CloseChnl(writer.entry);
    fake_engine::forget_calls();
    EXPECT_TRUE(refused(writer.entry, kCommand, 3)) << "the channel is closed";
    EXPECT_EQ(fake_engine::calls(), Lines{});
  });
}

TEST_F(CmdWrite, ASpentLimitWritesNothing) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    sleep_ms(10'000);
    EXPECT_FALSE(writer.write()) << "exactly the limit is too late";
    EXPECT_EQ(fake_engine::calls(), Lines{});
    EXPECT_EQ(elapsed_ms(), 10'000u);
  });
}

TEST_F(CmdWrite, AMillisecondBeforeTheLimitStillWrites) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    sleep_ms(9'999);
    EXPECT_TRUE(writer.write());
    EXPECT_EQ(fake_engine::calls(), Lines{"9999: " + kWritten});
  });
}

TEST_F(CmdWrite, ARefusedWriteIsMadeAgainWholeEveryHalfSecond) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    fake_engine::scripts().write.first = {{-33}, {0}, {-8}};
    EXPECT_TRUE(writer.write());
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: " + kWritten, "500: " + kWritten,
                                           "1000: " + kWritten, "1500: " + kWritten}));
  });
}

TEST_F(CmdWrite, RefusalsEndAtTheLimit) {
  run_virtual_parallel([] {
    Writer writer(1'000);
    fake_engine::scripts().write.otherwise.result = -33;
    EXPECT_FALSE(writer.write());
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: " + kWritten, "500: " + kWritten}))
        << "the try at exactly 1000 is too late";
    EXPECT_EQ(elapsed_ms(), 1'000u);
    EXPECT_EQ(writer.io.FatalError(), 0u);
  });
  fake_engine::reset();
  run_virtual_parallel([] {
    Writer writer(1'001);
    fake_engine::scripts().write.otherwise.result = -33;
    EXPECT_FALSE(writer.write());
    EXPECT_EQ(fake_engine::calls().size(), 3u);
    EXPECT_EQ(elapsed_ms(), 1'500u);
  });
}

TEST_F(CmdWrite, TheEnginesOwnWaitsCountAndAreNotCutShort) {
  run_virtual_parallel([] {
    Writer writer(10'000);
    fake_engine::scripts().write.first = {{-34, 60'000}};
    EXPECT_FALSE(writer.write());
    EXPECT_EQ(fake_engine::calls(), Lines{"0: " + kWritten});
    EXPECT_EQ(elapsed_ms(), 60'500u);
  });
}

TEST_F(CmdWrite, ALostLinkEndsTheWriteAtOnce) {
  for (const std::int32_t result : {-22, -24, -50, -61}) {
    fake_engine::reset();
    run_virtual_parallel([result] {
      Writer writer(10'000);
      fake_engine::scripts().write.otherwise.result = result;
      EXPECT_FALSE(writer.write());
      EXPECT_EQ(writer.io.FatalError(), 1u) << result;
      EXPECT_EQ(elapsed_ms(), 0u) << result;
      EXPECT_EQ(fake_engine::calls().size(), 1u) << result;
    });
  }
}

TEST_F(CmdWrite, TheLimitHoldsAcrossTheTickCountsWrap) {
  test::VirtualOptions options;
  options.tick_start_ms = 0x1'0000'0000 - 700;
  run_virtual_parallel(
      [] {
        Writer writer(1'000);
        fake_engine::scripts().write.otherwise.result = -33;
        EXPECT_FALSE(writer.write());
        EXPECT_EQ(fake_engine::calls().size(), 2u);
        EXPECT_EQ(elapsed_ms(), 1'000u);
      },
      options);
}

}  // namespace
