// The command layer's channels: the table, opening, closing, sizes.

#include "tests/d4/cmd_fixture.h"

namespace {

using cmd_test::CmdTest;
using cmd_test::kUntouched;
using cmd_test::Lines;
using test::elapsed_ms;
using test::run_virtual_parallel;
using vlp::D4ChannelEntry;
using vlp::kD4CommandChannel;
using vlp::kD4FaxChannel;

class CmdChannel : public CmdTest {};

TEST_F(CmdChannel, TwoChannelNumbersLeadToTheirSockets) {
  run_virtual_parallel([] {
    Device device;
    const D4ChannelEntry* const status = device.io.D4OpenChnl(0x10000005);
    const D4ChannelEntry* const fax = device.io.D4OpenChnl(33);
    ASSERT_NE(status, nullptr);
    ASSERT_NE(fax, nullptr);
    EXPECT_EQ(status->channelId, 0x10000005u);
    EXPECT_EQ(status->socket, 2u);
    EXPECT_EQ(fax->channelId, 33u);
    EXPECT_EQ(fax->socket, 0x21u);
    EXPECT_EQ(fake_engine::calls_of("OpenChannel"),
              (Lines{"0: OpenChannel 02", "0: OpenChannel 21"}));
  });
}

TEST_F(CmdChannel, AnyOtherNumberIsNoChannel) {
  run_virtual_parallel([] {
    Device device;
    for (const std::uint32_t channel : {0u, 2u, 0x21000000u, 34u, 0x10000004u, 0x10000006u, ~0u}) {
      SetLastError(kUntouched);
      EXPECT_EQ(device.io.D4OpenChnl(channel), nullptr) << channel;
      EXPECT_EQ(GetLastError(), 0u) << channel;
    }
    EXPECT_EQ(fake_engine::calls(), Lines{});
    EXPECT_EQ(elapsed_ms(), 0u);
  });
}

TEST_F(CmdChannel, OpeningAsksForTheSizesUnderOneLock) {
  run_virtual_parallel([] {
    Device device;
    const D4ChannelEntry* const entry = device.io.D4OpenChnl(kD4CommandChannel);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->writePacketSize, 134u);
    EXPECT_EQ(entry->readPacketSize, 518u);
    EXPECT_NE(entry->isOpen, 0u);
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: OpenChannel 02", "0: SetParameters 3 socket=02"}));
    EXPECT_EQ(fake_engine::locks_under("OpenChannel"), std::vector<std::size_t>{1});
  });
}

TEST_F(CmdChannel, AnOpenChannelIsGivenAtOnce) {
  run_virtual_parallel([] {
    Device device;
    D4ChannelEntry* const entry = device.open_channel();
    EXPECT_EQ(device.io.D4OpenChnl(kD4CommandChannel), entry);
    EXPECT_EQ(fake_engine::calls(), Lines{});
    EXPECT_EQ(elapsed_ms(), 0u);
  });
}

TEST_F(CmdChannel, ARefusedOpeningSleepsWithoutTheLockAndFails) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().open_channel.first = {{-4}};
    test::TestThread other = test::spawn("other", [&device] {
      test::sleep_ms(10);
      EXPECT_NE(device.io.D4OpenChnl(kD4FaxChannel), nullptr);
      EXPECT_EQ(elapsed_ms(), 10u);
    });
    EXPECT_EQ(device.io.D4OpenChnl(kD4CommandChannel), nullptr);
    EXPECT_EQ(elapsed_ms(), 50u);
    EXPECT_EQ(device.io.FatalError(), 0u);
    other.join();
    EXPECT_NE(device.io.D4OpenChnl(kD4CommandChannel), nullptr) << "it is tried anew";
  });
}

TEST_F(CmdChannel, AnOpeningThatFindsTheLinkLostFailsWithoutASleep) {
  for (const std::int32_t result : {-22, -24, -50, -55}) {
    fake_engine::reset();
    run_virtual_parallel([result] {
      Device device;
      fake_engine::scripts().open_channel.otherwise.result = result;
      EXPECT_EQ(device.io.D4OpenChnl(kD4CommandChannel), nullptr);
      EXPECT_EQ(elapsed_ms(), 0u) << result;
      EXPECT_EQ(device.io.FatalError(), 1u) << result;
    });
  }
}

TEST_F(CmdChannel, TheProcedureTellsOpenFailedAndLostApart) {
  run_virtual_parallel([] {
    Device device;
    D4ChannelEntry* const entry = device.open_channel();
    fake_engine::scripts().open_channel.first = {{-25}, {-49}, {0}, {-50}};
    EXPECT_EQ(device.io.OpenChnlProc(nullptr), -1);
    EXPECT_EQ(device.io.OpenChnlProc(entry), 0);
    EXPECT_EQ(device.io.OpenChnlProc(entry), 0);
    EXPECT_EQ(device.io.FatalError(), 0u);
    EXPECT_EQ(device.io.OpenChnlProc(entry), 1);
    EXPECT_EQ(device.io.FatalError(), 0u);
    EXPECT_EQ(device.io.OpenChnlProc(entry), -1);
    EXPECT_EQ(device.io.FatalError(), 1u);
    EXPECT_EQ(elapsed_ms(), 0u) << "the sleep is its caller's";
  });
}

