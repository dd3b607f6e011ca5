// Whole commands: their order, their one limit, and who waits for whom.

#include "tests/d4/cmd_fixture.h"

namespace {

using cmd_test::CmdTest;
using cmd_test::kBackOff;
using cmd_test::kCommand;
using cmd_test::kUntouched;
using cmd_test::kUsual;
using cmd_test::kWritten;
using cmd_test::Lines;
using cmd_test::Settings;
using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::spawn;
using test::TestThread;
using vlp::kD4CommandChannel;
using vlp::kD4FaxChannel;

class CmdCommand : public CmdTest {};

TEST_F(CmdCommand, ACommandOpensItsChannelWritesAsksAndFetches) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().size = {{{0}}, {5}};
    EXPECT_TRUE(device.command());
    EXPECT_EQ(device.count, 5u);
    EXPECT_EQ(device.answer[4], 5);
    EXPECT_EQ(fake_engine::calls(),
              (Lines{"0: OpenChannel 02", "0: SetParameters 3 socket=02", "0: " + kWritten,
                     "0: Size 02", "4: Size 02", "4: Fetch 02 of 5"}));
    // The channel's opening comes before the command's own lock.
    EXPECT_EQ(fake_engine::locks_under("OpenChannel"), (std::vector<std::size_t>{1}));
  });
}

TEST_F(CmdCommand, ASecondCommandOpensNoChannel) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().size.otherwise.result = 5;
    EXPECT_TRUE(device.command());
    EXPECT_TRUE(device.command());
    EXPECT_EQ(fake_engine::calls_of("OpenChannel").size(), 1u);
    EXPECT_EQ(fake_engine::calls_of("Write").size(), 2u);
  });
}

TEST_F(CmdCommand, AnUnknownChannelMeansNoTraffic) {
  run_virtual_parallel([] {
    Device device;
    SetLastError(kUntouched);
    EXPECT_FALSE(device.command(0x10000006));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(device.count, 0u);
    EXPECT_EQ(fake_engine::calls(), Lines{});
    EXPECT_EQ(elapsed_ms(), 0u);
  });
}

TEST_F(CmdCommand, BadArgumentsAreRefusedWithoutACall) {
  run_virtual_parallel([] {
    Device device;
    std::uint8_t answer[8];
    std::uint32_t count = 99;
    const auto refused = [&device](std::uint32_t channel, const std::uint8_t* command,
                                   std::uint32_t length, std::uint8_t* buffer,
                                   std::uint32_t capacity, std::uint32_t* out) {
      SetLastError(kUntouched);
      return !device.io.D4CmdProc(channel, command, length, buffer, capacity, out) &&
             GetLastError() == 0;
    };
    EXPECT_TRUE(refused(0, kCommand, 3, answer, 8, &count));
    EXPECT_TRUE(refused(kD4CommandChannel, nullptr, 3, answer, 8, &count));
    EXPECT_TRUE(refused(kD4CommandChannel, kCommand, 0, answer, 8, &count));
    EXPECT_TRUE(refused(kD4CommandChannel, kCommand, 3, nullptr, 8, &count));
    EXPECT_TRUE(refused(kD4CommandChannel, kCommand, 3, answer, 0, &count));
    EXPECT_TRUE(refused(kD4CommandChannel, kCommand, 3, answer, 8, nullptr));
    EXPECT_EQ(fake_engine::calls(), Lines{});
  });
}

TEST_F(CmdCommand, TheCountIsNothingWhenTheChannelDoesNotOpen) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().open_channel.otherwise.result = -4;
    EXPECT_FALSE(device.command());
    EXPECT_EQ(device.count, 0u);
    EXPECT_EQ(fake_engine::calls(), Lines{"0: OpenChannel 02"});
    EXPECT_EQ(elapsed_ms(), 50u);
  });
}

TEST_F(CmdCommand, AFailedWriteAsksForNothing) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().write.otherwise.result = -61;
    EXPECT_FALSE(device.command());
    EXPECT_EQ(device.count, 0u);
    EXPECT_EQ(fake_engine::calls_of("Size"), Lines{});
  });
}

TEST_F(CmdCommand, WriteAndReadShareOneLimit) {
  run_virtual_parallel([] {
    Device device(Settings(0, 50, 0, 4000));
    fake_engine::scripts().write.first = {{-33}, {-33}, {-33}};
    EXPECT_FALSE(device.command());
    EXPECT_EQ(fake_engine::calls_of("Write").back(), "1500: " + kWritten);
    EXPECT_EQ(fake_engine::calls_of("Size"),
              (Lines{"1500: Size 02", "1600: Size 02", "1700: Size 02", "1800: Size 02",
                     "1900: Size 02"}));
    EXPECT_EQ(elapsed_ms(), 2000u);
  });
}