TEST_F(CmdChannel, ClosingNoEntryIsABadArgument) {
  run_virtual_parallel([] {
    Device device;
    SetLastError(kUntouched);
    EXPECT_FALSE(device.io.D4CloseChnl(nullptr));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(fake_engine::calls(), Lines{});
  });
}

TEST_F(CmdChannel, ClosingAClosedChannelSucceedsWithoutACall) {
  run_virtual_parallel([] {
    Device device;
    D4ChannelEntry* const entry = device.open_channel();
    EXPECT_TRUE(device.io.D4CloseChnl(entry));
    EXPECT_EQ(fake_engine::calls(), Lines{"0: CloseChannel 02"});
    EXPECT_EQ(fake_engine::locks_under("CloseChannel"), std::vector<std::size_t>{1});
    EXPECT_TRUE(device.io.D4CloseChnl(entry));
    EXPECT_EQ(fake_engine::calls(), Lines{"0: CloseChannel 02"});
  });
}

TEST_F(CmdChannel, ACloseThatFailedLeavesTheChannelClosed) {
  for (const std::int32_t result : {1, -3, -33, -34}) {
    fake_engine::reset();
    run_virtual_parallel([result] {
      Device device;
      D4ChannelEntry* const entry = device.open_channel();
      fake_engine::scripts().close_channel.first = {{result}};
      EXPECT_FALSE(device.io.D4CloseChnl(entry)) << result;
      EXPECT_EQ(entry->isOpen, 0u) << result;
      EXPECT_TRUE(device.io.D4CloseChnl(entry)) << result;
    });
  }
}

TEST_F(CmdChannel, TwoClosesAtOnceMakeOneCall) {
  test::run_virtual_schedules(16, [] {
    fake_engine::reset({.close_channel = {{{0, 100}}, {-24}}});
    Device device;
    D4ChannelEntry* const entry = device.open_channel();
    test::TestThread other =
        test::spawn("other", [&] { EXPECT_TRUE(device.io.D4CloseChnl(entry)); });
    EXPECT_TRUE(device.io.D4CloseChnl(entry));
    other.join();
    EXPECT_EQ(fake_engine::calls_of("CloseChannel").size(), 1u);
  });
}

TEST_F(CmdChannel, TwoOpeningsAtOnceMakeOneCall) {
  test::run_virtual_schedules(16, [] {
    fake_engine::reset({.open_channel = {{{0, 100}}, {-25}}});
    Device device;
    const auto open = [&device] {
      const D4ChannelEntry* const entry = device.io.D4OpenChnl(kD4CommandChannel);
      ASSERT_NE(entry, nullptr);
      EXPECT_EQ(entry->writePacketSize, 134u);
      EXPECT_EQ(entry->readPacketSize, 518u);
    };
    test::TestThread other = test::spawn("other", open);
    open();
    other.join();
    EXPECT_EQ(fake_engine::calls_of("OpenChannel").size(), 1u);
  });
}

TEST_F(CmdChannel, AskingForTheSizesOpensTheChannelAndPacksThePayloads) {
  run_virtual_parallel([] {
    Device device;
    std::uint32_t sizes = 0;
    EXPECT_TRUE(device.io.D4GetPacketSize(kD4FaxChannel, &sizes));
    EXPECT_EQ(sizes, 0x0200'0080u) << "518 and 134 less a header of 6";
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: OpenChannel 21", "0: SetParameters 3 socket=21"}));
  });
}

TEST_F(CmdChannel, SizesWithoutPayloadAreToldAsSixteenBits) {
  struct Case {
    std::uint16_t write;
    std::uint16_t read;
    std::uint32_t packed;
  };
  for (const Case& sizes : {Case{6, 6, 0}, Case{0, 0, 0xfffa'fffa}, Case{0xffff, 7, 0x0001'fff9}}) {
    fake_engine::reset({.write_packet = sizes.write, .read_packet = sizes.read});
    run_virtual_parallel([&sizes] {
      Device device;
      std::uint32_t packed = 0;
      EXPECT_TRUE(device.io.D4GetPacketSize(kD4CommandChannel, &packed));
      EXPECT_EQ(packed, sizes.packed);
    });
  }
}

TEST_F(CmdChannel, SizesNeedANumberAndAPlace) {
  run_virtual_parallel([] {
    Device device;
    std::uint32_t sizes = 0x5a5a5a5a;
    SetLastError(kUntouched);
    EXPECT_FALSE(device.io.D4GetPacketSize(0, &sizes));
    EXPECT_EQ(GetLastError(), 0u);
    SetLastError(kUntouched);
    EXPECT_FALSE(device.io.D4GetPacketSize(kD4CommandChannel, nullptr));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_FALSE(device.io.D4GetPacketSize(34, &sizes));
    EXPECT_EQ(sizes, 0x5a5a5a5au);
    EXPECT_EQ(fake_engine::calls(), Lines{});
  });
}

TEST_F(CmdChannel, AReopenedChannelHasItsNewSizes) {
  run_virtual_parallel([] {
    Device device;
    D4ChannelEntry* const entry = device.open_channel();
    device.io.D4CloseChnl(entry);
    fake_engine::scripts().write_packet = 70;
    fake_engine::scripts().read_packet = 20;
    std::uint32_t sizes = 0;
    EXPECT_TRUE(device.io.D4GetPacketSize(kD4CommandChannel, &sizes));
    EXPECT_EQ(sizes, (14u << 16) + 64u);
  });
}

}  // namespace