TEST_F(CmdCommand, TheLimitCountsFromBehindTheOpeningOfTheChannel) {
  run_virtual_parallel([] {
    Device device(Settings(0, 50, 0, 4000));
    fake_engine::scripts().open_channel.otherwise = {0, 9000};
    EXPECT_FALSE(device.command());
    EXPECT_EQ(fake_engine::calls_of("Size").front(), "9000: Size 02");
    EXPECT_EQ(elapsed_ms(), 11'000u);
  });
}

TEST_F(CmdCommand, TheLimitIsHalfTheSettingsTime) {
  struct Case {
    std::uint32_t setting;
    std::uint64_t limit;
  };
  // In tenths of a second, since the poll is that.
  for (const Case& each : {Case{20000, 10000}, Case{20001, 10000}, Case{401, 200}, Case{2, 100}}) {
    fake_engine::reset();
    run_virtual_parallel([&each] {
      Device device(Settings(0, 50, 0, each.setting));
      EXPECT_FALSE(device.command());
      EXPECT_EQ(elapsed_ms(), each.limit) << each.setting;
    });
  }
}

TEST_F(CmdCommand, WithoutSettingsACommandTakesTenSeconds) {
  run_virtual_parallel([] {
    Device device(std::nullopt);
    EXPECT_FALSE(device.command());
    EXPECT_EQ(elapsed_ms(), 10'000u);
  });
}

TEST_F(CmdCommand, ATimeTooShortToHalveFailsEveryCommandWithoutAWrite) {
  for (const std::uint32_t time : {0u, 1u}) {
    fake_engine::reset();
    run_virtual_parallel([time] {
      Device device(Settings(kBackOff, 4, 25, time));
      EXPECT_FALSE(device.command());
      EXPECT_EQ(fake_engine::calls(), (Lines{"0: OpenChannel 02", "0: SetParameters 3 socket=02"}));
      EXPECT_EQ(elapsed_ms(), 0u);
    });
  }
}

TEST_F(CmdCommand, TheLongestTimeIsNotEndless) {
  run_virtual_parallel([] {
    Device device(Settings(kBackOff, 0x10000000, 0x10000000, 0xffffffff));
    EXPECT_FALSE(device.command());
    EXPECT_EQ(elapsed_ms(), 0x7fffffffu);
  });
}

TEST_F(CmdCommand, ATooLargeAnswerIsToldByTheLastError) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().size.otherwise.result = 65;
    SetLastError(kUntouched);
    EXPECT_FALSE(device.command());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(device.count, 0u);
  });
}

TEST_F(CmdCommand, OneCommandAtATimeFromItsWriteToItsAnswer) {
  run_virtual_schedules(32, [] {
    fake_engine::reset({.write = {{}, {fake_engine::kAsked, 30}}, .size = {{}, {5, 20}}});
    Device device;
    device.open_channel(kD4CommandChannel);
    device.open_channel(kD4FaxChannel);
    TestThread other = spawn("other", [&device] {
      std::uint8_t answer[8];
      std::uint32_t count = 0;
      EXPECT_TRUE(device.io.D4CmdProc(kD4FaxChannel, kCommand, 3, answer, 8, &count));
    });
    EXPECT_TRUE(device.command());
    other.join();
    const Lines calls = fake_engine::calls();
    ASSERT_EQ(calls.size(), 6u);
    const std::string first = calls[0].find("Write 02") != std::string::npos ? "02" : "21";
    const std::string second = first == "02" ? "21" : "02";
    EXPECT_EQ(calls, (Lines{"0: Write " + first + " 1b 40 53", "30: Size " + first,
                            "50: Fetch " + first + " of 5", "50: Write " + second + " 1b 40 53",
                            "80: Size " + second, "100: Fetch " + second + " of 5"}));
    for (const std::size_t locks : fake_engine::locks_under("")) EXPECT_EQ(locks, 1u);
  });
}

TEST_F(CmdCommand, TheTimeBehindAnothersCommandCounts) {
  run_virtual_parallel([] {
    Device device(Settings(0, 50, 0, 4000));
    device.open_channel();
    fake_engine::scripts().size.otherwise = {5, 2000};
    TestThread first = spawn("first", [&device] { EXPECT_FALSE(device.command()); });
    test::settle();
    std::uint8_t answer[8];
    std::uint32_t count = 99;
    EXPECT_FALSE(device.io.D4CmdProc(kD4CommandChannel, kCommand, 3, answer, 8, &count));
    EXPECT_EQ(fake_engine::calls_of("Write").size(), 1u) << "the second's time was over";
    EXPECT_EQ(elapsed_ms(), 2000u);
  });
}

TEST_F(CmdCommand, AChannelIsOpenedBesideAnothersCommand) {
  run_virtual_parallel([] {
    Device device;
    device.open_channel();
    fake_engine::scripts().size = {{{0, 1000}}, {5}};
    TestThread busy = spawn("busy", [&device] { EXPECT_TRUE(device.command()); });
    test::settle();
    EXPECT_NE(device.io.D4OpenChnl(kD4FaxChannel), nullptr);
    EXPECT_EQ(elapsed_ms(), 0u);
    EXPECT_EQ(fake_engine::locks_under("OpenChannel 21"), std::vector<std::size_t>{1});
  });
}

// Opens, commands and closes of two threads in every order that the seeds give.
TEST_F(CmdCommand, NoOrderOfCallsTouchesAForgottenLink) {
  run_virtual_schedules(32, [] {
    fake_engine::reset({.size = {{}, {5}}});
    vlp::XdltPortOps ops;
    vlp::CD4CmdIO io(nullptr, cmd_test::kPort, &ops, &kUsual);
    io.D4Open();
    const auto work = [&io] {
      std::uint8_t answer[8];
      std::uint32_t count = 0;
      std::uint32_t sizes = 0;
      for (int i = 0; i < 3; ++i) {
        io.D4CmdProc(kD4CommandChannel, kCommand, 3, answer, 8, &count);
        io.D4GetPacketSize(kD4FaxChannel, &sizes);
        io.D4CloseChnl(io.D4OpenChnl(kD4FaxChannel));
      }
    };
    TestThread first = spawn("first", work);
    TestThread second = spawn("second", work);
    io.D4Close();
    io.D4Open();
    first.join();
    second.join();
    EXPECT_TRUE(io.D4Close());
    fake_engine::forget_calls();
    io.D4Close();
    EXPECT_EQ(fake_engine::calls_of("Close"),
              (Lines{std::to_string(elapsed_ms()) + ": Close (no link)"}));
  });
}

}  // namespace
